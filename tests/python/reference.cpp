// The C++ side of the Python tests: qor_python_reference DIR runs the library's own list operations
// on the float32 (x, y, z) rows DIR/hub.f32, shroud.f32, inlet.f32, outlet.f32, points.f32 (and
// boundary<k>.f32, uv.f32) with the settings of DIR/setup.txt ("frame art|xyz", "method M",
// "axis px py pz dx dy dz", "boundaries K"), and writes the results as raw arrays DIR/<name>.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "qor/CoordTransform.h"

namespace {

using P = qor::TripletBase<float>;
using TT = qor::TurboTransform;
using Seg = qor::TurboTransformSegmenter;

std::string g_dir;

std::vector<P> readPoints(const std::string& name) {
  std::ifstream in(g_dir + "/" + name, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + name);
  std::vector<P> out;
  float v[3];
  while (in.read(reinterpret_cast<char*>(v), sizeof v)) out.emplace_back(v[0], v[1], v[2]);
  return out;
}

template <typename V>
void write(const std::string& name, const V& v) {
  std::ofstream out(g_dir + "/" + name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(v.data()),
            static_cast<std::streamsize>(v.size() * sizeof v[0]));
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fprintf(stderr, "usage: qor_python_reference DIR\n");
    return 2;
  }
  g_dir = argv[1];
  std::ifstream setup(g_dir + "/setup.txt");
  std::string frame = "art";
  int method = 1, boundaries = 0;
  P axisPoint, axisDirection(0, 0, 1);
  for (std::string line; std::getline(setup, line);) {
    std::istringstream s(line);
    std::string key;
    s >> key;
    if (key == "frame") s >> frame;
    if (key == "method") s >> method;
    if (key == "boundaries") s >> boundaries;
    if (key == "axis") {
      s >> axisPoint[0] >> axisPoint[1] >> axisPoint[2] >> axisDirection[0] >> axisDirection[1] >>
          axisDirection[2];
    }
  }
  const qor::TripletQORVector hub(readPoints("hub.f32")), shroud(readPoints("shroud.f32")),
      inlet(readPoints("inlet.f32")), outlet(readPoints("outlet.f32"));
  const bool xyz = frame == "xyz";
  TT t;
  xyz ? t.initializeFromXYZ(hub, shroud, inlet, outlet, axisPoint, axisDirection)
      : t.initializeFromART(hub, shroud, inlet, outlet, axisPoint, axisDirection, -1, -1, -1, -1);
  const int folded = t.createBackgroundMesh(static_cast<TT::BMmethod>(method), 2000);
  write("folded.i32", std::vector<int>{folded});

  std::vector<P> mesh;
  int ni = 0, nj = 0;
  t.getBackgroundMesh(mesh, ni, nj);
  write("mesh.f32", mesh);
  std::vector<double> spans;
  t.getNSpanValues(spans);
  write("nspanvalues.f64", spans);

  // Forward: every space at once with directions, and the one-space list form.
  const qor::TripletQORVector points(readPoints("points.f32"));
  qor::QORVector<TT::space> all;
  for (int s = 0; s < 8; ++s) all.push_back(static_cast<TT::space>(s));
  qor::QORVector<std::vector<float>> values;
  qor::QORVector<P> streamwise, spanwise;
  xyz ? t.convertXYZtoSpace(points, all, values, streamwise, spanwise, true)
      : t.convertARTtoSpace(points, all, values, streamwise, spanwise, true);
  std::vector<float> columns;  // one space after the other
  for (const auto& v : values) columns.insert(columns.end(), v.begin(), v.end());
  write("forward.f32", columns);
  write("streamwise.f32", streamwise);
  write("spanwise.f32", spanwise);
  qor::QORVector<P> list(points.begin(), points.end());
  qor::QORVector<float> nspan;
  xyz ? t.convertXYZtoSpace(TT::nspan, list, nspan) : t.convertARTtoSpace(TT::nspan, list, nspan);
  write("nspan.f32", nspan);

  if (!xyz) {
    // (nm, theta, nspan) and back, the inverse one point at a time.
    std::vector<P> tns, back(points.size());
    t.convertARTtoSpaceTNs(TT::nm, std::vector<P>(points.begin(), points.end()), tns);
    write("tns.f32", tns);
    for (std::size_t k = 0; k < tns.size(); ++k) t.convertSpaceTNsToART(TT::nm, tns[k], back[k]);
    write("inverse.f32", back);
    t.convertSpaceTNsToART(TT::nm, tns.data(), tns.size(), back.data(), TT::ListOptions());
    write("inverse_array.f32", back);
  }
  qor::QORVector<P> line;
  t.getConstantSpace(TT::nspanConst, 0.5, line);
  write("const_nspan.f32", line);
  t.getConstantSpace(TT::nmConst, 0.5, line);
  write("const_nm.f32", line);

  if (boundaries > 0 && !xyz) {
    std::vector<std::vector<P>> curves;
    for (int b = 0; b < boundaries; ++b) curves.push_back(readPoints("boundary" + std::to_string(b) + ".f32"));
    Seg seg(&t, Seg::mergedSpan);
    seg.setInternalBoundaries(curves, std::vector<bool>(curves.size(), true));
    const std::vector<P> pts(points.begin(), points.end());
    std::vector<P> uv, art;
    for (int s = 0; s <= seg.getLastSegmentID(); ++s) {
      seg.convertARTtoSpaceNspan(s, Seg::mprime, pts, uv);
      write("segment" + std::to_string(s) + ".f32", uv);
    }
    seg.convertSpaceNspanToART(0, Seg::mprime, art, readPoints("uv.f32"));
    write("segment_inverse.f32", art);
  }
  return 0;
} catch (const qor::Error& e) {
  std::fprintf(stderr, "%s\n", e.getDescription().c_str());
  return 1;
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
