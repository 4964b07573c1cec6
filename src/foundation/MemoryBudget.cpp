#include "foundation/MemoryBudget.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <limits>
#include <sstream>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {
namespace memory_detail {

namespace {

constexpr std::uint64_t kUnknown = std::numeric_limits<std::uint64_t>::max();

// The value in kB of the /proc/meminfo line `key`, or -1.
long long meminfoKiB(const std::string& text, const std::string& key) {
  const std::size_t at = text.find("\n" + key + ":");
  if (at == std::string::npos) return -1;
  std::istringstream in(text.substr(at + key.size() + 2));
  long long value = -1;
  in >> value;
  return in ? value : -1;
}

// A single number read from a file, or kUnknown ("max" or no file).
std::uint64_t numberIn(const char* path) {
  std::ifstream in(path);
  unsigned long long value = 0;
  if (!(in >> value)) return kUnknown;
  return value;
}

}  // namespace

std::uint64_t availableBytes() {
  std::uint64_t available = kUnknown;
  std::ifstream in("/proc/meminfo");
  if (in) {
    std::stringstream text;
    text << "\n" << in.rdbuf();
    const long long free = meminfoKiB(text.str(), "MemAvailable");
    const long long swap = meminfoKiB(text.str(), "SwapFree");
    if (free >= 0) available = std::uint64_t(free + std::max(0LL, swap)) * 1024u;
  }
  const std::uint64_t limit = numberIn("/sys/fs/cgroup/memory.max");
  const std::uint64_t used = numberIn("/sys/fs/cgroup/memory.current");
  if (limit != kUnknown && used != kUnknown) {
    available = std::min(available, limit > used ? limit - used : std::uint64_t(0));
  }
  return available;
}

void requireMemory(const char* className, const char* function, const std::string& request,
                   double bytes) {
  // Requests below 256 MB are not checked: they cost no file reads.
  if (bytes < double(1u << 28)) return;
  const std::uint64_t available = availableBytes();
  const double addressable = double(std::numeric_limits<std::ptrdiff_t>::max());
  if (!(bytes <= addressable) || (available != kUnknown && bytes > double(available))) {
    const double mb = 1024.0 * 1024.0;
    const double limit = available == kUnknown ? addressable : double(available);
    throw data::invalid(className, function,
                        SystemMsg("%1 needs about %2 MB of memory, more than the %3 MB available.")
                            << request << static_cast<long long>(std::ceil(bytes / mb))
                            << static_cast<long long>(limit / mb),
                        errorType::fatal);
  }
}

}  // namespace memory_detail
}  // namespace qor
