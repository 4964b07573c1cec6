// AxisFrame: Cartesian to (axial, radial, theta) about a tilted axis off the origin, against the
// frame worked out by hand; the inverse; vector components; the array forms; agreement with the transform's own
// Cartesian conversion; bad axes.
#include "Passages.h"
#include "qor/turbo/AxisFrame.h"

namespace {

using qortest::P3;
using qortest::kPi;
using D3 = qor::TripletBase<double>;

// Axis through (1, -2, 3) along (1, 2, 2) / 3: mostly along y, so theta 0 is global z made
// perpendicular to the axis: z - (2/3) a = (-2, -4, 5) / 9, normalised (-2, -4, 5) / sqrt(45);
// theta pi/2 is a x e1 = (30, -15, 0) / (3 sqrt(45)) = (2, -1, 0) / sqrt(5).
const P3 kPoint(1.0f, -2.0f, 3.0f);
const P3 kDirection(1.0f, 2.0f, 2.0f);
const D3 kA(1.0 / 3, 2.0 / 3, 2.0 / 3);
const D3 kE1(-2.0 / std::sqrt(45.0), -4.0 / std::sqrt(45.0), 5.0 / std::sqrt(45.0));
const D3 kE2(2.0 / std::sqrt(5.0), -1.0 / std::sqrt(5.0), 0.0);

D3 handXYZ(double axial, double radial, double theta) {
  return D3(kPoint[0], kPoint[1], kPoint[2]) + kA * axial +
         (kE1 * std::cos(theta) + kE2 * std::sin(theta)) * radial;
}

P3 toFloat(const D3& x) { return P3(float(x[0]), float(x[1]), float(x[2])); }

TEST(AxisFrame, convertsBothWaysAboutATiltedAxisOffTheOriginAlsoInArrays) {
  const qor::AxisFrame frame(kPoint, kDirection);
  for (double axial : {-3.0, 0.0, 2.5}) {
    for (double radial : {0.25, 1.0, 7.0}) {
      for (double theta : {-3.0, -kPi / 2, 0.0, 0.4, kPi / 2, 3.1}) {
        SCOPED_TRACE(::testing::Message() << axial << ", " << radial << ", " << theta);
        const D3 x = handXYZ(axial, radial, theta);
        const P3 art = frame.toART(toFloat(x));
        const double tol = 2e-5;  // float rounding of coordinates up to about 10
        EXPECT_NEAR(art[0], axial, tol);
        EXPECT_NEAR(art[1], radial, tol);
        EXPECT_NEAR(art[2], theta, tol / radial);
        const P3 back = frame.toXYZ(P3(float(axial), float(radial), float(theta)));
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(back[k], x[k], tol);
        // A vector of components (0.5, -2, 3) along the axis, radial and tangential (a x radial).
        const D3 er = kE1 * std::cos(theta) + kE2 * std::sin(theta);
        const D3 v = kA * 0.5 - er * 2.0 + (kE2 * std::cos(theta) - kE1 * std::sin(theta)) * 3.0;
        const P3 c = frame.vectorToART(toFloat(x), toFloat(v));
        const P3 w = frame.vectorToXYZ(toFloat(x), P3(0.5f, -2.0f, 3.0f));
        for (int k = 0; k < 3; ++k) {
          EXPECT_NEAR(c[k], (D3(0.5, -2.0, 3.0))[k], 1e-5);
          EXPECT_NEAR(w[k], v[k], 1e-5);
        }
      }
    }
  }
  // A point on the axis: radius 0, theta 0.
  const P3 onAxis = frame.toART(toFloat(handXYZ(1.5, 0.0, 0.0)));
  EXPECT_NEAR(onAxis[1], 0.0, 1e-6);
  EXPECT_EQ(onAxis[2], 0.0f);
  // There, a vector's radial component is along theta 0, its tangential along theta pi/2.
  const P3 atAxis = frame.vectorToART(toFloat(handXYZ(1.5, 0.0, 0.0)), toFloat(kE1 - kE2 * 2.0));
  EXPECT_NEAR(atAxis[1], 1.0, 1e-6);
  EXPECT_NEAR(atAxis[2], -2.0, 1e-6);
  // The default frame is the z axis through the origin with the usual polar angle.
  const P3 z = qor::AxisFrame().toART(P3(0.0f, 2.0f, 5.0f));
  EXPECT_EQ(std::make_pair(z[0], z[1]), std::make_pair(5.0f, 2.0f));
  EXPECT_NEAR(z[2], kPi / 2, 1e-7);
  // The array forms give the one-point bits for every thread count.
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(-20.0f, 20.0f);
  std::vector<P3> xyz(10000);
  for (P3& p : xyz) p = P3(u(rng), u(rng), u(rng));
  std::vector<P3> single(xyz.size());
  for (std::size_t k = 0; k < xyz.size(); ++k) single[k] = frame.toART(xyz[k]);
  for (int threads : {1, 2, 0}) {
    SCOPED_TRACE(threads);
    std::vector<P3> art = xyz;  // in place
    frame.toART(art.data(), art.size(), art.data(), qor::TurboTransform::ListOptions{threads});
    EXPECT_EQ(art, single);
    std::vector<P3> back(xyz.size());
    frame.toXYZ(art.data(), art.size(), back.data(), qor::TurboTransform::ListOptions{threads});
    for (std::size_t k = 0; k < xyz.size(); ++k) ASSERT_EQ(back[k], frame.toXYZ(art[k])) << k;
    // Vectors: xyz's reversed order as vectors at the points, in place.
    std::vector<P3> c(xyz.rbegin(), xyz.rend());
    const qor::TurboTransform::ListOptions options{threads};
    frame.vectorToART(xyz.data(), c.data(), c.size(), c.data(), options);
    frame.vectorToXYZ(xyz.data(), c.data(), c.size(), back.data(), options);
    for (std::size_t k = 0; k < xyz.size(); ++k) {
      ASSERT_EQ(c[k], frame.vectorToART(xyz[k], xyz[xyz.size() - 1 - k])) << k;
      ASSERT_EQ(back[k], frame.vectorToXYZ(xyz[k], c[k])) << k;
    }
  }
}

// The Cartesian conversions of a transform on the same axis give what toART then the ART conversion
// gives, bit for bit: AxisFrame checks the transform's Cartesian path.
TEST(AxisFrame, axialAndRadialAreTheTransformsOwn) {
  qortest::Built b;
  qortest::initializeXYZ(b.transform, qortest::toXYZ(qortest::annulus(0.0, 2.0, 1.0, 2.0, 21, 6), kPoint, kDirection));
  ASSERT_EQ(b.transform.createBackgroundMesh(qor::TurboTransform::linear, 300), 0);
  const qor::AxisFrame frame(kPoint, kDirection);
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> a(-0.2, 2.2), r(0.8, 2.2), t(-kPi, kPi);
  for (int k = 0; k < 200; ++k) {
    const D3 x = handXYZ(a(rng), r(rng), t(rng));
    const P3 p = toFloat(x);
    for (auto s : {qor::TurboTransform::nm, qor::TurboTransform::nspan}) {
      ASSERT_EQ(b.transform.convertXYZtoSpace(s, p), b.transform.convertARTtoSpace(s, frame.toART(p)))
          << k;
    }
  }
}

TEST(AxisFrame, refusesAnUnusableAxisAndThreadCount) {
  EXPECT_THROW(qor::AxisFrame(kPoint, P3(0.0f, 0.0f, 0.0f)), qor::data::invalid);
  EXPECT_THROW(qor::AxisFrame(kPoint, P3(0.0f, 1e-44f, 0.0f)), qor::data::invalid);
  EXPECT_THROW(qor::AxisFrame(P3(NAN, 0.0f, 0.0f), kDirection), qor::data::invalid);
  EXPECT_THROW(qor::AxisFrame(kPoint, P3(0.0f, INFINITY, 1.0f)), qor::data::invalid);
  P3 p;
  EXPECT_THROW(qor::AxisFrame().toART(&p, 1, &p, qor::TurboTransform::ListOptions{-1}),
               qor::data::invalid);
}

}  // namespace
