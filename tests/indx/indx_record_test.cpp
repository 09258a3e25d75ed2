#include "indx/indx_record.h"

#include <gtest/gtest.h>

#include "indx_test_builder.h"

namespace {

using indx_test::get;
using indx_test::put;

// Sectors end in the sequence number 0xABCD, except sector 0, which is torn
// (never written); array word i holds 0x1000 + i.
std::vector<uint8_t> protected_record(size_t size, size_t stride, size_t count, size_t array_offset = 48) {
  std::vector<uint8_t> b(size, 0);
  put(b, 0, 0x58444E49, 4), put(b, 4, array_offset, 2), put(b, 6, count, 2);
  for (size_t end = stride; end <= size; end += stride) put(b, end - 2, end == stride ? 0x7777 : 0xABCD, 2);
  for (size_t i = 1; i < count; ++i) put(b, array_offset + 2 * i, 0x1000 + i, 2);
  return b;
}

TEST(indx_record, repairs_at_most_4096_bytes_of_sectors_without_comparing) {
  struct fixup_case {
    size_t stride, count, restored;
  };
  for (const fixup_case c : {fixup_case{512, 10, 8}, fixup_case{512, 4, 3}, fixup_case{1024, 9, 4},
                             fixup_case{4096, 9, 1}, fixup_case{512, 1, 0}, fixup_case{512, 0, 0}}) {
    std::vector<uint8_t> b = protected_record(3 * 4096, c.stride, c.count);
    EXPECT_EQ(apply_fixup(b, c.stride), c.restored) << c.stride << " " << c.count;
    for (size_t i = 1; i <= c.restored; ++i) EXPECT_EQ(get(b, c.stride * i - 2, 2), 0x1000 + i);
    EXPECT_EQ(get(b, c.stride * (c.restored + 1) - 2, 2), c.restored == 0 ? 0x7777u : 0xABCDu);
  }
}

TEST(indx_record, hostile_header_stays_inside_the_record) {
  std::vector<uint8_t> b = protected_record(4096, 512, 9);
  put(b, 4, 4090, 2);  // array words 1 and 2 fit, word 3 would run past the end
  EXPECT_EQ(apply_fixup(b, 512), 2u);
  put(b, 4, 0xFFFF, 2);
  EXPECT_EQ(apply_fixup(b, 512), 0u);
  std::vector<uint8_t> tiny = protected_record(600, 512, 9);  // sector 2 lies past the buffer
  EXPECT_EQ(apply_fixup(tiny, 512), 1u);
  EXPECT_EQ(apply_fixup(tiny, 1), 0u);
  EXPECT_EQ(apply_fixup(std::span(tiny).first(7), 512), 0u);
  EXPECT_TRUE(has_indx_magic(tiny));
  EXPECT_FALSE(has_indx_magic(std::span(tiny).first(3)));
}

}  // namespace
