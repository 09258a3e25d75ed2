#include "report/hexdump.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

std::vector<uint8_t> counting_bytes(size_t count) {
  std::vector<uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  EXPECT_EQ(start, text.size()) << "dump does not end with a line feed";
  return lines;
}

TEST(hexdump, full_and_short_lines) {
  const std::vector<uint8_t> bytes = counting_bytes(20);
  EXPECT_EQ(format_hex_dump(vk::binary_data(bytes), 0x58),
            "0000 0058:  00 01 02 03 04 05 06 07  08 09 0a 0b 0c 0d 0e 0f  ................\n"
            "0000 0068:  10 11 12 13 " +
                std::string(12 * 3 + 1, ' ') + " ....\n");
}

TEST(hexdump, entry_of_88_bytes_ends_with_eight_bytes_and_25_blanks) {
  std::vector<uint8_t> bytes(88, 'a');
  const std::vector<std::string> lines = lines_of(format_hex_dump(vk::binary_data(bytes), 0x58));
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[4].substr(0, 12), "0000 0098:  ");
  EXPECT_EQ(lines[5], "0000 00a8:  61 61 61 61 61 61 61 61 " + std::string(25, ' ') + " aaaaaaaa");
  EXPECT_EQ(lines[5].size(), lines[4].size() - 8);
}

TEST(hexdump, text_column_shows_printable_ascii_only) {
  const std::vector<uint8_t> bytes{0x20, 0x41, 0x7e, 0x7f, 0x1f, 0x80, 0xff, 0x00};
  const std::string dump = format_hex_dump(vk::binary_data(bytes), 0);
  EXPECT_EQ(dump.substr(dump.size() - 9), " A~.....\n");
}

struct address_case {
  uint64_t address;
  const char* label;
};

class hexdump_address : public testing::TestWithParam<address_case> {};

TEST_P(hexdump_address, upper_groups_only_when_non_zero) {
  const std::vector<uint8_t> bytes{0x41};
  const std::string dump = format_hex_dump(vk::binary_data(bytes), GetParam().address);
  EXPECT_EQ(dump.substr(0, dump.find(':') + 3), GetParam().label);
}

INSTANTIATE_TEST_SUITE_P(addresses, hexdump_address,
                         testing::Values(address_case{0x58, "0000 0058:  "},
                                         address_case{0x1ABCD0058, "1 abcd 0058:  "},
                                         address_case{0xAB00000000, "ab 0000 0000:  "},
                                         address_case{0x123400000010, "1234 0000 0010:  "},
                                         address_case{0x0001000000000000, "0001 0000 0000 0000:  "}));

TEST(hexdump, oversized_length_gives_one_line) {
  const std::vector<uint8_t> bytes(hex_dump_max_length + 1);
  EXPECT_EQ(format_hex_dump(vk::binary_data(bytes), 0), "size to big to output: size 0x1000001\n");
}

TEST(binary_data_death, index_past_the_end_ends_the_process) {
  const std::vector<uint8_t> bytes(4);
  const vk::binary_data data(bytes);
  EXPECT_EQ(data[3], 0);
  EXPECT_DEATH(data[4], "assertion failed: index < m_bytes.size");
}

}  // namespace
