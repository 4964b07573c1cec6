#include <cstdio>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "Spaces.h"
#include "ToolError.h"
#include "Warnings.h"

namespace qormeridional {
namespace {

struct MeshOptions {
  double isoStep = 0.1;
  std::string prefix;
  bool machineFrame = false;
  int sectors = 0;
  std::vector<qor::TurboTransform::space> spaces;
  PassageOptions passage;
  MeshSettings mesh;
};

MeshOptions parseMeshOptions(const CliArgs& args) {
  MeshOptions o;
  o.isoStep = args.number("iso-step", 0.1);
  if (!(o.isoStep >= 0.01 && o.isoStep <= 0.5))
    throw ToolError("option --iso-step: must lie between 0.01 and 0.5");
  o.prefix = args.value("output", "mesh");
  o.sectors = args.integer("revolve", 0, 2, 3600);
  if (o.sectors > 0 && args.has("frame") && args.value("frame", "") == "art")
    throw ToolError("option --revolve: the revolved mesh lies in the machine's frame, not --frame art");
  o.machineFrame = args.choice("frame", {"art", "xyz"}, "art") == "xyz" || o.sectors > 0;
  o.spaces = spacesFromList(args.value("spaces", "all"), "option --spaces");
  o.passage = readPassageOptions(args);
  o.mesh = readMeshSettings(args);
  return o;
}

int runMesh(const MeshOptions& o) {
  const Passage passage = readPassage(o.passage);
  bool folded = false;
  const auto transform = buildTransform(passage, o.mesh, folded);
  const MeshFields mesh = sampleMeshFields(*transform);
  writeMeshFiles(o.prefix, *transform, mesh, passage, o.isoStep,
                 "Background mesh: " + passage.name, o.spaces, o.machineFrame, o.sectors);
  std::cout << meshSummary(mesh, o.mesh, folded, transform->getNumberOfLevelsforBM()) << '\n';
  const WallDeviation wall = measureWallDeviation(*transform, passage);
  std::printf("wall deviation: the given hub and shroud points convert to nspan within %.2g of 0 "
              "and %.2g of 1 (%s)\n",
              wall.hub, wall.shroud,
              o.mesh.exactWalls ? "span measured from the wall curves"
                                : "span measured from the mesh's straight wall edges");
  std::cout << "wrote " << o.prefix << ".vtk, " << o.prefix << ".svg\n";
  return 0;
}

}  // namespace

int runMesh(int argc, char** argv) {
  CliArgs args(
      "mesh", "(--demo | --passage <dir> | --hub F --shroud F --inlet F --outlet F) [options]",
      "Builds the background mesh of a passage and writes <prefix>.vtk (legacy VTK structured\n"
      "grid with the eight coordinate fields mprime, span, m, nmprime, nspan, nm, rnm,\n"
      "mprimeScaled as point data; open it in ParaView) and <prefix>.svg (the meridional plane\n"
      "with the boundary curves, the mesh and labelled lines of normalised span and nm). The VTK\n"
      "nodes are (axial, radial, 0) by default; --frame xyz places the meridional plane at\n"
      "theta 0 about the real axis, in the machine's Cartesian frame; --revolve N turns it\n"
      "about the axis in N steps (N + 1 planes over 360 degrees), a volume with the fields\n"
      "that ParaView can resample onto a CFD mesh.\n"
      "\n"
      "Curve files: CSV with or without a header, whitespace-separated columns, or the\n"
      "library's point-list format (a count line, then one point per line). A header names the\n"
      "frame: x and y (and z) columns are Cartesian; a radial column (radial, radius, r, rad)\n"
      "is meridional, with axial named axial, a, ax, x or z and theta named theta, th or t.\n"
      "Without such a header the columns are (axial, radial[, theta]) (--art, the default) or\n"
      "(x, y, z) with --xyz; an option that contradicts a header is an error. Hub and shroud\n"
      "run inlet to outlet, inlet and outlet hub to shroud: one curve running the wrong way is\n"
      "reversed with a warning, files that contradict each other are refused. A folded mesh is\n"
      "an error unless --allow-folded.\n"
      "\n"
      "example: qor-meridional mesh --passage data/nasa-rotor37 --axis-dir x --output rotor37",
      joinOptions(joinOptions({{"output", "prefix", "output file prefix (default: mesh)"},
                               {"frame", "art|xyz",
                                "VTK coordinates: (axial, radial, 0) (default), or xyz: the "
                                "machine's Cartesian frame, the meridional plane at theta 0 about "
                                "the axis (to overlay a CFD mesh)"},
                               {"revolve", "N",
                                "VTK: the mesh revolved about the axis in N steps (2 to 3600) "
                                "over 360 degrees, in the machine's frame"},
                               {"spaces", "list",
                                "fields written to the VTK file, comma-separated (default: all)"},
                               {"iso-step", "step",
                                "spacing of the iso-lines in the SVG, 0.01..0.5 (default 0.1)"}},
                              passageOptions()),
                  meshOptions()),
      0);
  if (parseOrHelp(args, argc, argv)) return 0;
  return runMesh(parseMeshOptions(args));
}

}  // namespace qormeridional
