// Bounds-checked access to bytes of the evidence.  le_reader, the
// little-endian field reader, is the one way this tool reads an on-disk
// integer.  Fields are copied out byte-wise (memcpy on a little-endian host,
// shifts elsewhere), never read by casting packed structs, so alignment and
// host byte order never matter.
//
// A read that does not fit inside the view returns 0 and marks the reader
// failed; the mark is sticky, so a header can be read straight through and
// checked once with ok().
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <cstdint>
#include <span>
#include <string_view>

#include "support/check.h"

namespace vk {

class le_reader {
 public:
  le_reader() = default;
  explicit le_reader(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

  size_t size() const { return m_bytes.size(); }
  std::span<const uint8_t> bytes() const { return m_bytes; }
  bool ok() const { return !m_failed; }

  // True when [off, off + len) lies inside the view; cannot overflow.
  bool has(size_t off, size_t len) const {
    return off <= m_bytes.size() && len <= m_bytes.size() - off;
  }

  uint8_t u8(size_t off) const { return static_cast<uint8_t>(read(off, 1)); }
  uint16_t u16(size_t off) const { return static_cast<uint16_t>(read(off, 2)); }
  uint32_t u32(size_t off) const { return static_cast<uint32_t>(read(off, 4)); }
  uint64_t u64(size_t off) const { return read(off, 8); }
  int32_t i32(size_t off) const { return static_cast<int32_t>(u32(off)); }

  // Unsigned little-endian integer of 0 to 8 bytes (mapping pairs use 1-8).
  uint64_t uint_n(size_t off, size_t width) const { return read(off, width); }

  // A sub-view; an out-of-range request gives an empty view and marks failure.
  le_reader sub(size_t off, size_t len) const {
    if (!has(off, len)) {
      m_failed = true;
      return le_reader();
    }
    return le_reader(m_bytes.subspan(off, len));
  }
  // The view from off to the end (empty when off is past the end).
  le_reader from(size_t off) const {
    return off <= m_bytes.size() ? sub(off, m_bytes.size() - off) : sub(off, 0);
  }

 private:
  uint64_t read(size_t off, size_t width) const {
    if (width > 8 || !has(off, width)) {
      m_failed = true;
      return 0;
    }
    uint64_t value = 0;
    if constexpr (std::endian::native == std::endian::little) {
      // The bytes are in the host's order already: one copy, no alignment
      // assumed.  The bounds were checked above.
      std::memcpy(&value, m_bytes.data() + off, width);
    } else {
      for (size_t i = 0; i < width; ++i) value |= uint64_t{m_bytes[off + i]} << (8 * i);
    }
    return value;
  }

  std::span<const uint8_t> m_bytes;
  mutable bool m_failed = false;
};

// A read-only byte buffer with bounds-checked indexing, for code that walks
// bytes one by one (the hex dump).  It views bytes another object owns.  An
// index at or past the end is a broken invariant of the caller, not bad
// on-disk data: callers clip their ranges first, and the check ends the
// process.
class binary_data {
 public:
  binary_data() = default;
  explicit binary_data(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

  size_t size() const { return m_bytes.size(); }
  bool empty() const { return m_bytes.empty(); }
  uint8_t operator[](size_t index) const {
    SLIX_CHECK(index < m_bytes.size());
    return m_bytes[index];
  }

 private:
  std::span<const uint8_t> m_bytes;
};

// True when `text` stands at `off` in `bytes` (a signature, an OEM name).
inline bool has_bytes_at(std::span<const uint8_t> bytes, size_t off, std::string_view text) {
  if (off > bytes.size() || text.size() > bytes.size() - off) return false;
  for (size_t i = 0; i < text.size(); ++i)
    if (bytes[off + i] != static_cast<uint8_t>(text[i])) return false;
  return true;
}

// Writes a little-endian u16 into a mutable buffer; false when it does not fit.
inline bool put_u16(std::span<uint8_t> bytes, size_t off, uint16_t value) {
  if (off > bytes.size() || bytes.size() - off < 2) return false;
  bytes[off] = static_cast<uint8_t>(value & 0xFF);
  bytes[off + 1] = static_cast<uint8_t>(value >> 8);
  return true;
}

}  // namespace vk
