// Consumer of the installed QORCoordTransform package.
#include <qor/CoordTransform.h>

#include <cmath>
#include <cstdio>

int main() {
  using P = qor::TripletBase<float>;
  qor::TripletQORVector hub, shroud;
  for (int k = 0; k <= 20; ++k) {
    hub.push_back(P(0.1f * k, 1.0f, 0.0f));
    shroud.push_back(P(0.1f * k, 3.0f, 0.0f));
  }
  const qor::TripletQORVector inlet{P(0.0f, 1.0f, 0.0f), P(0.0f, 3.0f, 0.0f)};
  const qor::TripletQORVector outlet{P(2.0f, 1.0f, 0.0f), P(2.0f, 3.0f, 0.0f)};
  try {
    qor::TurboTransform t;
    t.initializeFromART(hub, shroud, inlet, outlet, P(0, 0, 0), P(1, 0, 0), -1, -1, -1, -1);
    t.createBackgroundMesh(qor::TurboTransform::linear, 400);
    const float nspan = t.convertARTtoSpace(qor::TurboTransform::nspan, P(1.0f, 2.0f, 0.0f));
    std::printf("consumer: nspan = %.3f\n", nspan);
    return std::fabs(nspan - 0.5f) < 1e-3f ? 0 : 1;
  } catch (const qor::Error& e) {
    std::fprintf(stderr, "consumer: %s\n", e.getDescription().c_str());
    return 1;
  }
}
