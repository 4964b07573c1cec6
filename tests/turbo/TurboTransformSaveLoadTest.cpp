// Saving and loading a TurboTransform: bit-for-bit round trips with and without a background mesh,
// and damaged inputs refused with the object unchanged.

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using Bytes = std::string;
namespace fs = std::filesystem;

Bytes saved(const TurboTransform& t) {
  std::ostringstream out(std::ios::binary);
  t.save(out);
  return out.str();
}

void loadBytes(TurboTransform& t, const Bytes& bytes) {
  std::istringstream in(bytes, std::ios::binary);
  t.load(in);
}

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

template <typename T>
bool sameBits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Every observable result of `a` and `b` on the same inputs, compared bit for bit.
void expectSameConversions(const TurboTransform& a, const TurboTransform& b, const qortest::Passage& p) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(-0.1f, 1.1f);
  const P3 lo = p.hub[0], hi = p.shroud[p.shroud.size() - 1];
  for (int k = 0; k < 40; ++k) {
    const P3 art(lo[0] + u(rng) * (hi[0] - lo[0]), lo[1] + u(rng) * (hi[1] - lo[1]), u(rng));
    for (int s = 0; s < 8; ++s) {
      const auto space = static_cast<TurboTransform::space>(s);
      SCOPED_TRACE(testing::Message() << "point " << k << " space " << s);
      EXPECT_TRUE(sameBits(a.convertARTtoSpace(space, art), b.convertARTtoSpace(space, art)));
      EXPECT_TRUE(sameBits(a.convertXYZtoSpace(space, art), b.convertXYZtoSpace(space, art)));
      if (space == TurboTransform::span || space == TurboTransform::nspan) continue;  // no inverse
      P3 ta, ia, ib;
      a.convertARTtoSpaceTNs(space, art, ta);
      a.convertSpaceTNsToART(space, ta, ia);
      b.convertSpaceTNsToART(space, ta, ib);
      EXPECT_TRUE(sameBits(ia, ib));
    }
  }
  for (int c = 0; c < 3; ++c) {
    qor::QORVector<P3> ca, cb;
    a.getConstantSpace(static_cast<TurboTransform::constSpace>(c), 0.37, ca);
    b.getConstantSpace(static_cast<TurboTransform::constSpace>(c), 0.37, cb);
    ASSERT_EQ(ca.size(), cb.size());
    EXPECT_EQ(std::memcmp(ca.data(), cb.data(), ca.size() * sizeof(P3)), 0) << "constSpace " << c;
  }
}

struct RoundTripCase {
  const char* name;
  qortest::Passage passage;
  bool xyz;
  int meshMethod;  // -1: no mesh
};

class TurboTransformSaveLoadRoundTrip : public testing::TestWithParam<int> {};

TEST_P(TurboTransformSaveLoadRoundTrip, loadedTransformConvertsBitForBitAndRebuildsAlike) {
  const qortest::Passage tilted =
      qortest::toXYZ(qortest::annulus(), P3(0.3f, -0.2f, 0.1f), P3(1.0f, 2.0f, 0.5f));
  const RoundTripCase cases[] = {{"bend, smoothed", qortest::bend(), false, TurboTransform::nonLinear},
                                 {"Cartesian annulus, linear", tilted, true, TurboTransform::linear},
                                 {"cone, no mesh", qortest::cone(), false, -1}};
  const RoundTripCase& c = cases[GetParam()];
  SCOPED_TRACE(c.name);
  qortest::ScopedTempDir dir;
  TurboTransform original;
  original.setCurveOptimizedSize(120);
  original.setNumberOfLevelsforBM(2);
  original.setExactWalls(GetParam() == 0);  // the option travels, and the walls' fit is rebuilt
  c.xyz ? qortest::initializeXYZ(original, c.passage) : qortest::initializeART(original, c.passage);
  if (c.meshMethod >= 0) original.createBackgroundMesh(TurboTransform::BMmethod(c.meshMethod), 900);

  original.save("roundtrip");
  TurboTransform loaded;  // holds another passage first: the load replaces all of it
  qortest::initializeART(loaded, qortest::annulus());
  loaded.createBackgroundMesh(TurboTransform::linear, 100);
  const P3 tns(0.4f, 0.2f, 0.3f);  // its inverse line of constant span, cached before the load
  P3 art;
  loaded.convertSpaceTNsToART(TurboTransform::nm, tns, art);
  loaded.load("roundtrip");
  EXPECT_EQ(saved(loaded), saved(original));
  // Fields the bytes would not show if save and load both left them out.
  EXPECT_TRUE(loaded.isGeometryInitialized());
  EXPECT_EQ(loaded.getCurveOptimizedSize(), 120);
  EXPECT_EQ(loaded.getExactWalls(), original.getExactWalls());
  P3 pa, da, pb, db;
  original.getAxis(pa, da);
  loaded.getAxis(pb, db);
  EXPECT_TRUE(sameBits(pa, pb) && sameBits(da, db));
  if (c.meshMethod >= 0) {
    EXPECT_EQ(original.getAverageLengthInM(), loaded.getAverageLengthInM());
    P3 want;
    original.convertSpaceTNsToART(TurboTransform::nm, tns, want);
    loaded.convertSpaceTNsToART(TurboTransform::nm, tns, art);
    EXPECT_TRUE(sameBits(art, want));
    expectSameConversions(original, loaded, c.xyz ? qortest::annulus() : c.passage);
  } else {
    int ni, nj;
    EXPECT_THROW(loaded.getBackgroundMeshSize(ni, nj), qor::internal::nullPointer);
  }
  // The curves and projection database came back too: a new mesh on each is the same.
  original.createBackgroundMesh(TurboTransform::nonLinear, 400);
  loaded.createBackgroundMesh(TurboTransform::nonLinear, 400);
  EXPECT_EQ(saved(loaded), saved(original));
}

INSTANTIATE_TEST_SUITE_P(Cases, TurboTransformSaveLoadRoundTrip, testing::Range(0, 3));

TEST(TurboTransformSaveLoad, transformNeverSetUpRoundTrips) {
  TurboTransform blank, loaded;
  blank.setBackgroundMeshSize(1234);
  qortest::initializeART(loaded, qortest::annulus());
  loadBytes(loaded, saved(blank));
  EXPECT_FALSE(loaded.isGeometryInitialized());
  EXPECT_EQ(loaded.getBackgroundMeshSize(), 1234);
  EXPECT_EQ(saved(loaded), saved(blank));
  EXPECT_THROW(loaded.createBackgroundMesh(TurboTransform::linear, 100), qor::internal::nullPointer);
}

// ---- damaged inputs ------------------------------------------------------------------------------

// A small saved transform with a 4 x 4 mesh, and another transform to load it into; files go to a
// temporary directory.
struct Small {
  qortest::ScopedTempDir dir;
  TurboTransform source, target;
  Bytes bytes, targetBytes;
  Small() {
    source.setCurveOptimizedSize(6);
    qortest::initializeART(source, qortest::annulus(0.0, 2.0, 1.0, 2.0, 6, 3));
    source.createBackgroundMesh(TurboTransform::linear, 16);
    bytes = saved(source);
    qortest::initializeART(target, qortest::cone());
    target.createBackgroundMesh(TurboTransform::linear, 50);
    targetBytes = saved(target);
  }
  // Loads `damaged` from a file, expects the refusal naming the file, and the target unchanged.
  std::string refuse(const Bytes& damaged) {
    const std::string path = "damaged";
    writeFile(path, damaged);
    const qor::Error e = qortest::captureError<qor::data::invalid>([&] { target.load(path); });
    EXPECT_EQ(e.getFunctionName(), "load");
    EXPECT_EQ(e.getMessage().rfind(path + ": ", 0), 0u) << e.getMessage();
    EXPECT_EQ(saved(target), targetBytes);
    return e.getMessage().substr(std::min(e.getMessage().size(), path.size() + 2));
  }
};

// The FNV-1a 64 of the payload, as the format documents it, to forge a consistent damaged file.
Bytes withChecksum(Bytes b) {
  std::uint64_t h = 14695981039346656037ull;
  for (std::size_t k = 28; k < b.size(); ++k) h = (h ^ std::uint8_t(b[k])) * 1099511628211ull;
  for (int i = 0; i < 8; ++i) b[20 + i] = char((h >> (8 * i)) & 0xff);
  return b;
}

TEST(TurboTransformSaveLoad, damagedInputIsRefusedLeavingTheObjectUnchangedAndAFailedSaveLeavesNoFile) {
  Small s;
  ASSERT_LT(s.bytes.size(), 2000u);
  for (std::size_t n = 0; n < s.bytes.size(); ++n) {
    SCOPED_TRACE(n);
    s.refuse(s.bytes.substr(0, n));
  }
  for (std::size_t k = 0; k < s.bytes.size(); ++k) {
    for (int mask : {0x01, 0x80}) {
      SCOPED_TRACE(testing::Message() << "byte " << k << " mask " << mask);
      Bytes b = s.bytes;
      b[k] = char(b[k] ^ mask);
      s.refuse(b);
    }
  }
  EXPECT_EQ(s.refuse(s.bytes + '\0'), "bytes follow the saved transform");
  EXPECT_EQ(s.refuse(""), "empty input, no saved transform");
  EXPECT_EQ(s.refuse("PK\3\4 not ours"), "not a saved TurboTransform (wrong magic number)");
  Bytes v2 = s.bytes;
  v2[8] = 2;
  EXPECT_EQ(s.refuse(v2), "file-format version 2 not supported (this library reads version 1)");
  EXPECT_EQ(s.refuse(s.bytes.substr(0, 40)), "truncated: the header announces " +
                                                 std::to_string(s.bytes.size() - 28) + " payload bytes, fewer follow");
  // Consistent checksums over absurd contents: the field checks refuse them before allocating.
  Bytes hugeCurve = s.bytes;
  hugeCurve[28 + 60 + 3] = char(0x7f);  // hub point count 0x7f0000xx
  EXPECT_NE(s.refuse(withChecksum(hugeCurve)).find("curve hub claims"), std::string::npos);
  Bytes hugeMesh = s.bytes;
  std::size_t meshAt = 28 + 60;  // after the flags, settings and axis: the curves, then icv
  for (int c = 0; c < 4; ++c) meshAt += 4 + 12 * std::uint8_t(s.bytes[meshAt]);
  hugeMesh[meshAt + 3] = char(0x7f);
  EXPECT_NE(s.refuse(withChecksum(hugeMesh)).find("needs more bytes than remain"), std::string::npos);
  Bytes badFlag = s.bytes;
  badFlag[29] = 2;
  EXPECT_EQ(s.refuse(withChecksum(badFlag)), "mesh flag 2 is not 0 or 1");

  // A stream names "stream"; a file that cannot be opened names itself.
  const qor::Error e = qortest::captureError<qor::data::invalid>([&] { loadBytes(s.target, s.bytes.substr(0, 99)); });
  EXPECT_EQ(e.getMessage().rfind("stream: truncated", 0), 0u) << e.getMessage();
  qortest::expectError(qortest::captureError<qor::data::invalid>([&] { s.target.load("/nonexistent/qor.tt"); }),
                       "TurboTransform", "load", "/nonexistent/qor.tt: cannot open the file for reading");
  EXPECT_EQ(saved(s.target), s.targetBytes);

  // A failed save leaves no file and keeps the old one.
  qortest::expectError(
      qortest::captureError<qor::data::invalid>([&] { s.source.save("/nonexistent/qor.tt"); }), "TurboTransform",
      "save", "/nonexistent/qor.tt: cannot open a temporary file beside it for writing");
  // A directory in the way cannot be replaced: it stays, and the temporary beside it is removed.
  fs::create_directory("dir");
  EXPECT_THROW(s.source.save("dir"), qor::data::invalid);
  EXPECT_TRUE(fs::is_directory("dir"));
  for (const auto& entry : fs::directory_iterator(".")) {
    EXPECT_EQ(entry.path().filename().string().find("dir.tmp"), std::string::npos) << entry.path();
  }
  // Saving over an existing file replaces it whole.
  writeFile("replace", "old contents");
  s.source.save("replace");
  EXPECT_EQ(readFile("replace"), s.bytes);
}

}  // namespace
