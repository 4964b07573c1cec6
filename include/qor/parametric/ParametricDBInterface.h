#pragma once
/// @file
/// `ParametricDBInterface`: a store of named curves of the meridional outline, queried by name.

#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

class QOR_API ParametricDBInterface {
 public:
  ParametricDBInterface() = default;
  ParametricDBInterface(const ParametricDBInterface&) = default;
  ParametricDBInterface& operator=(const ParametricDBInterface&) = default;

  /// Builds a curve from the points and registers it under `name` (replacing a curve of that name).
  virtual void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                           ParametricCurve::dim d) = 0;
  virtual void deleteCurve(const std::string& name) = 0;
  /// Nearest point of the named curve, with its curve parameter in `s`.
  virtual TripletBase<float> projectPoint(const std::string& name, const TripletBase<float>& point,
                                          double& s) const = 0;
  virtual TripletBase<float> projectPoint(const std::string& name,
                                          const TripletBase<float>& point) const = 0;
  /// Point of the named curve at parameter s (0 at its first point, 1 at its last).
  virtual TripletBase<double> getPointAtParameter(const std::string& name, double s) const = 0;
  virtual bool checkCurveExist(const std::string& name) const = 0;
  /// A new, empty database of the same class; the caller owns it.
  virtual ParametricDBInterface* makeNew() = 0;
  virtual ~ParametricDBInterface();
};

}  // namespace qor
