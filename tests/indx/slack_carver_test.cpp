#include "indx/slack_carver.h"

#include <gtest/gtest.h>

#include "byte_builder.h"
#include "indx/node_parser.h"

namespace {

using namespace build;

constexpr size_t name_length_at = ix::ent_key + fn::name_length;
constexpr size_t accessed_at = ix::ent_key + fn::accessed;

// A node with one live entry of directory 5, sequence 5; slack offsets below
// count from its terminating entry.
struct slack_node {
  indx_record record;
  size_t start = 0;
  slack_node() : start((record.add_live(entry_plan{}), record.end_live())) {}
  void plant(size_t at, const entry_plan& plan) { record.plant(start + at, index_entry(plan)); }
  void put(size_t at, uint64_t value, size_t width = 8) { record.put_node(start + at, value, width); }
  std::vector<indx_entry> carve(mft_ref directory_ref = 0) const {
    entry_stores stores;
    EXPECT_TRUE(
        parse_index_node(stores, directory_ref, record.node(), source_offset{offset_frame::indx_file, 5000}, true));
    std::vector<indx_entry> carved;
    for (const uint32_t number : stores.slack) carved.push_back(stores.entries[number]);
    return carved;
  }
};

// Found only by the parent-reference search: no time in the window.
entry_plan timeless(std::string name, mft_ref parent = make_mft_ref(5, 5)) {
  return {.name = std::move(name), .parent = parent, .created = 0, .modified = 0, .changed = 0, .accessed = 0};
}
// Found only by the timestamp search, and, with no access time, only when
// it passes the plausibility test.
entry_plan foreign(std::string name, uint64_t accessed = 0) {
  return {.name = std::move(name), .parent = make_mft_ref(77, 1), .accessed = accessed};
}

TEST(slack_carver, detectors_find_the_directory_reference_and_plausible_times) {
  struct detector_case {
    entry_plan plan;
    mft_ref directory_ref;
    size_t found;
  };
  for (const detector_case& c :
       {detector_case{timeless("old.txt"), 0, 1}, detector_case{timeless("old.txt", make_mft_ref(5, 4)), 0, 0},
        detector_case{timeless("old.txt"), make_mft_ref(5, 0), 1},
        detector_case{timeless("old.txt"), make_mft_ref(0, 5), 1},
        detector_case{timeless("old.txt"), make_mft_ref(9, 0), 0}, detector_case{foreign("moved.txt"), 0, 1}}) {
    slack_node node;
    node.plant(200, c.plan);
    const std::vector<indx_entry> carved = node.carve(c.directory_ref);
    ASSERT_EQ(carved.size(), c.found) << c.plan.name << " " << std::hex << c.directory_ref;
    if (c.found == 0) continue;
    EXPECT_EQ(carved[0].name, c.plan.name);
    EXPECT_FALSE(carved[0].is_valid);
    EXPECT_EQ(carved[0].offset.bytes, 5000 + node.start + 200);
    EXPECT_EQ(carved[0].parent_ref(), c.plan.parent);
  }
}

TEST(slack_carver, timestamp_candidate_must_look_like_an_entry) {
  struct field_case {
    const char* what;
    size_t at;
    uint64_t value;
    size_t width;
    bool carved;
  };
  for (const field_case c :
       {field_case{"intact", 0, 100, 8, true}, field_case{"name length 65", name_length_at, 65, 1, false},
        field_case{"name length 0", name_length_at, 0, 1, false},
        field_case{"namespace 3", name_length_at + 1, 3, 1, true},
        field_case{"namespace 4", name_length_at + 1, 4, 1, false},
        field_case{"reserved word", ix::ent_reserved, 1, 2, false},
        field_case{"entry flags 2", ix::ent_flags, 2, 2, true}, field_case{"entry flags 3", ix::ent_flags, 3, 2, false},
        field_case{"key length 0", ix::ent_key_length, 0, 2, false},
        field_case{"key longer than entry", ix::ent_key_length, 300, 2, false},
        field_case{"entry length 0", ix::ent_length, 0, 2, false},
        field_case{"real size 4097", ix::ent_key + fn::real_size, 4097, 8, false},
        field_case{"real size 4096", ix::ent_key + fn::real_size, 4096, 8, true},
        field_case{"name length 65, access time", accessed_at, june_2023, 8, true},
        // Non-zero times that convert to calendar times but lie outside the
        // window (a size of 4096 read as a time, a date in 2900) do not let
        // an implausible entry in unvalidated.
        field_case{"name length 65, access 4096", accessed_at, 4096, 8, false},
        field_case{"name length 65, access in 2900", accessed_at, vk::filetime_from_date(2900, 1, 1), 8, false},
        field_case{"name length 65, access 2^63 (no calendar time)", accessed_at, 1ULL << 63, 8, false}}) {
    slack_node node;
    node.plant(400, foreign(std::string(64, 'n')));
    node.put(400 + c.at, c.value, c.width);
    if (c.at == accessed_at) node.put(400 + name_length_at, 65, 1);
    EXPECT_EQ(node.carve().size(), c.carved ? 1u : 0u) << c.what;
  }
}

TEST(slack_carver, emission_trims_names_and_drops_what_does_not_fit) {
  struct emission_case {
    std::string name;
    size_t at;
    int units;
    const char* kept;
  };
  const size_t near_end = ix::node_limit_in_record - slack_node().start - 112;  // 112 bytes left
  for (const emission_case& c :
       {emission_case{" \t\r\n ", 400, -1, nullptr}, emission_case{" x.txt\r\n", 400, -1, "x.txt"},
        emission_case{"gone.txt", 400, 0, nullptr}, emission_case{std::string(15, 'z'), near_end, -1, ""},
        emission_case{std::string(16, 'z'), near_end, -1, nullptr}}) {
    slack_node node;
    node.plant(c.at, foreign(c.name, june_2023));  // taken without the plausibility test
    if (c.units >= 0) node.put(c.at + name_length_at, c.units, 1);
    const std::vector<indx_entry> carved = node.carve();
    ASSERT_EQ(carved.size(), c.kept ? 1u : 0u) << c.name.size();
    if (c.kept) {
      EXPECT_EQ(carved[0].name, *c.kept ? c.kept : c.name);
    }
  }
}

TEST(slack_carver, only_times_from_1986_to_2100_are_hits) {
  const uint64_t lo = vk::filetime_from_date(1986, 1, 1), hi = vk::filetime_from_date(2100, 1, 1);
  for (const uint64_t time : {lo - 1, lo, hi, hi + 1}) {
    slack_node node;
    entry_plan plan = foreign("t.txt");
    plan.created = plan.modified = plan.changed = time;
    node.plant(400, plan);
    EXPECT_EQ(node.carve().size(), time == lo || time == hi ? 1u : 0u) << time;
  }
}

TEST(slack_carver, timestamp_candidate_inside_a_parent_candidate_is_refused) {
  // With another parent-reference candidate further on.  "first.txt"'s real size reads as a time, and
  // 24 bytes on its name units convert, so the hit would start an entry at
  // 240, given a name (length 3, "zzz") at 240 + 80.
  slack_node node;
  entry_plan first = timeless("first.txt");
  first.real_size = june_2023;
  node.plant(200, first);
  node.put(200 + ix::ent_key + fn::alloc_size, ~0ULL);
  node.put(240 + name_length_at, 0x007A007A007A0103);  // 3 units, Win32, "zzz"
  node.plant(504, timeless("second.txt"));
  const std::vector<indx_entry> carved = node.carve();
  ASSERT_EQ(carved.size(), 2u);
  EXPECT_EQ(carved[0].name + carved[1].name, "first.txtsecond.txt");
}

TEST(slack_carver, candidate_insertion_rules) {
  struct insertion_case {
    std::set<uint64_t> members;
    uint64_t q;
    bool inserted;
  };
  for (insertion_case c :
       {insertion_case{{}, 100, true}, insertion_case{{0}, 40, true}, insertion_case{{0, 200}, 40, false},
        insertion_case{{0, 200}, 82, false}, insertion_case{{0, 200}, 83, true}, insertion_case{{0, 200}, 118, true},
        insertion_case{{0, 200}, 119, false}, insertion_case{{200}, 200, false}, insertion_case{{200}, 150, false},
        insertion_case{{200}, 118, true}}) {
    const size_t before = c.members.size();
    EXPECT_EQ(insert_candidate(c.members, c.q), c.inserted) << c.q;
    EXPECT_EQ(c.members.size(), before + c.inserted);
  }
}

}  // namespace
