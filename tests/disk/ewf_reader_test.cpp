// slix's E01 reader against libewf: for every E01 fixture, and for copies
// damaged where the reader must notice, both read the same bytes, or slix's
// reader refuses (the set at open, a chunk when read) and libewf reads it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/ewf_reader.h"
#include "test_support.h"

namespace {

std::string unpacked(const std::string& name) { return slix_test::fixture_workdir() + "/" + name; }

struct comparison {
  bool opened = false;        // slix's reader took the set
  uint64_t pieces = 0;        // pieces compared
  uint64_t refused = 0;       // pieces slix's reader would not serve
};

// Reads the whole media through both readers in pieces that straddle chunk
// boundaries and compares them; the default reader (slix's, with libewf
// behind it) must give libewf's bytes everywhere.
comparison compare_readers(const std::string& path) {
  comparison seen;
  container_opening reference = open_ewf_image_with(path, ewf_engine::libewf);
  container_opening own = open_ewf_image_with(path, ewf_engine::slix);
  container_opening both = open_ewf_image_with(path, ewf_engine::automatic);
  EXPECT_EQ(reference.source != nullptr, both.source != nullptr) << path;
  if (!reference.source || !own.source) return seen;
  seen.opened = true;
  EXPECT_EQ(own.source->size(), reference.source->size()) << path;
  const uint64_t size = reference.source->size();
  std::vector<uint8_t> expected(48 * 1024), got(expected.size()), mixed(expected.size());
  for (uint64_t at = 0; at < size; at += expected.size()) {
    const size_t wanted = reference.source->read(at, expected);
    ++seen.pieces;
    EXPECT_EQ(both.source->read(at, mixed), wanted) << path << " at " << at;
    EXPECT_TRUE(std::equal(mixed.begin(), mixed.begin() + static_cast<std::ptrdiff_t>(wanted), expected.begin()))
        << path << " at " << at;
    if (own.source->read(at, got) != wanted) {
      ++seen.refused;
      continue;
    }
    EXPECT_TRUE(std::equal(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(wanted), expected.begin()))
        << path << " at " << at;
  }
  // Reads of 1 MiB, as the MFT is scanned: a chunk slix's reader refuses is
  // read by libewf in the middle of one.
  std::vector<uint8_t> large(1 << 20), large_expected(large.size()), large_mixed(large.size());
  for (uint64_t at = 0; at < size; at += large.size()) {
    const size_t wanted = reference.source->read(at, large_expected);
    EXPECT_EQ(both.source->read(at, large_mixed), wanted) << path << " at " << at;
    EXPECT_TRUE(std::equal(large_mixed.begin(), large_mixed.begin() + static_cast<std::ptrdiff_t>(wanted),
                           large_expected.begin()))
        << path << " at " << at << ", 1 MiB";
    if (own.source->read(at, large) != wanted) continue;
    EXPECT_TRUE(std::equal(large.begin(), large.begin() + static_cast<std::ptrdiff_t>(wanted), large_expected.begin()))
        << path << " at " << at << ", 1 MiB";
  }
  // Small reads again, as records are read after the scan: stored chunks
  // checked whole before are then read in part, straight from the file.
  std::vector<uint8_t> small(1000), small_expected(small.size());
  for (uint64_t at = 333; at < size; at += size / 61 + 4093) {
    const size_t wanted = reference.source->read(at, small_expected);
    if (own.source->read(at, small) != wanted) continue;
    EXPECT_TRUE(std::equal(small.begin(), small.begin() + static_cast<std::ptrdiff_t>(wanted), small_expected.begin()))
        << path << " at " << at << ", read again";
  }
  return seen;
}

TEST(ewf_reader, reads_every_sound_fixture_as_libewf_does) {
  if (!ewf_reader_built()) GTEST_SKIP() << "built without libdeflate: libewf reads every E01 set";
  for (const char* name : {"ntfs-disk.E01", "ntfs-disk-nocomp.E01", "ntfs-multi.E01"}) {
    const comparison seen = compare_readers(unpacked(name));
    EXPECT_TRUE(seen.opened) << name << ": slix's reader refused a set ewfacquire made";
    EXPECT_GT(seen.pieces, 0u) << name;
    EXPECT_EQ(seen.refused, 0u) << name;
  }
}

// The layouts of the writers ewfacquire imitates, stored and deflated, of
// 8,000,000 bytes (the last chunk short): EnCase 2 to 7, linen and FTK
// Imager are read by slix's reader; the original EWF and SMART layouts (a
// 94-byte volume section) and EWFX (an xheader section) are left to libewf.
TEST(ewf_reader, reads_each_writers_layout_as_libewf_does) {
  if (!ewf_reader_built()) GTEST_SKIP() << "built without libdeflate: libewf reads every E01 set";
  if (!slix_test::have_tool("ewfacquire")) GTEST_SKIP() << "ewfacquire (ewf-tools) is absent";
  struct layout {
    const char* format;
    const char* first_segment;  // its extension
    bool read_by_slix;
  };
  const layout layouts[] = {
      {"encase2", ".E01", true}, {"encase4", ".E01", true}, {"encase5", ".E01", true}, {"encase6", ".E01", true},
      {"encase7", ".E01", true}, {"linen6", ".E01", true},  {"ftk", ".E01", true},     {"ewf", ".e01", false},
      {"smart", ".s01", false},  {"ewfx", ".e01", false},
  };
  slix_test::temp_dir tmp;
  const std::string source = unpacked("mbr-130-logical.raw");
  for (const layout& l : layouts) {
    for (const char* compression : {"none", "deflate:best"}) {
      const std::string name = tmp.file(std::string(l.format) + (compression[0] == 'n' ? "-stored" : "-deflate"));
      int status = 0;
      slix_test::shell(std::string("ewfacquire -u -q -f ") + l.format + " -c " + compression +
                           " -B 8000000 -C c -E 1 -e e -D d -N none -t '" + name + "' '" + source + "' >/dev/null 2>&1",
                       &status);
      ASSERT_EQ(status, 0) << l.format << " " << compression;
      const comparison seen = compare_readers(name + l.first_segment);
      EXPECT_EQ(seen.opened, l.read_by_slix) << l.format << " " << compression;
      EXPECT_EQ(seen.refused, 0u) << l.format << " " << compression;
    }
  }
}

TEST(ewf_reader, leaves_damaged_sets_to_libewf) {
  // Truncated, swapped and garbage sets: slix's reader refuses them whole
  // (the segment checks before it keep their messages).
  for (const char* name : {"bad-truncated.E01", "bad-swapped.E01", "bad-garbage.E01", "bad-missing-segment.E01"}) {
    container_opening own = open_ewf_image_with(unpacked(name), ewf_engine::slix);
    EXPECT_EQ(own.source, nullptr) << name;
    compare_readers(unpacked(name));
  }
}

// A copy of ntfs-disk.E01 (or the uncompressed one) with one byte changed
// `from_end` bytes before the end of the first section named `section`, or
// `into` bytes after its descriptor.
struct damage {
  const char* fixture;
  const char* section;
  int64_t offset;  // from the start of the section's data; negative: from its end
  bool refused_at_open;
};

uint64_t section_at(const std::vector<uint8_t>& file, const std::string& type, uint64_t& size) {
  for (uint64_t at = 13; at + 76 <= file.size();) {
    const std::string found(reinterpret_cast<const char*>(&file[at]));
    uint64_t next = 0;
    size = 0;
    for (int i = 7; i >= 0; --i) next = next << 8 | file[at + 16 + i];
    for (int i = 7; i >= 0; --i) size = size << 8 | file[at + 24 + i];
    if (found == type) return at;
    if (next <= at) break;
    at = next;
  }
  ADD_FAILURE() << "no " << type << " section";
  return 0;
}

TEST(ewf_reader, refuses_what_it_cannot_trust) {
  if (!ewf_reader_built()) GTEST_SKIP() << "built without libdeflate: libewf reads every E01 set";
  const damage cases[] = {
      {"ntfs-disk.E01", "sectors", 76 + 100, false},           // inside the first compressed chunk
      {"ntfs-disk.E01", "sectors", -2, false},                 // the last chunk's stream checksum
      {"ntfs-disk-nocomp.E01", "sectors", 76 + 5000, false},   // a stored chunk's bytes
      {"ntfs-disk-nocomp.E01", "sectors", -1, false},          // the last stored chunk's checksum
      {"ntfs-disk.E01", "table", 76 + 24 + 8, true},           // a table entry
      {"ntfs-disk.E01", "table", 76 + 8, true},                // the table's base offset
      {"ntfs-disk.E01", "volume", 76 + 8, true},               // sectors per chunk
      {"ntfs-disk.E01", "sectors", 20, true},                  // the sectors descriptor's size
  };
  slix_test::temp_dir tmp;
  for (const damage& d : cases) {
    std::vector<uint8_t> file = slix_test::read_file(unpacked(d.fixture));
    uint64_t size = 0;
    const uint64_t at = section_at(file, d.section, size);
    const uint64_t target = d.offset >= 0 ? at + static_cast<uint64_t>(d.offset) : at + size - static_cast<uint64_t>(-d.offset);
    ASSERT_LT(target, file.size());
    file[target] ^= 0x5A;
    const std::string path = tmp.file(std::string("damaged-") + d.section + std::to_string(d.offset) + ".E01");
    slix_test::write_file(path, file);
    const comparison seen = compare_readers(path);
    const std::string label = std::string(d.fixture) + " " + d.section + " " + std::to_string(d.offset);
    EXPECT_EQ(!seen.opened, d.refused_at_open) << label;
    if (!d.refused_at_open) {
      // One damaged chunk: the one or two pieces over it.
      EXPECT_TRUE(seen.refused == 1 || seen.refused == 2) << label << ": " << seen.refused << " pieces refused";
    }
  }
}

}  // namespace
