#include <gtest/gtest.h>

#include "ntfs/attributes.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_record.h"
#include "ntfs/multi_sector.h"
#include "ntfs/reparse_point.h"
#include "ntfs_builder.h"
#include "support/le_reader.h"

namespace {

using namespace ntfs_build;

byte_array sample_record(size_t size = 1024) {
  return file_record({resident(0x30, "", file_name(make_mft_ref(5, 5), "report.txt")),
                      non_resident(0x80, "", mapping_pairs({{3, 20}}), 0, 3 * 4096)},
                     7, 1, size);
}

uint16_t word_at(const byte_array& rec, size_t off) { return vk::le_reader(rec).u16(off); }

TEST(RecordFixup, RestoresEveryProtectedWord) {
  byte_array rec = sample_record();
  ASSERT_EQ(word_at(rec, 510), 0x0101);
  EXPECT_EQ(fix_up_record(rec, 512), record_kind::file);
  EXPECT_EQ(word_at(rec, 510), 0);
  EXPECT_EQ(word_at(rec, 1022), 0);
  EXPECT_EQ(read_record_header(rec).sequence, 7);
}

TEST(RecordFixup, TornRecordIsRepairedWithoutComparison) {
  byte_array rec = sample_record();
  put(rec, 510, 0xBEEF, 2);  // a sector written after the others
  EXPECT_EQ(fix_up_record(rec, 512), record_kind::file);
  EXPECT_EQ(word_at(rec, 510), 0);
}

TEST(RecordFixup, StrideIs512UnlessTheCountSaysSectorSize) {
  EXPECT_EQ(fixup_stride(4096, 9, 4096), 512u);  // what Windows and mkntfs write on 4K sectors
  EXPECT_EQ(fixup_stride(4096, 2, 4096), 4096u);
  EXPECT_EQ(fixup_stride(1024, 3, 512), 512u);
  byte_array rec = sample_record(4096);
  EXPECT_EQ(fix_up_record(rec, 4096), record_kind::file);
  for (size_t block = 1; block <= 8; ++block) EXPECT_EQ(word_at(rec, block * 512 - 2), 0) << block;
}

TEST(RecordFixup, SignaturesAndHeaderChecks) {
  struct change {
    const char* what;
    size_t off;
    uint64_t value;
    size_t width;
    record_kind kind;
  };
  for (const change& c : {change{"usa offset 0x2A", 4, 0x2A, 2, record_kind::invalid},
                          change{"count 10", 6, 10, 2, record_kind::invalid},
                          change{"first attribute 0x49", 20, 0x49, 2, record_kind::invalid},
                          change{"BAAD", 0, 0x44414142, 4, record_kind::baad},
                          change{"INDX", 0, 0x58444E49, 4, record_kind::indx},
                          change{"zeros", 0, 0, 4, record_kind::invalid}}) {
    SCOPED_TRACE(c.what);
    byte_array rec = sample_record();
    put(rec, c.off, c.value, c.width);
    const byte_array before = rec;
    EXPECT_EQ(fix_up_record(rec, 512), c.kind);
    if (c.kind != record_kind::indx) {
      EXPECT_EQ(rec, before);
    }
  }
}

TEST(RecordFixup, CountOfOneLeavesTheRecordUnchanged) {
  byte_array rec = sample_record();
  put(rec, 6, 1, 2);
  const byte_array before = rec;
  EXPECT_EQ(fix_up_record(rec, 512), record_kind::file);
  EXPECT_EQ(rec, before);
  EXPECT_EQ(implied_record_size(rec), 0u);
  put(rec, 6, 9, 2);
  EXPECT_EQ(implied_record_size(rec), 4096u);
}

TEST(AttributeWalk, ReadsNamesValuesAndStopsAtTheEnd) {
  byte_array rec = sample_record();
  fix_up_record(rec, 512);
  const auto attributes = copy_attributes(rec, 42);
  ASSERT_EQ(attributes.size(), 2u);
  EXPECT_EQ(attributes[0].type, 0x30u);
  EXPECT_EQ(attributes[1].record_entry, 42u);
  file_name_value name;
  ASSERT_TRUE(read_file_name(attributes[0].resident_value(), name));
  EXPECT_EQ(name.name, "report.txt");
  EXPECT_EQ(name.parent_ref, make_mft_ref(5, 5));
  EXPECT_TRUE(attributes[1].resident_value().empty());
  EXPECT_EQ(attributes[1].data_size(), 3u * 4096);
  EXPECT_EQ(stream_runs(attributes, 0x80, "").at(0).lcn, 20);
  EXPECT_EQ(find_attribute(attributes, 0x80, "$I30"), nullptr);
}

TEST(AttributeWalk, DamagedLengthsEndTheWalk) {
  const size_t second = 56 + resident(0x30, "", file_name(5, "report.txt")).size();
  for (uint32_t length : {0u, 8u, 1025u, 2000u}) {
    SCOPED_TRACE(length);
    byte_array rec = sample_record();
    fix_up_record(rec, 512);
    put(rec, second + 4, length, 4);
    EXPECT_EQ(attribute_spans(rec).size(), 1u);
  }
  byte_array rec = sample_record();
  put(rec, 20, 1020, 2);  // first attribute too close to the end for a header
  EXPECT_TRUE(attribute_spans(rec).empty());
}

TEST(ReparsePoint, LinkTargets) {
  auto value = [](uint32_t tag, const std::string& substitute, const std::string& print, uint32_t flags) {
    const size_t buffer = tag == 0xA000000C ? 20 : 16;
    byte_array v(buffer);
    put(v, 0, tag, 4);
    put(v, 8, 0, 2);
    put(v, 10, 2 * substitute.size(), 2);
    put(v, 12, 2 * substitute.size(), 2);
    put(v, 14, 2 * print.size(), 2);
    if (tag == 0xA000000C) put(v, 16, flags, 4);
    put_name(v, buffer, substitute);
    put_name(v, buffer + 2 * substitute.size(), print);
    return v;
  };
  link_target target;
  ASSERT_TRUE(read_link_target(value(0xA0000003, "\\??\\C:\\nested\\a", "C:\\nested\\a", 0), target));
  EXPECT_EQ(target.path, "\\nested\\a");
  EXPECT_FALSE(target.relative);
  ASSERT_TRUE(read_link_target(value(0xA000000C, "..\\x", "..\\x", 1), target));
  EXPECT_EQ(target.path, "..\\x");
  EXPECT_TRUE(target.relative);
  ASSERT_TRUE(read_link_target(value(0xA000000C, "", "D:\\only print", 0), target));
  EXPECT_EQ(target.path, "\\only print");
  EXPECT_FALSE(read_link_target(value(0x80000017, "\\??\\C:\\x", "", 0), target));  // not a link
  byte_array cut = value(0xA0000003, "\\??\\C:\\nested", "", 0);
  cut.resize(30);
  EXPECT_FALSE(read_link_target(cut, target));
}

}  // namespace
