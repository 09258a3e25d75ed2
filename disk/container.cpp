#include "disk/container.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "disk/boot_sector_format.h"
#include "disk/container_format.h"
#include "disk/image_disk.h"
#include "disk/image_formats.h"
#include "support/le_reader.h"

namespace cf = container_format;

namespace {

struct signature_rule {
  std::string_view signature;
  container_kind kind;
};

// Signatures at the first byte of the file, tested in this order.
constexpr std::array<signature_rule, 13> leading_signatures{{
    {cf::ewf1_signature, container_kind::ewf}, {cf::ewf2_signature, container_kind::ewf},
    {cf::lvf1_signature, container_kind::logical_evidence}, {cf::lvf2_signature, container_kind::logical_evidence},
    {cf::vhdx_signature, container_kind::vhdx}, {cf::vhd_cookie, container_kind::vhd},
    {cf::qcow_magic, container_kind::qcow}, {cf::xz_magic, container_kind::xz},
    {cf::sevenzip_magic, container_kind::sevenzip}, {cf::zip_magic, container_kind::zip},
    {cf::aff_magic, container_kind::aff}, {cf::luks_magic, container_kind::luks}, {cf::gzip_magic, container_kind::gzip},
}};

// The container a file is, from its first bytes and, for a fixed VHD (whose
// only signature is its footer), its last 512.
container_kind identify(std::span<const uint8_t> head, std::span<const uint8_t> tail) {
  for (const signature_rule& rule : leading_signatures)
    if (vk::has_bytes_at(head, 0, rule.signature)) return rule.kind;
  if (vk::has_bytes_at(head, boot_sector_format::oem_name, cf::bitlocker_oem)) return container_kind::bitlocker;
  if (vk::has_bytes_at(tail, 0, cf::vhd_cookie)) return container_kind::vhd;
  return container_kind::raw;
}

bool is_refused(container_kind kind) {
  switch (kind) {
    case container_kind::gzip:
    case container_kind::xz:
    case container_kind::zip:
    case container_kind::sevenzip:
    case container_kind::aff:
    case container_kind::luks:
    case container_kind::bitlocker:
    case container_kind::logical_evidence: return true;
    default: return false;
  }
}

container_opening fault_of(container_fault_kind kind, container_kind format, const std::string& path,
                           int error = 0) {
  container_opening opening;
  opening.fault = {kind, format, path, {}, {}, 0, error};
  return opening;
}

}  // namespace

const char* container_name(container_kind kind) {
  switch (kind) {
    case container_kind::raw: return "raw";
    case container_kind::split_raw: return "split raw";
    case container_kind::ewf: return "E01 (EWF)";
    case container_kind::vhd: return "VHD";
    case container_kind::vhdx: return "VHDX";
    case container_kind::qcow: return "QCOW";
    case container_kind::gzip: return "gzip";
    case container_kind::xz: return "xz";
    case container_kind::zip: return "zip";
    case container_kind::sevenzip: return "7z";
    case container_kind::aff: return "AFF";
    case container_kind::luks: return "LUKS";
    case container_kind::bitlocker: return "BitLocker";
    case container_kind::logical_evidence: return "L01 (logical evidence)";
  }
  return "unknown";
}

format_library library_of(container_kind kind) {
  switch (kind) {
    case container_kind::ewf: return {"libewf", "libewf-dev"};
    case container_kind::vhd:
    case container_kind::vhdx: return {"libvhdi", "libvhdi-dev"};
    case container_kind::qcow: return {"libqcow", "libqcow-dev"};
    default: return {"", ""};
  }
}

container_opening library_missing(const std::string& path, container_kind kind) {
  return fault_of(container_fault_kind::library_missing, kind, path);
}

container_opening open_container(const std::string& path) {
  auto raw = std::make_unique<image_disk>(path);
  if (!raw->is_open()) return fault_of(container_fault_kind::cannot_open, container_kind::raw, path, raw->open_error());
  std::array<uint8_t, cf::probe_size> head{}, tail{};
  const size_t head_bytes = raw->read(0, head);
  const bool has_tail = raw->size() >= cf::vhd_footer_size;
  const size_t tail_bytes = has_tail ? raw->read(raw->size() - cf::vhd_footer_size, tail) : 0;
  const container_kind kind = identify(std::span(head).first(head_bytes), std::span(tail).first(tail_bytes));
  if (is_refused(kind)) return fault_of(container_fault_kind::refused_format, kind, path);
  if (kind != container_kind::raw || is_split_raw_name(path)) raw.reset();  // its readers open it again
  switch (kind) {
    case container_kind::ewf: return open_ewf_image(path);
    case container_kind::vhd:
    case container_kind::vhdx: return open_vhdi_image(path, kind);
    case container_kind::qcow: return open_qcow_image(path);
    default: break;
  }
  if (is_split_raw_name(path)) return open_split_raw_image(path);
  container_opening opening;
  opening.source = std::move(raw);
  return opening;
}
