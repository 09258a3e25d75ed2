// Handing a directory's (or an INDX file's) entries to the writer.
#pragma once

#include <span>

#include "app/indx_options.h"
#include "indx/entry_store.h"
#include "report/entry_writer.h"

// The selection rule of -valid, -slack and -all: slack set writes slack
// entries only; otherwise valid set writes valid entries only; neither, all.
bool entry_selected(const indx_options& options, const indx_entry& entry);

// The buffers the entries' offsets index, one per offset frame.
struct source_buffers {
  std::span<const uint8_t> indx_file = {};
  std::span<const uint8_t> index_root_node = {};
  std::span<const uint8_t> allocation_stream = {};
  std::span<const uint8_t> of(offset_frame frame) const;
};

// Writes the selected entries of the report list, or of the de-duplicated
// set with -nodups, each with the raw buffer its offset indexes into.
void write_selected_entries(const entry_report& report, const indx_options& options, entry_writer& writer,
                            const source_buffers& buffers);
