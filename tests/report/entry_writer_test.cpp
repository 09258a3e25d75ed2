#include "report/entry_writer.h"

#include <gtest/gtest.h>

#include <vector>

#include "report_test_entries.h"

namespace {

using report_test::capture_output;
using report_test::sample_file;
using report_test::sample_slack_dir;

std::string write_entries(const indx_options& options, const std::vector<indx_entry>& entries,
                          const std::string& directory = "\\docs\\", std::span<const uint8_t> buffer = {}) {
  return capture_output([&](vk::output_sink& out) {
    entry_writer writer(options, out);
    writer.set_directory(directory);
    for (const indx_entry& entry : entries) writer.write(entry, buffer);
  });
}

indx_options csv_options() {
  indx_options options;
  options.format = output_format::csv;
  return options;
}

TEST(text_block, slack_directory_without_offset_with_user_and_host) {
  indx_options options;
  options.show_offset = false;
  options.base10 = true;  // text lines keep both forms whatever -base10 says
  options.username = "alice";
  options.hostname = "ws01";
  indx_entry entry = sample_slack_dir();
  report_test::set_times(entry, 0, 0, 0, 0);
  report_test::set_flags(entry, 0x10000026);
  const std::string block = write_entries(options, {entry}, "");
  EXPECT_NE(block.find("Name:                 old dir\n"), std::string::npos);
  EXPECT_NE(block.find("MFT Entry:            0x000000000077 [119]\n"), std::string::npos);
  EXPECT_NE(block.find("Entry:                slack, deleted\n"), std::string::npos);
  EXPECT_NE(block.find("Modify time:            [UTC]\n"), std::string::npos);
  EXPECT_NE(block.find("Type entry:           0x10000026 [hidden+system+archive+has index]\n"), std::string::npos);
  EXPECT_NE(block.find("Source type:          indx root\nUsername:             alice\n"
                       "Hostname:             ws01\n\n"),
            std::string::npos);
  EXPECT_EQ(block.find("Size"), std::string::npos);
  EXPECT_EQ(block.find("Relative Offset"), std::string::npos);
}

TEST(text_block, slack_entry_with_empty_annotation) {
  indx_entry entry = sample_slack_dir();
  entry.annotation.clear();
  EXPECT_NE(write_entries(indx_options{}, {entry}).find("\nEntry:                slack\n"), std::string::npos);
}

struct missing_case {
  const char* name;
  uint64_t entry_number;
  uint16_t sequence;
  const char* entry_line;
  const char* sequence_line;
  const char* csv_cells;  // mft entry and mft seqnum cells
};

class missing_entry_number : public testing::TestWithParam<missing_case> {};

TEST_P(missing_entry_number, text_and_csv) {
  const missing_case& c = GetParam();
  indx_entry entry = sample_file();
  entry.name = c.name;
  entry.file_ref = make_mft_ref(c.entry_number, c.sequence);
  const std::string block = write_entries(indx_options{}, {entry});
  EXPECT_NE(block.find(std::string("MFT Entry:            ") + c.entry_line + "\n"), std::string::npos) << block;
  EXPECT_NE(block.find(std::string("MFT Sequence:         ") + c.sequence_line + "\n"), std::string::npos);
  EXPECT_NE(write_entries(csv_options(), {entry}).find(std::string("0x00000058,") + c.csv_cells + ",0x00000040,"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    cases, missing_entry_number,
    testing::Values(missing_case{"$MFT", 0, 1, "0x000000000000 [0]", "0x0001 [1]", "0x00000000,0x00000001"},
                    missing_case{"$MFTMirr", 0, 1, "<corrupted>", "0x0001 [1]", ",0x00000001"},
                    missing_case{"file.txt", 9, 0, "<corrupted>", "<corrupted>", ",0x00000000"}));

TEST(text_block, hex_dump_follows_the_block_and_stops_at_the_buffer_end) {
  indx_options options;
  options.hexdump = true;
  std::vector<uint8_t> buffer(0x60, 'x');
  const std::string block = write_entries(options, {sample_file()}, "", buffer);
  EXPECT_NE(block.find("Source type:          indx alloc\n0000 0058:  78 78 78 78 78 78 78 78 " +
                       std::string(25, ' ') + " xxxxxxxx\n\n"),
            std::string::npos)
      << block;
  indx_entry at_start = sample_file();
  at_start.offset = 0;
  EXPECT_TRUE(write_entries(options, {at_start}, "", buffer).ends_with("indx alloc\n\n"));
  indx_entry past_end = sample_file();
  past_end.offset = buffer.size();
  EXPECT_TRUE(write_entries(options, {past_end}, "", buffer).ends_with("indx alloc\n\n"));
}

TEST(csv, pair_datetime_pads_one_column_per_time) {
  indx_options options = csv_options();
  options.pair_datetime = true;
  options.base10 = true;
  options.username = "bob";
  EXPECT_EQ(write_entries(options, {sample_file()}),
            "offset    ,mft entry ,mft seqnum,parent mft,par seqnum,type ,file modify date [UTC] ,"
            "file access date [UTC] ,file mft date [UTC]    ,file create date [UTC] ,dir/file,size resv ,"
            "size used ,flags     ,name                          ,slack comment  ,username\n"
            "88        ,4660      ,3         ,64        ,2         ,valid,2023-06-05 14:03:07.123,"
            "2023-06-05 14:03:17.123,2023-06-05 14:03:27.123,2023-06-05 14:03:37.123,file    ,4096      ,"
            "2748      ,archive   ,\\docs\\report.docx             ,               ,bob\n");
}

TEST(csv, no_whitespace_drops_padding_and_separator_blanks) {
  indx_options options = csv_options();
  options.pair_datetime = true;
  options.no_whitespace = true;
  options.show_offset = false;
  options.csv_separator = " ; ";
  const std::string out = write_entries(options, {sample_file()});
  EXPECT_TRUE(out.starts_with("mft entry;mft seqnum;parent mft;par seqnum;type;file modify date [UTC];")) << out;
  EXPECT_NE(out.find("\n0x00001234;0x00000003;0x00000040;0x00000002;valid;2023-06-05 14:03:07.123;"),
            std::string::npos);
}

TEST(csv, cells_holding_the_separator_or_quotes_are_quoted) {
  indx_entry entry = sample_file();
  entry.name = "a,b \"c\"";
  entry.annotation = "line1\nline2";
  const std::string out = write_entries(csv_options(), {entry}, "");
  EXPECT_TRUE(out.ends_with(",archive,\"a,b \"\"c\"\"\",\"line1\nline2\"\n")) << out;
}

}  // namespace
