// Cost of per-segment forward conversions (ART to (u, v)) on the four-stage axial turbine of the
// data directory: 16 blade-edge lines, 17 segments, 1 000 000 points spread over the segments.
// The data directory is read from QOR_DATA_DIR; without it every benchmark reports an error.
//
//   cmake -S . -B build/h7rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/h7rel --target SegmenterBench
//   QOR_DATA_DIR=/path/to/data build/h7rel/bench/SegmenterBench

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using Seg = qor::TurboTransformSegmenter;
using P3 = qor::TripletBase<float>;

constexpr int kPoints = 1000000;
const char* const kMachine = "four-stage-axial-turbine";

std::string dataDir() {
  const char* d = std::getenv("QOR_DATA_DIR");
  return d != nullptr ? std::string(d) : std::string();
}

/// Rows of a CSV file with a header line; the last two columns are (axial, radius).
std::vector<std::vector<std::string>> readCsv(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::vector<std::string>> rows;
  std::string text;
  std::getline(in, text);  // header
  while (std::getline(in, text)) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    if (text.empty()) continue;
    std::vector<std::string> fields;
    std::stringstream ss(text);
    std::string f;
    while (std::getline(ss, f, ',')) fields.push_back(f);
    rows.push_back(fields);
  }
  return rows;
}

qor::TripletQORVector curve(const std::string& path) {
  std::vector<P3> out;
  for (const auto& row : readCsv(path)) {
    out.emplace_back(std::stof(row[row.size() - 2]), std::stof(row[row.size() - 1]), 0.0f);
  }
  return qor::TripletQORVector(out);
}

struct Machine {
  TurboTransform transform;
  std::vector<std::vector<P3>> boundaries;
};

/// The machine with its background mesh, or null when the data directory is not available.
const Machine* machine() {
  static const std::unique_ptr<Machine> m = []() -> std::unique_ptr<Machine> {
    const std::string base = dataDir() + "/" + kMachine + "/";
    if (dataDir().empty() || !std::ifstream(base + "hub.csv")) return nullptr;
    auto out = std::make_unique<Machine>();
    out->transform.initializeFromART(curve(base + "hub.csv"), curve(base + "shroud.csv"),
                                     curve(base + "inlet.csv"), curve(base + "outlet.csv"),
                                     P3(0, 0, 0), P3(1, 0, 0), -1, -1, -1, -1);
    out->transform.createBackgroundMesh(TurboTransform::nonLinear, 2000);
    std::string current;
    for (const auto& row : readCsv(base + "internal_boundaries.csv")) {
      if (row[0] != current) {
        current = row[0];
        out->boundaries.emplace_back();
      }
      out->boundaries.back().emplace_back(std::stof(row[2]), std::stof(row[3]), 0.0f);
    }
    return out;
  }();
  return m.get();
}

// The machine, or null after marking the benchmark skipped when the data is missing.
const Machine* machineOrSkip(benchmark::State& state) {
  const Machine* m = machine();
  if (m == nullptr) state.SkipWithError("QOR_DATA_DIR is not set or has no four-stage-axial-turbine");
  return m;
}

/// kPoints points spread evenly over the segments, each inside its segment: a random blend of
/// the segment's west and east lines at a random position along them. Fixed seed.
std::vector<std::vector<P3>> pointsPerSegment(const Seg& seg) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  const int segments = seg.getLastSegmentID() + 1;
  std::vector<std::vector<P3>> out(static_cast<std::size_t>(segments));
  for (int s = 0; s < segments; ++s) {
    const auto& west = seg.getInternalBoundaryWest(s);
    const auto& east = seg.getInternalBoundaryEast(s);
    const int n = kPoints / segments + (s < kPoints % segments ? 1 : 0);
    auto& pts = out[static_cast<std::size_t>(s)];
    pts.reserve(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
      const float v = unit(rng) * static_cast<float>(west.size() - 1);
      const auto j = std::min(static_cast<std::size_t>(v), west.size() - 2);
      const float f = v - static_cast<float>(j);
      const P3 w = west[j] + (west[j + 1] - west[j]) * f;
      const P3 e = east[j] + (east[j + 1] - east[j]) * f;
      pts.push_back(w + (e - w) * unit(rng));
    }
  }
  return out;
}

Seg segmenter(const Machine& m, Seg::segmentMethod method) {
  Seg seg(&m.transform, method);
  seg.setInternalBoundaries(m.boundaries, std::vector<bool>(m.boundaries.size(), true));
  return seg;
}

void counters(benchmark::State& state, const Machine& m, const Seg& seg) {
  int ni = 0;
  int nj = 0;
  m.transform.getBackgroundMeshSize(ni, nj);
  state.counters["nodes"] = ni * nj;
  state.counters["segments"] = seg.getLastSegmentID() + 1;
  state.counters["linePoints"] = static_cast<double>(seg.getInternalBoundaryWest(1).size());
}

/// List form, one call per segment (one transform list conversion per segment).
void BM_SegmentForwardList(benchmark::State& state) {
  const Machine* m = machineOrSkip(state);
  if (m == nullptr) return;
  const Seg seg = segmenter(*m, static_cast<Seg::segmentMethod>(state.range(0)));
  const auto points = pointsPerSegment(seg);
  std::vector<P3> uv;
  for (auto _ : state) {
    for (std::size_t s = 0; s < points.size(); ++s) {
      seg.convertARTtoSpaceNspan(static_cast<int>(s), Seg::nm, points[s], uv);
      benchmark::DoNotOptimize(uv.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
  counters(state, *m, seg);
}
BENCHMARK(BM_SegmentForwardList)
    ->Arg(Seg::mergedSpan)
    ->Arg(Seg::backgroundMeshSpan)
    ->Unit(benchmark::kMillisecond);

/// Array form, one call per segment, on 1 or 2 threads (argument; real time).
void BM_SegmentForwardArray(benchmark::State& state) {
  const Machine* m = machineOrSkip(state);
  if (m == nullptr) return;
  const Seg seg = segmenter(*m, Seg::mergedSpan);
  const auto points = pointsPerSegment(seg);
  std::vector<P3> uv(points.at(0).size() + 1);
  TurboTransform::ListOptions options;
  options.threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    for (std::size_t s = 0; s < points.size(); ++s) {
      seg.convertARTtoSpaceNspan(static_cast<int>(s), Seg::nm, points[s].data(), points[s].size(),
                                 uv.data(), options);
      benchmark::DoNotOptimize(uv.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
  counters(state, *m, seg);
}
BENCHMARK(BM_SegmentForwardArray)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Inverse array form ((u, v) to ART), one call per segment; arguments: threads (1 or 2) and the
/// fast inverse (0 off, 1 on). Real time.
void BM_SegmentInverseArray(benchmark::State& state) {
  const Machine* m = machineOrSkip(state);
  if (m == nullptr) return;
  Seg seg = segmenter(*m, Seg::mergedSpan);
  seg.setFastArrayInverse(state.range(1) != 0);
  const auto points = pointsPerSegment(seg);
  std::vector<std::vector<P3>> uv(points.size());
  for (std::size_t s = 0; s < points.size(); ++s) {
    seg.convertARTtoSpaceNspan(static_cast<int>(s), Seg::nm, points[s], uv[s]);
  }
  std::vector<P3> art(points.at(0).size() + 1);
  TurboTransform::ListOptions options;
  options.threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    for (std::size_t s = 0; s < uv.size(); ++s) {
      seg.convertSpaceNspanToART(static_cast<int>(s), Seg::nm, art.data(), uv[s].data(),
                                 uv[s].size(), options);
      benchmark::DoNotOptimize(art.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_SegmentInverseArray)
    ->ArgsProduct({{1, 2}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// Point form, every point separately.
void BM_SegmentForwardPoint(benchmark::State& state) {
  const Machine* m = machineOrSkip(state);
  if (m == nullptr) return;
  const Seg seg = segmenter(*m, static_cast<Seg::segmentMethod>(state.range(0)));
  const auto points = pointsPerSegment(seg);
  P3 uv;
  for (auto _ : state) {
    for (std::size_t s = 0; s < points.size(); ++s) {
      for (const P3& p : points[s]) {
        seg.convertARTtoRnmNspan(static_cast<int>(s), p, uv);
        benchmark::DoNotOptimize(uv);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kPoints);
  counters(state, *m, seg);
}
BENCHMARK(BM_SegmentForwardPoint)
    ->Arg(Seg::mergedSpan)
    ->Arg(Seg::backgroundMeshSpan)
    ->Unit(benchmark::kMillisecond);

/// Set-up of all 16 boundary lines (cleaning, fitting, resampling, space values).
void BM_SegmenterSetInternalBoundaries(benchmark::State& state) {
  const Machine* m = machineOrSkip(state);
  if (m == nullptr) return;
  const auto method = static_cast<Seg::segmentMethod>(state.range(0));
  for (auto _ : state) {
    Seg seg = segmenter(*m, method);
    benchmark::DoNotOptimize(seg.getLastSegmentID());
  }
}
BENCHMARK(BM_SegmenterSetInternalBoundaries)
    ->Arg(Seg::mergedSpan)
    ->Arg(Seg::backgroundMeshSpan)
    ->Unit(benchmark::kMillisecond);

}  // namespace
