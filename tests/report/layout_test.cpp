// Report layouts no golden case reaches.
#include <gtest/gtest.h>

#include <vector>

#include "report/hexdump.h"
#include "report/time_format.h"
#include "support/vk_time.h"

namespace {

// The layouts the command line cannot ask for (it takes date patterns of 8
// or 10 characters and time patterns of at most 18), or that build silently;
// the others are golden cases (tests/golden/cases.txt, date_*).
struct layout_case {
  const char* date_pattern;
  const char* time_pattern;
  bool builds;
  std::string date;
  const char* time;
};

class time_layout : public testing::TestWithParam<layout_case> {};

// 2023-06-05 14:03:07.1234567 UTC.
TEST_P(time_layout, renders_5_june_2023) {
  const layout_case& c = GetParam();
  const uint64_t sample =
      vk::filetime_from_date(2023, 6, 5) + (14 * 3600 + 3 * 60 + 7) * vk::filetime_ticks_per_second + 1234567;
  time_format_spec layout;
  EXPECT_EQ(build_time_format_spec(layout, c.date_pattern, c.time_pattern, false), c.builds);
  std::string date, time;
  EXPECT_TRUE(render_filetime(sample, layout, date, time));
  EXPECT_EQ(date, c.date);
  EXPECT_EQ(time, c.time);
}

INSTANTIATE_TEST_SUITE_P(patterns, time_layout,
                         testing::Values(layout_case{"mmm/dd/yyyy", "hh:mm:ss", true, "Jun/05/2023", "14:03:07"},
                                         layout_case{"dd mmm yyyy", "hh:mm:ss", true, "05 Jun 2023", "14:03:07"},
                                         // Year-month-day has no form with a month name.
                                         layout_case{"yyyy-mmm-dd", "hh:mm:ss", true, "", "14:03:07"},
                                         // Without a separator a NUL character stands in its place.
                                         layout_case{"ddmmyyyy", "hh:mm:ss", true,
                                                     std::string("05\0"
                                                                 "06\0"
                                                                 "2023",
                                                                 10),
                                                     "14:03:07"},
                                         // "/" is searched before "-".
                                         layout_case{"dd-mm/yyyy", "hh:mm:ss", true, "05/06/2023", "14:03:07"},
                                         // Digits are cut, never rounded, and never more than nine.
                                         layout_case{"yyyy-mm-dd", "hh:mm:ss.xxxxxxxxxx", true, "2023-06-05",
                                                     "14:03:07.123456700"},
                                         // A pattern lacking a part, or ordering them in no known
                                         // way, fails: the date renders empty, the time still renders.
                                         layout_case{"yyyy-dd-mm", "hh:mm:ss", false, "", "14:03:07"},
                                         layout_case{"dd/yyyy/", "hh:mm:ss", false, "", "14:03:07"},
                                         layout_case{"mm/dd/..", "hh:mm:ss", false, "", "14:03:07"},
                                         layout_case{"mm/yyyy.", "hh:mm:ss", false, "", "14:03:07"}));

// The golden cases (hexdump_all, vol_path_hexdump) check whole dumps of real
// entries; these are the lines no fixture reaches.
struct dump_case {
  std::vector<uint8_t> bytes;
  uint64_t address;
  std::string first_line;
};

class hexdump : public testing::TestWithParam<dump_case> {};

TEST_P(hexdump, first_line) {
  const std::string dump = format_hex_dump(vk::binary_data(GetParam().bytes), GetParam().address);
  EXPECT_EQ(dump.substr(0, dump.find('\n') + 1), GetParam().first_line);
}

const std::string short_tail(15 * 3 + 1, ' ');  // the columns of 15 missing bytes and the gap

INSTANTIATE_TEST_SUITE_P(lines, hexdump,
                         testing::Values(
                             // The upper groups of the address are shown only when non-zero.
                             dump_case{{0x41}, 0x1ABCD0058, "1 abcd 0058:  41 " + short_tail + " A\n"},
                             dump_case{{0x41}, 0xAB00000000, "ab 0000 0000:  41 " + short_tail + " A\n"},
                             dump_case{{0x41}, 0x123400000010, "1234 0000 0010:  41 " + short_tail + " A\n"},
                             dump_case{{0x41}, 0x0001000000000000, "0001 0000 0000 0000:  41 " + short_tail + " A\n"},
                             // Only printable ASCII shows in the text column.
                             dump_case{{0x20, 0x41, 0x7e, 0x7f, 0x1f, 0x80, 0xff, 0x00},
                                       0,
                                       "0000 0000:  20 41 7e 7f 1f 80 ff 00 " + std::string(25, ' ') + "  A~.....\n"},
                             dump_case{std::vector<uint8_t>(hex_dump_max_length + 1), 0,
                                       "size to big to output: size 0x1000001\n"}));

TEST(binary_data_death, index_past_the_end_ends_the_process) {
  const std::vector<uint8_t> bytes(4);
  const vk::binary_data data(bytes);
  EXPECT_EQ(data[3], 0);
  EXPECT_DEATH(data[4], "assertion failed: index < m_bytes.size");
}

}  // namespace
