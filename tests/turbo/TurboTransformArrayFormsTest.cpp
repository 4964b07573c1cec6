// Array forms of the forward conversions: the same bits for every thread count and as the vector
// list forms, and on their points the one-point (value, theta, nspan) forms; location statuses on
// and around the boundary lines; errors.
#include <cfloat>
#include <cstdint>
#include <cstring>

#include "support/Passages.h"

namespace {

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;
using Space = TurboTransform::space;
using D3 = qor::TripletBase<double>;
using Status = std::vector<std::int8_t>;
using Threads = TurboTransform::ListOptions;

template <typename T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// Long enough for three threads of two minimum chunks each.
constexpr std::size_t kLong = 6 * 4096 + 77;

TEST(TurboTransformArrayForms, everyThreadCountGivesTheBitsOfTheVectorForms) {
  qortest::Built mesh;
  qortest::build(mesh, qortest::bend(), TurboTransform::linear, 600);
  const TurboTransform& t = mesh.transform;
  std::mt19937 rng(7);
  SCOPED_TRACE("seed 7");
  // The passage spans A 0..1.5, R 1.5..3: a box around it puts points beyond every side.
  std::uniform_real_distribution<float> a(-0.3f, 1.8f), r(1.2f, 3.3f), th(-3.0f, 3.0f);
  std::vector<P3> art, xyz;
  for (std::size_t k = 0; k < kLong; ++k) {
    art.emplace_back(a(rng), r(rng), th(rng));
    xyz.emplace_back(qortest::toXYZ(art.back()[0], art.back()[1], art.back()[2], P3(0, 0, 0), P3(0, 0, 1)));
  }
  const Space spaces[] = {TurboTransform::nm, TurboTransform::nspan, TurboTransform::mprime};
  const std::size_t n = art.size(), q = 3;
  const QORVector<Space> spaceList(std::begin(spaces), std::end(spaces));

  struct Result {
    std::vector<float> values;
    std::vector<P3> along, across, tns;
    Status status, statusOnly;
  };
  auto run = [&](bool cartesian, int count) {
    Result res{std::vector<float>(n * q), std::vector<P3>(n), std::vector<P3>(n), std::vector<P3>(n), Status(n),
               Status(n)};
    if (cartesian) {
      t.convertXYZtoSpace(xyz.data(), n, spaces, q, res.values.data(), res.along.data(), res.across.data(),
                          res.status.data(), Threads{count});
      return res;
    }
    t.convertARTtoSpace(art.data(), n, spaces, q, res.values.data(), res.along.data(), res.across.data(),
                        res.status.data(), Threads{count});
    t.convertARTtoSpaceTNs(TurboTransform::rnm, art.data(), n, res.tns.data(), Threads{count});
    t.locationStatus(art.data(), n, res.statusOnly.data(), Threads{count});
    return res;
  };
  for (bool cartesian : {false, true}) {
    SCOPED_TRACE(cartesian ? "Cartesian" : "ART");
    const Result one = run(cartesian, 1);
    for (int count : {2, 3, 0}) {
      const Result other = run(cartesian, count);
      EXPECT_TRUE(sameBits(other.values, one.values) && sameBits(other.along, one.along) &&
                  sameBits(other.across, one.across) && sameBits(other.status, one.status) &&
                  sameBits(other.tns, one.tns) && sameBits(other.statusOnly, one.statusOnly))
          << count << " threads";
    }
    // The vector list forms: the same values and directions, and the statuses of single points.
    QORVector<std::vector<float>> multi;
    QORVector<P3> along, across;
    if (cartesian) {
      t.convertXYZtoSpace(TripletQORVector(xyz), spaceList, multi, along, across, true);
    } else {
      t.convertARTtoSpace(TripletQORVector(art), spaceList, multi, along, across, true);
    }
    std::vector<float> rowMajor(n * q);
    for (std::size_t k = 0; k < n; ++k) {
      for (std::size_t c = 0; c < q; ++c) rowMajor[k * q + c] = multi[c][k];
    }
    EXPECT_TRUE(sameBits(one.values, rowMajor));
    EXPECT_TRUE(sameBits<P3>(one.along, along));
    EXPECT_TRUE(sameBits<P3>(one.across, across));
    if (cartesian) continue;
    EXPECT_TRUE(sameBits(one.statusOnly, one.status));
    std::vector<P3> tns;
    t.convertARTtoSpaceTNs(TurboTransform::rnm, art, tns);
    EXPECT_TRUE(sameBits(one.tns, tns));
    int counts[5] = {0, 0, 0, 0, 0};
    for (std::size_t k = 0; k < n; k += 7) {
      ASSERT_EQ(one.status[k], t.locationStatus(art[k])) << k;
      ++counts[one.status[k]];
      EXPECT_NEAR(one.along[k].length(), 1.0f, 1e-6f);
      EXPECT_NEAR(one.across[k].length(), 1.0f, 1e-6f);
      // The one-point (value, theta, nspan) forms. The double form against the float one: the same
      // bilinear formula, a few float roundings of terms summing to at most (1 + |s|)(1 + |t|) max|w|,
      // max|w| <= 3: tolerance 1e-5 (1 + |s|)(1 + |t|).
      int c0, c1, c2, c3;
      float ls, lt;
      t.getBestQuad(art[k], c0, c1, c2, c3, ls, lt);
      const double tol = 1e-5 * (1 + std::fabs(ls)) * (1 + std::fabs(lt));
      for (int number = 0; number < 8; ++number) {
        const auto s = static_cast<Space>(number);
        if (s == TurboTransform::span || s == TurboTransform::nspan) continue;
        const float single = t.convertARTtoSpace(s, art[k]);
        P3 tns1;
        t.convertARTtoSpaceTNs(s, art[k], tns1);
        ASSERT_EQ(tns1, P3(single, art[k][2], t.convertARTtoSpace(TurboTransform::nspan, art[k])));
        D3 tnsD;
        t.convertARTtoSpaceTNs(s, D3(art[k][0], art[k][1], 0.123456789012345), tnsD);
        EXPECT_EQ(tnsD[1], 0.123456789012345);
        EXPECT_NEAR(tnsD[0], single, tol);
        EXPECT_NEAR(tnsD[2], tns1[2], tol);
      }
    }
    for (int c : counts) EXPECT_GT(c, 20);  // every status occurs
  }
}

TEST(TurboTransformArrayForms, statusesOnAndAroundTheBoundaryLines) {
  // The cone is a rotated rectangle: hub eta = 0, shroud eta = h, inlet xi = 0, outlet xi = L; its
  // boundary lines are slanted, so points computed on them carry float rounding off the line.
  const qortest::Cone c;
  qortest::Built mesh;
  qortest::build(mesh, qortest::cone(c), TurboTransform::linear, 400);
  const TurboTransform& t = mesh.transform;
  const double L = c.length, h = c.height;
  std::vector<P3> pts;
  Status expected;
  auto add = [&](double x, double e, TurboTransform::location s) {
    const auto p = c.at(x, e);
    pts.emplace_back(float(p[0]), float(p[1]), 0.0f);
    expected.push_back(s);
  };
  std::mt19937 rng(3);
  SCOPED_TRACE("seed 3");
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int k = 0; k < 40; ++k) {
    const double x = L * u(rng), e = h * u(rng);
    add(x, e, TurboTransform::inside);
    // On each line (1e-6 off: well within the tolerance of about 4e-6), and just beyond it.
    for (double off : {0.0, 1e-6, -1e-6}) {
      add(x, off, TurboTransform::inside);
      add(x, h + off, TurboTransform::inside);
      add(off, e, TurboTransform::inside);
      add(L + off, e, TurboTransform::inside);
    }
    const double d = 2e-5 + 0.1 * h * u(rng);
    add(x, -d, TurboTransform::beyondHub);
    add(x, h + d, TurboTransform::beyondShroud);
    add(-d, e, TurboTransform::beforeInlet);
    add(L + d, e, TurboTransform::afterOutlet);
    // Corners: the side the point is further beyond wins.
    const double near = d * (0.2 + 0.6 * u(rng));
    add(-near, -d, TurboTransform::beyondHub);
    add(-d, -near, TurboTransform::beforeInlet);
    add(L + near, h + d, TurboTransform::beyondShroud);
    add(L + d, h + near, TurboTransform::afterOutlet);
    add(L + d, -near, TurboTransform::afterOutlet);
    add(-near, h + d, TurboTransform::beyondShroud);
  }
  // Points computed in float on the mesh's own boundary edges, nodes and corners included.
  auto onEdge = [&](int i0, int j0, int i1, int j1) {
    const P3 a = mesh.node(i0, j0), b = mesh.node(i1, j1);
    for (float f : {0.0f, 0.3f, 0.5f, 0.77f, 1.0f}) {
      pts.push_back(a + (b - a) * f);
      expected.push_back(TurboTransform::inside);
    }
  };
  for (int i = 0; i + 1 < mesh.ni; i += 3) {
    onEdge(i, 0, i + 1, 0);
    onEdge(i, mesh.nj - 1, i + 1, mesh.nj - 1);
  }
  for (int j = 0; j + 1 < mesh.nj; ++j) {
    onEdge(0, j, 0, j + 1);
    onEdge(mesh.ni - 1, j, mesh.ni - 1, j + 1);
  }
  Status status(pts.size());
  t.locationStatus(pts.data(), pts.size(), status.data());
  for (std::size_t k = 0; k < pts.size(); ++k) {
    ASSERT_EQ(int(status[k]), int(expected[k])) << k << " at " << pts[k][0] << ", " << pts[k][1];
    ASSERT_EQ(t.locationStatus(pts[k]), expected[k]) << k;
  }
}

TEST(TurboTransformArrayForms, badArgumentsAreRefusedBeforeAnyWrite) {
  qortest::Built mesh;
  qortest::build(mesh, qortest::annulus(), TurboTransform::linear, 300);
  const TurboTransform& t = mesh.transform;
  std::vector<P3> pts(10, P3(1.0f, 1.5f, 0.0f));
  const Space good[] = {TurboTransform::nm};
  const Space bad[] = {static_cast<Space>(8)};
  std::vector<float> values(10, -7.0f);
  Status status(10, 9);
  EXPECT_THROW(t.convertARTtoSpace(pts.data(), 10, good, 1, values.data(), nullptr, nullptr,
                                   status.data(), Threads{-1}),
               qor::data::invalid);
  EXPECT_THROW(t.locationStatus(pts.data(), 10, status.data(), Threads{-2}), qor::data::invalid);
  EXPECT_THROW(t.convertARTtoSpaceTNs(TurboTransform::nm, pts.data(), 10, pts.data(), Threads{1}),
               qor::data::invalid);  // in place: the output overlaps the input
  EXPECT_THROW(t.convertARTtoSpaceTNs(TurboTransform::nspan, pts.data(), 10, nullptr, Threads{1}),
               qor::internal::error);
  EXPECT_THROW(t.convertXYZtoSpace(pts.data(), 10, bad, 1, values.data(), nullptr, nullptr,
                                   nullptr, Threads{1}),
               qor::internal::error);
  EXPECT_THROW(t.convertXYZtoSpace(pts.data(), 10, good, 1, nullptr, nullptr, nullptr, nullptr,
                                   Threads{1}),
               qor::data::invalid);
  EXPECT_THROW(t.convertARTtoSpace(nullptr, 10, good, 1, values.data(), nullptr, nullptr, nullptr,
                                   Threads{1}),
               qor::data::invalid);
  EXPECT_THROW(t.locationStatus(pts.data(), 10, reinterpret_cast<std::int8_t*>(pts.data()) + 5),
               qor::data::invalid);
  EXPECT_EQ(values, std::vector<float>(10, -7.0f));
  EXPECT_EQ(status, Status(10, 9));
  TurboTransform noMesh;
  EXPECT_THROW(noMesh.locationStatus(nullptr, 0, nullptr), qor::internal::nullPointer);
  // Empty lists write nothing and need no arrays.
  t.convertARTtoSpace(nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, Threads{0});
}

}  // namespace
