#include "ListCalls.h"

namespace qorpy {

using P = qor::TripletBase<float>;
using TT = qor::TurboTransform;
using Seg = qor::TurboTransformSegmenter;

namespace {
TT::ListOptions options(int threads) {
  TT::ListOptions o;
  o.threads = threads;
  return o;
}
}  // namespace

void forwardList(const TT& t, const P* pts, std::size_t n, bool xyz, const TT::space* spaces,
                 std::size_t spaceCount, float* values, P* streamwise, P* spanwise,
                 std::int8_t* status, int threads) {
  if (xyz) {
    t.convertXYZtoSpace(pts, n, spaces, spaceCount, values, streamwise, spanwise, status,
                        options(threads));
  } else {
    t.convertARTtoSpace(pts, n, spaces, spaceCount, values, streamwise, spanwise, status,
                        options(threads));
  }
}

void forwardTNsList(const TT& t, TT::space s, const P* pts, std::size_t n, P* out, int threads) {
  t.convertARTtoSpaceTNs(s, pts, n, out, options(threads));
}

void statusList(const TT& t, const P* pts, std::size_t n, std::int8_t* status, int threads) {
  t.locationStatus(pts, n, status, options(threads));
}

void inverseList(const TT& t, TT::space s, const P* pts, std::size_t n, P* out, int threads) {
  t.convertSpaceTNsToART(s, pts, n, out, options(threads));
}

void segmentForwardList(const Seg& s, int segment, Seg::spaceSeg k, const P* in, std::size_t n,
                        P* out, int threads) {
  s.convertARTtoSpaceNspan(segment, k, in, n, out, options(threads));
}

void segmentInverseList(const Seg& s, int segment, Seg::spaceSeg k, const P* in, std::size_t n,
                        P* out, int threads) {
  s.convertSpaceNspanToART(segment, k, out, in, n, options(threads));
}

}  // namespace qorpy
