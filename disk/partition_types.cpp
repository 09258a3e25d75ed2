#include "disk/partition_types.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

// The MBR type bytes the scanner takes, by family.  The families overlap
// (0x11, 0x27, 0x98); only their union matters.
constexpr uint8_t known_types[] = {
    // extended containers
    0x05, 0x0F, 0x15, 0x1F, 0x91, 0x98, 0xC5, 0xCF, 0xD5,
    // FAT12
    0x01, 0x11,
    // FAT16 and relatives
    0x04, 0x06, 0x08, 0x0E, 0x11, 0x14, 0x16, 0x1E, 0x24, 0x56, 0x64, 0x66, 0x74, 0x76, 0x79, 0x7A, 0x7B,
    0x84, 0x86, 0x90, 0x92, 0x9A, 0xB6, 0xC4, 0xC6, 0xCE, 0xD4, 0xD6, 0xDE, 0xE4, 0xE5, 0xE6, 0xF2, 0xF4,
    0xF6,
    // FAT32 and relatives
    0x0B, 0x0C, 0x12, 0x1B, 0x1C, 0x7C, 0x7D, 0x8B, 0x8C, 0x97, 0x98, 0xBB, 0xBC, 0xCB, 0xCC, 0xD8,
    // NTFS and relatives
    0x07, 0x11, 0x27, 0x87, 0xB7, 0xC7,
    // Linux and other Unix
    0x27, 0x41, 0x42, 0x43, 0x80, 0x81, 0x82, 0x83, 0x85, 0x86, 0x88, 0x8E, 0x93, 0xC2, 0xC3, 0xCD, 0xE8,
    0xF0, 0xF9, 0xFD, 0xFE, 0xA8, 0xAB, 0xAC, 0xAF, 0xEF, 0xFB, 0xFC};

constexpr std::array<bool, 256> make_known_table() {
  std::array<bool, 256> table{};
  for (uint8_t type : known_types) table[type] = true;
  return table;
}

constexpr std::array<bool, 256> known_table = make_known_table();

const char* listed_name(uint16_t type) {
  switch (type) {
    case 0x00: return "empty";
    case 0x01: case 0x8D: return "fat12";
    case 0x02: return "xenix root";
    case 0x03: return "xenix /usr";
    case 0x04: return "fat16";
    case 0x05: case 0x0F: return "exten";
    case 0x06: return "fat";
    case 0x07: return "ntfs or exfat";
    case 0x08: return "aix boot";
    case 0x09: return "aix data";
    case 0x0A: return "os/2 boot";
    case 0x0B: case 0x0C: return "fat32";
    case 0x0E: return "fat16 LBA mapped";
    case 0x11: case 0x14: case 0x16: case 0x1E: case 0x90: case 0x91: case 0x92: return "hidden fat16";
    case 0x17: case 0x27: return "hidden ntfs";
    case 0x1B: case 0x1C: case 0x97: case 0x98: return "hidden fat32";
    case 0x82: return "linux swap";
    case 0x83: return "linux";
    case 0x86: return "fat16 volume set";
    case 0x87: return "ntfs volume set";
    case 0x88: return "linux partition table";
    case 0x8B: case 0x8C: return "fat32 fault tolerant";
    case 0x8E: return "linux Logical Volume Mgr";
    case 0x93: return "hidden linux";
    case 0xA0: case 0xA1: return "hibernation partition";
    case 0xA6: return "openbsd";
    case 0xAF: return "hfs";
    case 0xEE: return "gpt";
    default: return "unk";
  }
}

// The families, by the listed types whose names say "ntfs ...", "... fat..."
// and "linux ...".
constexpr uint8_t ntfs_types[] = {0x07, 0x17, 0x27, 0x87};
constexpr uint8_t fat_types[] = {0x01, 0x04, 0x06, 0x0B, 0x0C, 0x0E, 0x11, 0x14, 0x16, 0x1B, 0x1C,
                                 0x1E, 0x86, 0x8B, 0x8C, 0x8D, 0x90, 0x91, 0x92, 0x97, 0x98};
constexpr uint8_t linux_types[] = {0x82, 0x83, 0x88, 0x8E, 0x93};

template <size_t n>
bool listed_in(const uint8_t (&types)[n], uint16_t type) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

// A guessed type is listed by its low byte.
uint16_t listed_type(uint16_t type) { return (type & partition_type_guessed) ? type & 0xFF : type; }

}  // namespace

bool is_known_mbr_type(uint8_t type) { return known_table[type]; }

bool is_extended_chain_type(uint8_t type) { return type == 0x05 || type == 0x0F; }

std::string partition_type_name(uint16_t type) {
  const std::string name = listed_name(listed_type(type));
  return (type & partition_type_guessed) ? name + " [guess]" : name;
}

partition_family family_of(uint16_t type) {
  const uint16_t listed = listed_type(type);
  if (listed_in(ntfs_types, listed)) return partition_family::ntfs;
  if (listed_in(fat_types, listed)) return partition_family::fat;
  if (listed_in(linux_types, listed)) return partition_family::linux_family;
  return partition_family::other;
}

bool is_ntfs_type(uint16_t type) { return family_of(type) == partition_family::ntfs; }
