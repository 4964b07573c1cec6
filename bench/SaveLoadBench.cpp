// Cost of saving and loading a finished transform against building its background mesh, on the
// 90-degree bend with a smoothed mesh of about 200 000 nodes: loading must stay well under a tenth
// of createBackgroundMesh.
//
//   cmake --preset release && cmake --build --preset release --target SaveLoadBench
//   build/release/bench/SaveLoadBench

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;

constexpr int kMeshSize = 200000;

// The finished transform, built once for the save and load benchmarks.
const TurboTransform& finished() {
  static const std::unique_ptr<TurboTransform> t = [] {
    auto made = std::make_unique<TurboTransform>();
    qortest::initializeART(*made, qortest::bend(qortest::Bend(), 201));
    made->setNumberOfLevelsforBM(3);
    made->createBackgroundMesh(TurboTransform::nonLinear, kMeshSize);
    return made;
  }();
  return *t;
}

std::string filePath() {
  return (std::filesystem::temp_directory_path() / "qor-saveload-bench.qtt").string();
}

void nodeCounter(benchmark::State& state, const TurboTransform& t) {
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  state.counters["nodes"] = ni * nj;
}

void BM_CreateBackgroundMesh(benchmark::State& state) {
  TurboTransform t;
  qortest::initializeART(t, qortest::bend(qortest::Bend(), 201));
  for (auto _ : state) {
    t.setNumberOfLevelsforBM(3);
    benchmark::DoNotOptimize(t.createBackgroundMesh(TurboTransform::nonLinear, kMeshSize));
  }
  nodeCounter(state, t);
}
BENCHMARK(BM_CreateBackgroundMesh)->Unit(benchmark::kMillisecond);

void BM_SaveToFile(benchmark::State& state) {
  const TurboTransform& t = finished();
  const std::string path = filePath();
  for (auto _ : state) t.save(path);
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(path));
  nodeCounter(state, t);
  std::remove(path.c_str());
}
BENCHMARK(BM_SaveToFile)->Unit(benchmark::kMillisecond);

void BM_LoadFromFile(benchmark::State& state) {
  const std::string path = filePath();
  finished().save(path);
  TurboTransform t;
  for (auto _ : state) t.load(path);
  nodeCounter(state, t);
  std::remove(path.c_str());
}
BENCHMARK(BM_LoadFromFile)->Unit(benchmark::kMillisecond);

// In memory: the parsing, checking and rebuilding alone, without the file system.
void BM_LoadFromMemory(benchmark::State& state) {
  std::ostringstream out(std::ios::binary);
  finished().save(out);
  const std::string bytes = out.str();
  TurboTransform t;
  for (auto _ : state) {
    std::istringstream in(bytes, std::ios::binary);
    t.load(in);
  }
  nodeCounter(state, t);
}
BENCHMARK(BM_LoadFromMemory)->Unit(benchmark::kMillisecond);

}  // namespace
