// Handing a directory's (or an INDX file's) entries to the writer.
#pragma once

#include <optional>
#include <span>

#include "app/indx_options.h"
#include "indx/entry_store.h"
#include "indx/found_record.h"
#include "report/entry_writer.h"

// The selection rule of -valid, -slack and -all: slack set writes slack
// entries only; otherwise valid set writes valid entries only; neither, all.
bool entry_selected(const indx_options& options, const indx_entry& entry);

// The buffers the entries' offsets index, one per offset frame.
// Entries counted from the volume (carved from free clusters or MFT record
// slack) are given their own bytes, from the record they were carved from.
struct source_buffers {
  std::span<const uint8_t> indx_file = {};
  std::span<const uint8_t> index_root_node = {};
  std::span<const uint8_t> allocation_stream = {};
  const kept_records* carved = nullptr;
  std::span<const uint8_t> of(source_offset offset) const;
};

// Writes the selected entries of the report list, or of the de-duplicated
// set with -nodups, each with the raw buffer its offset indexes into.
// With `only`, entries of other sources are left out (a directory merged
// again for its carved entries has written the others already).
void write_selected_entries(const entry_report& report, const indx_options& options, entry_writer& writer,
                            const source_buffers& buffers, std::optional<entry_source> only = std::nullopt);
