#include <gtest/gtest.h>

#include <filesystem>

#include "disk/memory_disk.h"
#include "app/directory_streams.h"
#include "ntfs/directory_tree.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"
#include "ntfs_builder.h"
#include "support/le_reader.h"
#include "test_support.h"

namespace {

using namespace ntfs_build;

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
  return index_entry(make_mft_ref(entry, 1), file_name(make_mft_ref(parent, 5), name, dir ? 0x10000000 : 0x20));
}

// Root 5 holds "Docs" (30) and "report.txt" (33); "Docs" holds "Été" (31).
volume small_tree() {
  volume vol;
  vol.set_record(5, directory_record(make_mft_ref(5, 5), ".", {child(30, 5, "Docs"), child(33, 5, "report.txt", false)}, 5));
  vol.set_record(30, directory_record(make_mft_ref(5, 5), "Docs", {child(31, 30, "\xC3\x89t\xC3\xA9")}));
  vol.set_record(31, directory_record(make_mft_ref(30, 1), "\xC3\x89t\xC3\xA9", {}));
  vol.set_record(33, file_record({resident(0x30, "", file_name(make_mft_ref(5, 5), "report.txt"))}));
  return vol;
}

TEST(DirectoryIndex, RootEntriesIndexTheRootBuffer) {
  memory_disk source(small_tree().bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  directory_index index;
  ASSERT_TRUE(analyse_directory(ntfs, indx_options{}, 5, 5, index));
  EXPECT_TRUE(index.alloc.empty());
  ASSERT_EQ(index.report.by_time.size(), 2u);
  for (const auto& [time, entry] : index.report.by_time) {
    EXPECT_TRUE(entry.is_valid);
    EXPECT_EQ(entry.attr_type, 0x90u);
    EXPECT_EQ(vk::le_reader(index.root).u64(entry.offset.bytes), entry.file_ref) << entry.name;
  }
  EXPECT_EQ(index.stores.valid.size(), 2u);
  EXPECT_FALSE(analyse_directory(ntfs, indx_options{}, 33, 1, index));  // a file has no $I30
  EXPECT_TRUE(index.root.empty());
}

// Directory 40 has an allocation of 40 clusters at cluster 100 (one INDX
// record per cluster); only records 0 and 35 are in use.
volume allocation_tree() {
  volume vol(256, 64);
  vol.set_record(40, file_record({resident(0x90, "$I30", index_root_value({})),
                                  non_resident(0xA0, "$I30", mapping_pairs({{40, 100}}), 0, 40 * 4096)},
                                 1, 3));
  vol.place(100 * 4096, indx_record({child(50, 40, "first.txt", false)}));
  vol.place(135 * 4096, indx_record({child(51, 40, "late.txt", false)}));
  return vol;
}

TEST(DirectoryIndex, AllocationIsReadInChunksOf32Clusters) {
  probe_disk source(allocation_tree().bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  source.reads.clear();
  directory_index index;
  ASSERT_TRUE(analyse_directory(ntfs, indx_options{}, 40, 1, index));
  const std::vector<std::pair<uint64_t, size_t>> expected{{4 * 4096 + 40 * 1024, 1024},
                                                          {100 * 4096, 32 * 4096},
                                                          {132 * 4096, 8 * 4096}};
  EXPECT_EQ(source.reads, expected);
  ASSERT_EQ(index.alloc.size(), 40u * 4096);
  std::map<std::string, uint64_t> offsets;
  for (const auto& [time, entry] : index.report.by_time) offsets[entry.name] = entry.offset.bytes;
  EXPECT_EQ(offsets["first.txt"], 64u);
  EXPECT_EQ(offsets["late.txt"], 35u * 4096 + 64);
  EXPECT_EQ(vk::le_reader(index.alloc).u64(35 * 4096 + 64), make_mft_ref(51, 1));
}

TEST(DirectoryIndex, UnreadableChunkKeepsLaterPositions) {
  probe_disk source(allocation_tree().bytes);
  source.fail_begin = 110 * 4096;
  source.fail_end = 111 * 4096;
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  directory_index index;
  ASSERT_TRUE(analyse_directory(ntfs, indx_options{}, 40, 1, index));
  ASSERT_EQ(index.report.by_time.size(), 1u);
  EXPECT_EQ(index.report.by_time.begin()->second.offset.bytes, 35u * 4096 + 64);
  EXPECT_EQ(index.alloc.size(), 40u * 4096);
}

TEST(DirectoryIndex, RawDumpsAndTheEmptyOneRemoved) {
  slix_test::temp_dir dir;
  probe_disk source(allocation_tree().bytes);
  source.fail_begin = 100 * 4096;
  source.fail_end = 140 * 4096;
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  indx_options options;
  options.raw_dump = true;
  options.dump_base_name = dir.path() + "/c:\\my dir,x";
  directory_index index;
  testing::internal::CaptureStderr();
  analyse_directory(ntfs, options, 40, 1, index);
  const std::string err = testing::internal::GetCapturedStderr();
  const std::string alloc_name = dir.path() + "/c..my_dir.x.indx.alloc.bin";
  EXPECT_EQ(err, "deleted: " + alloc_name + "\n");
  EXPECT_FALSE(std::filesystem::exists(alloc_name));
  EXPECT_EQ(slix_test::read_file(dir.path() + "/c..my_dir.x.indx.root.bin"), index.root);
  // A readable allocation is dumped as parsed: records fixed up.
  probe_disk readable(allocation_tree().bytes);
  std::unique_ptr<CNtfs> whole_volume = CNtfs::open(readable, 0);
  ASSERT_TRUE(whole_volume);
  CNtfs& whole = *whole_volume;
  analyse_directory(whole, options, 40, 1, index);
  EXPECT_EQ(slix_test::read_file(alloc_name), index.alloc);
}

TEST(DirectoryTree, PathsAndBrokenChains) {
  volume vol = small_tree();
  vol.set_record(20, directory_record(make_mft_ref(30, 9), "stale", {}));  // parent sequence differs
  vol.set_record(21, directory_record(make_mft_ref(33, 1), "under a file", {}));
  vol.set_record(22, directory_record(make_mft_ref(23, 1), "loop a", {}));
  vol.set_record(23, directory_record(make_mft_ref(22, 1), "loop b", {}));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  uint16_t ref_seq = 0, rec_seq = 0;
  const std::pair<uint64_t, std::string> cases[] = {
      {5, "\\"},
      {31, "\\Docs\\\xC3\x89t\xC3\xA9\\"},
      {20, "<path corrupted>\\stale\\"},
      {21, "<path corrupted>\\under a file\\"},
      {22, "<path corrupted>\\loop b\\loop a\\"},
      {29, "<path corrupted>\\"}};
  for (const auto& [entry, path] : cases) EXPECT_EQ(path_of_entry(ntfs, entry, ref_seq, rec_seq), path) << entry;
  path_of_entry(ntfs, 5, ref_seq, rec_seq);
  EXPECT_EQ(rec_seq, 5);
  std::set<uint64_t> dirs;
  ASSERT_TRUE(list_directories(ntfs, dirs));
  EXPECT_EQ(dirs, (std::set<uint64_t>{5, 20, 21, 22, 23, 30, 31}));
}

TEST(PathLookup, ResolvesSegmentsFromTheRoot) {
  volume vol = small_tree();
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  const std::pair<const char*, uint64_t> found[] = {
      {"\\", 5},         {"c:\\", 5},           {"c:\\docs", 30},      {"\\DOCS:stream", 30},
      {"docs/\xC3\xA9t\xC3\xA9", 31}, {"\\Docs\\..\\Docs\\.\\", 30}};
  for (const auto& [path, want] : found) {
    uint64_t entry = 0;
    uint16_t seq = 0;
    ASSERT_TRUE(entry_of_path(ntfs, path, children_of_directories(ntfs), entry, seq)) << path;
    EXPECT_EQ(entry, want) << path;
  }
  EXPECT_TRUE(ntfs.caches().children.count(5));
  for (const char* path : {"", "\\missing", "\\report.txt\\x", "x:"}) {
    uint64_t entry = 0;
    uint16_t seq = 0;
    EXPECT_EQ(entry_of_path(ntfs, path, children_of_directories(ntfs), entry, seq), std::string(path) == "x:") << path;
  }
}

TEST(PathLookup, LinkLoopsEnd) {
  volume vol = small_tree();
  byte_array reparse(16);
  put(reparse, 0, 0xA0000003, 4);
  put(reparse, 10, 2 * 10, 2);
  put_name(reparse, 16, "\\??\\C:\\loo");
  vol.set_record(5, directory_record(make_mft_ref(5, 5), ".", {child(34, 5, "loo")}, 5));
  vol.set_record(34, file_record({resident(0x30, "", file_name(make_mft_ref(5, 5), "loo", 0x10000000)),
                                  resident(0x90, "$I30", index_root_value({})), resident(0xC0, "", reparse)},
                                 1, 3));
  memory_disk source(vol.bytes);
  std::unique_ptr<CNtfs> ntfs_volume = CNtfs::open(source, 0);
  ASSERT_TRUE(ntfs_volume);
  CNtfs& ntfs = *ntfs_volume;
  uint64_t entry = 0;
  uint16_t seq = 0;
  EXPECT_FALSE(entry_of_path(ntfs, "\\loo\\x", children_of_directories(ntfs), entry, seq));
}

}  // namespace
