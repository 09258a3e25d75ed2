#include "indx/entry_store.h"

#include <algorithm>
#include <iterator>

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

std::string valid_key_text(uint64_t parent_entry, std::string_view name) {
  std::string key;
  key.reserve(key_number_width + 1 + name.size());
  vk::append_dec(key, parent_entry, key_number_width);
  key += '_';
  vk::append_lower(key, name);
  return key;
}

int compare_valid_keys(uint64_t parent_a, std::string_view name_a, uint64_t parent_b, std::string_view name_b) {
  if (parent_a < first_wider_number && parent_b < first_wider_number) {
    if (parent_a != parent_b) return parent_a < parent_b ? -1 : 1;
    return vk::compare_lowered(name_a, name_b);
  }
  // A number of eleven digits or more: the texts decide.
  return valid_key_text(parent_a, name_a).compare(valid_key_text(parent_b, name_b));
}

namespace {

int compare_keys_of(const indx_entry& a, const indx_entry& b) {
  return compare_valid_keys(mft_entry_of(a.parent_ref()), a.name, mft_entry_of(b.parent_ref()), b.name);
}

}  // namespace

void valid_store::clear() {
  m_numbers.clear();
  m_sealed = true;
  m_first.reset();
}

void valid_store::add(uint32_t number, const std::vector<indx_entry>& entries) {
  if (!m_first || compare_keys_of(entries[number], entries[*m_first]) < 0) m_first = number;
  m_sealed = m_sealed && (m_numbers.empty() || compare_keys_of(entries[m_numbers.back()], entries[number]) < 0);
  m_numbers.push_back(number);
}

void valid_store::seal(const std::vector<indx_entry>& entries) {
  if (m_sealed) return;
  const auto less = [&entries](uint32_t a, uint32_t b) { return compare_keys_of(entries[a], entries[b]) < 0; };
  // Stable: of the entries under one key the first found comes first, and
  // unique() keeps it.
  std::stable_sort(m_numbers.begin(), m_numbers.end(), less);
  const auto same = [&less](uint32_t a, uint32_t b) { return !less(a, b) && !less(b, a); };
  m_numbers.erase(std::unique(m_numbers.begin(), m_numbers.end(), same), m_numbers.end());
  m_sealed = true;
}

std::optional<uint32_t> valid_store::find(mft_ref parent, std::string_view name,
                                          const std::vector<indx_entry>& entries) const {
  SLIX_CHECK(m_sealed);
  const uint64_t parent_entry = mft_entry_of(parent);
  const auto it = std::lower_bound(m_numbers.begin(), m_numbers.end(), 0, [&](uint32_t number, int) {
    const indx_entry& entry = entries[number];
    return compare_valid_keys(mft_entry_of(entry.parent_ref()), entry.name, parent_entry, name) < 0;
  });
  if (it == m_numbers.end()) return std::nullopt;
  const indx_entry& entry = entries[*it];
  if (compare_valid_keys(mft_entry_of(entry.parent_ref()), entry.name, parent_entry, name) != 0) return std::nullopt;
  return *it;
}

void valid_store::renumber(uint32_t base) {
  for (uint32_t& number : m_numbers) number += base;
  if (m_first) *m_first += base;
}

void valid_store::absorb(valid_store& other, const std::vector<indx_entry>& entries) {
  SLIX_CHECK(m_sealed && other.m_sealed);
  const auto less = [&entries](uint32_t a, uint32_t b) { return compare_keys_of(entries[a], entries[b]) < 0; };
  std::vector<uint32_t> merged;
  merged.reserve(m_numbers.size() + other.m_numbers.size());
  // set_union takes an element present in both from the first range: ours.
  std::set_union(m_numbers.begin(), m_numbers.end(), other.m_numbers.begin(), other.m_numbers.end(),
                 std::back_inserter(merged), less);
  m_numbers = std::move(merged);
  if (other.m_first && (!m_first || less(*other.m_first, *m_first))) m_first = other.m_first;
  other.clear();
}

void entry_stores::add_valid(indx_entry&& entry) {
  const uint32_t number = number_of_next(entries);
  entries.push_back(std::move(entry));
  valid.add(number, entries);
}

void entry_stores::add_slack(indx_entry&& entry) {
  slack.push_back(number_of_next(entries));
  entries.push_back(std::move(entry));
}

void entry_stores::demote_valid_entries() {
  seal();
  for (const uint32_t number : valid.numbers()) {
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
