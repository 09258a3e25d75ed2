// Integer and reference types shared by every layer.
#pragma once

#include <cstdint>
#include <vector>

using ulong64 = uint64_t;
using uint32 = uint32_t;
using byte_array = std::vector<uint8_t>;

// A 64-bit MFT reference: low 48 bits the MFT entry number, high 16 bits the
// sequence number.  0 means none or unknown.
using mft_ref = uint64_t;

constexpr uint64_t mft_entry_mask = 0x0000FFFFFFFFFFFFULL;
inline constexpr uint64_t mft_entry_of(mft_ref ref) { return ref & mft_entry_mask; }
inline constexpr uint16_t mft_sequence_of(mft_ref ref) { return static_cast<uint16_t>(ref >> 48); }
inline constexpr mft_ref make_mft_ref(uint64_t entry, uint16_t sequence) {
  return (entry & mft_entry_mask) | (uint64_t{sequence} << 48);
}
