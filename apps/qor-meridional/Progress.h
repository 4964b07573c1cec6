#pragma once
/// @file
/// A percentage counter on standard error for long conversions, shown only when standard error is
/// a terminal, so that redirected output and logs stay clean.

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <string>
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

}  // namespace qormeridional
