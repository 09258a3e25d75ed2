#include <gtest/gtest.h>

#include <filesystem>

#include "app/directory_streams.h"
#include "byte_builder.h"
#include "disk/memory_disk.h"
#include "ntfs/directory_tree.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"
#include "support/le_reader.h"
#include "test_support.h"

namespace {

using namespace build;
constexpr uint16_t directory_flags = mf::rec_flag_in_use | mf::rec_flag_directory;

// A memory disk that records its reads and fails those touching a range.
class probe_disk : public disk {
 public:
  explicit probe_disk(byte_array bytes) : m_memory(std::move(bytes)) {}
  bool is_open() const override { return true; }
  uint64_t size() const override { return m_memory.size(); }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    reads.emplace_back(offset, buffer.size());
    if (offset < fail_end && offset + buffer.size() > fail_begin) return 0;
    return m_memory.read(offset, buffer);
  }
  std::vector<std::pair<uint64_t, size_t>> reads;
  uint64_t fail_begin = 0, fail_end = 0;

 private:
  memory_disk m_memory;
};

byte_array child(uint64_t entry, uint64_t parent, const std::string& name, bool dir = true) {
  return index_entry({.name = name,
                      .parent = make_mft_ref(parent, 5),
                      .file_ref = make_mft_ref(entry, 1),
                      .flags = dir ? file_attribute::has_index : file_attribute::archive});
}

// Root 5 holds "Docs" (30) and "report.txt" (33); "Docs" holds "Été" (31).
volume small_tree() {
  volume vol;
  vol.set_record(
      5, directory_record(make_mft_ref(5, 5), ".", {child(30, 5, "Docs"), child(33, 5, "report.txt", false)}, 5));
  vol.set_record(30, directory_record(make_mft_ref(5, 5), "Docs", {child(31, 30, "\xC3\x89t\xC3\xA9")}));
  vol.set_record(31, directory_record(make_mft_ref(30, 1), "\xC3\x89t\xC3\xA9", {}));
  vol.set_record(33, file_record({resident(mf::type_file_name, "", file_name({.name = "report.txt"}))}));
  return vol;
}

// Directory 40 has an allocation of 40 clusters at cluster 100 (one INDX
// record per cluster); only records 0 and 35 are in use.
constexpr uint64_t alloc_lcn = 100, alloc_clusters = 40;
volume allocation_tree() {
  volume vol(256, 64);
  vol.set_record(
      40, file_record({resident(mf::type_index_root, "$I30", index_root_value({})),
                       non_resident(mf::type_index_allocation, "$I30", mapping_pairs({{alloc_clusters, alloc_lcn}}), 0,
                                    alloc_clusters * volume::cluster)},
                      1, directory_flags));
  vol.place(alloc_lcn * volume::cluster, indx_record_of({child(50, 40, "first.txt", false)}));
  vol.place((alloc_lcn + 35) * volume::cluster, indx_record_of({child(51, 40, "late.txt", false)}));
  return vol;
}

// The allocation is read in chunks of 32 clusters, then dumped by -rawdump
// as parsed (records fixed up), which the real binary shows.
TEST(directory_index, allocation_is_read_in_chunks_of_32_clusters_and_dumped) {
  const byte_array image = allocation_tree().bytes;
  probe_disk source(image);
  const std::unique_ptr<CNtfs> ntfs = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs);
  source.reads.clear();
  directory_index index;
  ASSERT_TRUE(analyse_directory(*ntfs, indx_options{}, 40, 1, index));
  const std::vector<std::pair<uint64_t, size_t>> expected{{volume::record_at(40), volume::record},
                                                          {alloc_lcn * volume::cluster, 32 * volume::cluster},
                                                          {(alloc_lcn + 32) * volume::cluster, 8 * volume::cluster}};
  EXPECT_EQ(source.reads, expected);
  ASSERT_EQ(index.alloc.size(), alloc_clusters * volume::cluster);
  const uint64_t entry_offset = ix::rec_node_header + indx_record::first_entry;
  std::map<std::string, uint64_t> offsets;
  for (const indx_entry* entry : index.report.in_time_order()) offsets[entry->name] = entry->offset.bytes;
  EXPECT_EQ(offsets["first.txt"], entry_offset);
  EXPECT_EQ(offsets["late.txt"], 35 * volume::cluster + entry_offset);
  EXPECT_EQ(vk::le_reader(index.alloc).u64(35 * volume::cluster + entry_offset), make_mft_ref(51, 1));
  slix_test::temp_dir dir;
  slix_test::write_file(dir.file("vol.img"), image);
  const slix_test::run_result run =
      slix_test::run_slix({"-image", "vol.img", "-mft", "40", "-rawdump"}, "", dir.path());
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(slix_test::read_file(dir.file("<path_corrupted>.indx.alloc.bin")), index.alloc);
  EXPECT_EQ(slix_test::read_file(dir.file("<path_corrupted>.indx.root.bin")), index.root);
}

// An unreadable chunk keeps the positions of the later ones.  Where no chunk
// can be read, the binary removes the empty dump and says so: the image is
// cut before the allocation (409600 of the volume's 1048064 bytes).
TEST(directory_index, unreadable_chunks) {
  probe_disk failing(allocation_tree().bytes);
  failing.fail_begin = (alloc_lcn + 10) * volume::cluster;
  failing.fail_end = failing.fail_begin + volume::cluster;
  const std::unique_ptr<CNtfs> ntfs = CNtfs::open(failing, 0);
  ASSERT_TRUE(ntfs);
  directory_index index;
  ASSERT_TRUE(analyse_directory(*ntfs, indx_options{}, 40, 1, index));
  ASSERT_EQ(index.report.by_time.size(), 1u);
  EXPECT_EQ(index.report.in_time_order()[0]->offset.bytes,
            35 * volume::cluster + ix::rec_node_header + indx_record::first_entry);
  EXPECT_EQ(index.alloc.size(), alloc_clusters * volume::cluster);
  slix_test::temp_dir dir;
  const byte_array image = allocation_tree().bytes;
  slix_test::write_file(dir.file("cut.img"), byte_array(image.begin(), image.begin() + alloc_lcn * volume::cluster));
  const slix_test::run_result run =
      slix_test::run_slix({"-image", "cut.img", "-mft", "40", "-rawdump"}, "", dir.path());
  EXPECT_EQ(run.err,
            "warning: cut.img is 638464 bytes shorter than the NTFS volume it holds; what is missing cannot be read\n"
            "deleted: <path_corrupted>.indx.alloc.bin\n");
  EXPECT_FALSE(std::filesystem::exists(dir.file("<path_corrupted>.indx.alloc.bin")));
  EXPECT_TRUE(std::filesystem::exists(dir.file("<path_corrupted>.indx.root.bin")));
}

TEST(directory_tree, paths_and_broken_chains) {
  volume vol = small_tree();
  vol.set_record(20, directory_record(make_mft_ref(30, 9), "stale", {}));  // parent sequence differs
  vol.set_record(21, directory_record(make_mft_ref(33, 1), "under a file", {}));
  vol.set_record(22, directory_record(make_mft_ref(23, 1), "loop a", {}));
  vol.set_record(23, directory_record(make_mft_ref(22, 1), "loop b", {}));
  memory_disk source(vol.bytes);
  const std::unique_ptr<CNtfs> ntfs = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs);
  uint16_t ref_seq = 0, rec_seq = 0;
  const std::pair<uint64_t, std::string> cases[] = {{5, "\\"},
                                                    {31, "\\Docs\\\xC3\x89t\xC3\xA9\\"},
                                                    {20, "<path corrupted>\\stale\\"},
                                                    {21, "<path corrupted>\\under a file\\"},
                                                    {22, "<path corrupted>\\loop b\\loop a\\"},
                                                    {29, "<path corrupted>\\"}};
  for (const auto& [entry, path] : cases) EXPECT_EQ(path_of_entry(*ntfs, entry, ref_seq, rec_seq), path) << entry;
  path_of_entry(*ntfs, 5, ref_seq, rec_seq);
  EXPECT_EQ(rec_seq, 5);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(*ntfs, dirs));
  EXPECT_EQ(dirs, (std::set<uint64_t>{5, 20, 21, 22, 23, 30, 31}));
  // The scan keeps the directories' records: fetching one again gives what a
  // read of a volume never scanned gives, fixed up.
  EXPECT_EQ(ntfs->caches().directory_records.size(), dirs.size());
  const std::unique_ptr<CNtfs> unscanned = CNtfs::open(source, 0);
  ASSERT_TRUE(unscanned);
  for (const uint64_t dir : dirs) {
    byte_array kept, read;
    bool kept_bad = true, read_bad = true;
    ASSERT_TRUE(ntfs->fetch_record(kept, kept_bad, dir)) << dir;
    ASSERT_TRUE(unscanned->fetch_record(read, read_bad, dir)) << dir;
    EXPECT_EQ(kept, read) << dir;
    EXPECT_EQ(kept_bad, read_bad) << dir;
  }
}

TEST(path_lookup, resolves_segments_from_the_root_and_ends_link_loops) {
  volume vol = small_tree();
  vol.set_record(5,
                 directory_record(make_mft_ref(5, 5), ".",
                                  {child(30, 5, "Docs"), child(33, 5, "report.txt", false), child(34, 5, "loo")}, 5));
  vol.set_record(
      34,
      file_record({resident(mf::type_file_name, "", file_name({.name = "loo", .flags = file_attribute::has_index})),
                   resident(mf::type_index_root, "$I30", index_root_value({})),
                   resident(mf::type_reparse_point, "", link_value(mf::reparse_tag_mount_point, "\\??\\C:\\loo", ""))},
                  1, directory_flags));
  memory_disk source(vol.bytes);
  const std::unique_ptr<CNtfs> ntfs = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs);
  const std::pair<const char*, uint64_t> cases[] = {{"\\", 5},
                                                    {"c:\\", 5},
                                                    {"c:\\docs", 30},
                                                    {"\\DOCS:stream", 30},
                                                    {"docs/\xC3\xA9t\xC3\xA9", 31},
                                                    {"\\Docs\\..\\Docs\\.\\", 30},
                                                    {"x:", 5},
                                                    {"", 0},
                                                    {"\\missing", 0},
                                                    {"\\report.txt\\x", 0},
                                                    {"\\loo\\x", 0}};
  for (const auto& [path, want] : cases) {
    uint64_t entry = 0;
    uint16_t seq = 0;
    EXPECT_EQ(entry_of_path(*ntfs, path, children_of_directories(*ntfs), entry, seq), want != 0) << path;
    if (want != 0) {
      EXPECT_EQ(entry, want) << path;
    }
  }
  EXPECT_TRUE(ntfs->caches().children.count(5));
}

}  // namespace
