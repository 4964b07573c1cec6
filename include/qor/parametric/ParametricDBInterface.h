#pragma once
/// @file
/// `ParametricDBInterface`: a store of named curves of the meridional outline, queried by name.

#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

/// Abstract store of named curves, implemented by `ParametricDB`. The smoother and the transform
/// hold it through this interface (often const) to keep boundary points on their curves; a
/// derived class installed as the prototype of `ParametricDBFactory` replaces it everywhere. Curve
/// parameters run 0 at a curve's first point to 1 at its last. Errors are those of the
/// implementation (`ParametricDB` throws data::error for an empty database or an unknown name).
class QOR_API ParametricDBInterface {
 public:
  ParametricDBInterface() = default;
  ParametricDBInterface(const ParametricDBInterface&) = default;
  ParametricDBInterface& operator=(const ParametricDBInterface&) = default;

  /// Builds a curve from the points and registers it under `name` (replacing a curve of that name).
  virtual void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                           ParametricCurve::dim d) = 0;
  /// Removes the named curve (`ParametricDB`: throws data::error for an unknown name).
  virtual void deleteCurve(const std::string& name) = 0;
  /// Nearest point of the named curve, with its curve parameter in `s`.
  virtual TripletBase<float> projectPoint(const std::string& name, const TripletBase<float>& point,
                                          double& s) const = 0;
  /// Nearest point of the named curve, without its parameter.
  virtual TripletBase<float> projectPoint(const std::string& name,
                                          const TripletBase<float>& point) const = 0;
  /// Point of the named curve at parameter s (0 at its first point, 1 at its last).
  virtual TripletBase<double> getPointAtParameter(const std::string& name, double s) const = 0;
  /// Whether a curve of that name exists; never throws.
  virtual bool checkCurveExist(const std::string& name) const = 0;
  /// A new, empty database of the same class; the caller owns it.
  virtual ParametricDBInterface* makeNew() = 0;
  /// Virtual, so the databases the factory returns can be deleted through this interface.
  virtual ~ParametricDBInterface();
};

}  // namespace qor
