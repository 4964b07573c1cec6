// Cost of the inverse conversions and of constant-span lines on a 90-degree bend (the meridional
// passage of a centrifugal impeller) with a background mesh of about 20 000 nodes; the random-span
// cases on one of about 200 000 nodes.
//
//   cmake -S . -B build/rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/rel --target InverseBench && build/rel/bench/InverseBench

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using P3 = qor::TripletBase<float>;
using D3 = qor::TripletBase<double>;

constexpr int kPoints = 1000000;

// The bend with a smoothed mesh of about 20 000 nodes, built once.
const TurboTransform& bend() {
  static const std::unique_ptr<TurboTransform> t = [] {
    auto tr = std::make_unique<TurboTransform>();
    qortest::initializeART(*tr, qortest::bend(qortest::Bend(), 201));
    tr->createBackgroundMesh(TurboTransform::nonLinear, TurboTransform::BMveryFine);
    return tr;
  }();
  return *t;
}

std::vector<P3> inputs(int n, float spanA, float spanB) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  std::vector<P3> in(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) in[static_cast<std::size_t>(k)] = P3(u(rng), 0.1f, k % 2 == 0 ? spanA : spanB);
  return in;
}

void meshCounters(benchmark::State& state, const TurboTransform& t) {
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  state.counters["nodes"] = ni * nj;
  state.counters["ni"] = ni;
}

// One span for every point: the search line is built once and reused.
void BM_InverseOneSpanCacheReused(benchmark::State& state) {
  const TurboTransform& t = bend();
  const std::vector<P3> in = inputs(kPoints, 0.5f, 0.5f);
  std::vector<P3> out(in.size());
  for (auto _ : state) {
    for (std::size_t k = 0; k < in.size(); ++k) t.convertSpaceTNsToART(TurboTransform::nm, in[k], out[k]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
  meshCounters(state, t);
}
BENCHMARK(BM_InverseOneSpanCacheReused)->Unit(benchmark::kMillisecond);

// rnm needs no search line at all.
void BM_InverseRnm(benchmark::State& state) {
  const TurboTransform& t = bend();
  const std::vector<P3> in = inputs(kPoints, 0.3f, 0.7f);
  std::vector<P3> out(in.size());
  for (auto _ : state) {
    for (std::size_t k = 0; k < in.size(); ++k) t.convertSpaceTNsToART(TurboTransform::rnm, in[k], out[k]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_InverseRnm)->Unit(benchmark::kMillisecond);

// Two spans in turn: every point rebuilds the search line (one forward conversion per mesh row).
// Fewer points, the figure of interest is the time per point.
void BM_InverseAlternatingSpans(benchmark::State& state) {
  const TurboTransform& t = bend();
  const int n = static_cast<int>(state.range(0));
  const std::vector<P3> in = inputs(n, 0.3f, 0.7f);
  std::vector<P3> out(in.size());
  for (auto _ : state) {
    for (std::size_t k = 0; k < in.size(); ++k) t.convertSpaceTNsToART(TurboTransform::nm, in[k], out[k]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_InverseAlternatingSpans)->Arg(2000)->Unit(benchmark::kMillisecond);

// The same alternating points, sorted by span first: two rebuilds in all.
void BM_InverseAlternatingSpansSorted(benchmark::State& state) {
  const TurboTransform& t = bend();
  std::vector<P3> in = inputs(kPoints, 0.3f, 0.7f);
  std::stable_partition(in.begin(), in.end(), [](const P3& p) { return p[2] < 0.5f; });
  std::vector<P3> out(in.size());
  for (auto _ : state) {
    for (std::size_t k = 0; k < in.size(); ++k) t.convertSpaceTNsToART(TurboTransform::nm, in[k], out[k]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_InverseAlternatingSpansSorted)->Unit(benchmark::kMillisecond);

// Many points at one span through the list form (the line is cut from the mesh once per call).
void BM_InverseConstantSpanList(benchmark::State& state) {
  const TurboTransform& t = bend();
  std::vector<D3> in(static_cast<std::size_t>(kPoints)), out(in.size());
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (auto& p : in) p = D3(u(rng), 0.1, 0.0);
  for (auto _ : state) {
    t.convertOnConstantSpanSpaceTNsToART(TurboTransform::nm, 0.5, in, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_InverseConstantSpanList)->Unit(benchmark::kMillisecond);

// Hub line in double precision.
void BM_InverseOnHubDouble(benchmark::State& state) {
  const TurboTransform& t = bend();
  std::vector<D3> in(static_cast<std::size_t>(kPoints));
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (auto& p : in) p = D3(u(rng), 0.1, 0.0);
  D3 out;
  for (auto _ : state) {
    for (const D3& p : in) {
      t.convertSpaceTNsToARTspanEQ0or1(TurboTransform::nm, p, out, true);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_InverseOnHubDouble)->Unit(benchmark::kMillisecond);

// ---- any mix of spans on the 200 000-node mesh ------------------------------------------------------

// The bend with the smoothed mesh of about 200 000 nodes, built once.
const TurboTransform& bendLarge() {
  static const std::unique_ptr<TurboTransform> t = [] {
    auto tr = std::make_unique<TurboTransform>();
    qortest::initializeART(*tr, qortest::bend(qortest::Bend(), 201));
    tr->createBackgroundMesh(TurboTransform::nonLinear, 200000);
    return tr;
  }();
  return *t;
}

// Random nm and random spans (seed 42).
std::vector<P3> randomSpanInputs(int n) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  std::vector<P3> in(static_cast<std::size_t>(n));
  for (P3& p : in) {
    const float value = u(rng);
    p = P3(value, 0.1f, u(rng));
  }
  return in;
}

// Before: the vector list form, one line rebuilt per point (fewer points: the figure of interest
// is the time per point).
void BM_InverseRandomSpansVectorList(benchmark::State& state) {
  const TurboTransform& t = bendLarge();
  const std::vector<P3> in = randomSpanInputs(static_cast<int>(state.range(0)));
  std::vector<P3> out(in.size());
  for (auto _ : state) {
    t.convertSpaceTNsToART(TurboTransform::nm, in, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  meshCounters(state, t);
}
BENCHMARK(BM_InverseRandomSpansVectorList)->Arg(200)->Unit(benchmark::kMillisecond);

// After: the array form, no line; argument = threads.
void BM_InverseRandomSpansArray(benchmark::State& state) {
  const TurboTransform& t = bendLarge();
  const std::vector<P3> in = randomSpanInputs(kPoints);
  std::vector<P3> out(in.size());
  TurboTransform::ListOptions options;
  options.threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    t.convertSpaceTNsToART(TurboTransform::nm, in.data(), in.size(), out.data(), options);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
  meshCounters(state, t);
}
BENCHMARK(BM_InverseRandomSpansArray)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// Constant-span and constant-nm lines resampled to 1 000 points.
void BM_ConstantSpanLineResampled(benchmark::State& state) {
  const TurboTransform& t = bend();
  qor::QORVector<P3> curve;
  const auto c = static_cast<TurboTransform::constSpace>(state.range(0));
  for (auto _ : state) {
    t.getConstantSpace(c, 0.37, 1000, curve);
    benchmark::DoNotOptimize(curve.data());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_ConstantSpanLineResampled)
    ->Arg(TurboTransform::nspanConst)
    ->Arg(TurboTransform::nmConst)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
