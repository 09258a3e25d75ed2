// Partition type codes: which MBR type bytes the scanner accepts, and the
// short names shown in the volume listing.
#pragma once

#include <cstdint>
#include <string>

// A type guessed from a partition's content rather than read from its table
// carries this bit; the low byte is then the type.
constexpr uint16_t partition_type_guessed = 0x8000;
// Rows of a GPT (its own structures and its partitions) before any guess.
constexpr uint16_t partition_type_gpt = 0xEE;

// True for the MBR type bytes of the file systems and containers the scanner
// lists (FAT, NTFS, extended, Linux and other Unix families).
bool is_known_mbr_type(uint8_t type);

// True for the two type bytes whose entry starts a chain of extended boot
// records.
bool is_extended_chain_type(uint8_t type);

// The listing name of a type: "ntfs or exfat", "fat32", "exten", ...; "unk"
// for an unlisted value; a guessed type adds " [guess]".
std::string partition_type_name(uint16_t type);

// The file system family a listed type stands for: the types named "ntfs
// ...", "... fat..." and "linux ..." in the listing.
enum class partition_family { other, ntfs, fat, linux_family };
partition_family family_of(uint16_t type);

// True for the types whose volumes may be NTFS.
bool is_ntfs_type(uint16_t type);
