#include "report/timeline_writer.h"

#include <gtest/gtest.h>

#include "report/entry_writer.h"
#include "report_test_entries.h"

namespace {

using report_test::capture_output;
using report_test::sample_file;
using report_test::sample_slack_dir;
using report_test::sample_time;
using report_test::seconds_later;

std::string write_entries(const indx_options& options, const std::vector<indx_entry>& entries) {
  return capture_output([&](vk::output_sink& out) {
    entry_writer writer(options, out);
    writer.set_directory("\\docs\\");
    for (const indx_entry& entry : entries) writer.write(entry, {});
  });
}

indx_options l2t_options() {
  indx_options options;
  options.format = output_format::log2timeline;
  return options;
}

const char* const l2t_header =
    "date,time,timezone,MACB,source,sourcetype,type,user,host,short,desc,version,filename,inode,notes,format,"
    "extra\n";

TEST(log2timeline, equal_times_share_one_row) {
  indx_entry entry = sample_file();
  const uint64_t t = sample_time();
  report_test::set_times(entry, t, t, seconds_later(t, 60), seconds_later(t, 60));
  EXPECT_EQ(write_entries(l2t_options(), {entry}),
            std::string(l2t_header) +
                "2023-06-05,14:03:07.123,UTC,MA..,INDX,NTFS:INDX-valid,Last Modified; Last Access,,,"
                "valid file entry,\\docs\\report.docx (file size: 0x00000abc) (parent inode 0x00000040),2,"
                "\\docs\\report.docx,0x00001234,indx offset: 0x00000058,slix (vornak),\n"
                "2023-06-05,14:04:07.123,UTC,..CB,INDX,NTFS:INDX-valid,MFT Change; Created,,,"
                "valid file entry,\\docs\\report.docx (file size: 0x00000abc) (parent inode 0x00000040),2,"
                "\\docs\\report.docx,0x00001234,indx offset: 0x00000058,slix (vornak),\n");
}

TEST(log2timeline, rows_follow_first_appearance_and_keep_zero_times) {
  indx_entry entry = sample_slack_dir();
  const uint64_t t = sample_time();
  report_test::set_times(entry, seconds_later(t, 5), 0, t, seconds_later(t, 5));
  indx_options options = l2t_options();
  options.pair_datetime = true;
  options.base10 = true;
  options.username = "u";
  options.hostname = "h";
  EXPECT_EQ(write_entries(options, {entry}),
            "date/time,timezone,MACB,source,sourcetype,type,user,host,short,desc,version,filename,inode,notes,"
            "format,extra\n"
            "2023-06-05 14:03:12.123,UTC,M..B,INDX,NTFS:INDX-slack,Last Modified; Created,u,h,slack dir entry,"
            "\\docs\\old dir (parent inode 64),2,\\docs\\old dir,119,indx offset: 416,slix (vornak),deleted\n"
            ",UTC,.A..,INDX,NTFS:INDX-slack,Last Access,u,h,slack dir entry,"
            "\\docs\\old dir (parent inode 64),2,\\docs\\old dir,119,indx offset: 416,slix (vornak),deleted\n"
            "2023-06-05 14:03:07.123,UTC,..C.,INDX,NTFS:INDX-slack,MFT Change,u,h,slack dir entry,"
            "\\docs\\old dir (parent inode 64),2,\\docs\\old dir,119,indx offset: 416,slix (vornak),deleted\n");
}

TEST(log2timeline, header_written_once_and_missing_inode_empty) {
  indx_entry entry = sample_file();
  entry.file_ref = make_mft_ref(0x1234, 0);
  const std::string out = write_entries(l2t_options(), {entry, entry});
  EXPECT_EQ(out.find("date,time,"), 0u);
  EXPECT_EQ(out.find("date,time,", 1), std::string::npos);
  EXPECT_NE(out.find(",\\docs\\report.docx,,indx offset: "), std::string::npos);
}

indx_options bodyfile_options() {
  indx_options options;
  options.format = output_format::bodyfile;
  options.csv_separator = ";";  // never used by the bodyfile
  return options;
}

TEST(bodyfile, header_and_lines) {
  indx_entry file = sample_file();
  file.name = "a|b";
  const uint64_t unix_t = static_cast<uint64_t>(vk::time(sample_time(), vk::type_time::filetime).unix_seconds());
  const std::string t = std::to_string(unix_t);
  EXPECT_EQ(write_entries(bodyfile_options(), {file, sample_slack_dir()}),
            "md5|name|inode|mode as string|uid|gid|size|access time|modify time|mft time|create time\n"
            "0|\\docs\\a;b; indx offset: 0x0058|4660|r/rrwxrwxrwx|0|0|2748|" +
                std::to_string(unix_t + 10) + "|" + t + "|" + std::to_string(unix_t + 20) + "|" +
                std::to_string(unix_t + 30) + "\n" + "0|\\docs\\old dir; indx offset: 0x01a0 (slack)|119|d/drwxrwxrwx|0|0|2748|" +
                std::to_string(unix_t + 10) + "|" + t + "|" + std::to_string(unix_t + 20) + "|" +
                std::to_string(unix_t + 30) + "\n");
}

// Unconvertible times are 0, a time before 1970 is negative, and the inode is
// the entry number even where other layouts show it as missing.
TEST(bodyfile, time_bounds_and_inode) {
  indx_entry entry = sample_file();
  entry.name = "two\nlines";
  entry.file_ref = make_mft_ref(0, 4);
  report_test::set_times(entry, 0, vk::filetime_from_date(1969, 12, 31), 0x8000000000000000ULL, 1);
  indx_options options = bodyfile_options();
  options.show_offset = false;
  options.base10 = true;
  const std::string out = write_entries(options, {entry});
  EXPECT_TRUE(out.ends_with("\n0|\\docs\\two\\x0alines|0|r/rrwxrwxrwx|0|0|2748|-86400|0|0|-11644473600\n")) << out;
  entry.file_ref = make_mft_ref(37, 0);
  EXPECT_NE(write_entries(options, {entry}).find("|37|r/rrwxrwxrwx|"), std::string::npos);
}

}  // namespace
