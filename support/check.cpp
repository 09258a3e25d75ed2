#include "support/check.h"

#include <cstdio>
#include <cstdlib>

namespace vk {

void invariant_failed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "assertion failed: %s (%s:%d)\n", condition, file, line);
  std::abort();
}

}  // namespace vk
