// A read-only byte buffer with bounds-checked indexing.  It views bytes that
// another object owns (a record buffer, a stream chunk) and never copies them.
//
// An index at or past the end is a broken invariant of the caller, not bad
// on-disk data: callers clip their ranges before indexing.  The check stays
// on in release builds, where a plain assert would vanish and leave an
// out-of-bounds read, and it ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/check.h"

namespace vk {

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

}  // namespace vk
