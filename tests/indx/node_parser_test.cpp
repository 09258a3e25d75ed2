#include "indx/node_parser.h"

#include <gtest/gtest.h>

#include "indx_test_builder.h"

namespace {

using indx_test::entry_plan;
using indx_test::record_builder;
namespace fmt = indx_format;

TEST(node_parser, valid_walk_decodes_every_live_entry) {
  record_builder record;
  const size_t first = record.add_live({.name = "Alpha.txt"});
  record.add_live({.name = ""});
  const size_t dir = record.add_live({.name = "Sub", .parent = make_mft_ref(1234, 2)});
  record.put_node(dir + fmt::ent_key + file_name_format::attr_flags, file_attribute::has_index, 4);
  record.add_live({.name = "ALPHA.TXT", .file_ref = make_mft_ref(71, 1)});
  record.end_live();
  entry_stores stores;
  ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 1000}, false));
  ASSERT_EQ(stores.valid.size(), 3u);
  const indx_entry& alpha = stores.valid.at("0000000005_alpha.txt");
  EXPECT_EQ(alpha.file_ref, make_mft_ref(100, 1));  // the second under this key is not stored
  EXPECT_TRUE(alpha.is_valid);
  EXPECT_EQ(alpha.offset.bytes, 1000 + first);
  EXPECT_EQ(alpha.size, 82u + 18);
  EXPECT_FALSE(alpha.is_dir);
  EXPECT_EQ(stores.valid.at("0000000005_<name not present>").name, "<name not present>");
  EXPECT_TRUE(stores.valid.at("0000001234_sub").is_dir);
}

TEST(node_parser, walk_stops_at_the_first_damaged_entry) {
  struct damage {
    const char* what;
    size_t at;
    uint64_t value;
    size_t width;
    size_t kept;
  };
  const size_t second = record_builder::first_entry + 96;  // every entry "x.txt" takes 96 bytes
  const size_t used = fmt::node_used_size;
  for (const damage d :
       {damage{"intact", 0, 0, 0, 3}, damage{"length 513", second + 8, 513, 2, 1},
        damage{"length 1025", second + 8, 1025, 2, 1}, damage{"length 0", second + 8, 0, 2, 1},
        damage{"key length 513", second + 10, 513, 2, 1}, damage{"reference 0", second, 0, 8, 1},
        damage{"last entry", second + 12, 2, 2, 1}, damage{"last, sub-node", second + 12, 3, 2, 1},
        damage{"sub-node", second + 12, 1, 2, 3}, damage{"used 0", used, 0, 4, 0},
        damage{"used 4095", used, 4095, 4, 3}, damage{"used 4096", used, 4096, 4, 0},
        damage{"used ends inside entry 1", used, 60, 4, 1}, damage{"used spans two entries", used, 192, 4, 2}}) {
    record_builder record;
    for (int i = 0; i < 3; ++i) record.add_live({.name = std::string(1, char('a' + i)) + ".txt"});
    record.end_live();
    record.put_node(d.at, d.value, d.width);
    entry_stores stores;
    ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
    EXPECT_EQ(stores.valid.size(), d.kept) << d.what;
  }
}

TEST(node_parser, entry_running_past_the_node_ends_the_walk) {
  record_builder record;
  record.put_node(fmt::node_entries_offset, 3960, 4);
  record.put_node(fmt::node_used_size, 400, 4);
  record.plant(3960, indx_test::entry_bytes({.name = std::string(60, 'x')}));  // 202 bytes, 112 inside
  entry_stores stores;
  ASSERT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_TRUE(stores.empty());
}

TEST(node_parser, unusable_node_returns_false) {
  record_builder record;
  record.add_live({});
  record.end_live();
  entry_stores stores;
  EXPECT_FALSE(parse_index_node(stores, 0, vk::le_reader(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_FALSE(parse_index_node(stores, 0, record.node().sub(0, 15), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(fmt::node_entries_offset, 0xFFFFFFF8, 4);  // -8 as a signed value
  EXPECT_FALSE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(fmt::node_entries_offset, fmt::node_limit_in_record + 1, 4);
  EXPECT_FALSE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  record.put_node(fmt::node_entries_offset, fmt::node_limit_in_record, 4);
  EXPECT_TRUE(parse_index_node(stores, 0, record.node(), source_offset{offset_frame::indx_file, 0}, true));
  EXPECT_TRUE(stores.empty());
}

}  // namespace
