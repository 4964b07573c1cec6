#pragma once
/// @file
/// `QOR_ASSERT(condition, reason)`: an internal invariant of the library, a state that no public
/// operation can leave. When it fails, `internal::error` is thrown with the reason, the condition
/// and the place, so that a broken invariant is reported in the library's own family instead of
/// reaching memory through a raw pointer. Internal; never installed.
///
/// The checks stay in every build type: they guard the views that the hot loops read through raw
/// pointers, and each runs once per operation, never per point. Caller-facing failures (bad input,
/// wrong order of calls) are not asserted: they throw their own documented errors.

#include <string>

#include "qor/foundation/Error.h"

namespace qor {
namespace foundation_detail {

/// Throws the `internal::error` of a failed QOR_ASSERT (kept out of line of the callers' paths).
[[noreturn]] void assertionFailed(const char* condition, const char* reason, const char* file,
                                  int line, const char* function);

}  // namespace foundation_detail
}  // namespace qor

#define QOR_ASSERT(condition, reason)                                                      \
  ((condition) ? static_cast<void>(0)                                                      \
               : ::qor::foundation_detail::assertionFailed(#condition, reason, __FILE__,   \
                                                           __LINE__, __func__))
