// Smoother throughput: runSmoothAll on the 90-degree bend of a centrifugal impeller (axial inlet,
// radial outlet), three levels, set up as the background-mesh builder does.
//
//   cmake -S . -B build/rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/rel --target SmootherBench
//   build/rel/bench/SmootherBench

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qortest::P3;

void fillBend(qor::ParametricDB& db) {
  const qortest::Passage p = qortest::bend(qortest::Bend(), 241, 2);
  db.createCurve("w_mp", p.inlet.points(), qor::ParametricCurve::curve2d);
  db.createCurve("e_mp", p.outlet.points(), qor::ParametricCurve::curve2d);
  db.createCurve("s_mp", p.hub.points(), qor::ParametricCurve::curve2d);
  db.createCurve("n_mp", p.shroud.points(), qor::ParametricCurve::curve2d);
}

// Arguments: cells of the coarsest level in i and j; the finest of three levels has
// (4 ni + 1) (4 nj + 1) nodes.
void BM_runSmoothAllBend(benchmark::State& state) {
  const int ni = static_cast<int>(state.range(0));
  const int nj = static_cast<int>(state.range(1));
  qor::ParametricDB db;
  fillBend(db);
  const qor::Topo2dMultiLevel topo(3, ni, nj);
  qor::QORVector<P3> mesh(static_cast<std::size_t>(topo.getAllSize()));
  qor::Smooth2dbs s;
  s.setmtopo(mesh, topo, &db);
  s.addgeoName(std::vector<std::string>{"w_mp", "e_mp", "s_mp", "n_mp"});
  s.setbcgeoIDmAll(qor::Smooth2dbs::smoothed, 0);
  s.setbcgeoIDmWest(qor::Smooth2dbs::onCurve, 0);
  s.setbcgeoIDmEast(qor::Smooth2dbs::onCurve, 1);
  s.setbcgeoIDSouth(qor::Smooth2dbs::onCurve, 2);
  s.setbcgeoIDNorth(qor::Smooth2dbs::onCurve, 3);
  s.setbcgeoIDsw(qor::Smooth2dbs::pinned, 2);
  s.setbcgeoIDse(qor::Smooth2dbs::pinned, 2);
  s.setbcgeoIDnw(qor::Smooth2dbs::pinned, 3);
  s.setbcgeoIDne(qor::Smooth2dbs::pinned, 3);
  s.setUnderRelaxation(0.8, 0.6, 0.4);
  s.setSpreadIterationSqr(200, 30);
  for (auto _ : state) {
    s.runSmoothAll();
    benchmark::DoNotOptimize(mesh.data());
    benchmark::ClobberMemory();
  }
  state.counters["finestNodes"] = topo.getLevel(2).getSize();
}

// About 2 000 finest nodes (the default background mesh) and about 200 000.
BENCHMARK(BM_runSmoothAllBend)->Args({21, 5})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_runSmoothAllBend)->Args({221, 56})->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
