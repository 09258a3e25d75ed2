// Reads byte ranges of an EWF image through libewf and throws them away: the
// floor under any reader of those ranges through the library.
//   ewf_floor IMAGE.E01 OFFSET:LENGTH...
#include <libewf.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  libewf_handle_t* handle = nullptr;
  char* names[] = {argv[1]};
  if (libewf_handle_initialize(&handle, nullptr) != 1 ||
      libewf_handle_open(handle, names, 1, LIBEWF_OPEN_READ, nullptr) != 1)
    return 1;
  std::vector<unsigned char> buffer(1 << 20);
  unsigned long long total = 0;
  for (int i = 2; i < argc; ++i) {
    const std::string range = argv[i];
    unsigned long long offset = std::stoull(range.substr(0, range.find(':')));
    unsigned long long left = std::stoull(range.substr(range.find(':') + 1));
    while (left > 0) {
      const size_t piece = left < buffer.size() ? left : buffer.size();
      if (libewf_handle_read_random(handle, buffer.data(), piece, offset, nullptr) != (ssize_t)piece) return 1;
      offset += piece;
      left -= piece;
      total += piece;
    }
  }
  std::printf("%llu bytes\n", total);
  libewf_handle_close(handle, nullptr);
  libewf_handle_free(&handle, nullptr);
  return 0;
}
