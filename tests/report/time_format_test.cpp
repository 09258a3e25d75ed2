#include "report/time_format.h"

#include <gtest/gtest.h>

#include "support/vk_time.h"

namespace {

// 2023-06-05 14:03:07.1234567 UTC.
uint64_t sample_time() {
  return vk::filetime_from_date(2023, 6, 5) + (14 * 3600 + 3 * 60 + 7) * vk::filetime_ticks_per_second + 1234567;
}

struct rendered {
  bool ok;
  std::string date;
  std::string time;
};

rendered render(uint64_t filetime, const time_format_spec& time_layout) {
  rendered r;
  r.ok = render_filetime(filetime, time_layout, r.date, r.time);
  return r;
}

time_format_spec built(const std::string& date_pattern, const std::string& time_pattern) {
  time_format_spec time_layout;
  EXPECT_TRUE(build_time_format_spec(time_layout, date_pattern, time_pattern, false)) << date_pattern << " " << time_pattern;
  return time_layout;
}

TEST(time_format, zero_and_unconvertible_times_render_empty) {
  for (uint64_t raw : {uint64_t{0}, uint64_t{0x8000000000000000ULL}}) {
    const rendered r = render(raw, time_format_spec{});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.date, "");
    EXPECT_EQ(r.time, "");
  }
}

TEST(time_format, default_layout_at_the_unix_epoch) {
  const rendered r = render(vk::filetime_unix_epoch, time_format_spec{});
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(r.date, "1970-01-01");
  EXPECT_EQ(r.time, "00:00:00.000");
}

TEST(time_format, built_default_patterns_match_the_all_zero_layout) {
  const rendered built_default = render(sample_time(), built("yyyy-mm-dd", "hh:mm:ss.xxx"));
  const rendered zero = render(sample_time(), time_format_spec{});
  EXPECT_EQ(built_default.date, zero.date);
  EXPECT_EQ(built_default.time, zero.time);
  EXPECT_EQ(zero.date, "2023-06-05");
  EXPECT_EQ(zero.time, "14:03:07.123");
}

struct date_case {
  const char* pattern;
  std::string expected;
};

class date_layout : public testing::TestWithParam<date_case> {};

TEST_P(date_layout, renders_5_june_2023) {
  EXPECT_EQ(render(sample_time(), built(GetParam().pattern, "hh:mm:ss")).date, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    patterns, date_layout,
    testing::Values(date_case{"mm/dd/yyyy", "06/05/2023"}, date_case{"dd-mm-yyyy", "05-06-2023"},
                    // "yy" still prints the whole year.
                    date_case{"yy-mm-dd", "2023-06-05"}, date_case{"mm/dd/yy", "06/05/2023"},
                    date_case{"mmm/dd/yyyy", "Jun/05/2023"}, date_case{"dd mmm yyyy", "05 Jun 2023"},
                    // Year-month-day has no form with a month name.
                    date_case{"yyyy-mmm-dd", ""},
                    // Without a separator a NUL character stands in its place.
                    date_case{"ddmmyyyy", std::string("05\0" "06\0" "2023", 10)},
                    // "/" is searched before "-".
                    date_case{"dd-mm/yyyy", "05/06/2023"}));

// A date pattern lacking a part, or ordering them in no known way, fails; the
// date then renders empty while the time still renders.
TEST(time_format, unusable_date_patterns_fail) {
  for (const char* pattern : {"yyyy-dd-mm", "dd/yyyy/", "mm/dd/..", "mm/yyyy."}) {
    time_format_spec time_layout;
    EXPECT_FALSE(build_time_format_spec(time_layout, pattern, "hh:mm:ss", false)) << pattern;
    const rendered r = render(sample_time(), time_layout);
    EXPECT_EQ(r.date, "") << pattern;
    EXPECT_EQ(r.time.substr(0, 8), "14:03:07") << pattern;
  }
}

struct fraction_case {
  const char* pattern;
  const char* expected;
};

class fraction_layout : public testing::TestWithParam<fraction_case> {};

// The sample time's fraction is 0.1234567 s; digits are cut, never rounded.
TEST_P(fraction_layout, cuts_the_fraction) {
  EXPECT_EQ(render(sample_time(), built("yyyy-mm-dd", GetParam().pattern)).time, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(patterns, fraction_layout,
                         testing::Values(fraction_case{"hh:mm:ss", "14:03:07"},
                                         fraction_case{"hh:mm:ss.xxx", "14:03:07.123"},
                                         fraction_case{"hh:mm:ss.xxxx", "14:03:07.1234"},
                                         fraction_case{"hh:mm:ss.xxxxxx", "14:03:07.123456"},
                                         fraction_case{"hh:mm:ss.xxxxxxx", "14:03:07.1234567"},
                                         fraction_case{"hh:mm:ss.xxxxxxxx", "14:03:07.12345670"},
                                         fraction_case{"hh:mm:ss.xxxxxxxxxx", "14:03:07.123456700"}));

TEST(time_format, one_and_two_digit_fractions_come_from_the_microseconds) {
  time_format_spec time_layout = built("yyyy-mm-dd", "hh:mm:ss");
  const uint64_t almost_next_second = sample_time() - 1234567 + 9999999;
  time_layout.time_flags = 1 << 1;
  EXPECT_EQ(render(almost_next_second, time_layout).time, "14:03:07.9");
  time_layout.time_flags = 2 << 1;
  EXPECT_EQ(render(almost_next_second, time_layout).time, "14:03:07.99");
}

}  // namespace
