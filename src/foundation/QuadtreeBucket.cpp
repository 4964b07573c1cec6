#include "qor/foundation/QuadtreeBucket.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {

namespace {

// Points per leaf: small enough for a short scan, large enough to keep the tree shallow.
constexpr std::uint32_t kBucketSize = 16;
// Coincident points cannot be separated by splitting; the depth cap ends the recursion.
constexpr int kMaxDepth = 24;
constexpr std::uint32_t kNotInTree = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kLeafBit = 0x80000000u;

// An inner node keeps the tight boxes of its four quadrants side by side, so that the four box
// distances of a visit are computed together. An empty quadrant has an inverted infinite box, which
// gives an infinite distance and is never entered.
struct Inner {
  float minX[4], minY[4], maxX[4], maxY[4];
  std::uint32_t child[4];  // kLeafBit | leaf number, inner node number, or kNotInTree when empty
  float midX, midY;        // split point: quadrant 1 and 3 hold x > midX, 2 and 3 hold y > midY
};

// Region of a node: every point with x0 < x <= x1 and y0 < y <= y1 lies in the node's subtree.
struct Region {
  float x0, x1, y0, y1;
  std::uint32_t parent;  // inner node number of the parent, kNotInTree for the root
};

struct Leaf {
  std::uint32_t first;  // first point in leaf order
  std::uint32_t count;
  Region region;
};

// The scan's distance. Every distance of this library's nearest-point searches is this expression.
inline float squaredDistance2d(float px, float py, float x, float y) {
  const float dx = px - x;
  const float dy = py - y;
  return dx * dx + dy * dy;
}

// Radius of the disc around the query that holds every point whose float distance is <= bestD.
// The float distance of a point is at least its exact squared distance times (1 - 4 eps), less a
// few subnormal units, so the radius is taken a little larger than sqrt(bestD).
inline double candidateRadius(float bestD) {
  return std::sqrt(double(bestD) * (1.0 + 1e-6) + 1e-37) * (1.0 + 1e-6);
}

inline int quadrantOf(float x, float y, float midX, float midY) {
  return (x > midX ? 1 : 0) + (y > midY ? 2 : 0);
}

}  // namespace

struct QuadtreeBucket::Impl {
  std::vector<float> xs, ys;            // coordinates in leaf order
  std::vector<std::uint32_t> ids;       // original index of each point in leaf order
  std::vector<Inner> inner;             // inner nodes
  std::vector<Leaf> leaves;
  std::vector<Region> innerRegion;      // per inner node, used by the hinted search only
  std::uint32_t root = 0;               // kLeafBit | leaf number, or inner node number
  std::vector<std::uint32_t> leafOf;    // leaf of each original point (kNotInTree when left out)
  std::vector<std::uint32_t> index;     // original indices in leaf order, while building
  std::size_t count = 0;                // number of points handed to construct, finite or not

  std::uint32_t build(std::uint32_t begin, std::uint32_t end, int depth, const Region& region,
                      float box[4],
                      std::vector<std::uint32_t>& scratch, const std::vector<float>& px,
                      const std::vector<float>& py);
  void search(float qx, float qy, float& bestD, std::uint32_t& bestK) const;
  void searchFrom(std::uint32_t hint, float qx, float qy, float& bestD, std::uint32_t& bestK) const;
  bool searchBelow(std::uint32_t start, double startRoom, float qx, float qy, float& bestD,
                   std::uint32_t& bestK, std::uint32_t& scanned) const;
  void searchNode(std::uint32_t ref, std::uint32_t skip, float qx, float qy, float& bestD,
                  std::uint32_t& bestK) const;
  void scanLeaf(std::uint32_t ref, float qx, float qy, float& bestD, std::uint32_t& bestK) const;
};

// Builds the subtree of the points index[begin, end) and returns its reference; `box` receives
// their tight bounding box (minX, minY, maxX, maxY).
std::uint32_t QuadtreeBucket::Impl::build(std::uint32_t begin, std::uint32_t end, int depth,
                                          const Region& region, float box[4], std::vector<std::uint32_t>& scratch,
                                          const std::vector<float>& px,
                                          const std::vector<float>& py) {
  float minX = std::numeric_limits<float>::infinity(), minY = minX;
  float maxX = -minX, maxY = -minX;
  for (std::uint32_t k = begin; k < end; ++k) {
    const float xk = px[index[k]], yk = py[index[k]];
    minX = std::min(minX, xk);
    maxX = std::max(maxX, xk);
    minY = std::min(minY, yk);
    maxY = std::max(maxY, yk);
  }
  box[0] = minX;
  box[1] = minY;
  box[2] = maxX;
  box[3] = maxY;
  const bool coincident = minX == maxX && minY == maxY;
  if (end - begin <= kBucketSize || depth >= kMaxDepth || coincident) {
    // Original order inside a leaf.
    std::sort(index.begin() + begin, index.begin() + end);
    leaves.push_back({begin, end - begin, region});
    return kLeafBit | static_cast<std::uint32_t>(leaves.size() - 1);
  }
  // Split at the middle of the tight box into four quadrants (stable partition).
  const float midX = minX + (maxX - minX) * 0.5f, midY = minY + (maxY - minY) * 0.5f;
  std::uint32_t counts[4] = {0, 0, 0, 0};
  for (std::uint32_t k = begin; k < end; ++k) ++counts[quadrantOf(px[index[k]], py[index[k]], midX, midY)];
  std::uint32_t offsets[4];
  offsets[0] = begin;
  for (int q = 1; q < 4; ++q) offsets[q] = offsets[q - 1] + counts[q - 1];
  std::uint32_t cursor[4] = {offsets[0], offsets[1], offsets[2], offsets[3]};
  for (std::uint32_t k = begin; k < end; ++k) {
    const std::uint32_t i = index[k];
    scratch[cursor[quadrantOf(px[i], py[i], midX, midY)]++] = i;
  }
  std::copy(scratch.begin() + begin, scratch.begin() + end, index.begin() + begin);

  const auto self = static_cast<std::uint32_t>(inner.size());
  inner.emplace_back();
  innerRegion.push_back(region);
  inner[self].midX = midX;
  inner[self].midY = midY;
  for (int q = 0; q < 4; ++q) {
    float childBox[4] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()};
    std::uint32_t ref = kNotInTree;
    // Region of the quadrant: x <= midX or x > midX, y <= midY or y > midY.
    const Region childRegion{(q & 1) ? midX : region.x0, (q & 1) ? region.x1 : midX,
                             (q & 2) ? midY : region.y0, (q & 2) ? region.y1 : midY, self};
    if (counts[q] > 0) {
      ref = build(offsets[q], offsets[q] + counts[q], depth + 1, childRegion, childBox, scratch, px, py);
    }
    Inner& node = inner[self];  // `inner` may have grown
    node.minX[q] = childBox[0];
    node.minY[q] = childBox[1];
    node.maxX[q] = childBox[2];
    node.maxY[q] = childBox[3];
    node.child[q] = ref;
  }
  return self;
}

namespace {

// Squared distances from the query to the four quadrant boxes of a node, with the same float
// operations as the point distance (difference, square, sum; no fused multiply-add). Rounding is
// monotone, so no point in a box has a smaller float distance than its box: skipping boxes farther
// than the best is exact, with no margin.
inline void boxDistances(const Inner& n, float qx, float qy, float d[4]) {
#if defined(__SSE2__)
  const __m128 px = _mm_set1_ps(qx), py = _mm_set1_ps(qy), zero = _mm_setzero_ps();
  const __m128 dx = _mm_max_ps(_mm_max_ps(_mm_sub_ps(_mm_loadu_ps(n.minX), px),
                                          _mm_sub_ps(px, _mm_loadu_ps(n.maxX))),
                               zero);
  const __m128 dy = _mm_max_ps(_mm_max_ps(_mm_sub_ps(_mm_loadu_ps(n.minY), py),
                                          _mm_sub_ps(py, _mm_loadu_ps(n.maxY))),
                               zero);
  _mm_storeu_ps(d, _mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)));
#else
  for (int q = 0; q < 4; ++q) {
    const float dx = std::max(std::max(n.minX[q] - qx, qx - n.maxX[q]), 0.0f);
    const float dy = std::max(std::max(n.minY[q] - qy, qy - n.maxY[q]), 0.0f);
    d[q] = dx * dx + dy * dy;
  }
#endif
}

}  // namespace

void QuadtreeBucket::Impl::scanLeaf(std::uint32_t ref, float qx, float qy, float& bestD,
                                    std::uint32_t& bestK) const {
  const Leaf& leaf = leaves[ref & ~kLeafBit];
  const float* x = xs.data() + leaf.first;
  const float* y = ys.data() + leaf.first;
  const std::uint32_t n = leaf.count;
  // First the smallest distance of the leaf, then the first point that has it: the indices of a
  // leaf are ascending, so that point has the lowest index among the leaf's nearest points.
  float smallest = std::numeric_limits<float>::infinity();
  std::uint32_t k = 0;
#if defined(__SSE2__)
  // Four distances at a time, with the same float operations as squaredDistance2d.
  const __m128 px = _mm_set1_ps(qx), py = _mm_set1_ps(qy);
  __m128 m4 = _mm_set1_ps(smallest);
  for (; k + 4 <= n; k += 4) {
    const __m128 dx = _mm_sub_ps(px, _mm_loadu_ps(x + k));
    const __m128 dy = _mm_sub_ps(py, _mm_loadu_ps(y + k));
    m4 = _mm_min_ps(m4, _mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)));
  }
  m4 = _mm_min_ps(m4, _mm_shuffle_ps(m4, m4, _MM_SHUFFLE(1, 0, 3, 2)));
  m4 = _mm_min_ps(m4, _mm_shuffle_ps(m4, m4, _MM_SHUFFLE(2, 3, 0, 1)));
  smallest = _mm_cvtss_f32(m4);
#endif
  for (; k < n; ++k) smallest = std::min(smallest, squaredDistance2d(qx, qy, x[k], y[k]));
  if (!(smallest <= bestD) || !(smallest < std::numeric_limits<float>::infinity())) return;
  std::uint32_t first = 0;
  while (squaredDistance2d(qx, qy, x[first], y[first]) != smallest) ++first;
  const std::uint32_t id = ids[leaf.first + first];
  if (smallest < bestD || id < bestK) {
    bestD = smallest;
    bestK = id;
  }
}

void QuadtreeBucket::Impl::searchNode(std::uint32_t ref, std::uint32_t skip, float qx, float qy,
                                      float& bestD, std::uint32_t& bestK) const {
  // The nearest quadrant first: it usually holds the answer and tightens the bound before its
  // siblings are looked at. A box at distance <= best is entered, so that a point at equal distance
  // with a lower index is found; a box at infinite distance holds only points that can never be
  // selected (or none).
  constexpr float inf = std::numeric_limits<float>::infinity();
  const Inner& n = inner[ref];
  float d[4];
  boxDistances(n, qx, qy, d);
  int nearest = 0;
  for (int q = 1; q < 4; ++q) {
    if (d[q] < d[nearest]) nearest = q;
  }
  for (int step = 0; step < 4; ++step) {
    const int q = step == 0 ? nearest : (step <= nearest ? step - 1 : step);
    if (!(d[q] <= bestD && d[q] < inf)) continue;
    const std::uint32_t child = n.child[q];
    if (child == skip || child == kNotInTree) continue;
    if (child & kLeafBit) {
      scanLeaf(child, qx, qy, bestD, bestK);
    } else {
      searchNode(child, skip, qx, qy, bestD, bestK);
    }
  }
}

bool QuadtreeBucket::Impl::searchBelow(std::uint32_t start, double startRoom, float qx, float qy,
                                       float& bestD, std::uint32_t& bestK,
                                       std::uint32_t& scanned) const {
  // 1. Follow the split points down from `start` to the leaf whose region holds the query and scan
  //    it. room[L] is the distance from the query to the nearest boundary of the region of the
  //    level-L node: a disc around the query with a smaller radius lies strictly inside that
  //    region, and every point of the disc belongs to that node's subtree.
  std::uint32_t refs[kMaxDepth + 2];
  double room[kMaxDepth + 2];
  int depth = 0;
  refs[0] = start;
  room[0] = startRoom;
  std::uint32_t ref = start;
  const double x = qx, y = qy;
  while (!(ref & kLeafBit)) {
    const Inner& n = inner[ref];
    const std::uint32_t child = n.child[quadrantOf(qx, qy, n.midX, n.midY)];
    if (child == kNotInTree) break;
    const double slack = std::min(std::fabs(x - double(n.midX)), std::fabs(y - double(n.midY)));
    ++depth;
    refs[depth] = child;
    room[depth] = std::min(room[depth - 1], slack);
    ref = child;
  }
  if (ref & kLeafBit) {
    scanLeaf(ref, qx, qy, bestD, bestK);
    scanned = ref;
  }
  // 2. Every point that can still win lies within the radius r of the query (candidateRadius).
  //    Points on a split line belong to one side only, hence the strict comparison. The lowest
  //    node whose region holds the disc holds every candidate; only its subtree is searched further.
  if (!(bestD < std::numeric_limits<float>::infinity())) return false;
  const double r = candidateRadius(bestD);
  for (int level = depth; level >= 0; --level) {
    if (room[level] > r) {
      if (!(refs[level] & kLeafBit)) searchNode(refs[level], scanned, qx, qy, bestD, bestK);
      return true;
    }
  }
  return false;
}

void QuadtreeBucket::Impl::search(float qx, float qy, float& bestD, std::uint32_t& bestK) const {
  std::uint32_t scanned = kNotInTree;
  if (searchBelow(root, std::numeric_limits<double>::infinity(), qx, qy, bestD, bestK, scanned)) return;
  if (!(root & kLeafBit)) searchNode(root, scanned, qx, qy, bestD, bestK);
}

void QuadtreeBucket::Impl::searchFrom(std::uint32_t hint, float qx, float qy, float& bestD,
                                      std::uint32_t& bestK) const {
  // Climb from the leaf of the hint to the lowest node whose region holds the query, search below
  // it, and climb further while the disc of the candidates is not inside the region.
  const double x = qx, y = qy;
  auto roomIn = [&](const Region& g) {
    return std::min(std::min(x - double(g.x0), double(g.x1) - x), std::min(y - double(g.y0), double(g.y1) - y));
  };
  auto holdsQuery = [&](const Region& g) { return g.x0 < qx && qx <= g.x1 && g.y0 < qy && qy <= g.y1; };
  const std::uint32_t leaf = leafOf[hint];
  std::uint32_t start = kLeafBit | leaf;
  const Region* region = &leaves[leaf].region;
  while (!holdsQuery(*region)) {
    if (region->parent == kNotInTree) {
      search(qx, qy, bestD, bestK);
      return;
    }
    start = region->parent;
    region = &innerRegion[start];
  }
  std::uint32_t scanned = kNotInTree;
  if (searchBelow(start, roomIn(*region), qx, qy, bestD, bestK, scanned)) return;
  if (bestD < std::numeric_limits<float>::infinity()) {
    const double r = candidateRadius(bestD);
    for (std::uint32_t node = region->parent; node != kNotInTree; node = innerRegion[node].parent) {
      if (roomIn(innerRegion[node]) > r) {
        searchNode(node, scanned, qx, qy, bestD, bestK);
        return;
      }
    }
  }
  if (!(root & kLeafBit)) searchNode(root, scanned, qx, qy, bestD, bestK);
}

QuadtreeBucket::QuadtreeBucket() : m_impl(new Impl) {}
QuadtreeBucket::QuadtreeBucket(const QuadtreeBucket& o) : m_impl(new Impl(*o.m_impl)) {}
QuadtreeBucket& QuadtreeBucket::operator=(const QuadtreeBucket& o) {
  if (this != &o) *m_impl = *o.m_impl;
  return *this;
}
QuadtreeBucket::~QuadtreeBucket() { delete m_impl; }

void QuadtreeBucket::construct(const std::vector<TripletBase<float>>& points) {
  if (points.size() >= kNotInTree) {
    throw data::invalid("QuadtreeBucket", "construct",
                        SystemMsg("Too many points for the quadtree: %1") << points.size(),
                        errorType::fatal);
  }
  Impl fresh;
  const auto n = static_cast<std::uint32_t>(points.size());
  fresh.count = n;
  fresh.leafOf.assign(n, kNotInTree);
  std::vector<float> px(n), py(n);
  for (std::uint32_t k = 0; k < n; ++k) {
    px[k] = points[k][0];
    py[k] = points[k][1];
    // A point with a NaN or infinite coordinate has a NaN or infinite distance to every query, so
    // the scan never selects it: it stays out of the tree.
    if (std::isfinite(px[k]) && std::isfinite(py[k])) fresh.index.push_back(k);
  }
  const auto m = static_cast<std::uint32_t>(fresh.index.size());
  if (m > 0) {
    std::vector<std::uint32_t> scratch(m);
    fresh.leaves.reserve(m / (kBucketSize / 2) + 8);
    constexpr float inf = std::numeric_limits<float>::infinity();
    const Region everywhere{-inf, inf, -inf, inf, kNotInTree};
    float box[4];
    fresh.root = fresh.build(0, m, 0, everywhere, box, scratch, px, py);
    fresh.xs.resize(m);
    fresh.ys.resize(m);
    fresh.ids = fresh.index;
    for (std::uint32_t k = 0; k < m; ++k) {
      fresh.xs[k] = px[fresh.index[k]];
      fresh.ys[k] = py[fresh.index[k]];
    }
    for (std::uint32_t l = 0; l < fresh.leaves.size(); ++l) {
      const Leaf& leaf = fresh.leaves[l];
      for (std::uint32_t k = leaf.first; k < leaf.first + leaf.count; ++k) fresh.leafOf[fresh.index[k]] = l;
    }
    fresh.index = std::vector<std::uint32_t>();  // only needed while building
    fresh.inner.shrink_to_fit();
    fresh.leaves.shrink_to_fit();
    fresh.innerRegion.shrink_to_fit();
  }
  *m_impl = std::move(fresh);
}

void QuadtreeBucket::throwIfEmpty() const {
  if (m_impl->count == 0) {
    throw data::invalid("QuadtreeBucket", "findNearestPoint",
                        SystemMsg("The quadtree is empty: construct it from at least one point."),
                        errorType::fatal);
  }
}

unsigned int QuadtreeBucket::findNearestPoint(const TripletBase<float>& point) const {
  throwIfEmpty();
  // A non-finite query has a NaN or infinite distance to every point: the scan keeps index 0.
  if (!std::isfinite(point[0]) || !std::isfinite(point[1]) || m_impl->ids.empty()) return 0;
  float bestD = std::numeric_limits<float>::infinity();
  std::uint32_t bestK = 0;
  m_impl->search(point[0], point[1], bestD, bestK);
  return bestK;
}

unsigned int QuadtreeBucket::findNearestPoint(const TripletBase<float>& point, unsigned int hint) const {
  throwIfEmpty();
  if (!std::isfinite(point[0]) || !std::isfinite(point[1]) || m_impl->ids.empty()) return 0;
  float bestD = std::numeric_limits<float>::infinity();
  std::uint32_t bestK = 0;
  if (hint < m_impl->count && m_impl->leafOf[hint] != kNotInTree) {
    m_impl->searchFrom(hint, point[0], point[1], bestD, bestK);
  } else {
    m_impl->search(point[0], point[1], bestD, bestK);
  }
  return bestK;
}

std::size_t QuadtreeBucket::size() const noexcept { return m_impl->count; }

}  // namespace qor
