// Quick start: set up a passage, build the background mesh, convert a point.
#include <qor/CoordTransform.h>

#include <cstdio>

int main() try {
  using P = qor::TripletBase<float>;
  qor::TripletQORVector hub, shroud;  // a straight annular duct in (axial, radial, theta)
  for (int k = 0; k <= 40; ++k) { hub.push_back(P(0.1f * k, 1, 0)); shroud.push_back(P(0.1f * k, 2, 0)); }
  const qor::TripletQORVector inlet{P(0, 1, 0), P(0, 2, 0)}, outlet{P(4, 1, 0), P(4, 2, 0)};

  qor::TurboTransform passage;  // axis: through the origin along z
  passage.initializeFromART(hub, shroud, inlet, outlet, P(0, 0, 0), P(0, 0, 1), -1, -1, -1, -1);
  passage.createBackgroundMesh(qor::TurboTransform::nonLinear, 2000);

  P s;  // (nm, theta, nspan) of the point at axial 1, radius 1.5, theta 0.3 rad
  passage.convertARTtoSpaceTNs(qor::TurboTransform::nm, P(1, 1.5f, 0.3f), s);
  std::printf("nm = %.3f, theta = %.3f, nspan = %.3f\n", s[0], s[1], s[2]);
} catch (const qor::Error& e) {  // library errors do not derive from std::exception
  std::fprintf(stderr, "%s\n", e.getDescription().c_str());
  return 1;
}
