#include "disk/partition_types.h"

#include <array>

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

struct type_info {
  const char* name;
  partition_family family;
};

constexpr type_info unknown_type{"unk", partition_family::other};

type_info listed(uint16_t type) {
  using pfam = partition_family;
  switch (type) {
    case 0x00: return {"empty", pfam::other};
    case 0x01: case 0x8D: return {"fat12", pfam::fat};
    case 0x02: return {"xenix root", pfam::other};
    case 0x03: return {"xenix /usr", pfam::other};
    case 0x04: return {"fat16", pfam::fat};
    case 0x05: case 0x0F: return {"exten", pfam::other};
    case 0x06: return {"fat", pfam::fat};
    case 0x07: return {"ntfs or exfat", pfam::ntfs};
    case 0x08: return {"aix boot", pfam::other};
    case 0x09: return {"aix data", pfam::other};
    case 0x0A: return {"os/2 boot", pfam::other};
    case 0x0B: case 0x0C: return {"fat32", pfam::fat};
    case 0x0E: return {"fat16 LBA mapped", pfam::fat};
    case 0x11: case 0x14: case 0x16: case 0x1E: case 0x90: case 0x91: case 0x92: return {"hidden fat16", pfam::fat};
    case 0x17: case 0x27: return {"hidden ntfs", pfam::ntfs};
    case 0x1B: case 0x1C: case 0x97: case 0x98: return {"hidden fat32", pfam::fat};
    case 0x82: return {"linux swap", pfam::linux_family};
    case 0x83: return {"linux", pfam::linux_family};
    case 0x86: return {"fat16 volume set", pfam::fat};
    case 0x87: return {"ntfs volume set", pfam::ntfs};
    case 0x88: return {"linux partition table", pfam::linux_family};
    case 0x8B: case 0x8C: return {"fat32 fault tolerant", pfam::fat};
    case 0x8E: return {"linux Logical Volume Mgr", pfam::linux_family};
    case 0x93: return {"hidden linux", pfam::linux_family};
    case 0xA0: case 0xA1: return {"hibernation partition", pfam::other};
    case 0xA6: return {"openbsd", pfam::other};
    case 0xAF: return {"hfs", pfam::other};
    case 0xEE: return {"gpt", pfam::other};
    default: return unknown_type;
  }
}

// A guessed type is listed by its low byte.
uint16_t listed_type(uint16_t type) { return (type & partition_type_guessed) ? type & 0xFF : type; }

}  // namespace

bool is_known_mbr_type(uint8_t type) { return known_table[type]; }

bool is_extended_chain_type(uint8_t type) { return type == 0x05 || type == 0x0F; }

std::string partition_type_name(uint16_t type) {
  const std::string name = listed(listed_type(type)).name;
  return (type & partition_type_guessed) ? name + " [guess]" : name;
}

partition_family family_of(uint16_t type) { return listed(listed_type(type)).family; }

bool is_ntfs_type(uint16_t type) { return family_of(type) == partition_family::ntfs; }
