#include "app/volume_source.h"

#include <sys/resource.h>

#include <cerrno>
#include <cstring>

#include "disk/container.h"
#include "disk/physical_drive.h"
#include "disk/vmdk.h"
#include "disk/volume_offset.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

using ull = unsigned long long;

// The system's reason a file could not be opened, as ": reason".  A file
// that does not exist, or that is no file at all (0), keeps the message it
// has always had, without a reason.
std::string open_reason(int error) {
  if (error == 0 || error == ENOENT) return "";
  return std::string(": ") + std::strerror(error);
}

// Containers of many files (split pieces, VMDK extents, E01 segments) may
// need more descriptors than the default soft limit allows; the hard limit
// is the process's to take.
void raise_open_file_limit() {
  struct rlimit limit {};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

std::unique_ptr<disk> open_image(const std::string& file) {
  if (file.empty()) return nullptr;
  container_opening opening = open_container(file);
  if (!opening.source) vk::print_message("%s", container_fault_lines(opening.fault).c_str());
  return std::move(opening.source);
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
  raise_open_file_limit();
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
    case offset_finding_kind::bitlocker_volume:
      vk::print_message("volume offset 0x%llx is a BitLocker-encrypted volume; decrypt it first and give the "
                        "decrypted volume\n",
                        offset);
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

void report_source_warning(const source_warning& warning) {
  const std::string file = vk::escape_controls(warning.file);
  const auto amount = static_cast<unsigned long long>(warning.amount);
  switch (warning.kind) {
    case source_warning_kind::shorter_than_metadata:
      vk::print_message("warning: %s is %llu bytes shorter than its header or descriptor says; the missing bytes "
                        "read as zeros\n",
                        file.c_str(), amount);
      break;
    case source_warning_kind::truncated_segment:
      vk::print_message("warning: %s is truncated: it ends before its last section, and what it no longer holds "
                        "reads as zeros\n",
                        file.c_str());
      break;
    case source_warning_kind::segment_out_of_order:
      vk::print_message("warning: %s holds segment %llu of its set: the segments are read in the order of their "
                        "own numbers\n",
                        file.c_str(), amount);
      break;
  }
}

// What the examiner must do with a format slix names and does not read.
std::string refusal_reason(container_kind kind) {
  switch (kind) {
    case container_kind::gzip:
    case container_kind::xz:
      return std::string("it is ") + container_name(kind) + "-compressed; decompress it first and give the raw image";
    case container_kind::zip:
    case container_kind::sevenzip:
      return std::string("it is a ") + container_name(kind) + " archive; extract the disk image from it first";
    case container_kind::aff:
      return "it is an AFF image, which slix does not read; convert it to a raw image first (affconvert -r)";
    case container_kind::luks:
    case container_kind::bitlocker:
      return std::string("it is a ") + container_name(kind) +
             "-encrypted volume; decrypt it first and give the decrypted volume";
    case container_kind::logical_evidence:
      return "it is an L01 logical evidence file, which holds files rather than a disk; give the disk image";
    default:
      return "its format is not read by slix";
  }
}

// "an E01 (EWF)", "a VHD": the article as the name is spoken.
std::string with_article(const std::string& name) {
  const bool vowel_sound = !name.empty() && std::string_view("AEFHILMNORSX").find(name[0]) != std::string_view::npos;
  return (vowel_sound ? "an " : "a ") + name;
}

std::string chain_text(const std::vector<std::string>& chain) {
  std::string text;
  for (const std::string& name : chain) text += (text.empty() ? "" : " -> ") + vk::escape_controls(name);
  return text;
}

// What a file of a set is called: "the piece x.002", "the segment x.E02".
std::string member_of_set(container_kind kind, const std::string& name) {
  const char* member = kind == container_kind::split_raw ? "piece" : kind == container_kind::ewf ? "segment" : "file";
  return std::string("the ") + member + " " + vk::escape_controls(name);
}

// The image named on the command line keeps its "invalid image" line,
// after a line with the system's reason when there is one to give; a file
// of its set (a piece, a segment) is named with the reason.
std::string cannot_open_lines(const container_fault& fault, const std::string& prefix) {
  const std::string invalid = "invalid image: " + fault.file + "\n";
  if (fault.detail.empty() && open_reason(fault.error).empty()) return invalid;
  const std::string who = fault.detail.empty() ? "it" : member_of_set(fault.format, fault.detail);
  const std::string reason =
      fault.error == 0 ? ": it is neither a regular file nor a block device" : std::string(": ") + std::strerror(fault.error);
  return prefix + who + " cannot be opened" + reason + "\n" + (fault.detail.empty() ? invalid : "");
}

}  // namespace

std::string container_fault_lines(const container_fault& fault) {
  const std::string file = vk::escape_controls(fault.file);
  const std::string format = container_name(fault.format);
  const std::string prefix = "prob reading image " + file + ": ";
  switch (fault.kind) {
    case container_fault_kind::none:
      return "";
    case container_fault_kind::cannot_open:
      return cannot_open_lines(fault, prefix);
    case container_fault_kind::refused_format:
      return prefix + refusal_reason(fault.format) + "\n";
    case container_fault_kind::library_missing:
      return prefix + "it is " + with_article(format) + " image, and this slix was built without " +
             library_of(fault.format).library + "; install " + library_of(fault.format).package + " and rebuild\n";
    case container_fault_kind::unreadable:
      if (!fault.detail.empty()) return prefix + vk::escape_controls(fault.detail) + "\n";
      return prefix + "it has the signature of " + with_article(format) + " image, but its headers cannot be read\n";
    case container_fault_kind::missing_segment:
      return prefix + "the piece " + vk::escape_controls(fault.detail) + " of the set is missing\n";
    case container_fault_kind::listing_failed:
      return prefix + "the folder " + vk::escape_controls(fault.detail) +
             " cannot be listed to check that no piece of the set is missing: " + std::strerror(fault.error) + "\n";
    case container_fault_kind::parent_missing:
      return prefix + "its backing file " + vk::escape_controls(fault.detail) + " cannot be opened (" +
             chain_text(fault.chain) + ")" + open_reason(fault.error) + "\n";
    case container_fault_kind::chain_loop:
      return prefix + "its backing files form a loop: " + chain_text(fault.chain) + "\n";
    case container_fault_kind::chain_too_long:
      return prefix + "its chain of backing files is longer than " + std::to_string(max_backing_chain) +
             " files: " + chain_text(fault.chain) + "\n";
    case container_fault_kind::size_too_large:
      return prefix + "it claims a disk of " + std::to_string(fault.size) + " bytes, more than any real disk\n";
  }
  return "";
}

// Names and descriptor lines come from the evidence; their control
// characters must not reach the console as terminal commands.
std::string vmdk_fault_lines(const vmdk_fault& fault) {
  const auto shown = [](const std::string& text) { return vk::escape_controls(text); };
  std::string lines;
  switch (fault.kind) {
    case vmdk_fault_kind::none:
      return lines;
    case vmdk_fault_kind::cannot_open:
      // The reason line names the file at fault (an extent, or the disk
      // itself); the disk's own line follows unchanged.
      if (!fault.reason.empty()) lines += shown(fault.reason) + open_reason(fault.error) + "\n";
      if (fault.reason.empty() && !open_reason(fault.error).empty())
        lines += shown(fault.file) + open_reason(fault.error) + "\n";
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
  for (const source_warning& warning : source->warnings()) report_source_warning(warning);
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
