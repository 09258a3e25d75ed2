#include "disk/vmdk_descriptor.h"

#include <charconv>

#include "disk/disk.h"
#include "support/vk_string.h"

namespace {

constexpr std::string_view blanks = " \t\r";

std::string unquote(std::string_view value) {
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
  return std::string(value);
}

// Splits an extent line into words; a double-quoted word may hold blanks.
std::vector<std::string> split_words(std::string_view line) {
  std::vector<std::string> words;
  size_t pos = 0;
  while (true) {
    pos = line.find_first_not_of(blanks, pos);
    if (pos == std::string_view::npos) break;
    size_t end;
    if (line[pos] == '"') {
      end = line.find('"', pos + 1);
      end = end == std::string_view::npos ? line.size() : end + 1;
    } else {
      end = line.find_first_of(blanks, pos);
      if (end == std::string_view::npos) end = line.size();
    }
    words.push_back(unquote(line.substr(pos, end - pos)));
    pos = end;
  }
  return words;
}

bool parse_sectors(std::string_view word, uint64_t& value) {
  const char* end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, value);
  return result.ec == std::errc() && result.ptr == end && value <= max_disk_sectors;
}

bool is_access_word(std::string_view word) {
  return word == "RW" || word == "RDONLY" || word == "NOACCESS";
}

// ACCESS SECTORS TYPE ["FILE" [OFFSET]]
std::string parse_extent_line(std::string_view line, vmdk_descriptor& out) {
  const std::vector<std::string> words = split_words(line);
  // Quoted whole in the message, but cut short: a hostile line may be huge.
  const std::string bad = "has an extent line that cannot be read: " + std::string(line.substr(0, 100));
  if (words.size() < 3) return bad;
  vmdk_extent_line extent;
  extent.type = words[2];
  for (char& c : extent.type) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')) return bad;
  }
  if (!parse_sectors(words[1], extent.sectors)) return bad;
  if (words.size() >= 4) extent.file_name = words[3];
  if (words.size() >= 5 && !parse_sectors(words[4], extent.file_offset_sectors)) return bad;
  if (words[0] == "NOACCESS") return "has a NOACCESS extent, whose data is not available";
  if (extent.type != "ZERO" && extent.file_name.empty()) return bad;
  out.extents.push_back(std::move(extent));
  return "";
}

void parse_key_line(std::string_view line, vmdk_descriptor& out) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return;
  const std::string key = vk::to_lower(vk::trim(line.substr(0, equals), blanks));
  const std::string value = unquote(vk::trim(line.substr(equals + 1), blanks));
  if (key == "cid") out.cid = vk::to_lower(value);
  else if (key == "parentcid") out.parent_cid = vk::to_lower(value);
  else if (key == "parentfilenamehint") out.parent_hint = value;
}

}  // namespace

std::string parse_vmdk_descriptor(std::string_view text, vmdk_descriptor& out) {
  text = text.substr(0, text.find('\0'));
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    const std::string line = vk::trim(text.substr(pos, end - pos), blanks);
    pos = end + 1;
    if (line.empty() || line[0] == '#') continue;
    const size_t first_blank = line.find_first_of(blanks);
    if (first_blank != std::string::npos && is_access_word(line.substr(0, first_blank))) {
      std::string problem = parse_extent_line(line, out);
      if (!problem.empty()) return problem;
    } else {
      parse_key_line(line, out);
    }
  }
  if (out.extents.empty()) return "names no extent";
  if (out.parent_cid.empty()) out.parent_cid = std::string(vmdk_no_parent_cid);
  return "";
}
