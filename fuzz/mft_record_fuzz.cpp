// Arbitrary bytes as one MFT record: signature checks and fixup, the
// attribute walk, resident values ($FILE_NAME, reparse points) and the
// mapping pairs of every non-resident attribute.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ntfs/attributes.h"
#include "ntfs/data_runs.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_record.h"
#include "ntfs/reparse_point.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // The first byte picks the sector size, so both strides are exercised.
  const size_t sector = (data[0] & 1) != 0 ? 4096 : 512;
  std::vector<uint8_t> record(data + 1, data + size);
  fix_up_record(record, sector);
  implied_record_size(record);
  read_record_header(record);
  const std::vector<mft_attribute> attributes = copy_attributes(record, 0);
  for (const mft_attribute& attr : attributes) {
    file_name_value name;
    read_file_name(attr.resident_value(), name);
    link_target target;
    read_link_target(attr.resident_value(), target);
    data_run_list runs;
    decode_mapping_pairs(attr.bytes, runs);
    total_clusters(runs);
    for (uint64_t vcn : {uint64_t{0}, attr.first_vcn(), total_clusters(runs) - 1}) locate_vcn(runs, vcn, 4096);
  }
  stream_runs(attributes, 0xA0, "$I30");
  return 0;
}
