#include "app/report_entries.h"

#include "app/mft_states.h"
#include "app/snapshot_gate.h"

bool entry_selected(const indx_options& options, const indx_entry& entry) {
  if (options.slack) return !entry.is_valid;
  return !options.valid || entry.is_valid;
}

namespace {

void write_entry(const indx_entry& entry, const indx_options& options, entry_writer& writer,
                 const source_buffers& buffers, std::optional<entry_source> only) {
  if (only && entry.source != *only) return;
  const bool selected = entry_selected(options, entry);
  const indx_entry* shown = &entry;
  if (options.snapshots != nullptr) shown = options.snapshots->admit(entry, writer.directory(), selected);
  if (!selected || shown == nullptr) return;
  if (options.states != nullptr) writer.set_mft_state(options.states->state_of(*shown));
  writer.write(*shown, buffers.of(entry.offset));
}

}  // namespace

std::span<const uint8_t> source_buffers::of(source_offset offset) const {
  switch (offset.frame) {
    case offset_frame::indx_file: return indx_file;
    case offset_frame::index_root_node: return index_root_node;
    case offset_frame::allocation_stream: return allocation_stream;
    case offset_frame::volume: return carved == nullptr ? std::span<const uint8_t>() : carved->from(offset.bytes);
  }
  return {};
}

void write_selected_entries(const entry_report& report, const indx_options& options, entry_writer& writer,
                            const source_buffers& buffers, std::optional<entry_source> only) {
  if (options.nodups) {
    for (const indx_entry& entry : report.deduplicated()) write_entry(entry, options, writer, buffers, only);
  } else {
    for (const uint32_t number : report.by_time) write_entry(report.entries[number], options, writer, buffers, only);
  }
}
