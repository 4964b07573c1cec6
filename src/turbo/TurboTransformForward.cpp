/// @file
/// Forward conversions: (axial, radial, theta) or Cartesian points to the values of the spaces,
/// by locating each point in a background-mesh cell and interpolating the corner values.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "foundation/Assert.h"
#include "foundation/ParallelFor.h"
#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/AxialRadial.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

using turbo_detail::Location;
using turbo_detail::MeshView;

const char* const kClass = "TurboTransform";
constexpr int kSpaceCount = 8;

inline bool isSpace(int s) { return static_cast<unsigned>(s) < static_cast<unsigned>(kSpaceCount); }

[[noreturn]] void throwSpace(const char* function, int s) {
  throw internal::error(kClass, function,
                        SystemMsg("Space (%1) not allowed for conversion here") << s,
                        errorType::fatal);
}

// How the values of a space are stored: one per node, one per j line (nspan) or one per i row
// (rnm).
enum class Storage { node, perJ, perI };

inline Storage storageOf(int s) {
  if (s == TurboTransform::nspan) return Storage::perJ;
  if (s == TurboTransform::rnm) return Storage::perI;
  return Storage::node;
}

// The values of one space with its storage; the array size has been checked against the mesh
// once, so that the per-point code reads without further checks.
struct Field {
  const double* data = nullptr;
  Storage storage = Storage::node;
  // Optional float copy of a node field, interleaved with the other packed fields (long lists
  // only): narrowing once per node gives the values that narrowing per corner gives.
  const float* packed = nullptr;
  std::size_t stride = 0;
};

Field fieldOf(const std::vector<double>& values, int s, const MeshView& mesh) {
  const Storage storage = storageOf(s);
  std::size_t needed;
  switch (storage) {
    case Storage::perJ: needed = static_cast<std::size_t>(mesh.jcv) + 1; break;
    case Storage::perI: needed = static_cast<std::size_t>(mesh.icv) + 1; break;
    default:
      needed = static_cast<std::size_t>(mesh.begin) +
               static_cast<std::size_t>(mesh.icv + 1) * static_cast<std::size_t>(mesh.jsize);
  }
  QOR_ASSERT(values.size() >= needed, "a computed field has a value for every node, row or line");
  return {values.data(), storage};
}

// The fields of the spaces of an array form (already checked to be spaces), in their order.
std::vector<Field> fieldsOf(const std::vector<std::vector<double>>& values,
                            const TurboTransform::space* spaces, std::size_t count,
                            const MeshView& mesh) {
  std::vector<Field> fields;
  fields.reserve(count);
  for (std::size_t q = 0; q < count; ++q) {
    fields.push_back(fieldOf(values.at(spaces[q]), spaces[q], mesh));
  }
  return fields;
}

// The four corner values of the cell in the order of the bilinear formula.
template <typename T>
inline void cornerValues(const Field& f, const Location& loc, T& w0, T& w1, T& w2, T& w3) {
  switch (f.storage) {
    case Storage::perJ:
      w0 = w1 = static_cast<T>(f.data[loc.j]);
      w2 = w3 = static_cast<T>(f.data[loc.j + 1]);
      break;
    case Storage::perI:
      w0 = w2 = static_cast<T>(f.data[loc.i]);
      w1 = w3 = static_cast<T>(f.data[loc.i + 1]);
      break;
    default:
      w0 = static_cast<T>(f.data[loc.c0]);
      w1 = static_cast<T>(f.data[loc.c1]);
      w2 = static_cast<T>(f.data[loc.c2]);
      w3 = static_cast<T>(f.data[loc.c3]);
  }
}

inline float valueOf(const Field& f, const Location& loc) {
  float w0, w1, w2, w3;
  if (f.packed != nullptr) {
    w0 = f.packed[static_cast<std::size_t>(loc.c0) * f.stride];
    w1 = f.packed[static_cast<std::size_t>(loc.c1) * f.stride];
    w2 = f.packed[static_cast<std::size_t>(loc.c2) * f.stride];
    w3 = f.packed[static_cast<std::size_t>(loc.c3) * f.stride];
  } else {
    cornerValues(f, loc, w0, w1, w2, w3);
  }
  return turbo_detail::bilinear(loc.s, loc.t, w0, w1, w2, w3);
}

inline double valueOfDouble(const Field& f, const Location& loc) {
  double w0, w1, w2, w3;
  cornerValues(f, loc, w0, w1, w2, w3);
  return NumericalUtils::calculateValueInQuadFromSTD(loc.s, loc.t, w0, w1, w2, w3);
}

// For long lists, copies the node fields into one float array, node by node, so that the corners
// of a cell bring all requested values in the same cache lines.
void packNodeFields(const MeshView& mesh, std::size_t points, std::vector<Field>& fields,
                    std::vector<float>& store) {
  std::size_t stride = 0;
  for (const Field& f : fields) stride += (f.storage == Storage::node) ? 1 : 0;
  if (stride == 0) return;
  const std::size_t nodes = static_cast<std::size_t>(mesh.begin) +
                            static_cast<std::size_t>(mesh.icv + 1) *
                                static_cast<std::size_t>(mesh.jsize);
  // Copying costs a pass over the mesh: worth it only for lists about as long as the mesh.
  if (points * 2 < nodes) return;
  store.resize(nodes * stride);
  std::size_t slot = 0;
  for (Field& f : fields) {
    if (f.storage != Storage::node) continue;
    for (std::size_t k = 0; k < nodes; ++k) store[k * stride + slot] = static_cast<float>(f.data[k]);
    f.packed = store.data() + slot;
    f.stride = stride;
    ++slot;
  }
}

// Asks the processor to fetch the corner values of the cell for every field.
inline void prefetchCorners(const std::vector<Field>& fields, const Location& loc) {
  bool packed = false;
  for (const Field& f : fields) {
    if (f.storage != Storage::node) continue;
    if (f.packed != nullptr) {
      if (packed) continue;  // the packed fields share their cache lines
      packed = true;
      for (int c : {loc.c0, loc.c1, loc.c2, loc.c3}) {
        turbo_detail::prefetch(f.packed + static_cast<std::size_t>(c) * f.stride);
      }
    } else {
      for (int c : {loc.c0, loc.c1, loc.c2, loc.c3}) turbo_detail::prefetch(f.data + c);
    }
  }
}

// Meshes whose nodes, grid and values no longer fit the processor caches: below this size the
// order in which the points of a list are taken makes no measurable difference.
constexpr std::size_t kLargeMesh = 32768;

// Lists are ordered in chunks of this many points, which bounds the extra memory (a few MB, and a
// counter per block of the search grid).
constexpr std::size_t kOrderChunk = std::size_t(1) << 18;

// Whether points first .. first + n - 1 already run through the mesh, each near the last (a
// structured flow mesh, a line), judged from the first few thousand: few of them leave the
// search-grid block of the point before.
template <typename PointAt>
bool runsThroughMesh(const turbo_detail::NodeGrid& grid, std::size_t first, std::size_t n,
                     PointAt pointAt) {
  const std::size_t sample = std::min<std::size_t>(n, 4096);
  std::size_t jumps = 0;
  int last = -1;
  for (std::size_t k = 0; k < sample; ++k) {
    const int block = grid.blockOf(pointAt(first + k));
    if (k > 0 && block != last) ++jumps;
    last = block;
  }
  return jumps * 8 < sample;
}

// A processing order for a chunk of a long list that visits the points block of the search grid
// by block, with the points copied in that order. Each point is located independently of the
// others, so the results do not depend on the order; only the memory traffic does.
struct SpatialOrder {
  std::vector<TripletBase<float>> points;  // the points of the chunk in processing order
  std::vector<std::uint32_t> index;        // their positions in the chunk
  std::vector<std::uint32_t> key;
  std::vector<std::uint32_t> start;

  // Points first .. first + n - 1 (n <= kOrderChunk), counting-sorted by block.
  template <typename PointAt>
  void arrange(const turbo_detail::NodeGrid& grid, std::size_t first, std::size_t n,
               PointAt pointAt) {
    const std::size_t keys = static_cast<std::size_t>(grid.blockCount());
    key.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
      key[k] = static_cast<std::uint32_t>(grid.blockOf(pointAt(first + k)));
    }
    start.assign(keys + 1, 0);
    for (std::size_t k = 0; k < n; ++k) ++start[key[k] + 1];
    for (std::size_t b = 0; b < keys; ++b) start[b + 1] += start[b];
    points.resize(n);
    index.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
      const std::uint32_t slot = start[key[k]]++;
      points[slot] = pointAt(first + k);
      index[slot] = static_cast<std::uint32_t>(k);
    }
  }
};

// The distance of p from the line through the boundary nodes a and b (from a alone when they
// coincide), in double.
double distanceFromEdge(const TripletBase<float>& p, const TripletBase<float>& a,
                        const TripletBase<float>& b) {
  const double ex = double(b[0]) - double(a[0]), ey = double(b[1]) - double(a[1]);
  const double px = double(p[0]) - double(a[0]), py = double(p[1]) - double(a[1]);
  const double length = std::hypot(ex, ey);
  if (!(length > 0.0)) return std::hypot(px, py);
  return std::fabs(px * ey - py * ex) / length;
}

// The location status of p placed in the cell `loc` (see the header for the tolerance): a side is
// a candidate when the cell lies on it and the local coordinate across it leaves [0, 1]; the
// candidate whose edge line p lies furthest from, beyond the tolerance, wins. With exact walls, t of
// a wall cell is measured from the wall curve itself (a point on the curve has t = 0 or 1 even
// where the curve bulges beyond the cell's straight edge), so the distance beyond the hub or the
// shroud is taken along the cell's line of constant s, and within kWallTolerance of the passage
// height it is on the wall.
constexpr double kWallTolerance = 1e-4;

std::int8_t statusOf(const MeshView& mesh, const Location& loc, const TripletBase<float>& p) {
  if (loc.s >= 0.0f && loc.s <= 1.0f && loc.t >= 0.0f && loc.t <= 1.0f) {
    return TurboTransform::inside;
  }
  const TripletBase<float>* P = mesh.points;
  double magnitude = std::max(std::fabs(double(p[0])), std::fabs(double(p[1])));
  for (int c : {loc.c0, loc.c1, loc.c2, loc.c3}) {
    magnitude = std::max(magnitude, std::fabs(double(P[c][0])));
    magnitude = std::max(magnitude, std::fabs(double(P[c][1])));
  }
  const double rounding = 16.0 * double(FLT_EPSILON) * magnitude;
  double furthest = 0.0;
  std::int8_t status = TurboTransform::inside;
  auto consider = [&](double d, double tolerance, TurboTransform::location which) {
    if (d > tolerance && d - tolerance > furthest) {
      furthest = d - tolerance;
      status = which;
    }
  };
  const double s = std::min(1.0, std::max(0.0, double(loc.s)));
  // The distance between the points of two nodes' lines at s: a and b on row i, c and d on i + 1.
  auto spanAt = [&](int a, int b, int c, int d) {
    const double dx = (1.0 - s) * (double(P[b][0]) - P[a][0]) + s * (double(P[d][0]) - P[c][0]);
    const double dy = (1.0 - s) * (double(P[b][1]) - P[a][1]) + s * (double(P[d][1]) - P[c][1]);
    return std::sqrt(dx * dx + dy * dy);
  };
  auto beyondWall = [&](double beyond, int hub0, TurboTransform::location which) {
    // hub0: the hub node of the cell's row i; the row's nodes run hub0 .. hub0 + jcv
    const double cell = spanAt(loc.c0, loc.c2, loc.c1, loc.c3);
    const double height = spanAt(hub0, hub0 + mesh.jcv, hub0 + mesh.jsize, hub0 + mesh.jsize + mesh.jcv);
    consider(beyond * cell, std::max(rounding, kWallTolerance * height), which);
  };
  const bool walls = mesh.walls != nullptr;
  if (loc.j == 0 && loc.t < 0.0f) {
    if (walls) {
      beyondWall(-double(loc.t), loc.c0, TurboTransform::beyondHub);
    } else {
      consider(distanceFromEdge(p, P[loc.c0], P[loc.c1]), rounding, TurboTransform::beyondHub);
    }
  }
  if (loc.j == mesh.jcv - 1 && loc.t > 1.0f) {
    if (walls) {
      beyondWall(double(loc.t) - 1.0, loc.c2 - mesh.jcv, TurboTransform::beyondShroud);
    } else {
      consider(distanceFromEdge(p, P[loc.c2], P[loc.c3]), rounding, TurboTransform::beyondShroud);
    }
  }
  if (loc.i == 0 && loc.s < 0.0f) {
    consider(distanceFromEdge(p, P[loc.c0], P[loc.c2]), rounding, TurboTransform::beforeInlet);
  }
  if (loc.i == mesh.icv - 1 && loc.s > 1.0f) {
    consider(distanceFromEdge(p, P[loc.c1], P[loc.c3]), rounding, TurboTransform::afterOutlet);
  }
  return status;
}

// Where the conversion of a list writes: value q of point k at values[q][k * stride]; the unit
// directions and the status of point k at streamwise[k], spanwise[k] and status[k] (each null
// when not wanted).
struct Outputs {
  std::vector<float*> values;
  std::size_t stride = 1;
  TripletBase<float>* streamwise = nullptr;
  TripletBase<float>* spanwise = nullptr;
  std::int8_t* status = nullptr;

  // The outputs of the list from point `first` on.
  Outputs from(std::size_t first) const {
    Outputs o(*this);
    for (float*& v : o.values) v += first * stride;
    if (o.streamwise != nullptr) o.streamwise += first;
    if (o.spanwise != nullptr) o.spanwise += first;
    if (o.status != nullptr) o.status += first;
    return o;
  }
};

// Several spaces over a list of points: each point is located once. `pointAt(k)` yields point k
// in (axial, radial, theta). The fields are packed (or not) by the caller.
template <typename PointAt>
void convertSpaces(const MeshView& mesh, const std::vector<Field>& fields, const Outputs& outs,
                   std::size_t n, PointAt pointAt) {
  const std::size_t count = fields.size();
  const std::size_t stride = outs.stride;
  // The values of the `b` located points `loc` (at `pts`) of a block, field by field, to list
  // positions at(0) .. at(b - 1).
  auto emitBlock = [&](int b, auto at, const Location* loc, const TripletBase<float>* const* pts) {
    std::size_t dest[turbo_detail::kLocateBlock];
    for (int l = 0; l < b; ++l) dest[l] = at(l);
    for (std::size_t q = 0; q < count; ++q) {
      const Field& f = fields[q];
      float* const out = outs.values[q];
      for (int l = 0; l < b; ++l) out[dest[l] * stride] = valueOf(f, loc[l]);
    }
    if (outs.streamwise != nullptr || outs.spanwise != nullptr) {
      for (int l = 0; l < b; ++l) {
        TripletBase<float> along, across;
        turbo_detail::cellDirections(mesh.points, loc[l], along, across);
        if (outs.streamwise != nullptr) outs.streamwise[dest[l]] = along;
        if (outs.spanwise != nullptr) outs.spanwise[dest[l]] = across;
      }
    }
    if (outs.status != nullptr) {
      for (int l = 0; l < b; ++l) outs.status[dest[l]] = statusOf(mesh, loc[l], *pts[l]);
    }
  };
  if (mesh.grid == nullptr) {  // no node grid: one point after the other, each search from the last
    Location loc;
    unsigned int hint = 0;
    for (std::size_t k = 0; k < n; ++k) {
      const TripletBase<float>* point = &pointAt(k);
      turbo_detail::locateNext(mesh, *point, loc, hint);
      emitBlock(1, [k](int) { return k; }, &loc, &point);
    }
    return;
  }
  // Points `first` .. `first + m - 1` of a sequence, kLocateBlock at a time, taken as `order`
  // says: list position `at(r)` and point `point(r)` of the r-th.
  constexpr int kBlock = turbo_detail::kLocateBlock;
  auto run = [&](std::size_t m, turbo_detail::ListOrder order, auto at, auto point) {
    const TripletBase<float>* block[kBlock];
    Location loc[kBlock];
    for (std::size_t r = 0; r < m; r += kBlock) {
      const int b = static_cast<int>(std::min<std::size_t>(kBlock, m - r));
      if (order.large && !order.ordered) {
        // The list bounds of the points two blocks ahead, and the lists of the next block's.
        // locateBlock requests its own block's again: leaving that out measured 2-3 % slower
        // (the first blocks of a chunk, and lines evicted meanwhile), leaving this out 5 %.
        const turbo_detail::NodeGrid& grid = *mesh.grid;
        for (std::size_t k = r + 2 * kBlock; k < std::min(m, r + 3 * kBlock); ++k) {
          const int cell = grid.cellOf(point(k));
          if (cell >= 0) grid.prefetchBounds(cell);
        }
        for (std::size_t k = r + kBlock; k < std::min(m, r + 2 * kBlock); ++k) {
          const int cell = grid.cellOf(point(k));
          if (cell >= 0) grid.prefetchList(cell);
        }
      }
      for (int l = 0; l < b; ++l) block[l] = &point(r + static_cast<std::size_t>(l));
      turbo_detail::locateBlock(mesh, block, b, loc, order);
      if (order.large) {  // the corner values too
        for (int l = 0; l < b; ++l) prefetchCorners(fields, loc[l]);
      }
      emitBlock(b, [&](int l) { return at(r + static_cast<std::size_t>(l)); }, loc, block);
    }
  };
  const bool large = mesh.count >= kLargeMesh;
  if (large && n >= 4096) {
    SpatialOrder order;
    for (std::size_t first = 0; first < n; first += kOrderChunk) {
      const std::size_t m = std::min(kOrderChunk, n - first);
      if (runsThroughMesh(*mesh.grid, first, m, pointAt)) {
        run(m, turbo_detail::ListOrder{true, true}, [&](std::size_t r) { return first + r; },
            [&](std::size_t r) -> const TripletBase<float>& { return pointAt(first + r); });
      } else {
        order.arrange(*mesh.grid, first, m, pointAt);
        run(m, turbo_detail::ListOrder{false, true},
            [&](std::size_t r) { return first + order.index[r]; },
            [&](std::size_t r) -> const TripletBase<float>& { return order.points[r]; });
      }
    }
    return;
  }
  // Short lists, and lists on a mesh that fits the caches, keep their order.
  const bool ordered = n >= 4096 && runsThroughMesh(*mesh.grid, 0, n, pointAt);
  run(n, turbo_detail::ListOrder{ordered, large}, [](std::size_t r) { return r; },
      [&](std::size_t r) -> const TripletBase<float>& { return pointAt(r); });
}

// The list `points` (n, in (axial, radial, theta)) in `parts` contiguous chunks, one per thread,
// with the node fields packed once for all of them.
void convertList(const MeshView& mesh, std::vector<Field> fields, const Outputs& outs,
                 std::size_t n, const TripletBase<float>* points, unsigned parts) {
  std::vector<float> store;
  packNodeFields(mesh, n, fields, store);
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    const TripletBase<float>* const chunk = points + begin;
    convertSpaces(mesh, fields, outs.from(begin), end - begin,
                  [chunk](std::size_t k) -> const TripletBase<float>& { return chunk[k]; });
  });
}

// One space over a list of points, on the calling thread.
void convertOneSpace(const MeshView& mesh, const Field& field, std::size_t n, float* out,
                     const TripletBase<float>* points) {
  Outputs outs;
  outs.values.assign(1, out);
  convertList(mesh, std::vector<Field>(1, field), outs, n, points, 1);
}

// True when the byte ranges [a, a + na) and [b, b + nb) share a byte.
bool overlaps(const void* a, std::size_t na, const void* b, std::size_t nb) {
  if (a == nullptr || b == nullptr || na == 0 || nb == 0) return false;
  const auto x = reinterpret_cast<std::uintptr_t>(a), y = reinterpret_cast<std::uintptr_t>(b);
  return x < y + nb && y < x + na;
}

[[noreturn]] void throwArray(const char* function, const char* what) {
  throw data::invalid(kClass, function, SystemMsg("%1") << what, errorType::fatal);
}

// The checks of the array forms, all made before anything is written.
void checkArrays(const char* function, const TripletBase<float>* points, std::size_t n,
                 const TurboTransform::space* spaces, std::size_t spaceCount, const float* values,
                 const TripletBase<float>* streamwise, const TripletBase<float>* spanwise,
                 const std::int8_t* status) {
  if (n == 0) return;
  if (points == nullptr) throwArray(function, "Null array of points.");
  if (spaceCount > 0 && spaces == nullptr) throwArray(function, "Null array of spaces.");
  for (std::size_t q = 0; q < spaceCount; ++q) {
    if (!isSpace(spaces[q])) throwSpace(function, spaces[q]);
  }
  if (spaceCount > 0 && values == nullptr) throwArray(function, "Null array of values.");
  const std::size_t bytes = n * sizeof(TripletBase<float>);
  if (overlaps(points, bytes, values, n * spaceCount * sizeof(float)) ||
      overlaps(points, bytes, streamwise, bytes) || overlaps(points, bytes, spanwise, bytes) ||
      overlaps(points, bytes, status, n)) {
    throwArray(function, "An output array overlaps the input points.");
  }
}

// The outputs of the array forms.
Outputs arrayOutputs(std::size_t spaceCount, float* values, TripletBase<float>* streamwise,
                     TripletBase<float>* spanwise, std::int8_t* status) {
  Outputs outs;
  outs.stride = spaceCount;
  for (std::size_t q = 0; q < spaceCount; ++q) outs.values.push_back(values + q);
  outs.streamwise = streamwise;
  outs.spanwise = spanwise;
  outs.status = status;
  return outs;
}

}  // namespace

// ---- (axial, radial, theta) ------------------------------------------------------------------

float TurboTransform::convertARTtoSpace(space s, const TripletBase<float>& art) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  const MeshView mesh =
      turbo_detail::singlePointView(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls));
  Location loc;
  turbo_detail::locate(mesh, art, loc);
  if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  return valueOf(fieldOf(m_mesh->fields.at(s), s, mesh), loc);
}

void TurboTransform::convertARTtoSpace(space s, const QORVector<TripletBase<float>>& art,
                                       QORVector<float>& values) const {
  const std::size_t n = art.size();
  if (values.size() != n) values.resize(n);
  if (n == 0) return;
  // The checks of the point conversion, made once for the whole list.
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  const Field f = fieldOf(m_mesh->fields.at(s), s, mesh);
  convertOneSpace(mesh, f, n, values.data(), art.data());
}

void TurboTransform::convertARTtoSpace(space s, std::vector<TripletBase<float>>& art,
                                       std::vector<float>& values) const {
  const std::size_t n = art.size();
  // A failure leaves `values` as it was: the checks come before any write.
  if (n > 0) {
    turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
    if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  }
  if (values.size() != n) values.resize(n);
  if (n == 0) return;
  MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  const Field f = fieldOf(m_mesh->fields.at(s), s, mesh);
  convertOneSpace(mesh, f, n, values.data(), art.data());
}

void TurboTransform::convertARTtoSpace(const TripletQORVector& art, const QORVector<space>& spaces,
                                       QORVector<std::vector<float>>& values) const {
  QORVector<TripletBase<float>> streamwise, spanwise;
  convertARTtoSpace(art, spaces, values, streamwise, spanwise, false);
}

void TurboTransform::convertARTtoSpace(const TripletQORVector& art, const QORVector<space>& spaces,
                                       QORVector<std::vector<float>>& values,
                                       QORVector<TripletBase<float>>& streamwise,
                                       QORVector<TripletBase<float>>& spanwise,
                                       bool withDirections) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  const std::size_t n = art.size();
  if (values.size() != spaces.size()) values.resize(spaces.size());
  for (std::vector<float>& list : values) {
    if (list.size() != n) list.resize(n);
  }
  if (withDirections) {
    if (streamwise.size() != n) streamwise.resize(n);
    if (spanwise.size() != n) spanwise.resize(n);
  }
  MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  std::vector<Field> fields;
  Outputs outs;
  fields.reserve(spaces.size());
  outs.values.reserve(spaces.size());
  for (std::size_t q = 0; q < spaces.size(); ++q) {
    const int s = spaces[q];
    if (!isSpace(s)) continue;  // skipped silently: its list keeps its contents
    fields.push_back(fieldOf(m_mesh->fields.at(s), s, mesh));
    outs.values.push_back(values[q].data());
  }
  if (n == 0 || (fields.empty() && !withDirections)) return;
  if (withDirections) {
    outs.streamwise = streamwise.data();
    outs.spanwise = spanwise.data();
  }
  convertList(mesh, std::move(fields), outs, n, art.data(), 1);
}

// ---- (value, theta, nspan) -------------------------------------------------------------------

void TurboTransform::convertARTtoSpaceTNs(space s, const TripletBase<float>& art,
                                          TripletBase<float>& out) const {
  // The mesh is required; a transform without one fails here rather than in the search.
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpaceTNs");
  const MeshView mesh =
      turbo_detail::singlePointView(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls));
  Location loc;
  turbo_detail::locate(mesh, art, loc);
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  const float value = valueOf(fieldOf(m_mesh->fields.at(s), s, mesh), loc);
  const float theta = art[2];
  const float normalisedSpan = valueOf(fieldOf(m_mesh->fields.at(nspan), nspan, mesh), loc);
  out = TripletBase<float>(value, theta, normalisedSpan);
}

void TurboTransform::convertARTtoSpaceTNs(space s, const TripletBase<double>& art,
                                          TripletBase<double>& out) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpaceTNs");
  const MeshView mesh =
      turbo_detail::singlePointView(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls));
  Location loc;
  turbo_detail::locate(mesh, TripletBase<float>(art), loc);
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  const double value = valueOfDouble(fieldOf(m_mesh->fields.at(s), s, mesh), loc);
  const double theta = art[2];
  const double normalisedSpan = valueOfDouble(fieldOf(m_mesh->fields.at(nspan), nspan, mesh), loc);
  out = TripletBase<double>(value, theta, normalisedSpan);
}

void TurboTransform::convertARTtoSpaceTNs(space s, const std::vector<TripletBase<float>>& art,
                                          std::vector<TripletBase<float>>& out) const {
  const std::size_t n = art.size();
  if (out.size() != n) out.resize(n);
  if (n == 0) return;
  // The checks of the point form, made once for the whole list.
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpaceTNs");
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  const Field f = fieldOf(m_mesh->fields.at(s), s, mesh);
  const Field spanField = fieldOf(m_mesh->fields.at(nspan), nspan, mesh);
  Location loc;
  for (std::size_t k = 0; k < n; ++k) {
    turbo_detail::locate(mesh, art[k], loc);
    const float theta = art[k][2];
    out[k] = TripletBase<float>(valueOf(f, loc), theta, valueOf(spanField, loc));
  }
}

// ---- Cartesian ---------------------------------------------------------------------------------

float TurboTransform::convertXYZtoSpace(space s, const TripletBase<float>& xyz) const {
  turbo_detail::requireMesh(m_mesh, "convertXYZtoSpace");
  TripletBase<float> art;
  art = turbo_detail::axialRadial(xyz, m_axisPoint, m_axialUnit);
  return convertARTtoSpace(s, art);
}

// The list forms convert the points to (axial, radial, 0) first and then run the meridional
// form; unlike the meridional list forms they need the mesh even for an empty list.

void TurboTransform::convertXYZtoSpace(space s, const QORVector<TripletBase<float>>& xyz,
                                       QORVector<float>& values) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  QORVector<TripletBase<float>> art;
  turbo_detail::axialRadial(xyz, m_axisPoint, m_axialUnit, art);
  convertARTtoSpace(s, art, values);
}

void TurboTransform::convertXYZtoSpace(space s, std::vector<TripletBase<float>>& xyz,
                                       std::vector<float>& values) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  QORVector<TripletBase<float>> art;
  turbo_detail::axialRadial(QORVector<TripletBase<float>>(xyz), m_axisPoint, m_axialUnit, art);
  convertARTtoSpace(s, art, values);
}

void TurboTransform::convertXYZtoSpace(const TripletQORVector& xyz, const QORVector<space>& spaces,
                                       QORVector<std::vector<float>>& values) const {
  QORVector<TripletBase<float>> streamwise, spanwise;
  convertXYZtoSpace(xyz, spaces, values, streamwise, spanwise, false);
}

void TurboTransform::convertXYZtoSpace(const TripletQORVector& xyz, const QORVector<space>& spaces,
                                       QORVector<std::vector<float>>& values,
                                       QORVector<TripletBase<float>>& streamwise,
                                       QORVector<TripletBase<float>>& spanwise,
                                       bool withDirections) const {
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  std::vector<TripletBase<float>> art(xyz.size());
  for (std::size_t k = 0; k < art.size(); ++k) {
    art[k] = turbo_detail::axialRadial(xyz[k], m_axisPoint, m_axialUnit);
  }
  convertARTtoSpace(TripletQORVector(std::move(art)), spaces, values, streamwise, spanwise,
                    withDirections);
}

// ---- array forms -------------------------------------------------------------------------------

TurboTransform::location TurboTransform::locationStatus(const TripletBase<float>& art) const {
  turbo_detail::requireMesh(m_mesh, "locationStatus");
  const MeshView mesh =
      turbo_detail::singlePointView(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls));
  Location loc;
  turbo_detail::locate(mesh, art, loc);
  return static_cast<location>(statusOf(mesh, loc, art));
}

void TurboTransform::locationStatus(const TripletBase<float>* art, std::size_t n,
                                    std::int8_t* status, const ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "locationStatus");
  turbo_detail::requireMesh(m_mesh, "locationStatus");
  checkArrays("locationStatus", art, n, nullptr, 0, nullptr, nullptr, nullptr, status);
  if (n > 0 && status == nullptr) throwArray("locationStatus", "Null array of statuses.");
  if (n == 0) return;
  convertList(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls), {},
              arrayOutputs(0, nullptr, nullptr, nullptr, status), n, art, parts);
}

void TurboTransform::locationStatus(const TripletBase<float>* art, std::size_t n,
                                    std::int8_t* status) const {
  locationStatus(art, n, status, ListOptions());
}

void TurboTransform::convertARTtoSpace(const TripletBase<float>* art, std::size_t n,
                                       const space* spaces, std::size_t spaceCount, float* values,
                                       TripletBase<float>* streamwise,
                                       TripletBase<float>* spanwise, std::int8_t* status,
                                       const ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "convertARTtoSpace");
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  checkArrays("convertARTtoSpace", art, n, spaces, spaceCount, values, streamwise, spanwise,
              status);
  if (n == 0) return;
  const MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  std::vector<Field> fields = fieldsOf(m_mesh->fields, spaces, spaceCount, mesh);
  convertList(mesh, std::move(fields),
              arrayOutputs(spaceCount, values, streamwise, spanwise, status), n, art, parts);
}

void TurboTransform::convertXYZtoSpace(const TripletBase<float>* xyz, std::size_t n,
                                       const space* spaces, std::size_t spaceCount, float* values,
                                       TripletBase<float>* streamwise,
                                       TripletBase<float>* spanwise, std::int8_t* status,
                                       const ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "convertXYZtoSpace");
  turbo_detail::requireMesh(m_mesh, "convertXYZtoSpace");
  checkArrays("convertXYZtoSpace", xyz, n, spaces, spaceCount, values, streamwise, spanwise,
              status);
  if (n == 0) return;
  const MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  std::vector<Field> fields = fieldsOf(m_mesh->fields, spaces, spaceCount, mesh);
  std::vector<float> store;
  packNodeFields(mesh, n, fields, store);
  const Outputs outs = arrayOutputs(spaceCount, values, streamwise, spanwise, status);
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    // Each chunk converts its points to (axial, radial, 0) a bounded piece at a time: the order of
    // a long list's processing works on pieces of this length anyway.
    std::vector<TripletBase<float>> art(std::min(end - begin, kOrderChunk));
    for (std::size_t first = begin; first < end; first += art.size()) {
      const std::size_t count = std::min(art.size(), end - first);
      for (std::size_t k = 0; k < count; ++k) {
        art[k] = turbo_detail::axialRadial(xyz[first + k], m_axisPoint, m_axialUnit);
      }
      const TripletBase<float>* const piece = art.data();
      convertSpaces(mesh, fields, outs.from(first), count,
                    [piece](std::size_t k) -> const TripletBase<float>& { return piece[k]; });
    }
  });
}

void TurboTransform::convertARTtoSpaceTNs(space s, const TripletBase<float>* art, std::size_t n,
                                          TripletBase<float>* out,
                                          const ListOptions& options) const {
  static_assert(std::is_standard_layout<TripletBase<float>>::value &&
                    sizeof(TripletBase<float>) == 3 * sizeof(float),
                "a triplet is three consecutive floats");
  const unsigned parts =
      detail::resolveThreads(options.threads, n, kClass, "convertARTtoSpaceTNs");
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpaceTNs");
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  checkArrays("convertARTtoSpaceTNs", art, n, nullptr, 0, nullptr, out, nullptr, nullptr);
  if (n > 0 && out == nullptr) throwArray("convertARTtoSpaceTNs", "Null array of results.");
  if (n == 0) return;
  const MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  std::vector<Field> fields{fieldOf(m_mesh->fields.at(s), s, mesh),
                            fieldOf(m_mesh->fields.at(nspan), nspan, mesh)};
  std::vector<float> store;
  packNodeFields(mesh, n, fields, store);
  // The value and the span go to components 0 and 2 of each output triplet.
  Outputs outs;
  outs.stride = 3;
  float* const first = &out[0][0];
  outs.values = {first, first + 2};
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    const TripletBase<float>* const chunk = art + begin;
    convertSpaces(mesh, fields, outs.from(begin), end - begin,
                  [chunk](std::size_t k) -> const TripletBase<float>& { return chunk[k]; });
    for (std::size_t k = begin; k < end; ++k) out[k][1] = art[k][2];
  });
}

}  // namespace qor
