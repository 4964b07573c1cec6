#pragma once
/// @file
/// The built-in example passage: the meridional channel of a small centrifugal compressor stage
/// (axial inlet, 90-degree bend through the impeller, parallel-walled radial vaneless diffuser), in
/// millimetres, as (axial, radial, 0) curves about the z axis.

#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qormeridional {

struct DemoPassage {
  std::vector<qor::TripletBase<float>> hub;     ///< inlet to outlet
  std::vector<qor::TripletBase<float>> shroud;  ///< inlet to outlet
  std::vector<qor::TripletBase<float>> inlet;   ///< hub to shroud
  std::vector<qor::TripletBase<float>> outlet;  ///< hub to shroud
  /// Internal boundaries (impeller leading and trailing edge), hub to shroud.
  std::vector<std::vector<qor::TripletBase<float>>> bladeEdges;
};

/// The example passage; the same numbers on every call.
DemoPassage makeDemoPassage();

}  // namespace qormeridional
