// Arbitrary bytes as VMDK files, opened as a collection and read in a few
// places.  The first byte picks the layout:
//   0: all of the rest is one file, given alone (a sparse extent or descriptor);
//   1: the rest split at the first "@@" into a descriptor "a.vmdk" and the
//      file "s.vmdk" that a descriptor may name as an extent;
//   2: the rest split at the first "@@" into two disks "a.vmdk|b.vmdk", a chain.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "disk/vmdk.h"

namespace {

const std::string& work_folder() {
  static const std::string folder = [] {
    char pattern[] = "/tmp/vmdk-fuzz-XXXXXX";
    const char* made = ::mkdtemp(pattern);
    return std::string(made ? made : "/tmp");
  }();
  return folder;
}

void write(const std::string& name, std::string_view bytes) {
  std::ofstream(work_folder() + "/" + name, std::ios::binary | std::ios::trunc).write(bytes.data(), bytes.size());
}

void read_some(disk& source, uint64_t hint) {
  std::vector<uint8_t> buffer(1 << 16);
  const uint64_t size = source.size();
  for (uint64_t offset : {uint64_t{0}, size / 2, size > 1 ? size - 1 : 0, size ? hint % size : 0})
    source.read(offset, buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t cut = rest.find("@@");
  const std::string_view first = rest.substr(0, cut);
  const std::string_view second = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 2);
  const std::string folder = work_folder();
  std::string list = folder + "/a.vmdk";
  switch (data[0] % 3) {
    case 0:
      write("a.vmdk", rest);
      break;
    case 1:
      write("a.vmdk", first);
      write("s.vmdk", second);
      break;
    default:
      write("a.vmdk", first);
      write("b.vmdk", second);
      list += "|b.vmdk";
      break;
  }
  if (std::unique_ptr<disk> source = open_vmdk_source(list).source) read_some(*source, size * 7919);
  return 0;
}
