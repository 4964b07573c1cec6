// Cost of building the background mesh (sizing, smoothing, equal spacing, fields and quadtree) on
// a 90-degree bend, the meridional passage of a centrifugal impeller.
//
//   cmake --preset release && cmake --build --preset release --target BackgroundMeshBench
//   build/release/bench/BackgroundMeshBench

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using P3 = qor::TripletBase<float>;

void buildMesh(benchmark::State& state, TurboTransform::BMmethod method, int threads = 1,
               bool closedForm = false) {
  const int size = static_cast<int>(state.range(0));
  TurboTransform t;
  qortest::initializeART(t, qortest::bend(qortest::Bend(), 201));
  t.setNumberOfThreadsForBM(threads);
  t.setClosedFormSmoothingForBM(closedForm);
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

// The smoother's sweeps on several threads (second argument; the same mesh as on one), with the
// angle form (third argument 0, the default) or the closed form of the turn (1).
void BM_BackgroundMeshSmoothedThreads(benchmark::State& state) {
  buildMesh(state, TurboTransform::nonLinear, static_cast<int>(state.range(1)),
            state.range(2) != 0);
  state.counters["threads"] = static_cast<double>(state.range(1));
  state.counters["closedForm"] = static_cast<double>(state.range(2));
}
BENCHMARK(BM_BackgroundMeshSmoothedThreads)
    ->Args({200000, 1, 0})
    ->Args({200000, 2, 0})
    ->Args({200000, 1, 1})
    ->Args({200000, 2, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_BackgroundMeshLinear(benchmark::State& state) { buildMesh(state, TurboTransform::linear); }
BENCHMARK(BM_BackgroundMeshLinear)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
