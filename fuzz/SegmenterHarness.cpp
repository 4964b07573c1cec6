#include <memory>
#include <vector>

#include "ByteReader.h"
#include "FuzzHarness.h"
#include "qor/CoordTransform.h"

namespace qorfuzz {

namespace {

using P3 = qor::TripletBase<float>;

// One annulus A in [0, 1], R in [1, 2] with a small mesh, built once for all executions.
const qor::TurboTransform& passage() {
  static const std::unique_ptr<qor::TurboTransform> t = [] {
    auto tt = std::make_unique<qor::TurboTransform>();
    auto line = [](P3 a, P3 b, int n) {
      std::vector<P3> c;
      for (int k = 0; k < n; ++k) c.push_back(a + (b - a) * (float(k) / float(n - 1)));
      return qor::TripletQORVector(c);
    };
    tt->initializeFromART(line(P3(0, 1, 0), P3(1, 1, 0), 11), line(P3(0, 2, 0), P3(1, 2, 0), 11),
                          line(P3(0, 1, 0), P3(0, 2, 0), 5), line(P3(1, 1, 0), P3(1, 2, 0), 5),
                          P3(0, 0, 0), P3(1, 0, 0), -1, -1, -1, -1);
    tt->createBackgroundMesh(qor::TurboTransform::linear, 200);
    return tt;
  }();
  return *t;
}

}  // namespace

int segmenter(const std::uint8_t* data, std::size_t size) {
  ByteReader in(data, size);
  const std::uint8_t mode = in.byte();
  const auto method = (mode & 1) ? qor::TurboTransformSegmenter::backgroundMeshSpan
                                 : qor::TurboTransformSegmenter::mergedSpan;
  const int n = in.byte() % 4;
  std::vector<std::vector<P3>> curves(static_cast<std::size_t>(n));
  std::vector<bool> clean;
  for (auto& c : curves) {
    const int points = in.byte() % 9;
    const float a = 0.5f + 0.5f * in.unit();  // a line across the passage near A = a
    for (int k = 0; k < points; ++k) {
      if (mode & 2) {
        c.emplace_back(in.rawFloat(), in.rawFloat(), in.rawFloat());
      } else {
        const float f = points > 1 ? float(k) / float(points - 1) : 0.5f;
        c.emplace_back(a + 0.2f * in.unit(), 0.9f + 1.2f * f + 0.1f * in.unit(), in.unit());
      }
    }
    clean.push_back((in.byte() & 1) != 0);
  }
  try {
    qor::TurboTransformSegmenter seg(&passage(), method);
    seg.setInternalBoundaries(curves, clean);
    const int last = seg.getLastSegmentID();
    for (int k = 0; k < 4; ++k) {
      const int s = last >= 0 ? int(in.byte()) % (last + 1) : 0;
      const auto space = static_cast<qor::TurboTransformSegmenter::spaceSeg>(in.byte() % 4);
      P3 uv, back;
      seg.convertARTtoSpaceNspan(s, space, P3(0.5f + 0.6f * in.unit(), 1.5f + 0.6f * in.unit(), 0.0f), uv);
      seg.convertSpaceNspanToART(s, space, back, uv);
      std::vector<P3> piece;
      seg.getSegmentInternalBoundarySouth(s, piece);
      seg.getSegmentInternalBoundaryNorth(s, piece);
    }
    if (n > 0 && (mode & 4)) {
      std::vector<P3> replacement = curves.front();
      seg.setInternalBoundaryWest(1, replacement, true);
    }
  } catch (const qor::Error&) {
  }
  return 0;
}

}  // namespace qorfuzz
