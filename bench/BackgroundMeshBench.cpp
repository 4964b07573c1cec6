// Cost of building the background mesh (sizing, smoothing, equal spacing, fields and quadtree) on
// a 90-degree bend, the meridional passage of a centrifugal impeller.
//
//   cmake -S . -B build/h4rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/h4rel --target BackgroundMeshBench && build/h4rel/bench/BackgroundMeshBench

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using P3 = qor::TripletBase<float>;

constexpr double kPi = 3.14159265358979323846;

// Centre (0, 3); hub arc radius 1.5 (outer), shroud arc radius 1.0; axial inlet, radial outlet.
void setUpBend(TurboTransform& t) {
  auto arc = [](double rho) {
    std::vector<P3> pts;
    for (int k = 0; k < 201; ++k) {
      const double th = (kPi / 2) * k / 200;
      pts.emplace_back(float(rho * std::sin(th)), float(3.0 - rho * std::cos(th)), 0.0f);
    }
    return qor::TripletQORVector(pts);
  };
  auto segment = [](P3 a, P3 b) {
    std::vector<P3> pts;
    for (int k = 0; k < 11; ++k) pts.push_back(a + (b - a) * (k / 10.0));
    return qor::TripletQORVector(pts);
  };
  t.initializeFromART(arc(1.5), arc(1.0), segment(P3(0, 1.5f, 0), P3(0, 2.0f, 0)),
                      segment(P3(1.5f, 3, 0), P3(1.0f, 3, 0)), P3(0, 0, 0), P3(1, 0, 0), -1, -1, -1,
                      -1);
}

void buildMesh(benchmark::State& state, TurboTransform::BMmethod method) {
  const int size = static_cast<int>(state.range(0));
  TurboTransform t;
  setUpBend(t);
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

void BM_BackgroundMeshLinear(benchmark::State& state) { buildMesh(state, TurboTransform::linear); }
BENCHMARK(BM_BackgroundMeshLinear)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
