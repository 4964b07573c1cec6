#pragma once
/// @file
/// Internal: the thread choice of the list operations and a run over contiguous chunks of a list.
/// Standard-library threads only; every chunk writes only its own output slots, so results are the
/// same for every thread count.

#include <algorithm>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {
namespace detail {

/// Lists shorter than this per thread stay on the calling thread: starting a thread costs about as
/// much as converting a few thousand points.
constexpr std::size_t kMinPointsPerThread = 4096;

/// The number of threads a list of `n` items uses: `threads` 1 = the calling thread only, 0 = every
/// hardware thread, n = n; never more than one per `minPerThread` items.
/// @throws data::invalid for a negative `threads`, naming `className` and `function`
inline unsigned resolveThreads(int threads, std::size_t n, const char* className,
                               const char* function,
                               std::size_t minPerThread = kMinPointsPerThread) {
  if (threads < 0) {
    throw data::invalid(className, function,
                        SystemMsg("Number of threads (%1) must be 0 (every hardware thread) or "
                                  "more.") << threads,
                        errorType::fatal);
  }
  const unsigned hardware = std::max(1u, std::thread::hardware_concurrency());
  const unsigned wanted = threads == 0 ? hardware : static_cast<unsigned>(threads);
  const std::size_t byWork = std::max<std::size_t>(1, n / std::max<std::size_t>(1, minPerThread));
  return static_cast<unsigned>(std::min<std::size_t>(wanted, byWork));
}

/// Calls `job(begin, end, part)` for `parts` contiguous chunks of [0, n): part 0 on the calling
/// thread, the others on threads of their own. Every chunk runs to its end; the exception of the
/// lowest failing chunk is rethrown after all have finished. A thread that cannot be started
/// leaves its chunk to the calling thread.
template <typename Job>
void parallelChunks(std::size_t n, unsigned parts, Job&& job) {
  if (parts <= 1 || n <= 1) {
    job(std::size_t(0), n, 0u);
    return;
  }
  auto bound = [n, parts](unsigned p) {
    // n * p / parts without overflow for any list that fits in memory
    return static_cast<std::size_t>((static_cast<unsigned long long>(n) / parts) * p +
                                     (static_cast<unsigned long long>(n) % parts) * p / parts);
  };
  std::vector<std::exception_ptr> errors(parts);
  auto run = [&](unsigned p) {
    try {
      job(bound(p), bound(p + 1), p);
    } catch (...) {
      errors[p] = std::current_exception();
    }
  };
  std::vector<std::thread> workers;
  workers.reserve(parts - 1);
  unsigned started = 1;
  for (; started < parts; ++started) {
    try {
      workers.emplace_back(run, started);
    } catch (...) {
      break;  // no more threads: the rest runs here
    }
  }
  run(0);
  for (unsigned p = started; p < parts; ++p) run(p);
  for (std::thread& w : workers) w.join();
  for (const std::exception_ptr& e : errors) {
    if (e) std::rethrow_exception(e);
  }
}

}  // namespace detail
}  // namespace qor
