#include "indx/entry_store.h"

#include "support/check.h"
#include "support/types.h"
#include "support/vk_string.h"

namespace {

// Width of the parent's number in the key text; every entry number below
// 10^10 fills it exactly, so those keys order by number.
constexpr int key_number_width = 10;
constexpr uint64_t first_wider_number = 10'000'000'000ULL;

uint32_t number_of_next(const std::vector<indx_entry>& entries) {
  SLIX_CHECK(entries.size() < UINT32_MAX);
  return static_cast<uint32_t>(entries.size());
}

}  // namespace

std::string valid_key::text() const {
  std::string key;
  key.reserve(key_number_width + 1 + lower_name.size());
  vk::append_dec(key, parent_entry, key_number_width);
  key += '_';
  key += lower_name;
  return key;
}

bool valid_key::operator<(const valid_key& other) const {
  if (parent_entry < first_wider_number && other.parent_entry < first_wider_number) {
    if (parent_entry != other.parent_entry) return parent_entry < other.parent_entry;
    return lower_name < other.lower_name;
  }
  return text() < other.text();
}

valid_key make_valid_key(mft_ref parent, std::string_view name) { return {mft_entry_of(parent), vk::to_lower(name)}; }

void entry_stores::add_valid(indx_entry&& entry) {
  const auto [slot, added] = valid.try_emplace(make_valid_key(entry.parent_ref(), entry.name), number_of_next(entries));
  if (added) entries.push_back(std::move(entry));
}

void entry_stores::add_slack(indx_entry&& entry) {
  slack.push_back(number_of_next(entries));
  entries.push_back(std::move(entry));
}

void entry_stores::demote_valid_entries() {
  for (const auto& [key, number] : valid) {
    entries[number].is_valid = false;
    slack.push_back(number);
  }
  valid.clear();
}

void entry_stores::take_as_slack(entry_stores& other) {
  other.demote_valid_entries();
  const uint32_t base = number_of_next(entries);
  SLIX_CHECK(other.entries.size() < UINT32_MAX - base);
  for (const uint32_t number : other.slack) slack.push_back(base + number);
  for (indx_entry& entry : other.entries) entries.push_back(std::move(entry));
  other.clear();
}
