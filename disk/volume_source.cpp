#include "disk/volume_source.h"

#include "disk/image_disk.h"
#include "disk/physical_drive.h"
#include "disk/vmdk.h"
#include "disk/volume_offset.h"
#include "support/message.h"

namespace {

std::unique_ptr<disk> open_named_source(const indx_options& options) {
  if (!options.image_file.empty()) return open_image_source(options.image_file);
  if (!options.vmdk_list.empty()) return open_vmdk_source(options.vmdk_list);
  if (!options.drive_number.empty() || !options.partition.empty())
    return open_drive_source(options.drive_number, options.partition);
  return nullptr;
}

}  // namespace

std::unique_ptr<disk> open_image_source(const std::string& file) {
  if (file.empty()) return nullptr;
  auto source = std::make_unique<image_disk>(file);
  if (source->is_open()) return source;
  vk::print_message("invalid image: %s\n", file.c_str());
  return nullptr;
}

bool open_volume_source(const indx_options& options, std::unique_ptr<disk>& out, uint64_t& volume_offset) {
  out.reset();
  std::unique_ptr<disk> source = open_named_source(options);
  if (!source) return false;
  uint64_t offset = 0;
  bool found_ntfs = false;
  const std::optional<uint64_t> requested =
      options.offset_given ? std::optional<uint64_t>(options.volume_offset) : std::nullopt;
  if (!check_volume_offset(*source, requested, options.ignore_image_size, offset, found_ntfs))
    return false;
  volume_offset = offset;
  out = std::move(source);
  return true;
}
