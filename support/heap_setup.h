// How the process heap grows.  A run allocates many small entries and a few
// large buffers, and on virtual machines the page faults of a heap that
// grows a little at a time cost more than the work itself.
#pragma once

namespace vk {

// Lets the heap grow in steps of 64 MiB, keeps buffers up to that size on
// it, and asks the kernel to back it with transparent huge pages (one fault
// per 2 MiB instead of one per 4 KiB).  The steps are address space only:
// memory is used as it is touched.  Does nothing where the C library or the
// kernel offers no such controls.
void prepare_heap();

}  // namespace vk
