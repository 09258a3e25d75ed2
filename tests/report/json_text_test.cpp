// JSON strings from any bytes, and the time members of -jsonl lines.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "report/json_text.h"
#include "report/jsonl_writer.h"

namespace {

struct string_case {
  const char* what;
  std::string bytes;
  std::string json;
};

class json_string : public testing::TestWithParam<string_case> {};

TEST_P(json_string, is_exact_and_valid_utf8) {
  std::string out;
  append_json_string(out, GetParam().bytes);
  EXPECT_EQ(out, "\"" + GetParam().json + "\"") << GetParam().what;
}

const std::string fffd = "\xEF\xBF\xBD";

INSTANTIATE_TEST_SUITE_P(
    table, json_string,
    testing::Values(
        string_case{"plain text", "a b.txt", "a b.txt"},
        string_case{"quote and backslash", "q\"\\x", "q\\\"\\\\x"},
        string_case{"the escape form of names passes as text", "tab\\x09", "tab\\\\x09"},
        string_case{"C0 controls", std::string("\x00\x01\t\n\x1f", 5), "\\u0000\\u0001\\u0009\\u000a\\u001f"},
        string_case{"DEL", "\x7f", "\\u007f"},
        string_case{"C1 controls", "\xC2\x80\xC2\x85\xC2\x9F", "\\u0080\\u0085\\u009f"},
        string_case{"line and paragraph separators", "\xE2\x80\xA8\xE2\x80\xA9", "\\u2028\\u2029"},
        string_case{"zero-width, bidirectional and byte-order marks",
                    "\xE2\x80\x8B\xE2\x80\xAE\xE2\x81\xA6\xD8\x9C\xEF\xBB\xBF", "\\u200b\\u202e\\u2066\\u061c\\ufeff"},
        string_case{"two-, three- and four-byte characters", "\xC3\xA9\xE9\xBE\x8D\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF",
                    "\xC3\xA9\xE9\xBE\x8D\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
        string_case{"a lone continuation byte", "a\x80z", "a" + fffd + "z"},
        string_case{"an overlong form", "\xC0\xAF", fffd + fffd},
        string_case{"an encoded surrogate", "\xED\xA0\x80", fffd + fffd + fffd},
        string_case{"past U+10FFFF", "\xF4\x90\x80\x80", fffd + fffd + fffd + fffd},
        string_case{"a sequence cut short", "\xE2\x82" "A\xF0\x9F\x98", fffd + "A" + fffd},
        string_case{"bytes that never start a character", "\xFE\xFF", fffd + fffd},
        // Long plain runs are scanned eight bytes at a time: each byte that
        // ends a run must still be seen wherever it falls in a word.
        string_case{"escapes inside long runs", "Documents and Settings\\All Users\"quoted\" name\x01.txt",
                    "Documents and Settings\\\\All Users\\\"quoted\\\" name\\u0001.txt"},
        string_case{"DEL and a character after eight plain bytes", "abcdefghij\x7f\xC3\xA9klmnopqrstuv",
                    "abcdefghij\\u007f\xC3\xA9klmnopqrstuv"},
        string_case{"a bad byte after a long run", "abcdefghijklmnop\xFFq", "abcdefghijklmnop" + fffd + "q"}),
    [](const testing::TestParamInfo<string_case>& info) { return std::to_string(info.index); });

TEST(json_object, members_in_order_on_one_line) {
  std::string out;
  json_object object(out);
  object.text("a", "x").number("b", UINT64_MAX).signed_number("c", INT64_MIN).boolean("d", false).null("e");
  object.finish();
  EXPECT_EQ(out, "{\"a\":\"x\",\"b\":18446744073709551615,\"c\":-9223372036854775808,\"d\":false,\"e\":null}\n");
}

struct time_case {
  uint64_t filetime;
  bool valid;
  std::string datetime;
  int64_t microseconds;
};

class json_time_members : public testing::TestWithParam<time_case> {};

TEST_P(json_time_members, are_iso_8601_with_seven_digits_or_say_not_a_time) {
  const json_time time = json_time_of(GetParam().filetime);
  EXPECT_EQ(time.valid, GetParam().valid);
  EXPECT_EQ(time.datetime, GetParam().datetime);
  EXPECT_EQ(time.microseconds, GetParam().microseconds);
}

const std::string not_a_time = "1970-01-01T00:00:00.0000000Z";

INSTANTIATE_TEST_SUITE_P(
    table, json_time_members,
    testing::Values(time_case{0x01dd7a7210ad5fb5, true, "2026-11-22T11:10:21.5641013Z", 1795345821564101},
                    time_case{1, true, "1601-01-01T00:00:00.0000001Z", -11644473600000000},
                    time_case{116444735999999999, true, "1969-12-31T23:59:59.9999999Z", -1},
                    time_case{116444736000000000, true, "1970-01-01T00:00:00.0000000Z", 0},
                    time_case{2650467743999999999, true, "9999-12-31T23:59:59.9999999Z", 253402300799999999},
                    time_case{2650467744000000000, false, not_a_time, 0},
                    time_case{0, false, not_a_time, 0},
                    time_case{0x7fffffffffffffff, false, not_a_time, 0},
                    time_case{0x8000000000000000, false, not_a_time, 0},
                    time_case{UINT64_MAX, false, not_a_time, 0}),
    [](const testing::TestParamInfo<time_case>& info) { return std::to_string(info.index); });

}  // namespace
