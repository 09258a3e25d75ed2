// -vss all: which entries of the older states the report repeats and which it
// annotates, and, on the Windows-made ntfs.raw of ../shared/testdata (two
// shadow copies), that the live volume's entries are reported once and as a
// run without -vss reports them.
#include <gtest/gtest.h>

#include <sstream>

#include "app/snapshot_gate.h"
#include "disk/shadow_copy_format.h"
#include "test_support.h"

namespace {

indx_entry entry_of(const std::string& name, bool valid, uint64_t modified = 100) {
  indx_entry entry;
  entry.name = name;
  entry.is_valid = valid;
  entry.file_ref = make_mft_ref(64, 1);
  entry.key[file_name_format::modified] = static_cast<uint8_t>(modified);
  return entry;
}

TEST(snapshot_gate, repeats_and_annotations_across_states) {
  enum class outcome { written, left_out, annotated };
  struct step {
    const char* what;
    int state;  // 0 live, then 1, 2... (each a new state)
    indx_entry entry;
    bool selected;
    outcome expected;
  };
  const step steps[] = {
      {"live valid", 0, entry_of("a.txt", true), true, outcome::written},
      {"live slack", 0, entry_of("b.txt", false), true, outcome::written},
      {"live valid, not selected", 0, entry_of("c.txt", true), false, outcome::written},
      {"live valid in another case", 0, entry_of("README.TXT", true), true, outcome::written},
      {"same live entry in a store", 1, entry_of("a.txt", true), true, outcome::left_out},
      {"same entry as slack in a store", 1, entry_of("a.txt", false), true, outcome::left_out},
      {"live in the store, slack on the volume", 1, entry_of("b.txt", true), true, outcome::annotated},
      {"other times, name still live", 1, entry_of("a.txt", true, 7), true, outcome::written},
      {"not reported on the volume", 1, entry_of("c.txt", true), true, outcome::written},
      {"name live in another case", 1, entry_of("readme.txt", true), true, outcome::written},
      {"name gone from the volume", 1, entry_of("gone.txt", true), true, outcome::annotated},
      {"slack of a name gone", 1, entry_of("gone2.txt", false), true, outcome::written},
      {"reported by the newer store", 2, entry_of("gone.txt", true), true, outcome::left_out},
      {"slack copy of the newer store's entry", 2, entry_of("a.txt", false, 7), true, outcome::left_out},
  };
  snapshot_gate gate;
  int state = -1;
  for (const step& s : steps) {
    if (s.state != state) gate.begin_state(s.state == 0);
    state = s.state;
    const indx_entry* shown = gate.admit(s.entry, "\\dir\\", s.selected);
    const outcome got = shown == nullptr ? outcome::left_out
                        : shown->annotation == deleted_since_snapshot ? outcome::annotated
                                                                      : outcome::written;
    EXPECT_EQ(got, s.expected) << s.what;
    if (shown != nullptr) {
      EXPECT_EQ(shown->name, s.entry.name) << s.what;
    }
  }
}

// Copies of the planted fixture (tests/fixtures/vss) with one field damaged:
// a catalog or store header libvshadow refuses ends the reading of every
// store; a store whose block list is damaged is named and the newer ones
// still read (an older store reads through the newer ones' lists, so
// damage to store 2's list reaches store 1 too).
TEST(shadow_copies, damaged_catalog_and_store_are_named) {
  // Where make_vss_volumes.sh put the catalog and the stores' structures.
  constexpr uint64_t catalog = 10 << 20, store_1 = 12 << 20, store_2 = 13 << 20, block_list = vss_format::block_size;
  constexpr uint64_t record_type = vss_format::record_type, next_block = vss_format::record_next,
                     machine_name = vss_format::store_first_name;
  struct damage {
    const char* what;
    uint64_t at;
    uint64_t value;  // written as 8 bytes, or as 1 when below 256
    std::vector<std::string> vss;
    int status;
    std::string message;
  };
  const std::string damaged_catalog =
      "prob reading the shadow copies of {}: their catalog or a store's header is damaged";
  const std::string unreadable_store = "prob reading shadow copy 1 of {}: it holds no NTFS volume\n";
  for (const damage& d : std::vector<damage>{
           {"catalog", catalog + record_type, 9, {"all"}, 255,
            damaged_catalog + "; the live volume alone is analysed\n"},
           {"catalog", catalog + record_type, 9, {"1"}, 255, damaged_catalog + "\n"},
           {"catalog", catalog + record_type, 9, {"list"}, 255, damaged_catalog + "\n"},
           {"store 2 header", store_2 + record_type, 9, {"all"}, 255,
            damaged_catalog + "; the live volume alone is analysed\n"},
           // libvshadow would copy a name of 65535 bytes out of a 16 KiB block.
           {"store 2 machine name", store_2 + machine_name, 0xFFFF, {"list"}, 255, damaged_catalog + "\n"},
           {"store 1 block list", store_1 + block_list + record_type, 9, {"all"}, 255, unreadable_store},
           {"store 1 block list", store_1 + block_list + record_type, 9, {"1"}, 255, unreadable_store},
           {"store 1 block list", store_1 + block_list + record_type, 9, {"2"}, 0, ""},
           {"store 1 block list", store_1 + block_list + record_type, 9, {"list"}, 0, ""},
           // libvshadow would follow a list that names itself next for ever.
           {"store 1 block list naming itself", store_1 + block_list + next_block, store_1 + block_list, {"1"}, 255,
            "prob reading shadow copy 1 of {}: the store cannot be read\n"},
           {"store 2 block list naming itself", store_2 + block_list + next_block, store_2 + block_list, {"all"}, 255,
            "prob reading shadow copy 2 of {}: the store cannot be read\n"
            "prob reading shadow copy 1 of {}: the store cannot be read\n"}}) {
    const slix_test::temp_dir dir;
    const std::string image = dir.file("vol_vss.img");
    std::vector<uint8_t> bytes = slix_test::read_file(slix_test::fixture_workdir() + "/vol_vss.img");
    ASSERT_GT(bytes.size(), d.at + 4);
    for (size_t i = 0; i < (d.value < 256 ? 1 : 8); ++i) bytes[d.at + i] = static_cast<uint8_t>(d.value >> (8 * i));
    slix_test::write_file(image, bytes);
    std::vector<std::string> args{"-image", image, "-path", "\\docs", "-csv", "-quiet", "-vss"};
    args.insert(args.end(), d.vss.begin(), d.vss.end());
    const auto result = slix_test::run_slix(args);
    std::string message = d.message;
    for (size_t name; (name = message.find("{}")) != std::string::npos;) message.replace(name, 2, image);
    EXPECT_EQ(result.status, d.status) << d.what << " -vss " << d.vss[0];
    EXPECT_EQ(result.err, message) << d.what << " -vss " << d.vss[0];
    const bool live_read = d.vss[0] == "all" || d.status == 0;
    EXPECT_EQ(result.out.find("notes.txt") != std::string::npos, live_read && d.vss[0] != "list") << d.what;
  }
}

// Drops the banner and the command line, which name the source.
std::string without_header(const std::string& out) {
  const size_t second = out.find('\n', out.find('\n') + 1);
  return second == std::string::npos ? out : out.substr(second + 1);
}

// Every container serves the stores alike: qemu-img's copies of the planted
// volume give the raw volume's reports, the stores' included.
TEST(shadow_copies, every_container_reads_the_stores_as_the_raw_volume) {
  if (!slix_test::have_tool("qemu-img")) GTEST_SKIP() << "qemu-img is not installed";
  const slix_test::temp_dir dir;
  const std::string raw = slix_test::fixture_workdir() + "/vol_vss.img";
  const std::vector<std::vector<std::string>> option_sets = {
      {"-vss", "list"}, {"-vss", "all", "-all", "-csv"}, {"-vss", "2", "-path", "\\docs", "-bodyfile"}};
  for (const auto& [format, option] : std::vector<std::pair<std::string, std::string>>{
           {"qcow2", "-image"}, {"vpc", "-image"}, {"vhdx", "-image"}, {"vmdk", "-vmdk"}}) {
    const std::string copy = dir.file("vol_vss." + format);
    int status = 0;
    slix_test::shell("qemu-img convert -f raw -O " + format + " '" + raw + "' '" + copy + "'", &status);
    ASSERT_EQ(status, 0) << format;
    for (const auto& options : option_sets) {
      std::vector<std::string> from_copy{option, copy, "-quiet"}, from_raw{"-image", raw, "-quiet"};
      from_copy.insert(from_copy.end(), options.begin(), options.end());
      from_raw.insert(from_raw.end(), options.begin(), options.end());
      const auto a = slix_test::run_slix(from_copy), b = slix_test::run_slix(from_raw);
      EXPECT_EQ(a.status, b.status) << format << " " << options[1];
      EXPECT_EQ(a.err, b.err) << format << " " << options[1];
      EXPECT_EQ(without_header(a.out), without_header(b.out)) << format << " " << options[1];
      EXPECT_NE(b.out.find(options[1] == "list" ? "store 2:" : "notes.txt"), std::string::npos) << options[1];
    }
  }
}

// The CSV rows of a report, without the banner and the column header.
std::vector<std::string> csv_rows(const std::string& report) {
  std::vector<std::string> rows;
  std::istringstream in(report);
  for (std::string line; std::getline(in, line);)
    if (line.rfind("0x", 0) == 0) rows.push_back(line);
  return rows;
}

TEST(shadow_copies_windows, live_volume_reported_once_and_as_without_vss) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  const std::string disk = slix_test::shared_workdir() + "/ntfs.raw";
  const std::vector<std::string> whole{"-image", disk, "-offset", "0x100000", "-all", "-csv", "-quiet"};
  std::vector<std::string> with_stores = whole;
  with_stores.insert(with_stores.end(), {"-vss", "all"});
  const auto plain = slix_test::run_slix(whole);
  const auto every = slix_test::run_slix(with_stores);
  ASSERT_EQ(plain.status, 0) << plain.err;
  ASSERT_EQ(every.status, 0) << every.err;
  std::vector<std::string> live;
  size_t from_stores = 0;
  for (const std::string& row : csv_rows(every.out)) {
    if (row.size() > 5 && row.compare(row.size() - 5, 5, ",live") == 0) {
      live.push_back(row.substr(0, row.size() - 5));
    } else {
      ++from_stores;
    }
  }
  EXPECT_EQ(live, csv_rows(plain.out));
  EXPECT_GT(from_stores, 0u);
}

// Each store holds the file made just before it was taken, live; the volume
// holds neither.
TEST(shadow_copies_windows, each_store_holds_its_own_file_live) {
  SLIX_REQUIRE_SHARED_TESTDATA();
  const std::string disk = slix_test::shared_workdir() + "/ntfs.raw";
  for (const char* store : {"", "1", "2"}) {
    std::vector<std::string> args{"-image", disk, "-offset", "0x100000", "-mft", "5", "-csv", "-quiet"};
    if (*store != '\0') args.insert(args.end(), {"-vss", store});
    const auto result = slix_test::run_slix(args);
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char* file : {"1", "2"}) {
      const bool listed = result.out.find(",valid,") != std::string::npos &&
                          result.out.find("\\shadow_" + std::string(file) + ".txt,") != std::string::npos;
      EXPECT_EQ(listed, std::string(store) == file) << "store \"" << store << "\", shadow_" << file;
    }
  }
}

}  // namespace
