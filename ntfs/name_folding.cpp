#include "ntfs/name_folding.h"

#include "ntfs/attributes.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/stream_reader.h"
#include "support/le_reader.h"
#include "support/vk_string.h"

namespace {

constexpr uint64_t upcase_entry = 10;
constexpr size_t upcase_units = 65536;

char16_t fixed_fold(char16_t c) {
  if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) return c + 0x20;
  if (c >= 0x100 && c <= 0x17F) {
    if (c == 0x178) return 0xFF;
    // Latin Extended-A pairs capital and small letter, capital first, with
    // the pairing shifting by one between U+0138 and U+0149 and after U+0178.
    const bool odd_pairs = (c >= 0x139 && c <= 0x148) || c >= 0x179;
    const bool capital = odd_pairs ? (c & 1) != 0 : (c & 1) == 0;
    const bool unpaired = c == 0x130 || c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F;
    return capital && !unpaired ? c + 1 : c;
  }
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 0x20;
  if (c >= 0x410 && c <= 0x42F) return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  return c;
}

}  // namespace

std::u16string name_folding::fold(std::string_view name) const {
  std::u16string units = vk::utf8_to_utf16(name);
  for (char16_t& c : units) c = m_upcase.empty() ? fixed_fold(c) : m_upcase[c];
  return units;
}

name_folding folding_of_volume(CNtfs& volume) {
  mft_record record;
  if (!load_mft_record(volume, upcase_entry, record)) return {};
  const mft_attribute* data = find_attribute(record.attributes, mft_format::type_data, "");
  if (data == nullptr) return {};
  const byte_array bytes = attribute_value(volume, *data, upcase_units * 2);
  if (bytes.size() != upcase_units * 2) return {};
  const vk::le_reader reader(bytes);
  std::vector<char16_t> table(upcase_units);
  for (size_t i = 0; i < upcase_units; ++i) table[i] = static_cast<char16_t>(reader.u16(2 * i));
  return name_folding(std::move(table));
}
