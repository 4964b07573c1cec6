#pragma once
/// @file
/// Pieces shared by several subcommands.

#include <iosfwd>
#include <string>
#include <vector>

#include "CliArgs.h"
#include "Passage.h"
#include "PointFiles.h"
#include "VtkWriter.h"

namespace qormeridional {

/// Concatenates option lists.
std::vector<OptionSpec> joinOptions(std::vector<OptionSpec> a, const std::vector<OptionSpec>& b);

/// Parses; prints the help and returns true when --help was given.
bool parseOrHelp(CliArgs& args, int argc, char** argv);

/// One summary line of the mesh: node counts, method, check result and quality figures.
std::string meshSummary(const MeshFields& mesh, const MeshSettings& settings, bool folded,
                        int levelsUsed);

/// Writes `prefix`.vtk and `prefix`.svg (mesh, boundary curves, iso-lines every `isoStep`).
void writeMeshFiles(const std::string& prefix, const qor::TurboTransform& transform,
                    const MeshFields& mesh, const Passage& passage, double isoStep,
                    const std::string& title);

/// Refuses --points-art together with --points-xyz.
/// @throws ToolError when both are given
void checkPointForm(const CliArgs& args);
/// The form of a point file: `fallback` (the passage's) unless --points-art or --points-xyz is given.
Coords pointForm(const CliArgs& args, Coords fallback);

/// Opens --output (or standard output when absent or "-"). The stream stays valid while `file`
/// lives.
std::ostream& openOutput(const std::string& path, std::ofstream& file);
/// @throws ToolError when writing failed
void finishOutput(const std::string& path, std::ostream& out);

}  // namespace qormeridional
