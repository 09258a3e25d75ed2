// Opening an -image file as a disk object, whatever container holds the
// disk: a raw image (one file, or split into numbered pieces), an E01 (EWF)
// segment set, a VHD or VHDX, a QCOW2 image with its backing files.  Every
// container becomes the same disk object (a size and a read at an offset),
// so nothing above this layer knows which one it reads.  Formats slix cannot
// read (compressed files, archives, encrypted volumes) are recognised and
// named, never misread as a raw disk.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"

enum class container_kind {
  raw, split_raw, ewf, vhd, vhdx, qcow,
  // Recognised and refused.
  gzip, xz, zip, sevenzip, aff, luks, bitlocker, logical_evidence,
};

// The format's name as an examiner knows it: "E01 (EWF)", "VHDX", "gzip" ...
const char* container_name(container_kind kind);

// The library that reads a format, and the Debian package that provides it;
// "" for formats slix reads itself.
struct format_library {
  const char* library;
  const char* package;
};
format_library library_of(container_kind kind);

enum class container_fault_kind {
  none,
  cannot_open,      // `detail` (or `file` itself when `detail` is "") cannot be opened: `error` is the system's
                    // reason, 0 when it is neither a regular file nor a block device
  refused_format,   // a format slix names and does not read (`format`)
  library_missing,  // this build has no library for `format`
  unreadable,       // the signature is there, the container's own headers are not readable (`detail`: what is wrong, when known)
  missing_segment,  // `detail` names the piece of the set that is absent
  listing_failed,   // the folder `detail`, listed for the pieces of a set, cannot be read: `error` says why
  parent_missing,   // `detail` names the backing or parent file that cannot be opened; `error` the reason
  chain_loop,       // `chain` names the files, the first repeated last
  chain_too_long,   // `chain` names the files
  size_too_large,   // the container claims `size` bytes
};

struct container_fault {
  container_fault_kind kind = container_fault_kind::none;
  container_kind format = container_kind::raw;
  std::string file;  // the file named on the command line
  std::string detail;
  std::vector<std::string> chain;
  uint64_t size = 0;
  int error = 0;  // the errno behind the fault, when a system call failed
};

struct container_opening {
  std::unique_ptr<disk> source;
  container_fault fault;
};

// Backing and parent chains longer than this are refused: real snapshot
// chains are a handful of files deep, and the bound keeps a crafted chain
// from opening files without end.
constexpr size_t max_backing_chain = 32;

container_opening open_container(const std::string& path);

// The fault of a container read by a library this build lacks.
container_opening library_missing(const std::string& path, container_kind kind);
