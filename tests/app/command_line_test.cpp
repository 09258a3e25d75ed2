#include <gtest/gtest.h>

#include "app/command_line.h"
#include "app/report_entries.h"

namespace {

TEST(command_line, value_options_consume_name_and_value) {
  arg_list args{"slix", "-out", "r.txt", "-csv"};
  std::string value;
  EXPECT_TRUE(take_value("-out", args, value));
  EXPECT_EQ(value, "r.txt");
  EXPECT_EQ(args, (arg_list{"slix", "-csv"}));
  arg_list last{"slix", "-level"};
  value = "unchanged";
  EXPECT_TRUE(take_value("-level", last, value));  // found, but no value
  EXPECT_EQ(value, "unchanged");
  EXPECT_EQ(last, arg_list{"slix"});
}

TEST(command_line, names_are_case_sensitive_and_whole) {
  arg_list args{"slix", "-CSV", "-csvx"};
  EXPECT_FALSE(take_flag("-csv", args));
  EXPECT_EQ(args.size(), 3u);
}

TEST(command_line, numbers_in_hex_or_decimal) {
  uint64_t v = 0;
  EXPECT_TRUE(parse_number("0x10000", v));
  EXPECT_EQ(v, 0x10000u);
  EXPECT_TRUE(parse_number("65536", v));
  EXPECT_EQ(v, 65536u);
  EXPECT_FALSE(parse_number("0x", v));
  EXPECT_FALSE(parse_number("12k", v));
  EXPECT_FALSE(parse_number("", v));
  EXPECT_FALSE(parse_number("-5", v));
}

// The selection flags are applied in a fixed order, whatever the order on the
// command line; the table gives which entries each combination writes.
struct selection_case {
  arg_list flags;
  bool writes_valid;
  bool writes_slack;
};

class selection : public testing::TestWithParam<selection_case> {};

TEST_P(selection, writes_the_expected_kinds) {
  arg_list args{"slix"};
  args.insert(args.end(), GetParam().flags.begin(), GetParam().flags.end());
  indx_options options;
  read_selection_options(args, options);
  indx_entry valid_entry, slack_entry;
  valid_entry.is_valid = true;
  EXPECT_EQ(entry_selected(options, valid_entry), GetParam().writes_valid);
  EXPECT_EQ(entry_selected(options, slack_entry), GetParam().writes_slack);
}

INSTANTIATE_TEST_SUITE_P(flags, selection,
                         testing::Values(selection_case{{}, true, false}, selection_case{{"-all"}, true, true},
                                         selection_case{{"-valid", "-all"}, true, false},
                                         selection_case{{"-all", "-slack"}, false, true},
                                         selection_case{{"-slack"}, false, true},
                                         selection_case{{"-valid", "-slack"}, false, true},
                                         selection_case{{"-nodups", "-all"}, true, true}));

TEST(command_line, volume_targets) {
  arg_list args{"slix", "-mft", "0x27", "-level", "2", "-path", "c:\\dir"};
  indx_options options;
  read_volume_target_options(args, options);
  EXPECT_EQ(options.target_mft, 0x27u);
  EXPECT_EQ(options.level, 2u);
  EXPECT_EQ(options.target_path, "c:\\dir");
  // A -mft value that is not a number names no entry: the next rule applies.
  arg_list bad{"slix", "-mft", "abc"};
  indx_options fresh;
  read_volume_target_options(bad, fresh);
  EXPECT_FALSE(fresh.target_mft.has_value());
  EXPECT_EQ(bad, arg_list{"slix"});
}

}  // namespace
