// Arbitrary bytes as an -image file: container detection by signature, then
// each reader's open path (E01 segment checks and libewf, VHD/VHDX through
// libvhdi, QCOW through libqcow, split raw pieces) and a few reads through
// whatever opened.  The first byte picks the file's suffix, so split-raw
// naming and a second piece are reached too; the signature itself comes from
// the input (see the dictionary in fuzz/corpus/container_fuzz.dict).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "disk/container.h"

namespace {

const std::string& work_folder() {
  static const std::string folder = [] {
    char pattern[] = "/tmp/slix-container-fuzz-XXXXXX";
    const char* made = ::mkdtemp(pattern);
    return std::string(made != nullptr ? made : "/tmp");
  }();
  return folder;
}

void write(const std::string& path, const uint8_t* data, size_t size) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  static const char* const suffixes[] = {".img", ".001", ".000", ".E01"};
  const std::string base = work_folder() + "/input";
  const std::string name = base + suffixes[data[0] % 4];
  // Split sets get a second piece: the input's second half.
  const size_t half = (data[0] & 0x10) != 0 ? (size - 1) / 2 : size - 1;
  write(name, data + 1, half);
  const std::string second = base + (data[0] % 4 == 2 ? ".001" : ".002");
  write(second, data + 1 + half, size - 1 - half);
  container_opening opening = open_container(name);
  if (opening.source) {
    std::vector<uint8_t> buffer(4096);
    const uint64_t disk_size = opening.source->size();
    for (const uint64_t offset : {uint64_t{0}, disk_size / 2, disk_size > 100 ? disk_size - 100 : 0})
      opening.source->read(offset, buffer);
    (void)opening.source->warnings();
  }
  ::unlink(name.c_str());
  ::unlink(second.c_str());
  return 0;
}
