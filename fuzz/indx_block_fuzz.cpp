// Arbitrary bytes as an INDX file: record loop, fixups, valid walk, slack
// carving, merge, then every writer layout (text with hex dump, CSV, paired
// CSV, log2timeline, bodyfile, JSON Lines) over the selected entries.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "app/indx_options.h"
#include "app/report_entries.h"
#include "indx/indx_block.h"
#include "report/entry_writer.h"
#include "support/output_sink.h"

namespace {

void write_all_layouts(const entry_report& report, std::span<const uint8_t> block) {
  for (int layout = 0; layout < 6; ++layout) {
    indx_options options;
    options.valid = false;  // every entry, valid and slack
    options.hexdump = layout == 0;
    options.format = layout == 0 ? output_format::text
                     : layout <= 2 ? output_format::csv
                     : layout == 3 ? output_format::log2timeline
                     : layout == 4 ? output_format::bodyfile
                                   : output_format::jsonl;
    options.pair_datetime = layout == 2;
    options.nodups = layout == 4;
    build_time_format_spec(options.time_spec, options.date_format, options.time_format, options.pair_datetime);
    vk::output_sink out(vk::unique_fd(::open("/dev/null", O_WRONLY | O_CLOEXEC)));
    entry_writer writer(options, out);
    write_selected_entries(report, options, writer, source_buffers{.indx_file = block});
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> block(data, data + size);
  entry_report report;
  if (analyse_indx_block(block, 0, UINT64_MAX, report)) write_all_layouts(report, block);
  return 0;
}
