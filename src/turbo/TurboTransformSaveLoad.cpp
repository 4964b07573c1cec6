// Saving and loading a TurboTransform: the binary format documented at `TurboTransform::save`.
//
// Loading reads and checks everything into a separate state first (sizes against the bytes that
// remain before any allocation, flags, the checksum), rebuilds the projection database and the
// node searches aside, and only then swaps the new state in, so that a damaged input leaves the
// transform exactly as it was.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <istream>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/parametric/ParametricDBFactory.h"
#include "qor/parametric/ParametricDBInterface.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/MeridionalPlane.h"
#include "turbo/TurboTransformAccess.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

const char* const kClass = "TurboTransform";

using Access = turbo_detail::TurboTransformAccess;

constexpr unsigned char kMagic[8] = {0x89, 'Q', 'O', 'R', 'T', 'T', '\r', '\n'};
constexpr std::uint32_t kFormatVersion = 1;
constexpr std::size_t kHeaderSize = 28;
constexpr int kSpaces = 8;
const char* const kCurveNames[4] = {"hub", "shroud", "inlet", "outlet"};

// FNV-1a, 64 bits. Every step is a bijection of the running hash, so any single changed byte
// changes the result.
std::uint64_t fnv1a64(const unsigned char* data, std::size_t size) {
  std::uint64_t h = 14695981039346656037ull;
  for (std::size_t k = 0; k < size; ++k) h = (h ^ data[k]) * 1099511628211ull;
  return h;
}

bool littleEndianHost() {
  const std::uint32_t one = 1;
  unsigned char first = 0;
  std::memcpy(&first, &one, 1);
  return first == 1;
}

[[noreturn]] void fail(const char* function, const std::string& source, const std::string& what) {
  throw data::invalid(kClass, function, UserMsg("%1: %2") << source << what, errorType::fatal);
}

// Values of field k on a mesh of icv x jcv cells: one per node, per j line (nspan) or per i row
// (rnm).
std::size_t fieldSize(int k, int icv, int jcv) {
  const std::size_t ni = static_cast<std::size_t>(icv) + 1, nj = static_cast<std::size_t>(jcv) + 1;
  if (k == TurboTransform::nspan) return nj;
  if (k == TurboTransform::rnm) return ni;
  return ni * nj;
}

// ---- writing ---------------------------------------------------------------------------------

class Writer {
 public:
  void u8(unsigned v) { m_bytes.push_back(static_cast<unsigned char>(v)); }
  void u32(std::uint32_t v) {
    for (int b = 0; b < 4; ++b) u8((v >> (8 * b)) & 0xffu);
  }
  void u64(std::uint64_t v) {
    for (int b = 0; b < 8; ++b) u8(static_cast<unsigned>((v >> (8 * b)) & 0xffu));
  }
  void i32(int v) { u32(static_cast<std::uint32_t>(v)); }
  void f32(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    u32(bits);
  }
  void f64(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, 8);
    u64(bits);
  }
  void triplets(const std::vector<TripletBase<float>>& points) {
    static_assert(sizeof(TripletBase<float>) == 12, "a triplet is three packed floats");
    if (littleEndianHost()) {
      append(points.data(), points.size() * 12);
    } else {
      for (const auto& p : points) {
        for (int c = 0; c < 3; ++c) f32(p[c]);
      }
    }
  }
  void doubles(const std::vector<double>& values) {
    if (littleEndianHost()) {
      append(values.data(), values.size() * 8);
    } else {
      for (double v : values) f64(v);
    }
  }
  // A count of the elements that follow; a saved transform never holds 2^32 of them.
  void count(std::size_t n) {
    if (n > std::numeric_limits<std::uint32_t>::max()) {
      throw internal::error(kClass, "save", SystemMsg("List of %1 entries too long to save.") << n,
                            errorType::fatal);
    }
    u32(static_cast<std::uint32_t>(n));
  }
  std::vector<unsigned char>& bytes() { return m_bytes; }

 private:
  void append(const void* data, std::size_t n) {
    const auto* p = static_cast<const unsigned char*>(data);
    m_bytes.insert(m_bytes.end(), p, p + n);
  }
  std::vector<unsigned char> m_bytes;
};

// ---- reading ---------------------------------------------------------------------------------

// Reads fixed-width little-endian fields from the checked payload; every read and every list is
// checked against the bytes that remain before anything is allocated.
class Reader {
 public:
  Reader(const std::vector<unsigned char>& bytes, const std::string& source)
      : m_data(bytes.data()), m_size(bytes.size()), m_source(source) {}

  unsigned u8(const char* what) {
    need(1, what);
    return m_data[m_pos++];
  }
  std::uint32_t u32(const char* what) {
    need(4, what);
    std::uint32_t v = 0;
    for (int b = 0; b < 4; ++b) v |= std::uint32_t(m_data[m_pos + b]) << (8 * b);
    m_pos += 4;
    return v;
  }
  int i32(const char* what) {
    const std::uint32_t u = u32(what);
    std::int32_t v;
    std::memcpy(&v, &u, 4);
    return v;
  }
  float f32(const char* what) {
    const std::uint32_t u = u32(what);
    float v;
    std::memcpy(&v, &u, 4);
    return v;
  }
  TripletBase<float> triplet(const char* what) {
    const float a = f32(what);
    const float b = f32(what);
    const float c = f32(what);
    return TripletBase<float>(a, b, c);
  }
  bool flag(const char* what) {
    const unsigned v = u8(what);
    if (v > 1) fail("load", m_source, std::string(what) + " flag " + std::to_string(v) + " is not 0 or 1");
    return v == 1;
  }
  void triplets(std::size_t n, QORVector<TripletBase<float>>& out, const char* what) {
    need(n * 12, what);
    out.resize(n);
    if (n == 0) return;  // an empty list may have no storage to copy to
    if (littleEndianHost()) {
      std::memcpy(static_cast<void*>(out.data()), m_data + m_pos, n * 12);
      m_pos += n * 12;
    } else {
      for (auto& p : out) p = triplet(what);
    }
  }
  void doubles(std::size_t n, std::vector<double>& out, const char* what) {
    need(n * 8, what);
    out.resize(n);
    if (n == 0) return;
    if (littleEndianHost()) {
      std::memcpy(out.data(), m_data + m_pos, n * 8);
      m_pos += n * 8;
    } else {
      for (double& v : out) {
        std::uint64_t u = 0;
        for (int b = 0; b < 8; ++b) u |= std::uint64_t(m_data[m_pos++]) << (8 * b);
        std::memcpy(&v, &u, 8);
      }
    }
  }
  // A count of elements of `elementSize` bytes, refused when they cannot fit in what remains.
  std::size_t count(std::size_t elementSize, const char* what) {
    const std::uint64_t n = u32(what);
    if (n * elementSize > remaining()) {
      fail("load", m_source,
           std::string(what) + " claims " + std::to_string(n) + " entries (" +
               std::to_string(n * elementSize) + " bytes) but only " + std::to_string(remaining()) +
               " bytes remain");
    }
    return static_cast<std::size_t>(n);
  }
  std::size_t remaining() const { return m_size - m_pos; }
  const std::string& source() const { return m_source; }

 private:
  void need(std::size_t n, const char* what) {
    if (n > remaining()) {
      fail("load", m_source,
           std::string("payload ends inside ") + what + " (" + std::to_string(n) + " bytes needed, " +
               std::to_string(remaining()) + " remain)");
    }
  }
  const unsigned char* m_data;
  std::size_t m_size;
  std::size_t m_pos = 0;
  const std::string& m_source;
};

// Reads n bytes into `out`, growing it with what actually arrives, so that an absurd length in a
// damaged header costs no more memory than the input holds. False when the input ends first.
bool readExactly(std::istream& in, std::uint64_t n, std::vector<unsigned char>& out) {
  out.clear();
  std::size_t chunk = std::size_t(1) << 20;
  while (out.size() < n) {
    const std::size_t step = static_cast<std::size_t>(std::min<std::uint64_t>(chunk, n - out.size()));
    const std::size_t old = out.size();
    out.resize(old + step);
    in.read(reinterpret_cast<char*>(out.data() + old), static_cast<std::streamsize>(step));
    if (static_cast<std::size_t>(in.gcount()) != step) return false;
    chunk = std::min<std::size_t>(chunk * 2, std::size_t(1) << 28);
  }
  return true;
}

// The saved state, read and checked, before it replaces anything.
struct SavedState {
  bool geometry = false;
  bool mesh = false;
  bool exactWalls = false;
  unsigned computed = 0;
  int settings[5] = {0, 0, 0, 0, 0};
  TripletBase<float> axis[3];
  std::array<QORVector<TripletBase<float>>, 4> curves;  // hub, shroud, inlet, outlet
  int icv = 0;
  int jcv = 0;
  QORVector<TripletBase<float>> nodes;
  std::vector<std::vector<double>> fields = std::vector<std::vector<double>>(kSpaces);
};

SavedState readState(std::istream& in, const std::string& source) {
  unsigned char header[kHeaderSize];
  in.read(reinterpret_cast<char*>(header), kHeaderSize);
  const auto got = static_cast<std::size_t>(in.gcount());
  if (got == 0) fail("load", source, "empty input, no saved transform");
  if (std::memcmp(header, kMagic, std::min(got, sizeof kMagic)) != 0) {
    fail("load", source, "not a saved TurboTransform (wrong magic number)");
  }
  if (got < kHeaderSize) {
    fail("load", source, "truncated header (" + std::to_string(got) + " of " +
                             std::to_string(kHeaderSize) + " bytes)");
  }
  auto le = [&](std::size_t at, int n) {
    std::uint64_t v = 0;
    for (int b = 0; b < n; ++b) v |= std::uint64_t(header[at + b]) << (8 * b);
    return v;
  };
  const std::uint64_t version = le(8, 4);
  if (version != kFormatVersion) {
    fail("load", source, "file-format version " + std::to_string(version) +
                             " not supported (this library reads version " +
                             std::to_string(kFormatVersion) + ")");
  }
  const std::uint64_t length = le(12, 8);
  const std::uint64_t checksum = le(20, 8);
  std::vector<unsigned char> payload;
  if (!readExactly(in, length, payload)) {
    fail("load", source, "truncated: the header announces " + std::to_string(length) +
                             " payload bytes, fewer follow");
  }
  if (fnv1a64(payload.data(), payload.size()) != checksum) {
    fail("load", source, "checksum mismatch, the saved data is damaged");
  }

  Reader r(payload, source);
  SavedState s;
  s.geometry = r.flag("geometry");
  s.mesh = r.flag("mesh");
  s.computed = r.u8("computed fields");
  const unsigned options = r.u8("options");
  if (options > 1) {
    fail("load", source, "options byte " + std::to_string(options) + " has bits this version does not know");
  }
  s.exactWalls = options == 1;
  for (int& v : s.settings) v = r.i32("settings");
  for (auto& t : s.axis) t = r.triplet("axis");
  for (int c = 0; c < 4; ++c) {
    const std::string what = std::string("curve ") + kCurveNames[c];
    const std::size_t n = r.count(12, what.c_str());
    // A set-up leaves at least two points of finite coordinates on every curve; without a set-up
    // the curves are empty.
    if (s.geometry ? n < 2 : n != 0) {
      fail("load", source, what + " has " + std::to_string(n) + " points, which " +
                               (s.geometry ? "is too few for a set-up passage"
                                           : "a transform never set up cannot have"));
    }
    r.triplets(n, s.curves[c], what.c_str());
    for (const auto& p : s.curves[c]) {
      if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
        fail("load", source, what + " has a non-finite coordinate");
      }
    }
  }
  if (s.mesh) {
    s.icv = r.i32("mesh size");
    s.jcv = r.i32("mesh size");
    if (s.icv < 1 || s.jcv < 1) {
      fail("load", source, "mesh of " + std::to_string(s.icv) + " x " + std::to_string(s.jcv) +
                               " cells; at least 1 x 1 needed");
    }
    const std::uint64_t nodes = (std::uint64_t(s.icv) + 1) * (std::uint64_t(s.jcv) + 1);
    if (nodes > std::uint64_t(std::numeric_limits<int>::max()) || nodes * 12 > r.remaining()) {
      fail("load", source, "mesh of " + std::to_string(s.icv) + " x " + std::to_string(s.jcv) +
                               " cells needs more bytes than remain");
    }
    r.triplets(static_cast<std::size_t>(nodes), s.nodes, "mesh nodes");
  }
  for (int k = 0; k < kSpaces; ++k) {
    const std::string what = "field " + std::to_string(k);
    const std::size_t n = r.count(8, what.c_str());
    const std::size_t expected = s.mesh ? fieldSize(k, s.icv, s.jcv) : 0;
    if (n != expected) {
      fail("load", source, what + " has " + std::to_string(n) + " values where the mesh needs " +
                               std::to_string(expected));
    }
    r.doubles(n, s.fields[static_cast<std::size_t>(k)], what.c_str());
  }
  if (r.remaining() != 0) {
    fail("load", source, std::to_string(r.remaining()) + " unexpected bytes after the fields");
  }
  return s;
}

}  // namespace

// ---- save ------------------------------------------------------------------------------------

void TurboTransform::save(std::ostream& out) const { Access::saveTo(*this, out, "stream"); }

void Access::saveTo(const TurboTransform& t, std::ostream& out, const std::string& target) {
  const bool mesh = static_cast<bool>(t.m_mesh);
  if (mesh && t.m_mesh->topo->getLevelsSize() != 1) {
    throw internal::error(kClass, "save",
                          SystemMsg("Background mesh of %1 levels cannot be saved.")
                              << t.m_mesh->topo->getLevelsSize(),
                          errorType::fatal);
  }
  const QORVector<TripletBase<float>> noNodes;
  const QORVector<TripletBase<float>>& nodes = mesh ? t.m_mesh->points : noNodes;
  Writer w;
  w.bytes().reserve(256 +
                    12 * (t.m_hub.size() + t.m_shroud.size() + t.m_inlet.size() +
                          t.m_outlet.size() + nodes.size()) +
                    8 * kSpaces * nodes.size());
  w.u8(t.m_geometryInitialized ? 1 : 0);
  w.u8(mesh ? 1 : 0);
  unsigned computed = 0;
  for (std::size_t k = 0; k < t.m_spaceComputed.size() && k < 8; ++k) {
    if (t.m_spaceComputed[k]) computed |= 1u << k;
  }
  w.u8(computed);
  w.u8(t.m_exactWalls ? 1 : 0);  // options: bit 0 exact walls
  for (int v : {t.m_numberOfLevelsForBM, t.m_backgroundMeshSize, t.m_curveOptimizedSize,
                t.m_bmSetting1, t.m_bmSetting2}) {
    w.i32(v);
  }
  for (const auto* axis : {&t.m_axisPoint, &t.m_axisDirection, &t.m_axialUnit}) {
    for (int c = 0; c < 3; ++c) w.f32((*axis)[c]);
  }
  for (const auto* curve : {&t.m_hub, &t.m_shroud, &t.m_inlet, &t.m_outlet}) {
    w.count(curve->size());
    w.triplets(*curve);
  }
  auto level0 = [&t]() -> const Topo2dBase& { return t.m_mesh->topo->getLevel(0); };
  if (mesh) {
    const Topo2dBase& level = level0();
    if (level.begin() != 0 || nodes.size() != static_cast<std::size_t>(level.getSize())) {
      throw internal::error(kClass, "save",
                            SystemMsg("Background mesh inconsistent with its topology."),
                            errorType::fatal);
    }
    w.i32(level.getIcv());
    w.i32(level.getJcv());
    w.triplets(nodes);
  }
  const std::vector<double> noValues;
  for (int k = 0; k < kSpaces; ++k) {
    const std::vector<double>& field =
        mesh ? t.m_mesh->fields.at(static_cast<std::size_t>(k)) : noValues;
    if (field.size() != (mesh ? fieldSize(k, level0().getIcv(), level0().getJcv()) : 0)) {
      throw internal::error(kClass, "save", SystemMsg("Field %1 inconsistent with the mesh.") << k,
                            errorType::fatal);
    }
    w.count(field.size());
    w.doubles(field);
  }

  Writer header;
  for (unsigned char b : kMagic) header.u8(b);
  header.u32(kFormatVersion);
  header.u64(w.bytes().size());
  header.u64(fnv1a64(w.bytes().data(), w.bytes().size()));
  try {
    out.write(reinterpret_cast<const char*>(header.bytes().data()),
              static_cast<std::streamsize>(header.bytes().size()));
    out.write(reinterpret_cast<const char*>(w.bytes().data()),
              static_cast<std::streamsize>(w.bytes().size()));
    out.flush();
  } catch (const std::ios_base::failure& e) {
    fail("save", target, std::string("writing failed (") + e.what() + ")");
  }
  if (!out) fail("save", target, "writing failed");
}

void TurboTransform::save(const std::string& fileName) const {
  // A name of its own per call, beside the target so that the rename stays on one file system.
  static std::atomic<unsigned> serial{0};
  const std::string temporary = fileName + ".tmp" + std::to_string(std::random_device{}()) + "-" +
                                std::to_string(serial.fetch_add(1));
  try {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) fail("save", fileName, "cannot open a temporary file beside it for writing");
    Access::saveTo(*this, out, fileName);
    out.close();
    if (!out) fail("save", fileName, "writing failed");
    std::error_code ec;
    std::filesystem::rename(temporary, fileName, ec);
    if (ec) fail("save", fileName, "cannot replace the file (" + ec.message() + ")");
  } catch (...) {
    std::remove(temporary.c_str());
    throw;
  }
}

// ---- load ------------------------------------------------------------------------------------

void TurboTransform::load(std::istream& in) { Access::loadFrom(*this, in, "stream", false); }

void TurboTransform::load(const std::string& fileName) {
  std::error_code ec;
  if (std::filesystem::is_directory(fileName, ec)) fail("load", fileName, "is a directory, not a file");
  std::ifstream in(fileName, std::ios::binary);
  if (!in) fail("load", fileName, "cannot open the file for reading");
  Access::loadFrom(*this, in, fileName, true);
}

void Access::loadFrom(TurboTransform& t, std::istream& in, const std::string& source,
                      bool wholeInput) {
  SavedState s;
  try {
    s = readState(in, source);
    if (wholeInput && in.peek() != std::char_traits<char>::eof()) {
      fail("load", source, "bytes follow the saved transform");
    }
  } catch (const std::bad_alloc&) {
    fail("load", source, "not enough memory for the saved transform");
  } catch (const std::ios_base::failure& e) {
    fail("load", source, std::string("read error (") + e.what() + ")");
  }

  // Everything derived is built aside; nothing after the swaps below can throw.
  std::shared_ptr<turbo_detail::MeshState> mesh;
  std::shared_ptr<ParametricDBInterface> db;
  std::vector<std::string> names;
  try {
    if (s.mesh) {
      mesh = std::make_shared<turbo_detail::MeshState>();
      mesh->topo = std::make_shared<Topo2dMultiLevel>(1, s.icv, s.jcv);
      mesh->points.swap(s.nodes);
      mesh->fields.swap(s.fields);
      turbo_detail::buildSearches(*mesh, t.m_noQuadtree, s.curves[0], s.curves[1]);
    }
    if (s.geometry) {
      // As the set-up builds it, in a database of this object's own (copies keep theirs).
      db = std::shared_ptr<ParametricDBInterface>(ParametricDBFactory::createParametricDB());
      db->createCurve("w_mp", inMeridionalPlane(s.curves[2]), ParametricCurve::curve2d);
      db->createCurve("e_mp", inMeridionalPlane(s.curves[3]), ParametricCurve::curve2d);
      db->createCurve("s_mp", inMeridionalPlane(s.curves[0]), ParametricCurve::curve2d);
      db->createCurve("n_mp", inMeridionalPlane(s.curves[1]), ParametricCurve::curve2d);
      names = {"w_mp", "e_mp", "s_mp", "n_mp"};
    }
  } catch (const Error& e) {
    fail("load", source, "the saved passage cannot be rebuilt: " + e.getMessage());
  } catch (const std::bad_alloc&) {
    fail("load", source, "not enough memory for the saved transform");
  }
  std::vector<bool> computed(kSpaces);
  for (int k = 0; k < kSpaces; ++k) {
    computed[static_cast<std::size_t>(k)] = ((s.computed >> k) & 1u) != 0;
  }

  t.m_geometryInitialized = s.geometry;
  t.m_curveNames.swap(names);
  t.m_projectionDB = std::move(db);
  t.m_mesh = std::move(mesh);
  t.m_exactWalls = s.exactWalls;
  t.m_spaceComputed.swap(computed);
  t.m_axisPoint = s.axis[0];
  t.m_axisDirection = s.axis[1];
  t.m_axialUnit = s.axis[2];
  t.m_numberOfLevelsForBM = s.settings[0];
  t.m_backgroundMeshSize = s.settings[1];
  t.m_curveOptimizedSize = s.settings[2];
  t.m_bmSetting1 = s.settings[3];
  t.m_bmSetting2 = s.settings[4];
  t.m_hub.swap(s.curves[0]);
  t.m_shroud.swap(s.curves[1]);
  t.m_inlet.swap(s.curves[2]);
  t.m_outlet.swap(s.curves[3]);
  t.m_inverseCache->clear();
}

}  // namespace qor
