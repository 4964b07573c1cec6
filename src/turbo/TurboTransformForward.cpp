/// @file
/// Forward conversions: (axial, radial, theta) or Cartesian points to the values of the spaces,
/// by locating each point in a background-mesh cell and interpolating the corner values.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformLocate.h"

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
  // An array shorter than the mesh reaches the checked container's failure path.
  (void)values.at(needed - 1);
  return {values.data(), storage};
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

// Several spaces over a list of points: each point is located once. `pointAt(k)` yields point k
// in (axial, radial, theta).
template <typename PointAt>
void convertSpaces(const MeshView& mesh, std::vector<Field>& fields,
                   const std::vector<float*>& outs, std::size_t n, TripletBase<float>* streamwise,
                   TripletBase<float>* spanwise, PointAt pointAt) {
  std::vector<float> store;
  packNodeFields(mesh, n, fields, store);
  const std::size_t count = fields.size();
  // The values of the `b` located points `loc` of a block, field by field, to list positions
  // at(0) .. at(b - 1).
  auto emitBlock = [&](int b, auto at, const Location* loc) {
    std::size_t dest[turbo_detail::kLocateBlock];
    for (int l = 0; l < b; ++l) dest[l] = at(l);
    for (std::size_t q = 0; q < count; ++q) {
      const Field& f = fields[q];
      float* const out = outs[q];
      for (int l = 0; l < b; ++l) out[dest[l]] = valueOf(f, loc[l]);
    }
    if (streamwise != nullptr) {
      for (int l = 0; l < b; ++l) {
        turbo_detail::cellDirections(mesh.points, loc[l], streamwise[dest[l]], spanwise[dest[l]]);
      }
    }
  };
  if (mesh.grid == nullptr) {  // no node grid: one point after the other, each search from the last
    Location loc;
    unsigned int hint = 0;
    for (std::size_t k = 0; k < n; ++k) {
      turbo_detail::locateNext(mesh, pointAt(k), loc, hint);
      emitBlock(1, [k](int) { return k; }, &loc);
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
      emitBlock(b, [&](int l) { return at(r + static_cast<std::size_t>(l)); }, loc);
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

// One space over a list of points.
template <typename PointAt>
void convertOneSpace(const MeshView& mesh, const Field& field, std::size_t n, float* out,
                     PointAt pointAt) {
  std::vector<Field> fields(1, field);
  const std::vector<float*> outs(1, out);
  convertSpaces(mesh, fields, outs, n, nullptr, nullptr, pointAt);
}

}  // namespace

// ---- (axial, radial, theta) ------------------------------------------------------------------

float TurboTransform::convertARTtoSpace(space s, const TripletBase<float>& art) const {
  requireMesh("convertARTtoSpace");
  const MeshView mesh = turbo_detail::singlePointView(meshView());
  Location loc;
  turbo_detail::locate(mesh, art, loc);
  if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  return valueOf(fieldOf(m_spaceValues.at(s), s, mesh), loc);
}

void TurboTransform::convertARTtoSpace(space s, const QORVector<TripletBase<float>>& art,
                                       QORVector<float>& values) const {
  const std::size_t n = art.size();
  if (values.size() != n) values.resize(n);
  if (n == 0) return;
  // The checks of the point conversion, made once for the whole list.
  requireMesh("convertARTtoSpace");
  if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  MeshView mesh = meshView();
  const Field f = fieldOf(m_spaceValues.at(s), s, mesh);
  const TripletBase<float>* points = art.data();
  convertOneSpace(mesh, f, n, values.data(), [points](std::size_t k) -> const TripletBase<float>& {
    return points[k];
  });
}

void TurboTransform::convertARTtoSpace(space s, std::vector<TripletBase<float>>& art,
                                       std::vector<float>& values) const {
  const std::size_t n = art.size();
  // A failure leaves `values` as it was: the checks come before any write.
  if (n > 0) {
    requireMesh("convertARTtoSpace");
    if (!isSpace(s)) throwSpace("convertARTtoSpace", s);
  }
  if (values.size() != n) values.resize(n);
  if (n == 0) return;
  MeshView mesh = meshView();
  const Field f = fieldOf(m_spaceValues.at(s), s, mesh);
  const TripletBase<float>* points = art.data();
  convertOneSpace(mesh, f, n, values.data(), [points](std::size_t k) -> const TripletBase<float>& {
    return points[k];
  });
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
  requireMesh("convertARTtoSpace");
  const std::size_t n = art.size();
  if (values.size() != spaces.size()) values.resize(spaces.size());
  for (std::vector<float>& list : values) {
    if (list.size() != n) list.resize(n);
  }
  if (withDirections) {
    if (streamwise.size() != n) streamwise.resize(n);
    if (spanwise.size() != n) spanwise.resize(n);
  }
  MeshView mesh = meshView();
  std::vector<Field> fields;
  std::vector<float*> outs;
  fields.reserve(spaces.size());
  outs.reserve(spaces.size());
  for (std::size_t q = 0; q < spaces.size(); ++q) {
    const int s = spaces[q];
    if (!isSpace(s)) continue;  // skipped silently: its list keeps its contents
    fields.push_back(fieldOf(m_spaceValues.at(s), s, mesh));
    outs.push_back(values[q].data());
  }
  if (n == 0 || (fields.empty() && !withDirections)) return;
  const TripletBase<float>* points = art.data();
  convertSpaces(mesh, fields, outs, n, withDirections ? streamwise.data() : nullptr,
                withDirections ? spanwise.data() : nullptr,
                [points](std::size_t k) -> const TripletBase<float>& { return points[k]; });
}

// ---- (value, theta, nspan) -------------------------------------------------------------------

void TurboTransform::convertARTtoSpaceTNs(space s, const TripletBase<float>& art,
                                          TripletBase<float>& out) const {
  // The mesh is required; a transform without one fails here rather than in the search.
  requireMesh("convertARTtoSpaceTNs");
  const MeshView mesh = turbo_detail::singlePointView(meshView());
  Location loc;
  turbo_detail::locate(mesh, art, loc);
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  const float value = valueOf(fieldOf(m_spaceValues.at(s), s, mesh), loc);
  const float theta = art[2];
  const float normalisedSpan = valueOf(fieldOf(m_spaceValues.at(nspan), nspan, mesh), loc);
  out = TripletBase<float>(value, theta, normalisedSpan);
}

void TurboTransform::convertARTtoSpaceTNs(space s, const TripletBase<double>& art,
                                          TripletBase<double>& out) const {
  requireMesh("convertARTtoSpaceTNs");
  const MeshView mesh = turbo_detail::singlePointView(meshView());
  Location loc;
  turbo_detail::locate(mesh, TripletBase<float>(art), loc);
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  const double value = valueOfDouble(fieldOf(m_spaceValues.at(s), s, mesh), loc);
  const double theta = art[2];
  const double normalisedSpan = valueOfDouble(fieldOf(m_spaceValues.at(nspan), nspan, mesh), loc);
  out = TripletBase<double>(value, theta, normalisedSpan);
}

void TurboTransform::convertARTtoSpaceTNs(space s, const std::vector<TripletBase<float>>& art,
                                          std::vector<TripletBase<float>>& out) const {
  const std::size_t n = art.size();
  if (out.size() != n) out.resize(n);
  if (n == 0) return;
  // The checks of the point form, made once for the whole list.
  requireMesh("convertARTtoSpaceTNs");
  if (!isSpace(s) || s == span || s == nspan) throwSpace("convertARTtoSpaceTNs", s);
  MeshView mesh = meshView();
  const Field f = fieldOf(m_spaceValues.at(s), s, mesh);
  const Field spanField = fieldOf(m_spaceValues.at(nspan), nspan, mesh);
  Location loc;
  for (std::size_t k = 0; k < n; ++k) {
    turbo_detail::locate(mesh, art[k], loc);
    const float theta = art[k][2];
    out[k] = TripletBase<float>(valueOf(f, loc), theta, valueOf(spanField, loc));
  }
}

// ---- Cartesian ---------------------------------------------------------------------------------

float TurboTransform::convertXYZtoSpace(space s, const TripletBase<float>& xyz) const {
  requireMesh("convertXYZtoSpace");
  TripletBase<float> art;
  transformToART(xyz, art);
  return convertARTtoSpace(s, art);
}

// The list forms convert the points to (axial, radial, 0) first and then run the meridional
// form; unlike the meridional list forms they need the mesh even for an empty list.

void TurboTransform::convertXYZtoSpace(space s, const QORVector<TripletBase<float>>& xyz,
                                       QORVector<float>& values) const {
  requireMesh("convertARTtoSpace");
  QORVector<TripletBase<float>> art;
  transformToART(xyz, art);
  convertARTtoSpace(s, art, values);
}

void TurboTransform::convertXYZtoSpace(space s, std::vector<TripletBase<float>>& xyz,
                                       std::vector<float>& values) const {
  requireMesh("convertARTtoSpace");
  QORVector<TripletBase<float>> art;
  transformToART(QORVector<TripletBase<float>>(xyz), art);
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
  requireMesh("convertARTtoSpace");
  std::vector<TripletBase<float>> art(xyz.size());
  for (std::size_t k = 0; k < art.size(); ++k) transformToART(xyz[k], art[k]);
  convertARTtoSpace(TripletQORVector(std::move(art)), spaces, values, streamwise, spanwise,
                    withDirections);
}

}  // namespace qor
