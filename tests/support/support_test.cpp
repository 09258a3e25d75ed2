#include <gtest/gtest.h>

#include <cerrno>

#include "support/file_util.h"
#include "support/le_reader.h"
#include "support/vk_string.h"
#include "support/vk_time.h"
#include "test_support.h"

namespace {

TEST(le_reader, reads_little_endian_and_fails_stickily_without_overflow) {
  const uint8_t bytes[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09};
  vk::le_reader r(bytes);
  EXPECT_EQ(r.u32(1), 0x05040302u);
  EXPECT_EQ(r.u64(1), 0x0908070605040302ull);
  EXPECT_EQ(r.uint_n(0, 3), 0x030201u);
  EXPECT_TRUE(r.has(9, 0));
  EXPECT_FALSE(r.has(1, SIZE_MAX));
  EXPECT_FALSE(r.has(SIZE_MAX, 1));
  EXPECT_TRUE(r.ok());
  EXPECT_EQ(r.u16(8), 0);  // one byte short
  EXPECT_FALSE(r.ok());
  EXPECT_EQ(r.u8(0), 1);  // reads still work, the failure stays
  EXPECT_FALSE(r.ok());
  vk::le_reader other(bytes);
  EXPECT_EQ(other.sub(2, 8).size(), 0u);
  EXPECT_FALSE(other.ok());
}

std::vector<uint8_t> utf16(std::initializer_list<uint16_t> units) {
  std::vector<uint8_t> bytes;
  for (uint16_t u : units) bytes.insert(bytes.end(), {static_cast<uint8_t>(u & 0xFF), static_cast<uint8_t>(u >> 8)});
  return bytes;
}

TEST(utf16_conversion, converts_pairs_and_replaces_unpaired_surrogates) {
  EXPECT_EQ(vk::utf16le_to_utf8(utf16({'a', 0xE9, 0x4E2D}), 3), "a\xC3\xA9\xE4\xB8\xAD");
  EXPECT_EQ(vk::utf16le_to_utf8(utf16({0xD83D, 0xDE00}), 2), "\xF0\x9F\x98\x80");
  EXPECT_EQ(vk::utf16le_to_utf8(utf16({0xD83D, 'x'}), 2), "\xEF\xBF\xBDx");
  EXPECT_EQ(vk::utf16le_to_utf8(utf16({0xDE00}), 1), "\xEF\xBF\xBD");
  EXPECT_EQ(vk::utf16le_to_utf8(utf16({'a', 'b'}), 5), "ab");  // never past the bytes
  EXPECT_EQ(vk::utf8_to_utf16("a\xC3\xA9\xF0\x9F\x98\x80"), (std::u16string{u'a', 0xE9, 0xD83D, 0xDE00}));
}

TEST(filetime, calendar_bounds) {
  EXPECT_FALSE(vk::filetime_converts(0));
  EXPECT_FALSE(vk::filetime_converts(0x8000000000000000ull));
  EXPECT_EQ(vk::time(1, vk::type_time::filetime).systemtime().wYear, 1601);
  EXPECT_EQ(vk::time(0x7FFFFFFFFFFFFFFFull, vk::type_time::filetime).systemtime().wYear, 30828);
  EXPECT_EQ(vk::time(vk::filetime_unix_epoch, vk::type_time::filetime).unix_seconds(), 0);
}

TEST(file_util, reads_at_most_the_limit_and_refuses_folders) {
  slix_test::temp_dir dir;
  slix_test::write_file(dir.file("f"), std::vector<uint8_t>(3000, 7));
  byte_array bytes;
  ASSERT_EQ(vk::read_file_prefix(dir.file("f"), 2048, bytes), 0);
  EXPECT_EQ(bytes.size(), 2048u);
  ASSERT_EQ(vk::read_file_prefix(dir.file("f"), 1 << 20, bytes), 0);
  EXPECT_EQ(bytes.size(), 3000u);
  EXPECT_EQ(vk::read_file_prefix(dir.path(), 100, bytes), EISDIR);
  EXPECT_EQ(vk::read_file_prefix(dir.file("missing"), 100, bytes), ENOENT);
}

}  // namespace
