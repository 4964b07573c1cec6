// Nearest-point search and cell solves: the two foundation services on the path of every point
// conversion.
//
//   cmake -S . -B build/rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOR_BUILD_BENCHMARKS=ON
//         -DQOR_BUILD_TESTS=OFF
//   cmake --build build/rel --target FoundationBench, then run build/rel/bench/FoundationBench
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/QuadtreeBucket.h"

using P = qor::TripletBase<float>;

namespace {

// Nodes of a structured meridional mesh of about n nodes: a bent annular passage with nodes
// clustered towards hub and shroud, like a smoothed background mesh.
std::vector<P> meshNodes(int n) {
  const int ni = std::max(2, int(std::sqrt(n * 1.25)));
  const int nj = std::max(2, n / ni);
  std::vector<P> nodes;
  nodes.reserve(std::size_t(ni) * nj);
  for (int i = 0; i < ni; ++i) {
    const double u = double(i) / (ni - 1);
    for (int j = 0; j < nj; ++j) {
      const double v = double(j) / (nj - 1);
      const double span = 0.5 - 0.5 * std::cos(3.141592653589793 * v);  // wall clustering
      const double hub = 0.2 + 0.1 * u * u, shroud = 0.6 + 0.05 * std::sin(3 * u);
      const double bend = 0.4 * u * u * u;
      nodes.emplace_back(float(u + bend * span), float(hub + (shroud - hub) * span + bend), 0.0f);
    }
  }
  return nodes;
}

std::vector<P> randomQueries(const std::vector<P>& nodes, std::size_t count) {
  std::mt19937 rng(42);
  std::uniform_int_distribution<std::size_t> pick(0, nodes.size() - 1);
  std::uniform_real_distribution<float> jitter(-0.002f, 0.002f);
  std::vector<P> q;
  q.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    const P& a = nodes[pick(rng)];
    q.emplace_back(a[0] + jitter(rng), a[1] + jitter(rng), 0.0f);
  }
  return q;
}

// Spatially sorted queries: consecutive points are neighbours, as in a sweep over a surface grid.
std::vector<P> sortedQueries(const std::vector<P>& nodes, std::size_t count) {
  std::vector<P> q = randomQueries(nodes, count);
  std::sort(q.begin(), q.end(), [](const P& a, const P& b) {
    const int ca = int(a[0] * 64), cb = int(b[0] * 64);
    if (ca != cb) return ca < cb;
    return (ca % 2 == 0) ? a[1] < b[1] : a[1] > b[1];  // boustrophedon strips
  });
  return q;
}

void BM_QuadtreeConstruct(benchmark::State& state) {
  const std::vector<P> nodes = meshNodes(int(state.range(0)));
  for (auto _ : state) {
    qor::QuadtreeBucket tree;
    tree.construct(nodes);
    benchmark::DoNotOptimize(tree);
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(nodes.size()));
}
BENCHMARK(BM_QuadtreeConstruct)->Arg(2000)->Arg(200000)->Unit(benchmark::kMillisecond);

void BM_QuadtreeNearestRandom(benchmark::State& state) {
  const std::vector<P> nodes = meshNodes(int(state.range(0)));
  qor::QuadtreeBucket tree;
  tree.construct(nodes);
  const std::vector<P> queries = randomQueries(nodes, 1 << 16);
  std::size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tree.findNearestPoint(queries[k]));
    k = (k + 1) & (queries.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QuadtreeNearestRandom)->Arg(2000)->Arg(200000);

void BM_QuadtreeNearestSorted(benchmark::State& state) {
  const std::vector<P> nodes = meshNodes(int(state.range(0)));
  qor::QuadtreeBucket tree;
  tree.construct(nodes);
  const std::vector<P> queries = sortedQueries(nodes, 1 << 16);
  std::size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tree.findNearestPoint(queries[k]));
    k = (k + 1) & (queries.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QuadtreeNearestSorted)->Arg(2000)->Arg(200000);

void BM_QuadtreeNearestSortedWithHint(benchmark::State& state) {
  const std::vector<P> nodes = meshNodes(int(state.range(0)));
  qor::QuadtreeBucket tree;
  tree.construct(nodes);
  const std::vector<P> queries = sortedQueries(nodes, 1 << 16);
  std::size_t k = 0;
  unsigned int hint = 0;
  for (auto _ : state) {
    hint = tree.findNearestPoint(queries[k], hint);
    benchmark::DoNotOptimize(hint);
    k = (k + 1) & (queries.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QuadtreeNearestSortedWithHint)->Arg(2000)->Arg(200000);

void BM_QuadtreeNearestOutside(benchmark::State& state) {
  const std::vector<P> nodes = meshNodes(int(state.range(0)));
  qor::QuadtreeBucket tree;
  tree.construct(nodes);
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> coord(-1.0f, 3.0f);
  std::vector<P> queries;
  for (int k = 0; k < (1 << 16); ++k) queries.emplace_back(coord(rng), coord(rng), 0.0f);
  std::size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tree.findNearestPoint(queries[k]));
    k = (k + 1) & (queries.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QuadtreeNearestOutside)->Arg(200000);

void BM_SearchForSTinQuad(benchmark::State& state) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> local(0.0f, 1.0f), jitter(-0.2f, 0.2f);
  struct Case {
    float px, py, x[4], y[4];
  };
  std::vector<Case> cases(1024);
  const float ux[4] = {0, 1, 0, 1}, uy[4] = {0, 0, 1, 1};
  for (Case& c : cases) {
    for (int k = 0; k < 4; ++k) {
      c.x[k] = ux[k] + jitter(rng);
      c.y[k] = uy[k] + jitter(rng);
    }
    const float s = local(rng), t = local(rng);
    c.px = qor::NumericalUtils::calculateValueInQuadFromST(s, t, c.x[0], c.x[1], c.x[2], c.x[3]);
    c.py = qor::NumericalUtils::calculateValueInQuadFromST(s, t, c.y[0], c.y[1], c.y[2], c.y[3]);
  }
  std::size_t k = 0;
  for (auto _ : state) {
    const Case& c = cases[k];
    float s, t;
    bool f1, f2, f3;
    qor::NumericalUtils::searchForSTinQuad(s, t, c.px, c.py, c.x[0], c.y[0], c.x[1], c.y[1], c.x[2],
                                           c.y[2], c.x[3], c.y[3], f1, f2, f3, 50, 0.01f, 0.00001f);
    benchmark::DoNotOptimize(s);
    benchmark::DoNotOptimize(t);
    k = (k + 1) & (cases.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SearchForSTinQuad);

}  // namespace
