#pragma once
/// @file
/// The background mesh with its eight coordinate fields, and its export as a legacy VTK structured
/// grid (ASCII, ParaView and VisIt read it): x = axial, y = radial, z = 0.

#include <string>
#include <vector>

#include "qor/foundation/TripletBase.h"
#include "qor/turbo/AxisFrame.h"
#include "qor/turbo/TurboTransform.h"

namespace qormeridional {

struct MeshFields {
  std::vector<qor::TripletBase<float>> nodes;  ///< (axial, radial, 0), i-major with j fast
  int ni = 0;                                  ///< nodes inlet to outlet
  int nj = 0;                                  ///< nodes hub to shroud
  int nk = 1;  ///< planes about the axis (1: the meridional plane alone); k slowest in `nodes`
  std::vector<std::vector<float>>
      values;  ///< one list per space (by enumerator), one value per node
};

/// Reads the mesh of a transform and evaluates every space at its nodes.
MeshFields sampleMeshFields(const qor::TurboTransform& transform);

struct MeshQuality {
  int cells = 0;
  int inverted = 0;          ///< cells turning against the majority
  double minAngleDeg = 0.0;  ///< smallest corner angle of any cell
  double maxAspect = 0.0;    ///< largest ratio of a cell's longest to shortest edge
};
MeshQuality measureMesh(const MeshFields& mesh);

/// The meridional mesh placed in the machine's Cartesian frame: the plane at theta 0 about the
/// axis (`sectors` 0), or revolved about it in `sectors` steps of 360 / `sectors` degrees (sectors
/// + 1 planes, the last at 360 degrees, so that the volume closes), every plane carrying the
/// plane's fields.
MeshFields placeInMachineFrame(const MeshFields& plane, const qor::AxisFrame& frame, int sectors);

/// Writes a legacy `.vtk` STRUCTURED_GRID (DIMENSIONS nj ni nk, so VTK's fastest index is j) with
/// the fields of `spaces` (all eight when empty); the nodes as they are in `mesh`. The file is
/// written under a temporary name and moved in place when complete.
/// @throws ToolError when the file cannot be written
void writeVtk(const std::string& path, const MeshFields& mesh, const std::string& title,
              const std::vector<qor::TurboTransform::space>& spaces = {});

}  // namespace qormeridional
