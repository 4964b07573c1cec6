#pragma once
/// @file
/// SVG pictures of the meridional plane: axial along the horizontal axis, radial upwards, one scale
/// for both so that the passage keeps its proportions, with ticks in the input's length units.

#include <string>
#include <vector>

#include "qor/foundation/TripletBase.h"
#include "qor/turbo/TurboTransform.h"

namespace qormeridional {

struct MeshFields;

/// Drawing styles; each has its own colour and line width (see the legend of the picture).
enum class SvgStyle { mesh, wall, inlet, outlet, spanLine, streamLine, userLine, boundary };

struct SvgPolyline {
  std::vector<qor::TripletBase<float>> points;  ///< (axial, radial, ·)
  SvgStyle style = SvgStyle::userLine;
  std::string label;       ///< drawn next to one end when not empty
  bool labelAtEnd = true;  ///< false: next to the first point
};

struct SvgPicture {
  std::string title;
  std::string units;  ///< length unit of the axes ("" when unknown)
  std::vector<SvgPolyline> lines;
  std::vector<qor::TripletBase<float>> markers;  ///< points drawn as dots
  std::string markerLegend = "sample points";   ///< what the legend calls them
  /// Optional group of each marker (a segment): groups get their own colours, and -1 marks a point
  /// outside the passage (a hollow red ring, "outside the passage" in the legend).
  std::vector<int> markerGroups;
};

/// @throws ToolError when the file cannot be written
void writeSvg(const std::string& path, const SvgPicture& picture);

/// Adds the mesh lines and the four edges of the mesh (hub, shroud, inlet, outlet).
void addMesh(SvgPicture& picture, const MeshFields& mesh);
/// Adds labelled lines of constant normalised span and of constant nm at `step`, 2 `step`, ... < 1.
void addIsoLines(SvgPicture& picture, const qor::TurboTransform& transform, double step);

}  // namespace qormeridional
