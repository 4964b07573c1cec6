#pragma once
/// @file
/// Pieces shared by several subcommands.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "CliArgs.h"
#include "Passage.h"
#include "PointFiles.h"
#include "ToolError.h"
#include "VtkWriter.h"
#include "qor/foundation/Error.h"

namespace qormeridional {

/// Concatenates option lists.
std::vector<OptionSpec> joinOptions(std::vector<OptionSpec> a, const std::vector<OptionSpec>& b);

/// Parses; prints the help and returns true when --help was given.
bool parseOrHelp(CliArgs& args, int argc, char** argv);

/// One summary line of the mesh: node counts, method, check result and quality figures.
std::string meshSummary(const MeshFields& mesh, const MeshSettings& settings, bool folded,
                        int levelsUsed);

/// Writes `prefix`.vtk and `prefix`.svg (mesh, boundary curves, iso-lines every `isoStep`). The VTK
/// nodes are (axial, radial, 0), or with `machineFrame` the Cartesian points of the meridional
/// plane at theta 0 about the passage's axis (so that it overlays a CFD mesh), revolved about the
/// axis in `sectors` steps when `sectors` > 0.
void writeMeshFiles(const std::string& prefix, const qor::TurboTransform& transform,
                    const MeshFields& mesh, const Passage& passage, double isoStep,
                    const std::string& title,
                    const std::vector<qor::TurboTransform::space>& spaces = {},
                    bool machineFrame = false, int sectors = 0);

/// The spelling of the one-space option given: "space", or "spaces" (accepted wherever a command
/// takes spaces). @throws ToolError when both are given
std::string spaceOption(const CliArgs& args);

/// Refuses --points-art together with --points-xyz.
/// @throws ToolError when both are given
void checkPointForm(const CliArgs& args);
/// The option that chose the point form ("--points-art" or "--points-xyz"), or nullptr.
const char* pointFormOption(const CliArgs& args);
/// The frame of a point file: the one `forcedBy` (pointFormOption's answer) names, else the
/// passage's.
Coords pointsFrame(const char* forcedBy, Coords passage);

/// "Class::function: message" of a library error.
std::string describe(const qor::Error& e);

/// Runs f for the point on `line` of `path`; a library error it throws becomes the tool's
/// "file:line: Class::function: message".
template <typename F>
void atPoint(const std::string& path, int line, F&& f) {
  try {
    f();
  } catch (const qor::Error& e) {
    throw fileError(path, line, describe(e));
  }
}

/// The name of a `TurboTransform::location` value, as the `location` column writes it.
const char* locationName(int status);
/// On standard error: how many of the points lie outside the passage, and beyond which side.
void reportOutside(const std::vector<std::int8_t>& status, const std::string& what);

}  // namespace qormeridional
