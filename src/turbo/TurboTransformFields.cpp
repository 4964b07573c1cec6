// The eight meridional coordinate fields of TurboTransform, computed on the nodes of level 0 of the
// background mesh: m, m', span and their normalised and scaled forms.

#include <cstddef>
#include <vector>

#include "qor/foundation/ParametricCurve.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

// The field `which`, sized to n values (zeroed when the size changes; every value is written).
std::vector<double>& sizedField(std::vector<std::vector<double>>& fields, int which, int n) {
  std::vector<double>& field = fields.at(static_cast<std::size_t>(which));
  if (field.size() != static_cast<std::size_t>(n)) field.assign(static_cast<std::size_t>(n), 0.0);
  return field;
}

// Node distance: 3-component length in single precision; the invalid-coordinate mark in the
// difference gives the mark.
double nodeDistance(const TripletBase<float>& a, const TripletBase<float>& b) {
  return double((b - a).length());
}

std::size_t at(int index) { return static_cast<std::size_t>(index); }

}  // namespace

namespace turbo_detail {

using T = TurboTransform;

void calculateSpaces(MeshState& mesh) {
  mesh.fields.assign(8, std::vector<double>());
  calculateSpan(mesh);
  calculateMprime(mesh);
  calculateMprimeScaled(mesh);
  calculateM(mesh);
}

void calculateMprime(MeshState& mesh) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  std::vector<double>& mp = sizedField(mesh.fields, T::mprime, level.getSize());
  std::vector<double>& nmp = sizedField(mesh.fields, T::nmprime, level.getSize());

  for (int j = 0; j <= jcv; ++j) {
    mp.at(at(level.getij(0, j))) = 0.0;
    for (int i = 1; i <= icv; ++i) {
      const int ia = level.getij(i - 1, j);
      const int ib = level.getij(i, j);
      const TripletBase<float>& a = mesh.points.at(at(ia));
      const TripletBase<float>& b = mesh.points.at(at(ib));
      // The 1e-6 keeps the division finite on the axis.
      const double rbar = (double(a[1]) + double(b[1]) + 1e-6) * 0.5;
      mp.at(at(ib)) = mp.at(at(ia)) + nodeDistance(a, b) / rbar;
    }
  }
  for (int j = 0; j <= jcv; ++j) {
    const double total = mp.at(at(level.getij(icv, j)));
    for (int i = 1; i < icv; ++i) {
      const std::size_t k = at(level.getij(i, j));
      nmp.at(k) = mp.at(k) / total;
    }
    nmp.at(at(level.getij(0, j))) = 0.0;
    nmp.at(at(level.getij(icv, j))) = 1.0;
  }
}

void calculateMprimeScaled(MeshState& mesh) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const std::vector<double>& mp = mesh.fields.at(T::mprime);
  std::vector<double>& scaled = sizedField(mesh.fields, T::mprimeScaled, level.getSize());
  const double hubTotal = mp.at(at(level.getij(icv, 0)));
  for (int j = 0; j <= jcv; ++j) {
    const double lineTotal = mp.at(at(level.getij(icv, j)));
    for (int i = 0; i <= icv; ++i) {
      const std::size_t k = at(level.getij(i, j));
      scaled.at(k) = mp.at(k) / (lineTotal / hubTotal);
    }
  }
}

void calculateSpan(MeshState& mesh) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const float h = 1.0f / static_cast<float>(jcv);

  std::vector<double>& ns = sizedField(mesh.fields, T::nspan, level.getJsize());
  ns.at(0) = 0.0;
  for (int j = 1; j < jcv; ++j) ns.at(at(j)) = double(static_cast<float>(j) * h);
  ns.at(at(jcv)) = 1.0;

  std::vector<double>& sp = sizedField(mesh.fields, T::span, level.getSize());
  ParametricDB rowDB;
  std::vector<TripletBase<float>> row(at(jcv + 1));
  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) row[at(j)] = mesh.points.at(at(level.getij(i, j)));
    rowDB.createCurve("tmpCurve", row, ParametricCurve::curve2d);
    const double length = rowDB.getLength("tmpCurve");
    // Nodes of a row are taken as evenly spaced in span: the fraction by index, not the length
    // walked up to the node.
    sp.at(at(level.getij(i, 0))) = 0.0;
    for (int j = 1; j < jcv; ++j) {
      sp.at(at(level.getij(i, j))) = double(static_cast<float>(j) * h) * length;
    }
    sp.at(at(level.getij(i, jcv))) = length;
  }
}

void calculateM(MeshState& mesh) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  std::vector<double>& mv = sizedField(mesh.fields, T::m, level.getSize());
  std::vector<double>& nmv = sizedField(mesh.fields, T::nm, level.getSize());
  std::vector<double>& rnmv = sizedField(mesh.fields, T::rnm, level.getIsize());

  for (int j = 0; j <= jcv; ++j) mv.at(at(level.getij(0, j))) = 0.0;
  for (int i = 1; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      const int ia = level.getij(i - 1, j);
      const int ib = level.getij(i, j);
      mv.at(at(ib)) =
          mv.at(at(ia)) + nodeDistance(mesh.points.at(at(ia)), mesh.points.at(at(ib)));
    }
  }

  for (int j = 0; j <= jcv; ++j) {
    const double total = mv.at(at(level.getij(icv, j)));
    for (int i = 1; i < icv; ++i) {
      const std::size_t k = at(level.getij(i, j));
      nmv.at(k) = mv.at(k) / total;
    }
    nmv.at(at(level.getij(0, j))) = 0.0;
    nmv.at(at(level.getij(icv, j))) = 1.0;
  }

  const float count = static_cast<float>(jcv + 1);
  for (int i = 1; i < icv; ++i) {
    float sum = 0.0f;
    for (int j = 0; j <= jcv; ++j) sum += static_cast<float>(nmv.at(at(level.getij(i, j))));
    rnmv.at(at(i)) = double(sum / count);
  }
  rnmv.at(0) = 0.0;
  rnmv.at(at(icv)) = 1.0;
}

}  // namespace turbo_detail
}  // namespace qor
