#include "ntfs/attributes.h"

#include <algorithm>

#include "ntfs/mft_format.h"
#include "support/vk_string.h"

void for_each_attribute(std::span<const uint8_t> record,
                        const std::function<void(std::span<const uint8_t>)>& visit) {
  const vk::le_reader reader(record);
  size_t offset = reader.u16(mft_format::rec_first_attribute);
  while (reader.ok()) {
    const uint32_t type = reader.u32(offset + mft_format::attr_type);
    if (!reader.ok() || type == mft_format::attr_end_marker) break;
    const uint32_t length = reader.u32(offset + mft_format::attr_length);
    if (!reader.ok() || length < mft_format::attr_header_min || length > record.size()) break;
    if (!reader.has(offset, length)) break;
    visit(record.subspan(offset, length));
    offset += length;
  }
}

std::vector<std::span<const uint8_t>> attribute_spans(std::span<const uint8_t> record) {
  std::vector<std::span<const uint8_t>> spans;
  for_each_attribute(record, [&spans](std::span<const uint8_t> attribute) { spans.push_back(attribute); });
  return spans;
}

mft_attribute make_attribute(std::span<const uint8_t> attribute, uint64_t record_entry) {
  mft_attribute attr;
  const vk::le_reader reader(attribute);
  attr.record_entry = record_entry;
  attr.type = reader.u32(mft_format::attr_type);
  attr.id = reader.u16(mft_format::attr_id);
  attr.non_resident = reader.u8(mft_format::attr_non_resident) != 0;
  const size_t name_units = reader.u8(mft_format::attr_name_length);
  const size_t name_offset = reader.u16(mft_format::attr_name_offset);
  if (name_units > 0 && reader.has(name_offset, 2 * name_units)) {
    attr.name = vk::utf16le_to_utf8(attribute.subspan(name_offset), name_units);
  }
  attr.bytes.assign(attribute.begin(), attribute.end());
  return attr;
}

std::vector<mft_attribute> copy_attributes(std::span<const uint8_t> record, uint64_t record_entry) {
  std::vector<mft_attribute> attributes;
  for (const auto& span : attribute_spans(record)) attributes.push_back(make_attribute(span, record_entry));
  return attributes;
}

std::span<const uint8_t> resident_value_of(std::span<const uint8_t> attribute) {
  const vk::le_reader reader(attribute);
  if (reader.u8(mft_format::attr_non_resident) != 0) return {};
  const size_t length = reader.u32(mft_format::attr_value_length);
  const size_t offset = reader.u16(mft_format::attr_value_offset);
  if (!reader.ok() || !reader.has(offset, length)) return {};
  return attribute.subspan(offset, length);
}

uint64_t mft_attribute::first_vcn() const {
  return non_resident ? vk::le_reader(bytes).u64(mft_format::attr_first_vcn) : 0;
}

uint64_t mft_attribute::data_size() const {
  return non_resident ? vk::le_reader(bytes).u64(mft_format::attr_data_size) : 0;
}

const mft_attribute* find_attribute(const std::vector<mft_attribute>& attributes, uint32_t type,
                                    std::string_view name) {
  for (const mft_attribute& attr : attributes) {
    if (attr.type == type && attr.name == name) return &attr;
  }
  return nullptr;
}

data_run_list stream_runs(const std::vector<mft_attribute>& attributes, uint32_t type, std::string_view name) {
  std::vector<const mft_attribute*> instances;
  for (const mft_attribute& attr : attributes) {
    if (attr.type == type && attr.name == name && attr.non_resident) instances.push_back(&attr);
  }
  std::stable_sort(instances.begin(), instances.end(),
                   [](const mft_attribute* a, const mft_attribute* b) { return a->first_vcn() < b->first_vcn(); });
  data_run_list runs;
  for (const mft_attribute* attr : instances) decode_mapping_pairs(attr->bytes, runs);
  return runs;
}
