// The signatures by which an evidence file announces its container format,
// and where they stand.  slix recognises a container by these bytes, never by
// the file's name (a split raw image, which has no signature, is the one
// exception: it is found by its numbered pieces).
#pragma once

#include <cstddef>
#include <string_view>

namespace container_format {

using namespace std::string_view_literals;

// Expert Witness Format: every segment file opens with its signature, then
// a segment number (u16 at 9).
constexpr std::string_view ewf1_signature = "EVF\x09\x0d\x0a\xff\x00"sv;  // .E01
constexpr std::string_view ewf2_signature = "EVF2\x0d\x0a\x81\x00"sv;  // .Ex01
// Logical evidence files hold files, not a disk.
constexpr std::string_view lvf1_signature = "LVF\x09\x0d\x0a\xff\x00"sv;  // .L01
constexpr std::string_view lvf2_signature = "LEF2\x0d\x0a\x81\x00"sv;  // .Lx01

// VHD: a 512-byte footer at the end of every VHD begins with this cookie; a
// dynamic or differencing VHD keeps a copy of the footer at its start too.
constexpr std::string_view vhd_cookie = "conectix"sv;
constexpr size_t vhd_footer_size = 512;
constexpr std::string_view vhdx_signature = "vhdxfile"sv;

constexpr std::string_view qcow_magic = "QFI\xfb"sv;

// Formats named and refused.
constexpr std::string_view gzip_magic = "\x1f\x8b"sv;
constexpr std::string_view xz_magic = "\xfd" "7zXZ\x00"sv;
constexpr std::string_view zip_magic = "PK\x03\x04"sv;
constexpr std::string_view sevenzip_magic = "7z\xbc\xaf\x27\x1c"sv;
constexpr std::string_view aff_magic = "AFF10\r\n\x00"sv;
constexpr std::string_view luks_magic = "LUKS\xba\xbe"sv;
// A BitLocker volume's boot sector carries this OEM name.
constexpr std::string_view bitlocker_oem = "-FVE-FS-"sv;

// Bytes read from the start of a file to recognise it.
constexpr size_t probe_size = 512;

}  // namespace container_format
