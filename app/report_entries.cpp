#include "app/report_entries.h"

bool entry_selected(const indx_options& options, const indx_entry& entry) {
  if (options.slack) return !entry.is_valid;
  return !options.valid || entry.is_valid;
}

namespace {

template <typename Collection>
void write_collection(const Collection& entries, const indx_options& options, entry_writer& writer,
                      const source_buffers& buffers) {
  for (const auto& [key, entry] : entries) {
    if (entry_selected(options, entry)) writer.write(entry, buffers.of(entry.offset.frame));
  }
}

}  // namespace

std::span<const uint8_t> source_buffers::of(offset_frame frame) const {
  switch (frame) {
    case offset_frame::indx_file: return indx_file;
    case offset_frame::index_root_node: return index_root_node;
    case offset_frame::allocation_stream: return allocation_stream;
  }
  return {};
}

void write_selected_entries(const entry_report& report, const indx_options& options, entry_writer& writer,
                            const source_buffers& buffers) {
  if (options.nodups) {
    write_collection(report.dedup, options, writer, buffers);
  } else {
    write_collection(report.by_time, options, writer, buffers);
  }
}
