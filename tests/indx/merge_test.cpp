#include "indx/merge.h"

#include <gtest/gtest.h>

#include "byte_builder.h"
#include "indx/entry_decode.h"

namespace {

using namespace build;

indx_entry make_entry(const entry_plan& plan, bool valid, uint64_t offset = 0) {
  const std::vector<uint8_t> bytes = index_entry(plan);
  indx_entry entry = decode_entry_fields(vk::le_reader(bytes));
  entry.name = plan.name, entry.is_valid = valid, entry.offset.bytes = offset;
  return entry;
}
void add_valid(entry_stores& stores, const entry_plan& plan) {
  stores.add_valid(make_entry(plan, true));
}
void add_slack(entry_stores& stores, const entry_plan& plan, uint64_t offset = 0) {
  stores.add_slack(make_entry(plan, false, offset));
}
entry_report merged(entry_stores& stores, uint64_t max_plausible_entry = ~0ULL,
                    entry_source source = entry_source::index_allocation) {
  entry_report report;
  // The merge empties the stores: ask first.
  const bool has_entries = !stores.empty();
  EXPECT_EQ(merge_entries(report, stores, source, max_plausible_entry), has_entries);
  return report;
}

TEST(merge, slack_copy_is_compared_with_the_live_entry_of_its_name) {
  struct annotation_case {
    const char* annotation;
    size_t dedup_size;
    void (*change)(entry_plan&);
  };
  for (const annotation_case c :
       {annotation_case{"exists [dup slack entry]", 1, [](entry_plan&) {}},
        annotation_case{"exists [modified [name]]", 1, [](entry_plan& s) { s.name = "FILE.txt"; }},
        annotation_case{"exists [modified [size]]", 1, [](entry_plan& s) { s.real_size = 7; }},
        annotation_case{"modified [m..b]", 2, [](entry_plan& s) { s.modified += 9, s.created += 9; }},
        annotation_case{"modified [..c.] [size]", 2, [](entry_plan& s) { s.changed += 9, s.real_size = 7; }},
        annotation_case{"modified [.a..] [name]", 2, [](entry_plan& s) { s.accessed = 0, s.name = "File.TXT"; }},
        annotation_case{"deleted", 2, [](entry_plan& s) { s.name = "other.txt"; }},
        annotation_case{"exists [deleted]", 1, [](entry_plan& s) { s.parent = make_mft_ref(9, 1); }}}) {
    entry_stores stores;
    add_valid(stores, {});
    entry_plan copy;
    c.change(copy);
    add_slack(stores, copy);
    const entry_report report = merged(stores);
    ASSERT_EQ(report.by_time.size(), 2u);
    EXPECT_EQ(report.in_time_order()[1]->annotation, c.annotation);
    EXPECT_EQ(report.dedup.size(), c.dedup_size) << c.annotation;
  }
}

// A name live in the index root has its stale copies in the INDX records
// compared with it, although the two attributes are merged one after the other.
TEST(merge, slack_copy_of_a_name_live_in_the_other_attribute_is_not_deleted) {
  entry_stores root, allocation;
  add_valid(root, {});
  entry_plan changed;
  changed.changed += 9;
  add_slack(allocation, changed);
  entry_report report;
  ASSERT_TRUE(merge_entries(report, root, entry_source::index_root, ~0ULL));
  ASSERT_TRUE(merge_entries(report, allocation, entry_source::index_allocation, ~0ULL, &root.valid));
  ASSERT_EQ(report.by_time.size(), 2u);
  EXPECT_EQ(report.entries[report.by_time[1]].annotation, "modified [..c.]");
  entry_stores same_allocation;
  add_slack(same_allocation, changed);
  entry_report alone;
  ASSERT_TRUE(merge_entries(alone, same_allocation, entry_source::index_allocation, ~0ULL));
  ASSERT_EQ(alone.by_time.size(), 1u);
  EXPECT_EQ(alone.in_time_order()[0]->annotation, "deleted");
}

TEST(merge, dedup_keeps_a_usable_reference_of_this_directory) {
  // Two slack copies of one file are both reported, and kept once.  The
  // slack store is ordered by parent: the first copy has the lower one.
  struct copy_case {
    bool live;
    mft_ref first;
    uint64_t first_parent;
    mft_ref second;
    uint64_t second_parent;
    bool replaced;
  };
  for (const copy_case c : {copy_case{false, make_mft_ref(40, 0), 5, make_mft_ref(41, 2), 5, true},
                            copy_case{false, make_mft_ref(0, 3), 5, make_mft_ref(41, 2), 5, true},
                            copy_case{false, make_mft_ref(40, 1), 5, make_mft_ref(41, 2), 5, false},
                            copy_case{false, make_mft_ref(40, 0), 5, make_mft_ref(41, 0), 5, false},
                            copy_case{true, make_mft_ref(40, 1), 3, make_mft_ref(41, 2), 5, true},
                            copy_case{true, make_mft_ref(40, 0), 5, make_mft_ref(41, 2), 7, false},
                            copy_case{true, make_mft_ref(40, 0), 3, make_mft_ref(41, 2), 4, false}}) {
    entry_stores stores;
    if (c.live) add_valid(stores, {.name = "live.txt"});  // directory 5
    add_slack(stores, {.parent = make_mft_ref(c.first_parent, 1), .file_ref = c.first}, 100);
    add_slack(stores, {.parent = make_mft_ref(c.second_parent, 1), .file_ref = c.second}, 200);
    const entry_report report = merged(stores);
    EXPECT_EQ(report.by_time.size(), 2u + c.live);
    const std::vector<indx_entry> kept_entries = report.deduplicated();
    ASSERT_EQ(kept_entries.size(), 1u + c.live);
    const indx_entry& kept = kept_entries[0];  // "file.txt" sorts before "live.txt"
    EXPECT_EQ(kept.file_ref, c.replaced ? c.second : c.first) << std::hex << c.first << " " << c.second;
    EXPECT_EQ(kept.offset.bytes, c.replaced ? 200u : 100u);
    EXPECT_EQ(mft_entry_of(kept.parent_ref()), c.first_parent);
  }
}

TEST(merge, stamps_orders_by_modified_time_and_clears_implausible_references) {
  entry_stores stores;
  EXPECT_TRUE(merged(stores).by_time.empty());
  add_valid(stores, {.name = "late.txt", .modified = june_2023 + 50});
  add_valid(stores, {.name = "tie.txt"});
  add_slack(stores, {.name = "tie slack.txt", .file_ref = make_mft_ref(5000, 0)});
  add_slack(stores, {.name = "early.txt", .modified = 0, .file_ref = make_mft_ref(5000, 1)});
  add_slack(stores, {.name = "", .modified = 0});
  std::string order;
  const entry_report report = merged(stores, 1000, entry_source::index_root);
  for (const indx_entry* listed : report.in_time_order()) {
    const indx_entry& entry = *listed;
    order += entry.name + "|";
    EXPECT_EQ(entry.source, entry_source::index_root);
    EXPECT_EQ(entry.mtime_unconvertible, entry.name == "early.txt");
    if (!entry.is_valid) {
      EXPECT_EQ(entry.file_ref, entry.name == "early.txt" ? make_mft_ref(5000, 1) : 0);
    }
  }
  EXPECT_EQ(order, "early.txt|tie.txt|tie slack.txt|late.txt|");
}

}  // namespace
