// Builders for hand-made disks and a capture of the messages the volume layer
// prints on standard error, shared by the disk tests.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "test_support.h"

namespace disk_test {

// A disk image under construction; every field is written little-endian.
struct image {
  std::vector<uint8_t> bytes;

  explicit image(size_t size) : bytes(size, 0) {}

  void put(size_t off, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) bytes.at(off + i) = static_cast<uint8_t>(value >> (8 * i));
  }
  void put_text(size_t off, const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) bytes.at(off + i) = static_cast<uint8_t>(text[i]);
  }
  // Entry `index` of the partition table of the record at byte `record`.
  void mbr_entry(size_t record, size_t index, uint8_t type, uint32_t lba, uint32_t count) {
    const size_t entry = record + 446 + 16 * index;
    put(entry + 4, type, 1);
    put(entry + 8, lba, 4);
    put(entry + 12, count, 4);
  }
  void signature(size_t off) { put(off, 0xAA55, 2); }
  void ntfs_boot(size_t off) {
    put_text(off + 3, "NTFS    ");
    signature(off + 510);
  }
  // A FAT32 boot sector: 512-byte sectors, 8 per cluster, 32 reserved, two
  // FATs of 1024 sectors, 600000 sectors in all (about 74000 clusters).
  void fat32_boot(size_t off) {
    put_text(off + 3, "MSWIN4.1");
    put(off + 11, 512, 2);
    put(off + 13, 8, 1);
    put(off + 14, 32, 2);
    put(off + 16, 2, 1);
    put(off + 32, 600000, 4);
    put(off + 36, 1024, 4);
    signature(off + 510);
  }
};

// Collects what is written to standard error while it lives.
class stderr_capture {
 public:
  stderr_capture() : m_file(std::tmpfile()), m_saved(::dup(STDERR_FILENO)) {
    std::fflush(stderr);
    ::dup2(::fileno(m_file), STDERR_FILENO);
  }
  ~stderr_capture() {
    restore();
    std::fclose(m_file);
  }
  std::string text() {
    restore();
    std::string out;
    std::rewind(m_file);
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, m_file)) > 0;) out.append(buf, n);
    return out;
  }

 private:
  void restore() {
    if (m_saved < 0) return;
    std::fflush(stderr);
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
    m_saved = -1;
  }
  FILE* m_file;
  int m_saved;
};

// A decompressed copy of a shared real-world image ("" when it cannot be made).
inline std::string unpack_shared(const std::string& dir, const slix_test::temp_dir& tmp, const std::string& name) {
  const std::string target = tmp.file(name);
  const std::string source = dir + "/" + name;
  if (slix_test::gunzip(source + ".gz", target)) return target;
  int status = 0;
  slix_test::shell("tar -xf '" + source + ".tgz' -C '" + tmp.path() + "' 2>/dev/null", &status);
  return status == 0 ? target : "";
}

}  // namespace disk_test
