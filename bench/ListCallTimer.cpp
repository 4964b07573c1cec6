// The C++ side of bench/python_bench.py: times the library's multi-space list conversion on the
// passage and points the script wrote, so that the Python call is compared with the same C++ call
// on the same input.
//
//   ListCallTimer DIR REPEATS
// reads the float32 (axial, radial, theta) rows DIR/hub.f32, shroud.f32, inlet.f32, outlet.f32
// and points.f32 and the mesh size from DIR/setup.txt ("size N"), and prints
// "seconds <best of REPEATS>" for each form it times.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "qor/CoordTransform.h"

namespace {

using P = qor::TripletBase<float>;
using TT = qor::TurboTransform;

std::vector<P> readPoints(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<P> out;
  float v[3];
  while (in.read(reinterpret_cast<char*>(v), sizeof v)) out.emplace_back(v[0], v[1], v[2]);
  return out;
}

template <typename F>
double best(int repeats, F f) {
  double b = std::numeric_limits<double>::max();
  for (int r = 0; r < repeats; ++r) {
    const auto t0 = std::chrono::steady_clock::now();
    f();
    b = std::min(b, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  return b;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fprintf(stderr, "usage: ListCallTimer DIR REPEATS\n");
    return 2;
  }
  const std::string dir = argv[1];
  const int repeats = std::stoi(argv[2]);
  int size = 2000;
  std::ifstream setup(dir + "/setup.txt");
  for (std::string line; std::getline(setup, line);) {
    std::istringstream s(line);
    std::string key;
    s >> key;
    if (key == "size") s >> size;
  }
  TT t;
  t.initializeFromART(qor::TripletQORVector(readPoints(dir + "/hub.f32")),
                      qor::TripletQORVector(readPoints(dir + "/shroud.f32")),
                      qor::TripletQORVector(readPoints(dir + "/inlet.f32")),
                      qor::TripletQORVector(readPoints(dir + "/outlet.f32")), P(0, 0, 0),
                      P(0, 0, 1), -1, -1, -1, -1);
  t.createBackgroundMesh(TT::nonLinear, size);
  const qor::TripletQORVector points(readPoints(dir + "/points.f32"));
  const qor::QORVector<TT::space> spaces{TT::nm, TT::nspan, TT::rnm};
  qor::QORVector<std::vector<float>> values;
  std::printf("vector-form seconds %.6f\n",
              best(repeats, [&] { t.convertARTtoSpace(points, spaces, values); }));
  // The array form the Python package calls, on the calling thread.
  std::vector<float> rows(points.size() * spaces.size());
  TT::ListOptions one;
  one.threads = 1;
  std::printf("array-form seconds %.6f\n", best(repeats, [&] {
                t.convertARTtoSpace(points.data(), points.size(), spaces.data(), spaces.size(),
                                    rows.data(), nullptr, nullptr, nullptr, one);
              }));
  return 0;
} catch (const qor::Error& e) {
  std::fprintf(stderr, "%s\n", e.getDescription().c_str());
  return 1;
}
