// Throughput of the forward conversions on the 90-degree bend (axial inlet, radial outlet):
// background meshes of about 2 000 and 200 000 nodes, one million query points inside the passage
// in random order and in streamwise-sorted order, one space and three spaces at once.
//
//   cmake --preset release && cmake --build build/release --target ConversionBench
//   build/release/bench/ConversionBench --benchmark_filter=Conversion

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "../tests/support/Geometry.h"
#include "qor/CoordTransform.h"

namespace {

using qor::QORVector;
using qor::TripletBase;
using qor::TripletQORVector;
using qor::TurboTransform;
using P3 = TripletBase<float>;

using qortest::kPi;
const qortest::Bend kBend;  // centre (0, rc), hub arc rhoHub, shroud arc rhoShroud
constexpr int kQueryPoints = 1000000;

// The transform of the bend with a linear background mesh of about `nodes` nodes (the smoother is
// not what is measured here), built once per size.
const TurboTransform& bendTransform(int nodes) {
  static std::map<int, std::unique_ptr<TurboTransform>> cache;
  auto& slot = cache[nodes];
  if (!slot) {
    slot = std::make_unique<TurboTransform>();
    qortest::initializeART(*slot, qortest::bend(qortest::Bend(), 300));
    slot->createBackgroundMesh(TurboTransform::linear, nodes);
  }
  return *slot;
}

// A million points inside the passage: 1000 span stations of 1000 streamwise positions each,
// slightly jittered. Sorted: streamwise along each station, station after station (the order of a
// structured flow mesh). Random: the same points shuffled.
const TripletQORVector& queryPoints(bool sorted) {
  static TripletQORVector ordered, shuffled;
  if (ordered.empty()) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> jitter(-0.4, 0.4);
    std::vector<P3> pts;
    pts.reserve(kQueryPoints);
    const int nSpan = 1000, nStream = kQueryPoints / nSpan;
    for (int j = 0; j < nSpan; ++j) {
      for (int i = 0; i < nStream; ++i) {
        const double theta = (kPi / 2) * (i + 0.5 + jitter(rng)) / nStream;
        const double rho =
            kBend.rhoShroud + (kBend.rhoHub - kBend.rhoShroud) * (j + 0.5 + jitter(rng)) / nSpan;
        const auto q = kBend.at(theta, rho);
        pts.emplace_back(float(q[0]), float(q[1]), 0.0f);
      }
    }
    ordered = TripletQORVector(pts);
    std::shuffle(pts.begin(), pts.end(), rng);
    shuffled = TripletQORVector(std::move(pts));
  }
  return sorted ? ordered : shuffled;
}

// Arguments: mesh nodes, sorted (1) or random (0).
void ConversionOneSpace(benchmark::State& state) {
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const TripletQORVector& pts = queryPoints(state.range(1) != 0);
  const QORVector<P3> list(pts.points());
  QORVector<float> values;
  for (auto _ : state) {
    t.convertARTtoSpace(TurboTransform::nm, list, values);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size()));
}

// The list `pts` to nm, nspan and m' at once, over and over.
void convertThreeSpaces(benchmark::State& state, const TurboTransform& t,
                        const TripletQORVector& pts) {
  const QORVector<TurboTransform::space> spaces = {TurboTransform::nm, TurboTransform::nspan,
                                                   TurboTransform::mprime};
  QORVector<std::vector<float>> values;
  for (auto _ : state) {
    t.convertARTtoSpace(pts, spaces, values);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size()));
}

void ConversionThreeSpaces(benchmark::State& state) {
  convertThreeSpaces(state, bendTransform(static_cast<int>(state.range(0))),
                     queryPoints(state.range(1) != 0));
}

// A million points spread over the bounding box of the bend, so that about half lie outside the
// passage, many of them far from every node (the hollow of the bend): the node search there has
// to look much farther than inside.
const TripletQORVector& boxPoints() {
  static TripletQORVector box;
  if (box.empty()) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> a(-0.1, kBend.rhoHub + 0.1),
        r(kBend.rc - kBend.rhoHub - 0.1, kBend.rc + 0.1);
    std::vector<P3> pts;
    pts.reserve(kQueryPoints);
    for (int k = 0; k < kQueryPoints; ++k) {
      pts.emplace_back(static_cast<float>(a(rng)), static_cast<float>(r(rng)), 0.0f);
    }
    box = TripletQORVector(std::move(pts));
  }
  return box;
}

void ConversionBoundingBox(benchmark::State& state) {
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const QORVector<P3> list(boxPoints().points());
  QORVector<float> values;
  for (auto _ : state) {
    t.convertARTtoSpace(TurboTransform::nm, list, values);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(list.size()));
}

void ConversionSinglePoint(benchmark::State& state) {
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const TripletQORVector& pts = queryPoints(false);
  std::size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.convertARTtoSpace(TurboTransform::nm, pts[k]));
    if (++k == pts.size()) k = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

// One interior point a million times over, three spaces: every node, test and value the search
// reads is in the first-level cache and every branch goes the same way, so this is the cost of
// the arithmetic of one point alone, the floor for any order of the points.
void ConversionRepeatedPoint(benchmark::State& state) {
  const P3 one = queryPoints(true)[kQueryPoints / 2 + 123];
  convertThreeSpaces(state, bendTransform(static_cast<int>(state.range(0))),
                     TripletQORVector(std::vector<P3>(kQueryPoints, one)));
}

// Many short lists (64 points each, three spaces): what a caller pays per call besides the points.
void ConversionShortLists(benchmark::State& state) {
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const TripletQORVector& pts = queryPoints(true);
  const QORVector<TurboTransform::space> spaces = {TurboTransform::nm, TurboTransform::nspan,
                                                   TurboTransform::mprime};
  constexpr std::size_t kLength = 64;
  QORVector<std::vector<float>> values;
  std::size_t first = 0;
  for (auto _ : state) {
    const TripletQORVector list(std::vector<P3>(pts.points().begin() + first,
                                                pts.points().begin() + first + kLength));
    t.convertARTtoSpace(list, spaces, values);
    benchmark::DoNotOptimize(values.data());
    first = (first + kLength) % (pts.size() - kLength);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kLength));
}

// The array form of three spaces with the statuses, on `threads` threads (real time: the work is
// spread over threads). Arguments: mesh nodes, sorted (1) or random (0), threads.
void ConversionArrayThreads(benchmark::State& state) {
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const std::vector<P3>& pts = queryPoints(state.range(1) != 0).points();
  const TurboTransform::space spaces[] = {TurboTransform::nm, TurboTransform::nspan,
                                          TurboTransform::mprime};
  TurboTransform::ListOptions options;
  options.threads = static_cast<int>(state.range(2));
  std::vector<float> values(pts.size() * 3);
  std::vector<std::int8_t> status(pts.size());
  for (auto _ : state) {
    t.convertARTtoSpace(pts.data(), pts.size(), spaces, 3, values.data(), nullptr, nullptr,
                        status.data(), options);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size()));
}

// The same from Cartesian points (the random list turned about the axis at random angles).
void ConversionArrayXYZThreads(benchmark::State& state) {
  static std::vector<P3> xyz;
  if (xyz.empty()) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> phi(0.0, 2 * kPi);
    for (const P3& p : queryPoints(false).points()) {
      const double angle = phi(rng);
      xyz.emplace_back(static_cast<float>(p[1] * std::cos(angle)),
                       static_cast<float>(p[1] * std::sin(angle)), p[0]);
    }
  }
  const TurboTransform& t = bendTransform(static_cast<int>(state.range(0)));
  const TurboTransform::space spaces[] = {TurboTransform::nm, TurboTransform::nspan,
                                          TurboTransform::mprime};
  TurboTransform::ListOptions options;
  options.threads = static_cast<int>(state.range(1));
  std::vector<float> values(xyz.size() * 3);
  for (auto _ : state) {
    t.convertXYZtoSpace(xyz.data(), xyz.size(), spaces, 3, values.data(), nullptr, nullptr,
                        nullptr, options);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(xyz.size()));
}

void meshesAndOrders(benchmark::internal::Benchmark* b) {
  b->ArgNames({"nodes", "sorted"});
  for (int nodes : {2000, 200000}) {
    for (int sorted : {0, 1}) b->Args({nodes, sorted});
  }
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK(ConversionOneSpace)->Apply(meshesAndOrders);
BENCHMARK(ConversionThreeSpaces)->Apply(meshesAndOrders);
BENCHMARK(ConversionArrayThreads)
    ->ArgNames({"nodes", "sorted", "threads"})
    ->ArgsProduct({{2000, 200000}, {0, 1}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ConversionArrayXYZThreads)
    ->ArgNames({"nodes", "threads"})
    ->ArgsProduct({{2000, 200000}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ConversionBoundingBox)->ArgName("nodes")->Arg(2000)->Arg(200000)->Unit(benchmark::kMillisecond);
BENCHMARK(ConversionRepeatedPoint)->ArgName("nodes")->Arg(2000)->Arg(200000)->Unit(benchmark::kMillisecond);
BENCHMARK(ConversionShortLists)->ArgName("nodes")->Arg(2000)->Arg(200000);
BENCHMARK(ConversionSinglePoint)->ArgName("nodes")->Arg(2000)->Arg(200000);

}  // namespace
