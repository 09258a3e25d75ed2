#include "support/heap_setup.h"

// Any C library header defines __GLIBC__ when the library is glibc.
#include <cstdint>
#include <cstdlib>

#if defined(__GLIBC__) && defined(__linux__)
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace vk {

#if defined(__GLIBC__) && defined(__linux__)

namespace {

constexpr size_t heap_step = size_t{64} << 20;
constexpr uintptr_t huge_page_size = uintptr_t{2} << 20;
// Large enough to make malloc extend the heap at once.
constexpr size_t growth_probe = size_t{256} << 10;

uintptr_t address_of_break() { return reinterpret_cast<uintptr_t>(sbrk(0)); }

}  // namespace

void prepare_heap() {
  if (mallopt(M_MMAP_THRESHOLD, heap_step) == 0 || mallopt(M_TOP_PAD, heap_step) == 0) return;
  // Freed memory stays with the process for the rest of the run.
  mallopt(M_TRIM_THRESHOLD, 2 * heap_step);
  const uintptr_t before = address_of_break();
  void* const probe = std::malloc(growth_probe);
  // A write the compiler must keep, or it may drop the malloc and free pair.
  if (probe != nullptr) static_cast<volatile char*>(probe)[0] = 0;
  const uintptr_t after = address_of_break();
  std::free(probe);
  const uintptr_t no_break = static_cast<uintptr_t>(-1);
  if (before == no_break || after == no_break || after <= before) return;
  const uintptr_t first = (before + huge_page_size - 1) & ~(huge_page_size - 1);
  const uintptr_t last = after & ~(huge_page_size - 1);
  // Advice only: a kernel without huge pages keeps ordinary ones.
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

#else

void prepare_heap() {}

#endif

}  // namespace vk
