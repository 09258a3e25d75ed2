// The attributes of an MFT record.  A record holds a sequence of attributes
// from its first-attribute offset on, each beginning with a type and its
// own length; the type 0xFFFFFFFF ends the sequence.  A resident attribute
// carries its value inside the record; a non-resident one carries mapping
// pairs that place its stream in clusters.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ntfs/data_runs.h"
#include "support/le_reader.h"
#include "support/types.h"

// The attributes standing in one record, in order, as views of its bytes.
// The walk stops at the end marker, at a length of 0 or below the smallest
// header, at a length greater than the record, and at an attribute that
// would run past the record's end.
// The same, each shown to `visit` in turn, without a list.
void for_each_attribute(std::span<const uint8_t> record,
                        const std::function<void(std::span<const uint8_t>)>& visit);
std::vector<std::span<const uint8_t>> attribute_spans(std::span<const uint8_t> record);

// The value of a resident attribute given as its whole bytes; empty when
// the attribute is non-resident or its value offset and length do not fit.
std::span<const uint8_t> resident_value_of(std::span<const uint8_t> attribute);

// One attribute copied out of its record, so that it outlives the buffer the
// record was fetched into (extension records are fetched one after another).
struct mft_attribute {
  uint64_t record_entry = 0;  // the record the attribute stands in
  uint32_t type = 0;
  uint16_t id = 0;
  bool non_resident = false;
  std::string name;  // "" for the unnamed stream, "$I30" for a directory index
  byte_array bytes;  // the whole attribute as stored

  std::span<const uint8_t> resident_value() const { return resident_value_of(bytes); }
  // Non-resident fields; 0 when absent.
  uint64_t first_vcn() const;
  uint64_t data_size() const;
};

mft_attribute make_attribute(std::span<const uint8_t> attribute, uint64_t record_entry);

// The attributes of a record buffer, copied.
std::vector<mft_attribute> copy_attributes(std::span<const uint8_t> record, uint64_t record_entry);

// The first attribute of that type and name, or null.
const mft_attribute* find_attribute(const std::vector<mft_attribute>& attributes, uint32_t type,
                                    std::string_view name);

// The runs of one stream whose attribute may be split into several
// instances (a fragmented stream continues in extension records): every
// non-resident instance of that type and name, decoded in order of first
// VCN.
data_run_list stream_runs(const std::vector<mft_attribute>& attributes, uint32_t type, std::string_view name);
