#include <cstdio>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "ToolError.h"
#include "Warnings.h"

namespace qormeridional {

int runMesh(int argc, char** argv) {
  CliArgs args(
      "mesh", "(--demo | --passage <dir> | --hub F --shroud F --inlet F --outlet F) [options]",
      "Builds the background mesh of a passage and writes <prefix>.vtk (legacy VTK structured\n"
      "grid with the eight coordinate fields mprime, span, m, nmprime, nspan, nm, rnm,\n"
      "mprimeScaled as point data; open it in ParaView) and <prefix>.svg (the meridional plane\n"
      "with the boundary curves, the mesh and labelled lines of normalised span and nm).\n"
      "\n"
      "Curve files: CSV with or without a header, whitespace-separated columns, or the\n"
      "library's point-list format (a count line, then one point per line). Columns are (axial,\n"
      "radial[, theta]) with --art (the default) or (x, y, z) with --xyz; header names\n"
      "axial/radius/theta or x/y/z select the columns. Hub and shroud run inlet to outlet,\n"
      "inlet and outlet hub to shroud.\n"
      "\n"
      "example: qor-meridional mesh --passage data/nasa-rotor37 --axis-dir x --output rotor37",
      joinOptions(joinOptions({{"output", "prefix", "output file prefix (default: mesh)"},
                               {"iso-step", "step",
                                "spacing of the iso-lines in the SVG, 0.01..0.5 (default 0.1)"}},
                              passageOptions()),
                  meshOptions()),
      0);
  if (parseOrHelp(args, argc, argv)) return 0;
  const double isoStep = args.number("iso-step", 0.1);
  if (!(isoStep >= 0.01 && isoStep <= 0.5))
    throw ToolError("option --iso-step: must lie between 0.01 and 0.5");
  const std::string prefix = args.value("output", "mesh");
  const Passage passage = readPassage(args);
  const MeshSettings settings = readMeshSettings(args);
  bool folded = false;
  const auto transform = buildTransform(passage, settings, folded);
  const MeshFields mesh = sampleMeshFields(*transform);
  writeMeshFiles(prefix, *transform, mesh, passage, isoStep,
                 "Background mesh: " + passage.description);
  std::cout << meshSummary(mesh, settings, folded, transform->getNumberOfLevelsforBM()) << '\n';
  std::cout << "wrote " << prefix << ".vtk, " << prefix << ".svg\n";
  if (folded)
    addWarning("the background mesh is folded; try --method linear or another --size");
  return 0;
}

}  // namespace qormeridional
