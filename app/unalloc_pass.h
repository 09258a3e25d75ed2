// -unalloc: the index entries the file system has forgotten.
//
// After the run's directories, the volume's free clusters are searched for
// INDX records (the indexes of deleted directories, and records an index
// gave back when it shrank).  Their entries are all slack: nothing in a free
// cluster is live.  The records are grouped by the directory their entries
// name (the parent reference most of them carry), and each group is merged
// like any directory's entries: against the directory's live entries when it
// still exists, otherwise as the slack of a directory without live entries.
//
// A group's path comes from, in this order: (a) the MFT record of that
// directory, when it is still a directory with that sequence number (or,
// not in use, the next one, as NTFS bumps it when it frees a record); (b) an
// index entry, live, slack or carved, that names the directory: its name,
// then its own parent's path; (c) "\$Orphan\<entry>-<sequence>".  Each entry's
// annotation says which rule gave the path.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "app/dir_queue.h"
#include "app/directory_streams.h"
#include "app/indx_options.h"
#include "app/report_output.h"
#include "indx/free_space_scan.h"

class CNtfs;

class unalloc_pass {
 public:
  unalloc_pass(CNtfs& volume, const indx_options& options) : m_volume(volume), m_options(options) {}

  // What one analysed directory tells the pass: the clusters of its
  // allocation (not searched again), and the directories its entries name.
  void note_directory(const dir_work_item& item, const directory_index& index);

  // Searches the free space and writes every group the selection takes.
  // False, after the message, when nothing could be searched.
  void run(report_output& output);

 private:
  struct name_link {
    mft_ref parent = 0;
    std::string name;
  };
  enum class path_rule { mft_record, index_entry, orphan };
  struct group_path {
    std::string path;
    path_rule rule = path_rule::orphan;
  };

  void note_links(const std::vector<indx_entry>& entries);
  void take_record(found_index_record&& record);
  void write_groups(report_output& output);
  void write_group(mft_ref directory, std::vector<found_index_record>& records, report_output& output);
  group_path path_of(mft_ref directory, int depth);
  bool is_selected(mft_ref directory);
  std::optional<mft_ref> parent_of(mft_ref directory);
  bool record_names_directory(mft_ref directory);

  CNtfs& m_volume;
  const indx_options& m_options;
  cluster_ranges m_read_allocations;
  std::unordered_map<mft_ref, name_link> m_links;
  std::vector<dir_work_item> m_starts;
  std::map<mft_ref, std::vector<found_index_record>> m_groups;
  uint64_t m_held_bytes = 0;
};
