#pragma once
// The list conversions the bindings call, on raw arrays of library triplets. Called with the GIL
// released.

#include <cstddef>
#include <cstdint>

#include "qor/segmenter/TurboTransformSegmenter.h"
#include "qor/turbo/TurboTransform.h"

namespace qorpy {

/// Several spaces (values row-major n x spaceCount), with optional unit directions and location
/// statuses (nullptr to skip).
void forwardList(const qor::TurboTransform& t, const qor::TripletBase<float>* pts, std::size_t n,
                 bool xyz, const qor::TurboTransform::space* spaces, std::size_t spaceCount,
                 float* values, qor::TripletBase<float>* streamwise,
                 qor::TripletBase<float>* spanwise, std::int8_t* status, int threads);

void statusList(const qor::TurboTransform& t, const qor::TripletBase<float>* pts, std::size_t n,
                std::int8_t* status, int threads);

void forwardTNsList(const qor::TurboTransform& t, qor::TurboTransform::space s,
                    const qor::TripletBase<float>* pts, std::size_t n,
                    qor::TripletBase<float>* out, int threads);

void inverseList(const qor::TurboTransform& t, qor::TurboTransform::space s,
                 const qor::TripletBase<float>* pts, std::size_t n, qor::TripletBase<float>* out,
                 int threads);

void segmentForwardList(const qor::TurboTransformSegmenter& s, int segment,
                        qor::TurboTransformSegmenter::spaceSeg k, const qor::TripletBase<float>* in,
                        std::size_t n, qor::TripletBase<float>* out, int threads);
void segmentInverseList(const qor::TurboTransformSegmenter& s, int segment,
                        qor::TurboTransformSegmenter::spaceSeg k, const qor::TripletBase<float>* in,
                        std::size_t n, qor::TripletBase<float>* out, int threads);

}  // namespace qorpy
