#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "OutputFile.h"
#include "CommandSupport.h"
#include "Commands.h"
#include "DemoPassage.h"
#include "PointFiles.h"
#include "SvgWriter.h"
#include "ToolError.h"
#include "Warnings.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

/// Point at arc-length fraction t of a polyline.
P pointAtFraction(const std::vector<P>& c, double t) {
  std::vector<double> s(c.size(), 0.0);
  for (std::size_t k = 1; k < c.size(); ++k)
    s[k] = s[k - 1] + std::hypot(double(c[k][0]) - c[k - 1][0], double(c[k][1]) - c[k - 1][1]);
  const double target = t * s.back();
  std::size_t k = 1;
  while (k + 1 < c.size() && s[k] < target) ++k;
  const double w = s[k] > s[k - 1] ? (target - s[k - 1]) / (s[k] - s[k - 1]) : 0.0;
  return P(static_cast<float>(c[k - 1][0] + w * (double(c[k][0]) - c[k - 1][0])),
           static_cast<float>(c[k - 1][1] + w * (double(c[k][1]) - c[k - 1][1])), 0.0f);
}

void writeCurve(const std::string& path, const std::vector<P>& c) {
  OutputFile file(path);
  std::ostream& out = file.stream();
  out << "axial,radius\n";
  for (const P& p : c) out << csvNumber(p[0]) << ',' << csvNumber(p[1]) << '\n';
  file.commit();
}

struct DemoOptions {
  std::string dir;  ///< --output-dir
  MeshSettings mesh;
};

int runDemo(const DemoOptions& o);

}  // namespace

int runDemo(int argc, char** argv) {
  CliArgs args(
      "demo", "[options]",
      "Builds the built-in example passage (a centrifugal compressor stage in millimetres: axial\n"
      "inlet, 90-degree bend through the impeller, radial vaneless diffuser; axis along z) and\n"
      "writes into the output directory (default ./qor-demo/):\n"
      "  mesh.vtk               background mesh with all eight fields (ParaView)\n"
      "  meridional.svg         meridional plane: walls, mesh, iso-lines of span and nm every 0.1\n"
      "  sample-points.csv      sample points (axial, radial, theta) inside the passage\n"
      "  sample-conversion.csv  those points converted forward and back, with round-trip errors\n"
      "  passage/*.csv          the four boundary curves, a template for your own machine\n"
      "It prints the mesh size and quality and a table of the sample conversions.",
      joinOptions({{"output-dir", "dir", "where to write (default: qor-demo)"}}, meshOptions()), 0);
  if (parseOrHelp(args, argc, argv)) return 0;
  DemoOptions o;
  o.dir = args.value("output-dir", "qor-demo");
  o.mesh = readMeshSettings(args);
  return runDemo(o);
}

namespace {

int runDemo(const DemoOptions& o) {
  const std::string& dir = o.dir;
  const MeshSettings& settings = o.mesh;
  ensureDirectory(dir);
  ensureDirectory(dir + "/passage");

  const DemoPassage demo = makeDemoPassage();
  Passage passage;
  passage.hub = demo.hub;
  passage.shroud = demo.shroud;
  passage.inlet = demo.inlet;
  passage.outlet = demo.outlet;
  passage.units = "mm";
  passage.description = "centrifugal compressor (built-in example)";
  writeCurve(dir + "/passage/hub.csv", demo.hub);
  writeCurve(dir + "/passage/shroud.csv", demo.shroud);
  writeCurve(dir + "/passage/inlet.csv", demo.inlet);
  writeCurve(dir + "/passage/outlet.csv", demo.outlet);

  bool folded = false;
  const auto transform = buildTransform(passage, settings, folded);
  const MeshFields mesh = sampleMeshFields(*transform);

  // Sample points between hub and shroud at equal wall-length fractions, with a few thetas.
  std::vector<P> samples;
  const double streamwise[] = {0.05, 0.25, 0.45, 0.65, 0.9};
  const double spanwise[] = {0.2, 0.5, 0.8};
  for (int k = 0; k < 5; ++k) {
    const P h = pointAtFraction(demo.hub, streamwise[k]);
    const P s = pointAtFraction(demo.shroud, streamwise[k]);
    for (double f : spanwise) {
      samples.emplace_back(static_cast<float>(h[0] + f * (double(s[0]) - h[0])),
                           static_cast<float>(h[1] + f * (double(s[1]) - h[1])),
                           0.1f * static_cast<float>(k));
    }
  }

  // Pictures and mesh file.
  writeVtk(dir + "/mesh.vtk", mesh, "qor-meridional demo: centrifugal compressor background mesh");
  SvgPicture pic;
  pic.title = "qor-meridional demo: centrifugal compressor, meridional coordinates";
  pic.units = "mm";
  addMesh(pic, mesh);
  addIsoLines(pic, *transform, 0.1);
  pic.markers = samples;
  writeSvg(dir + "/meridional.svg", pic);

  {
    const std::string path = dir + "/sample-points.csv";
    OutputFile file(path);
    std::ostream& out = file.stream();
    out << "axial,radial,theta\n";
    for (const P& p : samples)
      out << csvNumber(p[0]) << ',' << csvNumber(p[1]) << ',' << csvNumber(p[2]) << '\n';
    file.commit();
  }

  std::cout
      << "qor-meridional demo: " << passage.description << "\n"
      << "  axial inlet r = 25..70 mm, 90-degree bend, radial vaneless diffuser to r = 180 mm\n"
      << meshSummary(mesh, settings, folded, transform->getNumberOfLevelsforBM()) << '\n';
  char line[256];
  std::snprintf(line, sizeof line, "mean meridional length: %.2f mm\n\n",
                double(transform->getAverageLengthInM()));
  std::cout << line;
  std::cout << "sample points: forward (axial, radial, theta) -> (nm, theta, nspan), then back to "
               "(axial, radial)\n";
  std::snprintf(line, sizeof line, "%8s %8s %7s | %7s %7s %8s | %8s %8s | %9s\n", "axial", "radial",
                "theta", "nm", "nspan", "mprime", "axial'", "radial'", "error mm");
  std::cout << line << std::string(84, '-') << '\n';

  const std::string csvPath = dir + "/sample-conversion.csv";
  OutputFile csvFile(csvPath);
  std::ostream& csv = csvFile.stream();
  csv << "axial,radial,theta,nm,nspan,mprime,m,rnm,axial_back,radial_back,theta_back,roundtrip_"
         "error\n";
  double worst = 0.0;
  for (const P& p : samples) {
    P fwd;
    transform->convertARTtoSpaceTNs(qor::TurboTransform::nm, p, fwd);
    const float mprime = transform->convertARTtoSpace(qor::TurboTransform::mprime, p);
    const float m = transform->convertARTtoSpace(qor::TurboTransform::m, p);
    const float rnm = transform->convertARTtoSpace(qor::TurboTransform::rnm, p);
    P back;
    transform->convertSpaceTNsToART(qor::TurboTransform::nm, fwd, back);
    const double err = std::hypot(double(back[0]) - p[0], double(back[1]) - p[1]);
    worst = std::max(worst, err);
    std::snprintf(line, sizeof line,
                  "%8.3f %8.3f %7.3f | %7.4f %7.4f %8.5f | %8.3f %8.3f | %9.2e\n", double(p[0]),
                  double(p[1]), double(p[2]), double(fwd[0]), double(fwd[2]), double(mprime),
                  double(back[0]), double(back[1]), err);
    std::cout << line;
    csv << csvNumber(p[0]) << ',' << csvNumber(p[1]) << ',' << csvNumber(p[2]) << ','
        << csvNumber(fwd[0]) << ',' << csvNumber(fwd[2]) << ',' << csvNumber(mprime) << ','
        << csvNumber(m) << ',' << csvNumber(rnm) << ',' << csvNumber(back[0]) << ','
        << csvNumber(back[1]) << ',' << csvNumber(back[2]) << ',' << csvNumber(err) << '\n';
  }
  csvFile.commit();
  std::snprintf(line, sizeof line, "largest round-trip error: %.3g mm\n\n", worst);
  std::cout << std::string(84, '-') << '\n' << line;
  std::error_code ec;
  const std::string where = std::filesystem::absolute(dir, ec).lexically_normal().string();
  std::cout << "wrote into " << (ec ? dir : where) << "/:\n"
            << "  mesh.vtk (open in ParaView), meridional.svg, sample-points.csv, "
               "sample-conversion.csv, passage/*.csv\n"
            << "next: qor-meridional convert --demo " << dir
            << "/sample-points.csv --spaces nm,nspan,mprime\n"
            << "      qor-meridional mesh --passage " << dir
            << "/passage --units mm --output my-mesh\n";
  return 0;
}

}  // namespace

}  // namespace qormeridional
