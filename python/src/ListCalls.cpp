#include "ListCalls.h"

#include <algorithm>
#include <vector>

namespace qorpy {

using P = qor::TripletBase<float>;
using TT = qor::TurboTransform;

void forwardList(const TT& t, const P* pts, std::size_t n, bool xyz, const TT::space* spaces,
                 std::size_t spaceCount, float* values, P* streamwise, P* spanwise,
                 std::int8_t* status, int threads, bool single) {
  (void)threads;
  (void)status;
  if (single) {
    qor::QORVector<P> list;
    list.assign(pts, pts + n);
    qor::QORVector<float> v;
    if (xyz) {
      t.convertXYZtoSpace(spaces[0], list, v);
    } else {
      t.convertARTtoSpace(spaces[0], list, v);
    }
    std::copy(v.begin(), v.end(), values);
    return;
  }
  const qor::TripletQORVector in(std::vector<P>(pts, pts + n));
  qor::QORVector<TT::space> sp;
  for (std::size_t q = 0; q < spaceCount; ++q) sp.push_back(spaces[q]);
  qor::QORVector<std::vector<float>> vals;
  qor::QORVector<P> sw, sn;
  const bool dirs = streamwise != nullptr;
  if (xyz) {
    t.convertXYZtoSpace(in, sp, vals, sw, sn, dirs);
  } else {
    t.convertARTtoSpace(in, sp, vals, sw, sn, dirs);
  }
  for (std::size_t q = 0; q < spaceCount; ++q) {
    for (std::size_t k = 0; k < n; ++k) values[k * spaceCount + q] = vals[q][k];
  }
  if (dirs) {
    std::copy(sw.begin(), sw.end(), streamwise);
    std::copy(sn.begin(), sn.end(), spanwise);
  }
}

void forwardTNsList(const TT& t, TT::space s, const P* pts, std::size_t n, P* out, int threads) {
  (void)threads;
  const std::vector<P> in(pts, pts + n);
  std::vector<P> o;
  t.convertARTtoSpaceTNs(s, in, o);
  std::copy(o.begin(), o.end(), out);
}

void inverseList(const TT& t, TT::space s, const P* pts, std::size_t n, P* out, int threads) {
  (void)threads;
  const std::vector<P> in(pts, pts + n);
  std::vector<P> o;
  t.convertSpaceTNsToART(s, in, o);
  std::copy(o.begin(), o.end(), out);
}

void segmentForwardList(const qor::TurboTransformSegmenter& s, int segment,
                        qor::TurboTransformSegmenter::spaceSeg k, const P* in, std::size_t n,
                        P* out, int threads) {
  (void)threads;
  std::vector<P> o;
  s.convertARTtoSpaceNspan(segment, k, std::vector<P>(in, in + n), o);
  std::copy(o.begin(), o.end(), out);
}

void segmentInverseList(const qor::TurboTransformSegmenter& s, int segment,
                        qor::TurboTransformSegmenter::spaceSeg k, const P* in, std::size_t n,
                        P* out, int threads) {
  (void)threads;
  std::vector<P> o;
  s.convertSpaceNspanToART(segment, k, o, std::vector<P>(in, in + n));
  std::copy(o.begin(), o.end(), out);
}

}  // namespace qorpy
