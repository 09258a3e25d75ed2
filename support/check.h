// Always-on checks of internal invariants.  A broken invariant is a bug in
// slix, not bad evidence: the process ends at once with a line saying what
// broke, rather than reading past a buffer.  Unlike assert(), the check stays
// in optimised builds, which are the ones examiners run.
#pragma once

namespace vk {

[[noreturn]] void invariant_failed(const char* condition, const char* file, int line);

}  // namespace vk

#define SLIX_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : ::vk::invariant_failed(#condition, __FILE__, __LINE__))
