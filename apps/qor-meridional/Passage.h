#pragma once
/// @file
/// The passage options shared by the subcommands (boundary-curve files or the built-in example,
/// coordinate system, axis, mesh settings) and the set-up of a transform from them.

#include <memory>
#include <string>
#include <vector>

#include "CliArgs.h"
#include "PointFiles.h"
#include "qor/foundation/TripletBase.h"
#include "qor/turbo/AxisFrame.h"
#include "qor/turbo/TurboTransform.h"

namespace qormeridional {

struct Passage {
  std::vector<qor::TripletBase<float>> hub, shroud, inlet, outlet;
  Coords coords = Coords::art;
  qor::TripletBase<float> axisPoint{0.0f, 0.0f, 0.0f};
  qor::TripletBase<float> axisDirection{0.0f, 0.0f, 1.0f};
  std::string units;        ///< length unit shown on plot axes ("" when unknown)
  std::string description;  ///< where the curves came from, for summaries
  std::string name;         ///< short name for picture titles: the machine's folder name
  std::string files[4];     ///< file of the hub, shroud, inlet and outlet ("" for the demo)
  std::vector<int> lines[4];  ///< 1-based file line of every point of each curve
};

struct MeshSettings {
  qor::TurboTransform::BMmethod method = qor::TurboTransform::nonLinear;
  int size = 2000;
  int levels = 3;
  int curveSize = 300;
  bool allowFolded = false;  ///< --allow-folded: a folded mesh is a warning, not an error
  bool exactWalls = true;    ///< TurboTransform::setExactWalls; --chord-walls turns it off
  bool closedForm = true;    ///< TurboTransform::setClosedFormSmoothingForBM; --angle-smoothing off
};

/// How far the given hub and shroud points convert from nspan 0 and 1 (largest of each).
struct WallDeviation {
  double hub = 0.0;
  double shroud = 0.0;
};
WallDeviation measureWallDeviation(const qor::TurboTransform& transform, const Passage& passage);

/// The options of passageOptions() added to a subcommand's own.
std::vector<OptionSpec> passageOptions();
/// The mesh options (--method, --size, --levels, --curve-points).
std::vector<OptionSpec> meshOptions();

/// Where the passage comes from and how its files and axis are read (the passage options).
struct PassageOptions {
  bool demo = false;        ///< --demo: the built-in compressor
  bool fromDirectory = false;  ///< --passage given
  std::string directory;       ///< --passage DIR
  std::string files[4];     ///< --hub, --shroud, --inlet, --outlet ("" when not given)
  Coords coords = Coords::art;        ///< frame of files without a header naming theirs
  const char* forcedBy = nullptr;     ///< "--xyz" or "--art" when given: headers must agree
  qor::TripletBase<float> axisPoint{0.0f, 0.0f, 0.0f};
  qor::TripletBase<float> axisDirection{0.0f, 0.0f, 1.0f};
  bool hasUnits = false;    ///< --units given
  std::string units;
};
/// The passage options, checked (one source, a usable axis); reads no file.
/// @throws ToolError for missing, conflicting or malformed options
PassageOptions readPassageOptions(const CliArgs& args);

/// Reads the passage named by the options: --demo, --passage DIR, or
/// --hub/--shroud/--inlet/--outlet. The curves are checked against each other (hub and shroud
/// start at the inlet's ends, inlet and outlet start on the hub): one curve that runs the wrong
/// way while the others agree is reversed with a warning; files that contradict each other (hub
/// and shroud swapped, two curves reversed) are refused naming them.
/// @throws ToolError for missing, bad or contradicting files and options
Passage readPassage(const PassageOptions& options);
MeshSettings readMeshSettings(const CliArgs& args);

/// Sets up a transform and builds its background mesh. `folded` receives the mesh check result.
/// @throws ToolError "file:line: ..." for a library error about a curve or one of its points, and
///         for a folded mesh unless mesh.allowFolded; other library errors propagate as qor::Error.
std::unique_ptr<qor::TurboTransform> buildTransform(const Passage& passage,
                                                    const MeshSettings& mesh, bool& folded);

/// The passage's curves in (axial, radial) about its axis (Cartesian curves are projected).
void passageCurvesART(const Passage& passage,
                      std::vector<std::vector<qor::TripletBase<float>>>& curves);

/// The cylindrical frame of the passage's axis (qor::AxisFrame: for an axis mostly along global z,
/// x, y theta 0 lies along x, y, z respectively, made perpendicular to the axis, and theta grows
/// counter-clockwise seen from the axis tip). Make it once for many points.
qor::AxisFrame axisFrame(const Passage& passage);

}  // namespace qormeridional
