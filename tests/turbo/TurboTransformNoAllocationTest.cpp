// The single-point conversions and the cell search allocate nothing. This program of its own
// counts every call of the global operator new.

#include <atomic>
#include <new>

#include "support/Passages.h"

// The replacement operator new below allocates with malloc, so free is the matching release;
// GCC cannot see that through the replaced operators and warns when it inlines them.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

// Every unaligned form is replaced, so that each allocation is released by its own family (the
// address sanitizer checks that); the aligned forms keep the library's pair.
namespace {
std::atomic<long> g_allocations{0};
volatile float g_sink = 0.0f;

void* counted(std::size_t size) noexcept {
  ++g_allocations;
  return std::malloc(size == 0 ? 1 : size);
}
}  // namespace

void* operator new(std::size_t size) {
  if (void* p = counted(size)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  if (void* p = counted(size)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

using qor::TurboTransform;
using qortest::P3;

TEST(TurboTransformSinglePoint, conversionsAndCellSearchAllocateNothing) {
  // A small mesh (cell tests stored with the mesh) and a large one (computed per point).
  for (int size : {600, 40000}) {
    qortest::Built m;
    const long building = g_allocations.load();
    qortest::build(m, qortest::bend(), TurboTransform::linear, size);
    ASSERT_GT(g_allocations.load() - building, 0) << "the counter sees the library's allocations";
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> a(-0.2f, 1.7f), r(0.3f, 2.2f);
    std::vector<P3> points;
    for (int k = 0; k < 2000; ++k) points.emplace_back(a(rng), r(rng), 0.3f);
    points.emplace_back(1e30f, -1e30f, 0.0f);  // far outside
    const qor::TripletBase<double> pd(0.5, 1.2, 0.1);

    const long before = g_allocations.load();
    float sum = 0.0f;
    for (const P3& p : points) {
      sum += m.transform.convertARTtoSpace(TurboTransform::nm, p);
      sum += m.transform.convertXYZtoSpace(TurboTransform::nspan, p);
      P3 tns;
      m.transform.convertARTtoSpaceTNs(TurboTransform::m, p, tns);
      qor::TripletBase<double> tnsd;
      m.transform.convertARTtoSpaceTNs(TurboTransform::rnm, pd, tnsd);
      int c0, c1, c2, c3;
      float s, t;
      m.transform.getBestQuad(p, c0, c1, c2, c3, s, t);
      sum += s + t + tns[0] + static_cast<float>(tnsd[0]) +
             static_cast<float>(m.transform.getClosestIndex(p));
    }
    const long allocations = g_allocations.load() - before;
    EXPECT_EQ(allocations, 0) << "mesh size " << size;
    g_sink = sum;  // the results are used
  }
}

}  // namespace
