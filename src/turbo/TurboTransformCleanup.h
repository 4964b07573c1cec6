#pragma once
/// @file
/// Clean-up and reduction of the boundary curves of `TurboTransform` (points in ART: axial,
/// radial, theta in radians; the planar operations use axial and radial only). Internal; never
/// installed.

#include <vector>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"

namespace qor {
namespace turbo_detail {

/// An ordered curve: repeated points removed, made continuous, reduced to `size` points (at
/// least 2, both ends kept).
void inContARToutCleanART(const QORVector<TripletBase<float>>& in,
                          QORVector<TripletBase<float>>& out, int size);
/// An unordered cloud ordered along the curve that starts at point `start`, then cleaned and
/// reduced like an ordered curve; the third components become the sort keys.
void inCloudARToutCleanART(const QORVector<TripletBase<float>>& in,
                           QORVector<TripletBase<float>>& out, const int& size, const int& start);
/// Removes every point whose normalised arc position exceeds its predecessor's by no more than
/// 10^exponent units in the last place of the predecessor's.
void eliminateDoublePointsBySXY(QORVector<TripletBase<float>>& points, const int& exponent);
/// Reduces `points` to `size` points, keeping the ones that deviate most from the chords.
void optimizeListOfPoints(QORVector<TripletBase<float>>& points, const unsigned int& size);
/// Planar arc length from the first point, normalised to 0 .. 1 (`s` sized like `points`).
void calculateArcValueXY(const QORVector<TripletBase<float>>& points, QORVector<double>& s);
/// The point between `first` and `last` farthest from `first` (simple) or from the chord
/// (normal); `noneFound` when there is none.
void distanceFirstLastSimpleXY(const QORVector<TripletBase<float>>& points, int& first, int& last,
                               double& best, int& bestIndex, bool& noneFound);
void distanceFirstLastNormalXY(const QORVector<TripletBase<float>>& points, int& first, int& last,
                               double& best, int& bestIndex, bool& noneFound);
/// Stores in the third component of every point of [first, last) its planar distance from
/// *first (the sort key of the cloud ordering).
void distanceFromFirstXY(const std::vector<TripletBase<float>>::iterator& first,
                         const std::vector<TripletBase<float>>::iterator& last);

}  // namespace turbo_detail
}  // namespace qor
