#include <cstdio>
#include <fstream>
#include <iostream>

#include "OutputFile.h"
#include "CommandSupport.h"
#include "Commands.h"
#include "SvgWriter.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/foundation/QORVector.h"

namespace qormeridional {
namespace {

struct LineRequest {
  qor::TurboTransform::constSpace kind;
  const char* name;
  double value;
};

struct LinesOptions {
  std::vector<LineRequest> requests;
  int resample = 0;  ///< points per line, 0: the mesh's
  std::string prefix;
  PassageOptions passage;
  MeshSettings mesh;
};

LinesOptions parseLinesOptions(const CliArgs& args) {
  LinesOptions o;
  std::vector<LineRequest>& requests = o.requests;
  for (double v : args.numberList("nspan"))
    requests.push_back({qor::TurboTransform::nspanConst, "nspan", v});
  for (double v : args.numberList("nm"))
    requests.push_back({qor::TurboTransform::nmConst, "nm", v});
  for (double v : args.numberList("rnm"))
    requests.push_back({qor::TurboTransform::rnmConst, "rnm", v});
  if (args.has("every")) {
    const double step = args.number("every", 0.1);
    if (!(step >= 0.01 && step <= 0.5))
      throw ToolError("option --every: must lie between 0.01 and 0.5");
    for (int k = 1; k * step < 1.0 - 1e-9; ++k) {
      requests.push_back({qor::TurboTransform::nspanConst, "nspan", k * step});
      requests.push_back({qor::TurboTransform::nmConst, "nm", k * step});
    }
  }
  if (requests.empty())
    throw ToolError(
        "no lines requested: give --nspan, --nm, --rnm or --every (see 'qor-meridional lines "
        "--help')");
  o.resample = args.integer("points", 0, 2, 100000);
  o.prefix = args.value("output", "lines");
  o.passage = readPassageOptions(args);
  o.mesh = readMeshSettings(args);
  return o;
}

int runLines(const LinesOptions& o);

}  // namespace

int runLines(int argc, char** argv) {
  CliArgs args(
      "lines",
      "(--nspan L | --nm L | --rnm L | --every step) (--demo | --passage <dir> | ...) [options]",
      "Extracts lines of constant normalised span (inlet to outlet) or of constant streamwise\n"
      "position nm or rnm (hub to shroud) from the background mesh and writes them as\n"
      "<prefix>.csv (columns kind, value, point, axial, radial) and <prefix>.svg (the lines\n"
      "over the passage). Values outside 0..1 give the nearest boundary line. --every s gives\n"
      "s, 2s, ... below 1 for both span and nm.\n"
      "\n"
      "example: qor-meridional lines --demo --nspan 0.05,0.5,0.95 --nm 0.25 --points 50",
      joinOptions(
          joinOptions(
              {{"nspan", "list", "normalised spans, comma-separated (repeatable)"},
               {"nm", "list", "nm values (normalised meridional length)"},
               {"rnm", "list", "rnm values (nm averaged over each hub-to-shroud line)"},
               {"every", "step", "span and nm lines every step, 0.01..0.5"},
               {"points", "n", "resample every line to n points, 2..100000 (default: mesh points)"},
               {"output", "prefix", "output file prefix (default: lines)"}},
              passageOptions()),
          meshOptions()),
      0);
  if (parseOrHelp(args, argc, argv)) return 0;
  return runLines(parseLinesOptions(args));
}

namespace {

int runLines(const LinesOptions& o) {
  const std::vector<LineRequest>& requests = o.requests;
  const int resample = o.resample;
  const std::string& prefix = o.prefix;
  const Passage passage = readPassage(o.passage);
  bool folded = false;
  const auto transform = buildTransform(passage, o.mesh, folded);
  const MeshFields mesh = sampleMeshFields(*transform);

  SvgPicture pic;
  pic.title = "Lines of constant space: " + passage.name;
  pic.units = passage.units;
  addMesh(pic, mesh);
  const std::string csvPath = prefix + ".csv";
  OutputFile csvFile(csvPath);
  std::ostream& csv = csvFile.stream();
  csv << "kind,value,point,axial,radial\n";
  for (const LineRequest& r : requests) {
    qor::QORVector<qor::TripletBase<float>> curve;
    if (resample > 0) {
      transform->getConstantSpace(r.kind, r.value, resample, curve);
    } else {
      transform->getConstantSpace(r.kind, r.value, curve);
    }
    for (std::size_t k = 0; k < curve.size(); ++k) {
      csv << r.name << ',' << csvNumber(r.value) << ',' << k << ',' << csvNumber(curve[k][0]) << ','
          << csvNumber(curve[k][1]) << '\n';
    }
    char label[48];
    std::snprintf(label, sizeof label, "%s %.3g", r.name, r.value);
    pic.lines.push_back({std::vector<qor::TripletBase<float>>(curve.begin(), curve.end()),
                         r.kind == qor::TurboTransform::nspanConst ? SvgStyle::spanLine
                                                                   : SvgStyle::streamLine,
                         label,
                         r.kind == qor::TurboTransform::nspanConst ? false : true});
  }
  csvFile.commit();
  writeSvg(prefix + ".svg", pic);
  std::cout << "wrote " << requests.size() << " line" << (requests.size() == 1 ? "" : "s") << " to "
            << csvPath << ", " << prefix << ".svg\n";
  return 0;
}

}  // namespace

}  // namespace qormeridional
