#include "app/volume_source.h"

#include "disk/image_disk.h"
#include "disk/physical_drive.h"
#include "disk/vmdk.h"
#include "disk/volume_offset.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

using ull = unsigned long long;

std::unique_ptr<disk> open_image(const std::string& file) {
  if (file.empty()) return nullptr;
  auto source = std::make_unique<image_disk>(file);
  if (source->is_open()) return source;
  vk::print_message("invalid image: %s\n", file.c_str());
  return nullptr;
}

std::unique_ptr<disk> open_vmdk(const std::string& list) {
  vmdk_opening opening = open_vmdk_source(list);
  if (!opening.source) vk::print_message("%s", vmdk_fault_lines(opening.fault).c_str());
  return std::move(opening.source);
}

std::unique_ptr<disk> open_drive(const indx_options& options) {
  std::unique_ptr<disk> source = open_drive_source(options.drive_number, options.partition);
  if (source) return source;
  const std::string& shown = options.drive_number.empty() ? options.partition : options.drive_number;
  vk::print_message("problems accessing physical disk #%s, aborting \n", shown.c_str());
  return nullptr;
}

std::unique_ptr<disk> open_named_source(const indx_options& options) {
  if (!options.image_file.empty()) return open_image(options.image_file);
  if (!options.vmdk_list.empty()) return open_vmdk(options.vmdk_list);
  if (!options.drive_number.empty() || !options.partition.empty()) return open_drive(options);
  return nullptr;
}

void report_finding(const offset_finding& finding) {
  const auto offset = static_cast<ull>(finding.offset);
  switch (finding.kind) {
    case offset_finding_kind::requested_outside_image:
    case offset_finding_kind::suggestion_outside_image:
      vk::print_message("volume offset 0x%llx is not within image bounds\n", offset);
      break;
    case offset_finding_kind::no_partitions:
      vk::print_message("couldn't find any partitions on disk\n");
      break;
    case offset_finding_kind::table_questionable:
      vk::print_message("disk is corrupted, partition info questionable\n");
      break;
    case offset_finding_kind::selected_not_ntfs:
      vk::print_message("volume offset selected 0x%llx is not a NTFS partition, but [%s]\n", offset,
                        finding.type_name.c_str());
      break;
    case offset_finding_kind::volume_larger_than_image:
      vk::print_message(
          "volume offset 0x%llx is a NTFS partition, however image size does not encapsulate entire volume\n",
          offset);
      break;
  }
}

// The disk's layout, then the -offset to use, when the request selected no
// NTFS volume.
void report_layout(const volume_offset_check& check) {
  vk::print_message("\n");
  for (const layout_row& row : check.layout)
    vk::print_message("volume offset [ 0x%llx ] : %s\n", static_cast<ull>(row.offset), row.name.c_str());
  vk::print_message("\n");
  if (check.suggestion) {
    vk::print_message("use option [-offset 0x%llx]\n", static_cast<ull>(*check.suggestion));
  } else {
    vk::print_message("prob detecting ntfs partition\n");
  }
}

}  // namespace

// Names and descriptor lines come from the evidence; their control
// characters must not reach the console as terminal commands.
std::string vmdk_fault_lines(const vmdk_fault& fault) {
  const auto shown = [](const std::string& text) { return vk::escape_controls(text); };
  std::string lines;
  switch (fault.kind) {
    case vmdk_fault_kind::none:
      return lines;
    case vmdk_fault_kind::cannot_open:
      if (!fault.reason.empty()) lines += shown(fault.reason) + "\n";
      lines += shown(fault.file) + " can't be opened\n";
      break;
    case vmdk_fault_kind::missing_parent:
      lines += shown(fault.file) + " names parent CID " + shown(fault.parent_cid) + " (\"" + shown(fault.parent_hint) +
               "\"), which is not in the list\n";
      lines += "Child VMDK points to a parent VMDK that doesn't exist, aborting\n";
      break;
    case vmdk_fault_kind::cid_errors:
      lines += "Child VMDK CID errors, aborting\n";
      break;
  }
  return lines + "invalid disk collection of snaps \n";
}

bool open_volume_source(const indx_options& options, std::unique_ptr<disk>& out, uint64_t& volume_offset) {
  out.reset();
  std::unique_ptr<disk> source = open_named_source(options);
  if (!source) return false;
  const std::optional<uint64_t> requested =
      options.offset_given ? std::optional<uint64_t>(options.volume_offset) : std::nullopt;
  const volume_offset_check check = check_volume_offset(*source, requested, options.ignore_image_size);
  for (const offset_finding& finding : check.findings) report_finding(finding);
  if (!check.layout.empty()) report_layout(check);
  if (!check.usable) return false;
  volume_offset = check.offset;
  out = std::move(source);
  return true;
}
