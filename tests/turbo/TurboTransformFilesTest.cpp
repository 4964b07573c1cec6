// Files of TurboTransform: point lists written and read back, the exported input and the set-up
// from point files; and the unit vectors. The mesh surface file: TurboTransformMeshTest.cpp.
#include <cstdio>
#include <iostream>

#include "support/Passages.h"

namespace {

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;

using qortest::readLines;

std::string formatted(double x, double y, double z) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%18.9e %18.9e %18.9e", x, y, z);
  return buffer;
}

// Written: the list form with a zero third component, the triplet form with its own and a count.
// Read: commas like blanks, and a count below one reads nothing.
TEST(TurboTransformPointFiles, writtenListsReadBackAndCommasReadLikeBlanks) {
  qortest::ScopedTempDir dir;
  TurboTransform t;
  const std::vector<P3> pts = {P3(1.5f, -2.25f, 0.75f), P3(1e-3f, 12345.678f, -3.0f)};
  t.writeVectortoFile("plain", QORVector<P3>(pts), false);
  t.writeVectortoFile("counted", TripletQORVector(pts), true);
  const auto plain = readLines("plain");
  ASSERT_EQ(plain.size(), 2u);
  EXPECT_EQ(plain[0], formatted(1.5, -2.25, 0.0));
  EXPECT_EQ(plain[1], formatted(pts[1][0], pts[1][1], 0.0));
  const auto counted = readLines("counted");
  ASSERT_EQ(counted.size(), 3u);
  EXPECT_EQ(counted[0], "2");
  EXPECT_EQ(counted[1], formatted(1.5, -2.25, 0.75));
  QORVector<P3> back;
  t.getVectorFromFile("counted", back);
  EXPECT_EQ(back, QORVector<P3>(pts));  // 9 decimals keep every float exactly

  std::ofstream("blanks") << "2 points\n1.25 2.5 -3\n  4e-2   5 6\n";
  std::ofstream("commas") << "2\n1.25,2.5,-3\n4e-2 ,5,6\n";
  std::ofstream("zero") << "0\n1 2 3\n";
  std::ofstream("negative") << "-4\n";
  QORVector<P3> a, b;
  t.getVectorFromFile("blanks", a);
  t.getVectorFromFile("commas", b);
  ASSERT_EQ(a.size(), 2u);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a[1], P3(0.04f, 5.0f, 6.0f));
  for (const char* name : {"zero", "negative"}) {
    QORVector<P3> none = {P3(1, 1, 1)};
    t.getVectorFromFile(name, none);
    EXPECT_TRUE(none.empty()) << name;
  }
}

TEST(TurboTransformDebugFiles, exportInputWritesCurvesMeshAndConsoleLine) {
  qortest::ScopedTempDir dir;
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  t.createBackgroundMesh(TurboTransform::linear, 100);
  EXPECT_EQ(qortest::captureStdout([&] { t.exportInput(); }), " TurboTransform Exported debug input\n");
  // The curves without a count line, inlet and outlet from hub to shroud.
  const std::pair<const char*, P3> firsts[] = {{"s_mp", P3(0, 1, 0)}, {"n_mp", P3(0, 2, 0)}, {"w_mp", P3(0, 1, 0)},
                                               {"e_mp", P3(2, 1, 0)}};
  for (const auto& [name, first] : firsts) {
    const auto lines = readLines(name);
    ASSERT_GE(lines.size(), 2u) << name;
    EXPECT_EQ(lines[0], formatted(first[0], first[1], first[2])) << name;
  }
  EXPECT_FALSE(readLines("bm.msh").empty());
}

TEST(TurboTransformDebugFiles, setUpFromFilesMatchesSetUpFromCurves) {
  qortest::ScopedTempDir dir;
  const qortest::Passage art = qortest::bend();
  const qortest::Passage xyz = qortest::toXYZ(art, P3(0, 0, 0), P3(0, 0, 1));
  TurboTransform writer;
  for (const auto* p : {&art, &xyz}) {
    const std::string x = p == &xyz ? "X" : "";
    for (const auto& [name, curve] : {std::pair<const char*, const qor::TripletQORVector*>{"hub", &p->hub},
                                      {"shroud", &p->shroud}, {"inlet", &p->inlet}, {"outlet", &p->outlet}}) {
      writer.writeVectortoFile(name + x, *curve, true);
    }
  }

  TurboTransform direct, fromArt, fromXyz;
  qortest::initializeART(direct, art);
  fromArt.initializeDebugART("hub", "shroud", "inlet", "outlet", art.axisPoint, art.axisDirection);
  fromXyz.initializeDebugXYZ("hubX", "shroudX", "inletX", "outletX", xyz.axisPoint, xyz.axisDirection);
  for (TurboTransform* t : {&direct, &fromArt, &fromXyz}) {
    EXPECT_TRUE(t->isGeometryInitialized());
    t->createBackgroundMesh(TurboTransform::linear, 300);
  }
  for (const P3& p : {P3(0.3f, 1.7f, 0), P3(1.1f, 2.4f, 0), P3(0.9f, 1.8f, 0)}) {
    const float expected = direct.convertARTtoSpace(TurboTransform::nm, p);
    // The files keep every float: the ART set-up is identical.
    EXPECT_EQ(fromArt.convertARTtoSpace(TurboTransform::nm, p), expected);
    // The Cartesian curves went through cos/sin and back: a few ulps of the coordinates.
    EXPECT_NEAR(fromXyz.convertARTtoSpace(TurboTransform::nm, p), expected, 1e-5);
  }
}

TEST(TurboTransformUnitVectors, emptyInputLeavesOutputsAndCartesianFormAgrees) {
  TurboTransform t;
  qortest::initializeART(t, qortest::bend());
  t.createBackgroundMesh(TurboTransform::linear, 300);
  QORVector<P3> sw = {P3(7, 7, 7)}, sp;
  t.getUnitVectorsFromART(TripletQORVector(), sw, sp);
  t.getUnitVectorsFromXYZ(TripletQORVector(), sw, sp);
  EXPECT_EQ(sw.size(), 1u);
  EXPECT_TRUE(sp.empty());
  // A point of the bend at 45 degrees: streamwise along the arc (sin, cos)(45), spanwise towards
  // the centre (shroud side): (-sin, cos)(45), within the half-cell turn of the mesh lines.
  const qortest::Bend g;
  const auto x = g.at(qortest::kPi / 4 + 0.003, 1.25);
  const P3 p{float(x[0]), float(x[1]), 0.0f};
  const auto c = qortest::toXYZ(p[0], p[1], 2.0, P3(0, 0, 0), P3(0, 0, 1));
  QORVector<P3> swx, spx;
  t.getUnitVectorsFromART(TripletQORVector{p}, sw, sp);
  t.getUnitVectorsFromXYZ(TripletQORVector{P3(float(c[0]), float(c[1]), float(c[2]))}, swx, spx);
  const float r = std::sqrt(0.5f), expected[4] = {r, r, -r, r};
  for (int k = 0; k < 4; ++k) EXPECT_NEAR((k < 2 ? sw : sp)[0][k % 2], expected[k], 0.02f) << k;
  EXPECT_EQ(swx[0], sw[0]);
  EXPECT_EQ(spx[0], sp[0]);
}

}  // namespace
