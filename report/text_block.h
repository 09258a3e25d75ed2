// The default layout: one block of labelled lines per entry.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "report/report_options.h"
#include "indx/indx_entry.h"

// The block of one entry, ending with an empty line that separates it from
// the next block.  `directory` is put before the name; `record_buffer` is the
// buffer the entry's offset indexes, dumped from with -hexdump.
std::string format_text_block(const indx_entry& entry, const std::string& directory, const report_options& options,
                              std::span<const uint8_t> record_buffer);
