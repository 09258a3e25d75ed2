#include "app/report_entries.h"

bool entry_selected(const indx_options& options, const indx_entry& entry) {
  if (options.slack) return !entry.is_valid;
  return !options.valid || entry.is_valid;
}

namespace {

template <typename Collection>
void write_collection(const Collection& entries, const indx_options& options, entry_writer& writer,
                      std::span<const uint8_t> root_buffer, std::span<const uint8_t> alloc_buffer) {
  for (const auto& [key, entry] : entries) {
    if (!entry_selected(options, entry)) continue;
    const bool from_root = entry.attr_type == mft_format::type_index_root;
    writer.write(entry, from_root ? root_buffer : alloc_buffer);
  }
}

}  // namespace

void write_selected_entries(const entry_report& report, const indx_options& options, entry_writer& writer,
                            std::span<const uint8_t> root_buffer, std::span<const uint8_t> alloc_buffer) {
  if (options.nodups) {
    write_collection(report.dedup, options, writer, root_buffer, alloc_buffer);
  } else {
    write_collection(report.by_time, options, writer, root_buffer, alloc_buffer);
  }
}
