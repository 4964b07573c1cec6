// AxisFrame: Cartesian points to (axial, radial, theta) about a machine axis and back; vectors to
// (axial, radial, tangential) components and back.

#include "turbo/AxialRadial.h"
#include "qor/turbo/AxisFrame.h"

#include <cmath>

#include "foundation/ParallelFor.h"
#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"

namespace qor {

namespace {

const char* const kClass = "AxisFrame";

using P = TripletBase<float>;

using turbo_detail::dotInDouble;

bool finite(const P& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

}  // namespace

AxisFrame::AxisFrame() : AxisFrame(P(0.0f, 0.0f, 0.0f), P(0.0f, 0.0f, 1.0f)) {}

AxisFrame::AxisFrame(const P& point, const P& direction) : m_point(point) {
  if (!finite(point) || !finite(direction)) {
    throw data::invalid(kClass, "AxisFrame",
                        UserMsg("Axis point (%1,%2,%3) and direction (%4,%5,%6) must be finite.")
                            << point[0] << point[1] << point[2] << direction[0] << direction[1]
                            << direction[2],
                        errorType::fatal);
  }
  const float length = direction.length();
  if (100.0f * NumericalUtils::spacing(length) > length) {
    throw data::invalid(kClass, "AxisFrame",
                        UserMsg("Axis vector definition insignificant. Axis vector= %1,%2,%3")
                            << direction[0] << direction[1] << direction[2],
                        errorType::fatal);
  }
  m_axial = direction / length;

  // Theta 0: the global axis after the one the machine axis is mostly along (z -> x, x -> y,
  // y -> z), made perpendicular to the axis, so that (axis, theta 0, theta pi/2) is right-handed
  // and a machine axis along z gives the usual polar angle in the x-y plane.
  const double al = std::sqrt(dotInDouble(m_axial, m_axial));
  for (int k = 0; k < 3; ++k) m_a[k] = m_axial[k] / al;
  const double* a = m_a;
  int major = 0;
  for (int k = 1; k < 3; ++k) {
    if (std::fabs(a[k]) > std::fabs(a[major])) major = k;
  }
  double u[3] = {0.0, 0.0, 0.0};
  u[(major + 1) % 3] = 1.0;
  const double d = u[0] * a[0] + u[1] * a[1] + u[2] * a[2];
  for (int k = 0; k < 3; ++k) u[k] -= d * a[k];
  const double ul = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
  for (int k = 0; k < 3; ++k) m_e1[k] = u[k] / ul;
  m_e2[0] = a[1] * m_e1[2] - a[2] * m_e1[1];
  m_e2[1] = a[2] * m_e1[0] - a[0] * m_e1[2];
  m_e2[2] = a[0] * m_e1[1] - a[1] * m_e1[0];
}

P AxisFrame::toART(const P& xyz) const {
  // Axial and radial in the transform's own arithmetic (the same bits), theta from the frame.
  P art = turbo_detail::axialRadial(xyz, m_point, m_axial);
  const P d = xyz - m_point;
  const double x1 = double(d[0]) * m_e1[0] + double(d[1]) * m_e1[1] + double(d[2]) * m_e1[2];
  const double x2 = double(d[0]) * m_e2[0] + double(d[1]) * m_e2[1] + double(d[2]) * m_e2[2];
  art[2] = static_cast<float>(std::atan2(x2, x1));
  return art;
}

P AxisFrame::toXYZ(const P& art) const {
  const double c = std::cos(double(art[2]));
  const double s = std::sin(double(art[2]));
  P out;
  for (int k = 0; k < 3; ++k) {
    out[k] = static_cast<float>(double(m_point[k]) + double(art[0]) * m_axial[k] +
                                double(art[1]) * (c * m_e1[k] + s * m_e2[k]));
  }
  return out;
}

void AxisFrame::thetaOf(const P& xyz, double& c, double& s) const {
  double d[3];
  for (int k = 0; k < 3; ++k) d[k] = double(xyz[k]) - double(m_point[k]);
  // The part of d across the axis in the (e1, e2) plane; one square root and one division.
  const double x1 = d[0] * m_e1[0] + d[1] * m_e1[1] + d[2] * m_e1[2];
  const double x2 = d[0] * m_e2[0] + d[1] * m_e2[1] + d[2] * m_e2[2];
  const double r2 = x1 * x1 + x2 * x2;
  if (r2 > 0.0) {
    const double inv = 1.0 / std::sqrt(r2);
    c = x1 * inv;
    s = x2 * inv;
  } else {  // on the axis: theta 0, as toART says
    c = 1.0;
    s = 0.0;
  }
}

// With radial = c e1 + s e2 and tangential = a x radial = c e2 - s e1, both forms work in the
// fixed (a, e1, e2) basis.
P AxisFrame::vectorToART(const P& xyz, const P& vector) const {
  double c = 0.0, s = 0.0;
  thetaOf(xyz, c, s);
  double axial = 0.0, v1 = 0.0, v2 = 0.0;
  for (int k = 0; k < 3; ++k) {
    const double v = vector[k];
    axial += v * m_a[k];
    v1 += v * m_e1[k];
    v2 += v * m_e2[k];
  }
  return P(static_cast<float>(axial), static_cast<float>(c * v1 + s * v2),
           static_cast<float>(c * v2 - s * v1));
}

P AxisFrame::vectorToXYZ(const P& xyz, const P& components) const {
  double c = 0.0, s = 0.0;
  thetaOf(xyz, c, s);
  const double radial = components[1], tangential = components[2];
  const double along1 = c * radial - s * tangential, along2 = s * radial + c * tangential;
  P out;
  for (int k = 0; k < 3; ++k) {
    out[k] = static_cast<float>(double(components[0]) * m_a[k] + along1 * m_e1[k] +
                                along2 * m_e2[k]);
  }
  return out;
}

void AxisFrame::vectorToART(const P* xyz, const P* vectors, std::size_t n, P* out,
                            const TurboTransform::ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "vectorToART");
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    for (std::size_t k = begin; k < end; ++k) out[k] = vectorToART(xyz[k], vectors[k]);
  });
}

void AxisFrame::vectorToXYZ(const P* xyz, const P* components, std::size_t n, P* out,
                            const TurboTransform::ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "vectorToXYZ");
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    for (std::size_t k = begin; k < end; ++k) out[k] = vectorToXYZ(xyz[k], components[k]);
  });
}

void AxisFrame::toART(const P* xyz, std::size_t n, P* out,
                      const TurboTransform::ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "toART");
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    for (std::size_t k = begin; k < end; ++k) out[k] = toART(xyz[k]);
  });
}

void AxisFrame::toXYZ(const P* art, std::size_t n, P* out,
                      const TurboTransform::ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClass, "toXYZ");
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    for (std::size_t k = begin; k < end; ++k) out[k] = toXYZ(art[k]);
  });
}

}  // namespace qor
