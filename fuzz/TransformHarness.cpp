#include <vector>

#include "ByteReader.h"
#include "FuzzHarness.h"
#include "qor/CoordTransform.h"

namespace qorfuzz {

namespace {

using P3 = qor::TripletBase<float>;

// Up to 12 points per curve keeps one execution short.
std::vector<P3> rawCurve(ByteReader& in) {
  std::vector<P3> c(in.byte() % 13);
  for (auto& p : c) p = P3(in.rawFloat(), in.rawFloat(), in.rawFloat());
  return c;
}

// A straight line from a to b with n points, each moved by up to `amplitude` per component.
std::vector<P3> perturbedLine(ByteReader& in, P3 a, P3 b, float amplitude) {
  const int n = 2 + in.byte() % 11;
  std::vector<P3> c;
  for (int k = 0; k < n; ++k) {
    const float f = float(k) / float(n - 1);
    P3 p = a + (b - a) * f;
    p[0] += amplitude * in.unit();
    p[1] += amplitude * in.unit();
    c.push_back(p);
  }
  return c;
}

}  // namespace

int transform(const std::uint8_t* data, std::size_t size) {
  ByteReader in(data, size);
  const std::uint8_t mode = in.byte();
  std::vector<P3> hub, shroud, inlet, outlet;
  if (mode & 1) {
    hub = rawCurve(in);
    shroud = rawCurve(in);
    inlet = rawCurve(in);
    outlet = rawCurve(in);
  } else {
    // An annulus A in [0, 2], R in [1, 2] whose points the input moves about.
    const float amp = 0.3f * float(in.byte()) / 255.0f;
    hub = perturbedLine(in, P3(0, 1, 0), P3(2, 1, 0), amp);
    shroud = perturbedLine(in, P3(0, 2, 0), P3(2, 2, 0), amp);
    inlet = perturbedLine(in, P3(0, 1, 0), P3(0, 2, 0), amp);
    outlet = perturbedLine(in, P3(2, 1, 0), P3(2, 2, 0), amp);
  }
  const bool xyz = (mode & 2) != 0;
  const auto method = (mode & 4) ? qor::TurboTransform::nonLinear : qor::TurboTransform::linear;
  const int meshSize = 16 + 4 * in.byte();  // up to about 1 000 nodes
  const int levels = 1 + in.byte() % 3;
  const P3 axisPoint(0, 0, 0);
  const P3 axisDirection = (mode & 8) ? P3(in.unit(), in.unit(), in.unit()) : P3(1, 0, 0);

  qor::TurboTransform t;
  try {
    t.setNumberOfLevelsforBM(levels);
    if (xyz) {
      t.initializeFromXYZ(hub, shroud, inlet, outlet, axisPoint, axisDirection);
    } else {
      t.initializeFromART(hub, shroud, inlet, outlet, axisPoint, axisDirection, -1, -1,
                          (mode & 16) ? 0 : -1, -1);
    }
    t.createBackgroundMesh(method, meshSize);
  } catch (const qor::Error&) {
    return 0;
  }

  // A few conversions forward and back; none may crash, whatever the mesh looks like.
  try {
    for (int k = 0; k < 4; ++k) {
      const P3 p(2.0f * in.unit() + 1.0f, in.unit() + 1.5f, 0.0f);
      P3 tns, back;
      (void)t.convertARTtoSpace(qor::TurboTransform::nspan, p);
      t.convertARTtoSpaceTNs(qor::TurboTransform::nm, p, tns);
      t.convertSpaceTNsToART(qor::TurboTransform::nm, tns, back);
      t.convertSpaceTNsToART(qor::TurboTransform::rnm, P3(in.unit(), 0.0f, in.unit()), back);
    }
    qor::QORVector<P3> line;
    t.getConstantSpace(qor::TurboTransform::nspanConst, 0.5, line);
    t.getConstantSpace(qor::TurboTransform::nmConst, 0.5, 7, line);
  } catch (const qor::Error&) {
  }
  return 0;
}

}  // namespace qorfuzz
