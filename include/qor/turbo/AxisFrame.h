#pragma once
/// @file
/// `AxisFrame`: the cylindrical frame of a machine axis, converting Cartesian points (x, y, z) to
/// meridional ART points (axial, radial, theta in radians) and back, and vectors (velocities,
/// directions) between Cartesian and (axial, radial, tangential) components.

#include <cstddef>

#include "qor/export.h"
#include "qor/foundation/TripletBase.h"
#include "qor/turbo/TurboTransform.h"

namespace qor {

/// The cylindrical coordinates of a machine axis given by a point and a direction (any length, any
/// orientation, not necessarily through the origin).
///
/// - axial: signed distance along the unit axis from the axis point (length units of the input);
/// - radial: distance from the axis, >= 0 (0 on the axis);
/// - theta: angle about the axis in radians, in (-pi, pi], right-handed about the axis direction.
///   Theta 0 lies along the global Cartesian axis that follows the one the axis is mostly along
///   (axis mostly along z: theta 0 towards x; along x: towards y; along y: towards z), made
///   perpendicular to the axis; theta pi/2 lies along the axis direction crossed with theta 0.
///   A point on the axis gets theta 0.
///
/// The axial and radial components are the same bits as the Cartesian conversions of a
/// `TurboTransform` set up with the same axis (`convertXYZtoSpace` gives what `toART` followed by
/// `convertARTtoSpace` gives), which never yield a theta.
///
/// A frame is a small immutable value: copy it freely and use it from any number of threads.
class QOR_API AxisFrame {
 public:
  /// The z axis through the origin.
  AxisFrame();
  /// @param point a point on the axis (XYZ)
  /// @param direction the axis direction (XYZ, any non-negligible length; axial grows along it)
  /// @throws data::invalid for a direction of insignificant length (as `TurboTransform`'s set-up)
  ///         or a point or direction with a component that is not finite
  AxisFrame(const TripletBase<float>& point, const TripletBase<float>& direction);

  /// (axial, radial, theta) of a Cartesian point.
  TripletBase<float> toART(const TripletBase<float>& xyz) const;
  /// Cartesian point of (axial, radial, theta): the inverse of `toART` within float rounding for
  /// radial >= 0 (a negative radial gives the point on the opposite side, theta + pi).
  TripletBase<float> toXYZ(const TripletBase<float>& art) const;

  /// The array forms: out[k] = toART(xyz[k]) (resp. toXYZ(art[k])) for k < n, the same bits as the
  /// one-point forms for every thread count. `out` may be the input array (in place); otherwise
  /// the arrays must not overlap. Nothing is allocated per point.
  /// @param options threads as in `TurboTransform::ListOptions` (1 = calling thread, 0 = every
  ///        hardware thread; short lists stay on the calling thread)
  /// @throws data::invalid for a negative thread count
  void toART(const TripletBase<float>* xyz, std::size_t n, TripletBase<float>* out,
             const TurboTransform::ListOptions& options = TurboTransform::ListOptions()) const;
  void toXYZ(const TripletBase<float>* art, std::size_t n, TripletBase<float>* out,
             const TurboTransform::ListOptions& options = TurboTransform::ListOptions()) const;

  /// (axial, radial, tangential) components of the Cartesian vector `vector` (a velocity, say)
  /// attached to the Cartesian point `xyz`: its projections on the unit axis, on the unit radial
  /// direction away from the axis through the point, and on the unit tangential direction
  /// (axis x radial, the direction in which theta grows). The units are the vector's. At a point
  /// on the axis the radial direction is theta 0's (`thetaZero`), as `toART` gives theta 0 there.
  /// Computed in double, rounded once.
  TripletBase<float> vectorToART(const TripletBase<float>& xyz,
                                 const TripletBase<float>& vector) const;
  /// The Cartesian vector with (axial, radial, tangential) `components` at the Cartesian point
  /// `xyz`: the inverse of `vectorToART` within float rounding (the directions of a meridional
  /// plane, such as the streamwise and spanwise directions of `convertXYZtoSpace`, are
  /// (axial, radial, 0)).
  TripletBase<float> vectorToXYZ(const TripletBase<float>& xyz,
                                 const TripletBase<float>& components) const;
  /// The array forms: out[k] = vectorToART(xyz[k], vectors[k]) (resp. vectorToXYZ) for k < n, the
  /// same bits as the one-point forms for every thread count. `out` may be `vectors` (in place);
  /// otherwise it must not overlap the inputs. Nothing is allocated per point.
  /// @throws data::invalid for a negative thread count
  void vectorToART(const TripletBase<float>* xyz, const TripletBase<float>* vectors, std::size_t n,
                   TripletBase<float>* out,
                   const TurboTransform::ListOptions& options = TurboTransform::ListOptions()) const;
  void vectorToXYZ(const TripletBase<float>* xyz, const TripletBase<float>* components,
                   std::size_t n, TripletBase<float>* out,
                   const TurboTransform::ListOptions& options = TurboTransform::ListOptions()) const;

  /// The axis point as given (XYZ).
  const TripletBase<float>& point() const noexcept { return m_point; }
  /// The unit axis direction, rounded to float as `TurboTransform` stores it.
  const TripletBase<float>& axial() const noexcept { return m_axial; }
  /// Unit directions of theta 0 and theta pi/2 (perpendicular to the axis and to each other).
  TripletBase<double> thetaZero() const noexcept { return {m_e1[0], m_e1[1], m_e1[2]}; }
  TripletBase<double> thetaQuarter() const noexcept { return {m_e2[0], m_e2[1], m_e2[2]}; }

 private:
  TripletBase<float> m_point;
  TripletBase<float> m_axial;  // unit, float: the transform's m_axialUnit
  double m_a[3];               // m_axial made unit in double
  double m_e1[3];              // unit, theta 0
  double m_e2[3];              // unit, theta pi/2 = axial x e1

  /// cos and sin of the theta of the Cartesian point `xyz` (1 and 0 on the axis).
  void thetaOf(const TripletBase<float>& xyz, double& c, double& s) const;
};

}  // namespace qor
