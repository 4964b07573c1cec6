// Cost of building the background mesh (sizing, smoothing, equal spacing, fields and quadtree) on
// a 90-degree bend, the meridional passage of a centrifugal impeller.
//
//   cmake -S . -B build/h4rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/h4rel --target BackgroundMeshBench && build/h4rel/bench/BackgroundMeshBench

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using P3 = qor::TripletBase<float>;

void buildMesh(benchmark::State& state, TurboTransform::BMmethod method, int threads = 1) {
  const int size = static_cast<int>(state.range(0));
  TurboTransform t;
  qortest::initializeART(t, qortest::bend(qortest::Bend(), 201));
  t.setNumberOfThreadsForBM(threads);
  int folded = 0;
  for (auto _ : state) {
    t.setNumberOfLevelsforBM(3);
    folded = t.createBackgroundMesh(method, size);
    benchmark::ClobberMemory();
  }
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  state.counters["nodes"] = ni * nj;
  state.counters["ni"] = ni;
  state.counters["nj"] = nj;
  state.counters["levels"] = t.getNumberOfLevelsforBM();
  state.counters["folded"] = folded;
}

void BM_BackgroundMeshSmoothed(benchmark::State& state) {
  buildMesh(state, TurboTransform::nonLinear);
}
BENCHMARK(BM_BackgroundMeshSmoothed)
    ->Arg(2000)
    ->Arg(20000)
    ->Arg(200000)
    ->Unit(benchmark::kMillisecond);

// The smoother's sweeps on several threads (second argument); the same mesh as on one.
void BM_BackgroundMeshSmoothedThreads(benchmark::State& state) {
  buildMesh(state, TurboTransform::nonLinear, static_cast<int>(state.range(1)));
  state.counters["threads"] = static_cast<double>(state.range(1));
}
BENCHMARK(BM_BackgroundMeshSmoothedThreads)
    ->Args({200000, 1})
    ->Args({200000, 2})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_BackgroundMeshLinear(benchmark::State& state) { buildMesh(state, TurboTransform::linear); }
BENCHMARK(BM_BackgroundMeshLinear)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
