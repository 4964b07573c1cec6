#include "CommandSupport.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Progress.h"
#include "SvgWriter.h"
#include "ToolError.h"

namespace qormeridional {

std::vector<OptionSpec> joinOptions(std::vector<OptionSpec> a, const std::vector<OptionSpec>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

bool parseOrHelp(CliArgs& args, int argc, char** argv) {
  args.parse(argc, argv, 2);
  if (!args.helpRequested()) return false;
  args.printHelp(std::cout);
  return true;
}

std::string meshSummary(const MeshFields& mesh, const MeshSettings& settings, bool folded,
                        int levelsUsed) {
  const MeshQuality q = measureMesh(mesh);
  if (settings.method == qor::TurboTransform::linear) levelsUsed = 1;
  char buf[400];
  std::snprintf(
      buf, sizeof buf,
      "background mesh: %d x %d nodes (%s, %d requested, %d level%s), %d cells, %s (%d inverted), "
      "min angle %.1f deg, max edge ratio %.1f",
      mesh.ni, mesh.nj, settings.method == qor::TurboTransform::linear ? "linear" : "nonlinear",
      settings.size, levelsUsed, levelsUsed == 1 ? "" : "s", q.cells, folded ? "FOLDED" : "good",
      q.inverted, q.minAngleDeg, q.maxAspect);
  return buf;
}

void writeMeshFiles(const std::string& prefix, const qor::TurboTransform& transform,
                    const MeshFields& mesh, const Passage& passage, double isoStep,
                    const std::string& title,
                    const std::vector<qor::TurboTransform::space>& spaces, bool machineFrame,
                    int sectors) {
  Phase phase("writing " + prefix + ".vtk and " + prefix + ".svg");
  if (machineFrame) {
    writeVtk(prefix + ".vtk", placeInMachineFrame(mesh, axisFrame(passage), sectors), title,
             spaces);
  } else {
    writeVtk(prefix + ".vtk", mesh, title, spaces);
  }
  SvgPicture pic;
  pic.title = title;
  pic.units = passage.units;
  addMesh(pic, mesh);
  addIsoLines(pic, transform, isoStep);
  writeSvg(prefix + ".svg", pic);
}

std::string describe(const qor::Error& e) {
  return e.getClassName() + "::" + e.getFunctionName() + ": " + e.getMessage();
}

std::string spaceOption(const CliArgs& args) {
  if (args.has("space") && args.has("spaces"))
    throw ToolError("options --space and --spaces exclude each other");
  return args.has("spaces") ? "spaces" : "space";
}

void checkPointForm(const CliArgs& args) {
  if (args.has("points-art") && args.has("points-xyz"))
    throw ToolError("options --points-art and --points-xyz exclude each other");
}

const char* pointFormOption(const CliArgs& args) {
  if (args.has("points-art")) return "--points-art";
  if (args.has("points-xyz")) return "--points-xyz";
  return nullptr;
}

Coords pointsFrame(const char* forcedBy, Coords passage) {
  if (forcedBy == nullptr) return passage;
  return std::string(forcedBy) == "--points-xyz" ? Coords::xyz : Coords::art;
}

const char* locationName(int status) {
  switch (status) {
    case qor::TurboTransform::inside: return "inside";
    case qor::TurboTransform::beyondHub: return "beyondHub";
    case qor::TurboTransform::beyondShroud: return "beyondShroud";
    case qor::TurboTransform::beforeInlet: return "beforeInlet";
    case qor::TurboTransform::afterOutlet: return "afterOutlet";
    default: return "unknown";
  }
}

void reportOutside(const std::vector<std::int8_t>& status, const std::string& what) {
  std::size_t count[5] = {0, 0, 0, 0, 0};
  for (std::int8_t s : status) {
    if (s >= 0 && s < 5) ++count[s];
  }
  const std::size_t outside = status.size() - count[0];
  std::cerr << what << ": " << outside << " of " << status.size() << " points outside the passage";
  if (outside > 0) {
    std::cerr << " (";
    const char* sep = "";
    for (int s = 1; s < 5; ++s) {
      if (count[s] == 0) continue;
      std::cerr << sep << count[s] << ' ' << locationName(s);
      sep = ", ";
    }
    std::cerr << "; see the location column)";
  }
  std::cerr << '\n';
}

}  // namespace qormeridional
