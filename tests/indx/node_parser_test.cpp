#include "indx/node_parser.h"

#include <gtest/gtest.h>

#include "byte_builder.h"

namespace {

using namespace build;

TEST(node_parser, valid_walk_decodes_every_live_entry) {
  indx_record record;
  const size_t first = record.add_live({.name = "Alpha.txt"});
  record.add_live({.name = ""});
  const size_t dir = record.add_live({.name = "Sub", .parent = make_mft_ref(1234, 2)});
  record.put_node(dir + ix::ent_key + fn::attr_flags, file_attribute::has_index, 4);
  record.add_live({.name = "ALPHA.TXT", .file_ref = make_mft_ref(71, 1)});
  record.end_live();
  entry_stores stores;
  ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 1000}, false));
  stores.seal();
  ASSERT_EQ(stores.valid.size(), 3u);
  const auto live = [&stores](uint64_t parent, const char* name) -> const indx_entry& {
    return stores.entries[stores.valid.find(make_mft_ref(parent, 1), name, stores.entries).value()];
  };
  const indx_entry& alpha = live(5, "alpha.txt");
  EXPECT_EQ(alpha.file_ref, make_mft_ref(100, 1));  // the second under this key is not stored
  EXPECT_TRUE(alpha.is_valid);
  EXPECT_EQ(alpha.offset.bytes, 1000 + first);
  EXPECT_EQ(alpha.size, 82u + 18);
  EXPECT_FALSE(alpha.is_dir);
  EXPECT_EQ(live(5, "<name not present>").name, "<name not present>");
  EXPECT_TRUE(live(1234, "sub").is_dir);
}

TEST(node_parser, walk_stops_at_the_first_damaged_entry) {
  struct damage {
    const char* what;
    size_t at;
    uint64_t value;
    size_t width;
    size_t kept;
  };
  const size_t second = indx_record::first_entry + index_entry({.name = "a.txt"}).size();
  const size_t third = second + index_entry({.name = "b.txt"}).size();
  const size_t used = ix::node_used_size;
  for (const damage d :
       {damage{"intact", 0, 0, 0, 3}, damage{"length 513", second + ix::ent_length, 513, 2, 1},
        damage{"length 1025", second + ix::ent_length, 1025, 2, 1},
        damage{"length 0", second + ix::ent_length, 0, 2, 1},
        damage{"key length 513", second + ix::ent_key_length, 513, 2, 1},
        damage{"reference 0", second + ix::ent_file_ref, 0, 8, 1},
        damage{"last entry", second + ix::ent_flags, ix::entry_flag_last, 2, 1},
        damage{"last, sub-node", second + ix::ent_flags, ix::entry_flag_last | ix::entry_flag_subnode, 2, 1},
        damage{"sub-node", second + ix::ent_flags, ix::entry_flag_subnode, 2, 3}, damage{"used 0", used, 0, 4, 0},
        damage{"used 4095", used, 4095, 4, 3}, damage{"used 4096", used, 4096, 4, 0},
        damage{"used ends inside entry 1", used, 60, 4, 1}, damage{"used spans two entries", used, 192, 4, 2},
        damage{"used ends where entry 3 starts", used, third, 4, 2},
        damage{"used ends 1 byte into entry 3", used, third + 1, 4, 3}}) {
    indx_record record;
    for (int i = 0; i < 3; ++i) record.add_live({.name = std::string(1, char('a' + i)) + ".txt"});
    record.end_live();
    record.put_node(d.at, d.value, d.width);
    entry_stores stores;
    ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
    EXPECT_EQ(stores.valid.size(), d.kept) << d.what;
  }
}

// Names of up to 255 units make entries of up to 592 bytes: every well-formed
// one is live, and a long entry whose lengths disagree ends the walk.
TEST(node_parser, long_names_are_live_when_well_formed) {
  struct long_case {
    const char* what;
    size_t units;
    size_t at;  // from the long entry's start; 0 leaves it as built
    uint64_t value;
    size_t kept;
  };
  for (const long_case c : {long_case{"215 units (512 bytes)", 215, 0, 0, 3},
                            long_case{"216 units (520 bytes)", 216, 0, 0, 3},
                            long_case{"255 units (592 bytes)", 255, 0, 0, 3},
                            long_case{"length 600 without a sub-node", 255, ix::ent_length, 600, 1},
                            long_case{"length 8 past its key", 230, ix::ent_length, 560, 1},
                            long_case{"key shorter than its name", 255, ix::ent_key_length, 500, 1},
                            long_case{"key longer than its entry", 255, ix::ent_key_length, 584, 1}}) {
    indx_record record;
    record.add_live({.name = "a.txt"});
    const size_t long_entry = record.add_live({.name = std::string(c.units, 'n')});
    record.add_live({.name = "z.txt"});
    record.end_live();
    if (c.at != 0) record.put_node(long_entry + c.at, c.value, 2);
    entry_stores stores;
    ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, false));
    EXPECT_EQ(stores.valid.size(), c.kept) << c.what;
  }
}

TEST(node_parser, entry_running_past_the_node_ends_the_walk) {
  indx_record record;
  const size_t last_112_bytes = ix::node_limit_in_record - 112;
  record.put_node(ix::node_entries_offset, last_112_bytes, 4);
  record.put_node(ix::node_used_size, 400, 4);
  record.plant(last_112_bytes, index_entry({.name = std::string(60, 'x')}));  // an entry of 202 bytes
  entry_stores stores;
  ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_TRUE(stores.empty());
}

TEST(node_parser, unusable_node_returns_false) {
  indx_record record;
  record.add_live(entry_plan{});
  record.end_live();
  entry_stores stores;
  EXPECT_FALSE(parse_index_node(stores, 0, vk::le_reader(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_FALSE(parse_index_node(stores, 0, record.node().sub(0, 15), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(ix::node_entries_offset, 0xFFFFFFF8, 4);  // -8 as a signed value
  EXPECT_FALSE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(ix::node_entries_offset, ix::node_limit_in_record + 1, 4);
  EXPECT_FALSE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(ix::node_entries_offset, ix::node_limit_in_record, 4);
  EXPECT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_TRUE(stores.empty());
}

}  // namespace
