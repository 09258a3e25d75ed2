// Mapping pairs: how a non-resident attribute maps its virtual clusters
// (VCN, counted from the start of the stream) onto logical clusters of the
// volume (LCN).  Each pair is a header byte whose low nibble gives the width
// of the cluster count and whose high nibble the width of a signed LCN
// delta, followed by those two little-endian fields; a zero header ends the
// list.  A pair without a delta is sparse: it maps no clusters at all.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

struct data_run {
  int64_t lcn = 0;  // first cluster: the running sum of the deltas so far
  uint64_t cluster_count = 0;
  uint64_t first_vcn = 0;
  bool sparse = false;  // no offset field: zeros, no clusters on disk
  // The cluster counts of the list summed through this run, saturated; set
  // by data_run_list::append.
  uint64_t counted_end = 0;
};

// The runs of one stream in the order they were decoded.  A badly
// fragmented stream has hundreds of thousands of runs, so a VCN is found by
// a binary search over the running sums of the counts (never decreasing),
// not by a walk from the first run.
class data_run_list {
 public:
  void append(data_run run);
  size_t size() const { return m_runs.size(); }
  bool empty() const { return m_runs.empty(); }
  const data_run& operator[](size_t index) const { return m_runs[index]; }
  const data_run& at(size_t index) const { return m_runs.at(index); }
  std::vector<data_run>::const_iterator begin() const { return m_runs.begin(); }
  std::vector<data_run>::const_iterator end() const { return m_runs.end(); }
  // The first run whose counted end passes `vcn`, or null.
  const data_run* run_reaching(uint64_t vcn) const;

 private:
  std::vector<data_run> m_runs;
};

// Decodes the mapping pairs of one non-resident attribute (its whole bytes)
// and appends the runs.  The LCN starts at 0 and the VCN at the attribute's
// first VCN.  A pair running past the attribute, or wider than 8 bytes per
// field, ends decoding quietly with the runs so far kept.  False only when
// there is no attribute to decode.
bool decode_mapping_pairs(std::span<const uint8_t> attribute, data_run_list& runs);

// Sum of the cluster counts, saturating instead of wrapping; constant time.
uint64_t total_clusters(const data_run_list& runs);

// Where one VCN lies: its byte position from the volume start, or sparse.
struct vcn_location {
  bool sparse = false;
  uint64_t position = 0;  // meaningful when not sparse
  uint64_t clusters_left = 0;  // clusters of the same run from this VCN on
};

// Finds the run holding `vcn`: with a running last VCN that starts at -1 and
// adds each count, the first run reaching `vcn` holds it.  Nothing when no
// run does, when that run's own first VCN disagrees, or when the position
// would not fit 64 bits.  Logarithmic in the number of runs.
std::optional<vcn_location> locate_vcn(const data_run_list& runs, uint64_t vcn, uint64_t cluster_size);
