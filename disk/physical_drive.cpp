#include "disk/physical_drive.h"

#include <sys/stat.h>

#include <charconv>
#include <optional>
#include <vector>

#include "disk/image_disk.h"

namespace {

constexpr unsigned max_drive_letters = 26;

std::optional<unsigned> parse_small_number(const std::string& text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || value > 9999) return std::nullopt;
  return value;
}

bool exists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

}  // namespace

std::string drive_device_path(const std::string& drive_number, const std::string& dev_root) {
  const std::optional<unsigned> n = parse_small_number(drive_number);
  if (!n) return "";
  std::vector<std::string> candidates;
  if (*n < max_drive_letters) {
    const char letter = static_cast<char>('a' + *n);
    for (const char* prefix : {"/sd", "/vd", "/xvd"}) candidates.push_back(dev_root + prefix + letter);
  }
  candidates.push_back(dev_root + "/nvme" + std::to_string(*n) + "n1");
  candidates.push_back(dev_root + "/mmcblk" + std::to_string(*n));
  for (const std::string& path : candidates)
    if (exists(path)) return path;
  return "";
}

std::string partition_device_path(const std::string& drive_device, const std::string& partition) {
  const std::optional<unsigned> p = parse_small_number(partition);
  if (!p || *p == 0 || drive_device.empty()) return "";
  const char last = drive_device.back();
  const bool ends_in_digit = last >= '0' && last <= '9';
  return drive_device + (ends_in_digit ? "p" : "") + std::to_string(*p);
}

std::unique_ptr<disk> open_drive_source(const std::string& drive_number, const std::string& partition,
                                        const std::string& dev_root) {
  std::string path;
  if (partition.rfind("/dev/", 0) == 0) {
    path = partition;
  } else {
    path = drive_device_path(drive_number.empty() ? "0" : drive_number, dev_root);
    if (!partition.empty()) path = partition_device_path(path, partition);
  }
  auto source = path.empty() ? nullptr : std::make_unique<image_disk>(path);
  if (source && source->is_open()) return source;
  return nullptr;
}
