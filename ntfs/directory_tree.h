// The volume's directories as a tree: the whole-volume scan for directory
// records, and the path of a record built from its $FILE_NAME parent chain.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <unordered_set>

class CNtfs;

// The root directory's MFT entry.
constexpr uint64_t root_directory_entry = 5;

// Stands in for the part of a path above a break in the parent chain.
inline constexpr const char* corrupted_path_text = "<path corrupted>";

// Told of the scan's progress: the record index reached and the count.
using scan_progress = std::function<void(uint64_t index, uint64_t count)>;
// Shown every fixed-up "FILE" record of a scan, with its entry number.
using mft_record_visitor = std::function<void(uint64_t entry, std::span<const uint8_t> record)>;

// Reads the $MFT stream in large chunks and shows `visit` every record that
// is a well-formed "FILE" record once fixed up.  The records scanned are the
// $MFT data size over the record size, capped by what the runlist and the
// source can hold; every 37th record index is passed to `progress`.
void scan_mft_records(CNtfs& volume, const mft_record_visitor& visit, const scan_progress& progress = {});

// Scans every MFT record, reading the $MFT stream in large chunks, and
// collects the records whose header flags carry the directory bit (in use or
// not).  The records scanned are the $MFT data size over the record size,
// capped by what the runlist and the source can hold.  Every 37th record
// index is passed to `progress`.  While scanning, what path building needs of
// each directory is cached in the volume.  False when the volume is not
// usable.
// `also`, when given, is shown every record of the same pass.
bool list_directories(CNtfs& volume, std::set<uint64_t>& dirs, const scan_progress& progress = {},
                      const mft_record_visitor& also = {});

// The path of `entry`: "\" for the root, otherwise a backslash and the names
// of the chain from below the root down to the entry, each followed by a
// backslash ("\test_dir\sub\").  Where the chain breaks (a record that
// cannot be read, a parent that is not a directory, a parent whose sequence
// differs from the reference, a loop) "<path corrupted>" stands in for the
// part above the break.  Both sequences are the one stored in the entry's
// record: no index reference is known here.
std::string path_of_entry(CNtfs& volume, uint64_t entry, uint16_t& ref_seq, uint16_t& rec_seq);

// The paths of many entries in turn, each as path_of_entry gives it.  When an
// entry's parent is the entry whose path was built last (a chain of
// directories taken in order of entry numbers), that path is extended by one
// name instead of being built again from the root, so the names of a deep
// chain are escaped once, not once for every directory below them.  Holds the
// last path and the entries it passes through.
class entry_paths {
 public:
  explicit entry_paths(CNtfs& volume) : m_volume(volume) {}
  std::string path_of(uint64_t entry, uint16_t& ref_seq, uint16_t& rec_seq);

 private:
  bool extends_last_path(uint64_t entry) const;

  CNtfs& m_volume;
  bool m_have_last = false;
  uint64_t m_last_entry = 0;
  std::string m_last_path;
  std::unordered_set<uint64_t> m_last_chain;  // the entries whose names the last path holds
};

// What path building knows of the record of `entry` (read once, then
// cached in the volume).
struct record_summary;
const record_summary& record_summary_of(CNtfs& volume, uint64_t entry);

// The sequence number stored in the record of `entry`; false when the record
// cannot be read.
bool record_sequence(CNtfs& volume, uint64_t entry, uint16_t& seq);
