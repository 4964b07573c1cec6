#pragma once
// Up-front checks of requests whose size the caller chooses (background-mesh nodes, resampled
// points): a request that cannot fit in memory is refused as data::invalid naming its size before
// anything is allocated, instead of ending in std::bad_alloc or in the out-of-memory killer.

#include <cstdint>
#include <string>

namespace qor {
namespace memory_detail {

/// Bytes this process can still obtain: MemAvailable plus SwapFree of /proc/meminfo, lowered to
/// what is left under a cgroup (v2) memory limit; UINT64_MAX when neither can be read.
std::uint64_t availableBytes();

/// Throws data::invalid(className, function, "<request> needs about N MB of memory, more than the
/// M MB available.") when `bytes` exceed availableBytes() or the address space; requests below
/// 256 MB pass unchecked.
/// @param request the caller's request in words, for example "Background mesh size 2147483647"
void requireMemory(const char* className, const char* function, const std::string& request,
                   double bytes);

}  // namespace memory_detail
}  // namespace qor
