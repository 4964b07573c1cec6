#pragma once
/// @file
/// A percentage counter on standard error for long conversions, and a note for every phase that
/// lasts longer than a second (reading, meshing, writing), shown only when standard error is a
/// terminal, so that redirected output and logs stay clean.

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace qormeridional {

class Progress {
 public:
  /// Shown for at least `threshold` items only.
  Progress(std::string what, std::size_t total, std::size_t threshold = 20000)
      : m_what(std::move(what)),
        m_total(total),
        m_enabled(total >= threshold && ::isatty(2) == 1) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() {
    if (m_enabled && m_shown)
      std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_what.size()) + 24, "");
  }

  void update(std::size_t done) {
    if (!m_enabled || m_total == 0) return;
    const int percent = static_cast<int>(100.0 * double(done) / double(m_total));
    if (percent == m_last) return;
    m_last = percent;
    m_shown = true;
    std::fprintf(stderr, "\r%s: %3d %% (%zu of %zu)", m_what.c_str(), percent, done, m_total);
    std::fflush(stderr);
  }

 private:
  std::string m_what;
  std::size_t m_total;
  bool m_enabled;
  bool m_shown = false;
  int m_last = -1;
};

/// "<what> ..." on standard error once the phase has lasted a second, cleared when it ends.
class Phase {
 public:
  explicit Phase(std::string what) : m_what(std::move(what)) {
    if (::isatty(2) != 1) return;
    m_watch = std::thread([this] {
      std::unique_lock<std::mutex> lock(m_mutex);
      if (m_cv.wait_for(lock, std::chrono::seconds(1), [this] { return m_done; })) return;
      std::fprintf(stderr, "\r%s ...", m_what.c_str());
      std::fflush(stderr);
      m_shown = true;
    });
  }
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;
  ~Phase() {
    if (!m_watch.joinable()) return;
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_done = true;
    }
    m_cv.notify_one();
    m_watch.join();
    if (m_shown) std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_what.size()) + 4, "");
  }

 private:
  std::string m_what;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_done = false;
  bool m_shown = false;
  std::thread m_watch;
};

}  // namespace qormeridional
