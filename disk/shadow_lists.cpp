#include "disk/shadow_lists.h"

#include <algorithm>

#include "disk/shadow_copy_format.h"
#include "support/le_reader.h"

namespace {

namespace vf = vss_format;

// Follows the chain of blocks from `first`, calling `visit(offset)` on each;
// false when a block lies outside the volume or cannot be read, when `visit`
// refuses one, or when the chain loops (Brent's method, in constant memory)
// or holds more blocks than the volume has room for.
template <typename Visit>
bool walk_chain(disk& source, uint64_t volume_offset, uint64_t volume_size, uint64_t first, Visit&& visit) {
  const uint64_t most_blocks = volume_size / vf::block_size;
  uint64_t tortoise = first, power = 1, since = 0, count = 0;
  for (uint64_t at = first; at != 0;) {
    if (at > volume_size || volume_size - at < vf::block_size || ++count > most_blocks) return false;
    std::array<uint8_t, vf::record_header_size> head{};
    if (!source.read_exact(volume_offset + at, head) || !visit(at)) return false;
    at = vk::le_reader(head).u64(vf::record_next);
    if (at == tortoise) return false;
    if (++since == power) {
      tortoise = at;
      power *= 2;
      since = 0;
    }
  }
  return true;
}

shadow_store_lists lists_of_entry(const vk::le_reader& entry) {
  shadow_store_lists store;
  for (size_t i = 0; i < store.guid.size(); ++i) store.guid[i] = entry.u8(vf::locations_store_guid + i);
  store.header = entry.u64(vf::locations_store_header);
  store.first_blocks = {entry.u64(vf::locations_block_list), entry.u64(vf::locations_range_list),
                        entry.u64(vf::locations_bitmap), entry.u64(vf::locations_previous_bitmap)};
  return store;
}

}  // namespace

std::optional<std::vector<shadow_store_lists>> read_store_lists(disk& source, uint64_t volume_offset,
                                                                uint64_t volume_size) {
  std::array<uint8_t, vf::record_header_size> header{};
  if (volume_size < vf::volume_header_at + header.size() ||
      !source.read_exact(volume_offset + vf::volume_header_at, header))
    return std::nullopt;
  std::vector<shadow_store_lists> stores;
  std::vector<uint8_t> block(vf::block_size);
  const auto take_entries = [&](uint64_t at) {
    if (!source.read_exact(volume_offset + at, block)) return false;
    const vk::le_reader entries(block);
    for (size_t entry = vf::record_header_size; entry + vf::catalog_entry_size <= block.size();
         entry += vf::catalog_entry_size) {
      const vk::le_reader one = entries.from(entry);
      if (one.u64(vf::entry_type) == vf::entry_store_locations && stores.size() < max_catalog_stores)
        stores.push_back(lists_of_entry(one));
    }
    return true;
  };
  const uint64_t catalog = vk::le_reader(header).u64(vf::header_catalog_offset);
  if (!walk_chain(source, volume_offset, volume_size, catalog, take_entries)) return std::nullopt;
  return stores;
}

bool store_headers_sound(disk& source, uint64_t volume_offset, uint64_t volume_size,
                         const std::vector<shadow_store_lists>& stores) {
  std::vector<uint8_t> block(vf::block_size);
  for (const shadow_store_lists& store : stores) {
    if (store.header > volume_size || volume_size - store.header < vf::block_size ||
        !source.read_exact(volume_offset + store.header, block))
      return false;
    const vk::le_reader header(block);
    size_t at = vf::store_first_name;
    for (int name = 0; name < 2; ++name) {
      at += vf::name_count_size + header.u16(at);
      if (!header.ok() || at > block.size()) return false;
    }
  }
  return true;
}

bool store_lists_sound(disk& source, uint64_t volume_offset, uint64_t volume_size, const shadow_store_lists& store) {
  return std::all_of(store.first_blocks.begin(), store.first_blocks.end(), [&](uint64_t first) {
    return walk_chain(source, volume_offset, volume_size, first, [](uint64_t) { return true; });
  });
}
