#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include "support/file_util.h"
#include "support/le_reader.h"
#include "support/number_text.h"
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
  // ASCII runs are taken four units at a time: whatever follows must be
  // found at any place in or after a group of four.
  for (size_t run = 0; run < 10; ++run) {
    for (const char16_t next : {u'\u00E9', u'\u0100', u'\u0080', u'\u4E2D'}) {
      std::vector<uint8_t> bytes;
      for (size_t i = 0; i < run; ++i) bytes.insert(bytes.end(), {'n', 0});
      const std::vector<uint8_t> tail = utf16({next, u'z'});
      bytes.insert(bytes.end(), tail.begin(), tail.end());
      const std::string expected = std::string(run, 'n') + vk::utf16le_to_utf8(utf16({next}), 1) + "z";
      EXPECT_EQ(vk::utf16le_to_utf8(bytes, run + 2), expected) << run;
    }
  }
  EXPECT_EQ(vk::utf8_to_utf16("a\xC3\xA9\xF0\x9F\x98\x80"), (std::u16string{u'a', 0xE9, 0xD83D, 0xDE00}));
}

// Reads an escape form back: "\xHH" is a byte, "\uHHHH" a character.
std::string unescaped(std::string_view shown) {
  std::string bytes;
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] != '\\') {
      bytes += shown[i];
      continue;
    }
    const bool unicode = shown[i + 1] == 'u';
    const size_t digits = unicode ? 4 : 2;
    const auto value = static_cast<uint32_t>(std::stoul(std::string(shown.substr(i + 2, digits)), nullptr, 16));
    if (!unicode) {
      bytes += static_cast<char>(value);
    } else {
      const std::u16string unit(1, static_cast<char16_t>(value));
      bytes += vk::utf16le_to_utf8({reinterpret_cast<const uint8_t*>(unit.data()), 2}, 1);
    }
    i += 1 + digits;
  }
  return bytes;
}

// Names are scanned eight bytes at a time: every character must be found
// wherever it falls in a word, and the shown form must read back exactly.
// compare_lowered folds eight bytes at once; it must order every pair as the
// lower-cased texts do, whatever bytes lie around 'A'..'Z' (the neighbours
// '@' and '[', their lower-case and high-bit twins) and wherever the first
// difference falls in or after a word.
TEST(compare_lowered, orders_as_the_lowered_texts_do) {
  const std::string alphabet = std::string("@AZ[`az{") + "\xC1\xDA\xE1\xFA\x80\xFF\x00";
  uint64_t state = 12345;
  const auto next = [&state] {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<size_t>(state >> 33);
  };
  const auto sign = [](int value) { return (value > 0) - (value < 0); };
  for (int round = 0; round < 20000; ++round) {
    std::string a(next() % 20, ' ');
    for (char& c : a) c = alphabet[next() % alphabet.size()];
    std::string b = a.substr(0, next() % (a.size() + 1));
    // Mostly a shared prefix, in either case, then anything.
    for (char& c : b)
      if (next() % 4 == 0) c = static_cast<char>(c ^ 0x20);
    for (size_t extra = next() % 12; extra > 0; --extra) b += alphabet[next() % alphabet.size()];
    const int expected = sign(vk::to_lower(a).compare(vk::to_lower(b)));
    ASSERT_EQ(sign(vk::compare_lowered(a, b)), expected) << '"' << a << "\" vs \"" << b << '"';
    ASSERT_EQ(sign(vk::compare_lowered(b, a)), -expected);
  }
}

TEST(trim, in_place_keeps_what_trim_keeps) {
  for (const std::string text : {"", " ", " \t\r\n", "a", " a", "a ", " a b \n", "\tname.txt\r\n", "x\0 "}) {
    std::string trimmed = text;
    vk::trim_in_place(trimmed);
    EXPECT_EQ(trimmed, vk::trim(text)) << '"' << text << '"';
  }
}

// Hexadecimal is made sixteen digits at once and cut: every value length and
// width must give what printf gives.
TEST(number_text, hex_matches_printf_at_every_length_and_width) {
  uint64_t state = 99;
  for (int round = 0; round < 4000; ++round) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    const uint64_t value = round < 65 ? (round == 0 ? 0 : uint64_t{1} << (round - 1)) | (state & 0xA) : state >> (round % 64);
    for (const int width : {0, 1, 7, 8, 9, 16, 17, 20}) {
      char expected[64];
      std::snprintf(expected, sizeof expected, "%0*llx", width, static_cast<unsigned long long>(value));
      ASSERT_EQ(vk::number_text::hex(value, width).view(), expected) << value << " " << width;
    }
  }
}

TEST(escape_form, hidden_characters_are_escaped_wherever_they_fall) {
  const std::pair<std::string, std::string> hidden[] = {
      {"\xC2\x80", "\\u0080"},     {"\xC2\x9B", "\\u009b"},     {"\xC2\x9F", "\\u009f"},
      {"\xD8\x9C", "\\u061c"},     {"\xE2\x80\x8B", "\\u200b"}, {"\xE2\x80\x8F", "\\u200f"},
      {"\xE2\x80\xA8", "\\u2028"}, {"\xE2\x80\xAE", "\\u202e"}, {"\xE2\x81\xA0", "\\u2060"},
      {"\xE2\x81\xA9", "\\u2069"}, {"\xE2\x81\xAF", "\\u206f"}, {"\xEF\xBB\xBF", "\\ufeff"},
      {"\x1b", "\\x1b"},           {"\x7f", "\\x7f"}};
  for (const auto& [bytes, escape] : hidden) {
    for (size_t before = 0; before < 17; ++before) {
      const std::string lead(before, 'a');
      const std::string name = lead + bytes + "\\u\xC3\xA9";
      std::string shown;
      vk::append_visible_name(shown, name);
      EXPECT_EQ(shown, lead + escape + "\\x5cu\xC3\xA9") << escape << " after " << before;
      EXPECT_EQ(unescaped(shown), name) << escape << " after " << before;
      // Paths and JSON Lines keep hidden characters (JSON writes its own escape).
      const bool control = escape[1] == 'x';
      EXPECT_EQ(vk::display_name(name), lead + (control ? escape : bytes) + "\\x5cu\xC3\xA9");
      EXPECT_EQ(vk::escape_controls(name), lead + escape + "\\u\xC3\xA9");
    }
  }
}

TEST(escape_form, neighbours_and_broken_sequences_go_across) {
  for (const std::string text :
       {"\xC2\xA0", "\xC2\x7F", "\xD8\x9B", "\xE2\x80\x8A", "\xE2\x80\xA7", "\xE2\x80\xAF", "\xE2\x81\xB0",
        "\xEF\xBB\xBE", "\xEF\xBF\xBD", "\xE3\x80\x80", "\xC2", "\xE2\x80", "\xE2\x81", "\xEF\xBB"}) {
    for (size_t before = 0; before < 17; ++before) {
      const std::string name = std::string(before, 'a') + text;
      std::string shown;
      vk::append_visible_name(shown, name);
      const std::string expected = name.back() == '\x7F' ? name.substr(0, name.size() - 1) + "\\x7f" : name;
      EXPECT_EQ(shown, expected) << before;
    }
  }
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
