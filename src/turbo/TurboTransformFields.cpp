// The eight meridional coordinate fields of TurboTransform, computed on the nodes of level 0 of the
// background mesh: m, m', span and their normalised and scaled forms.

#include <cstddef>
#include <vector>

#include "qor/foundation/ParametricCurve.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"

namespace qor {

namespace {

// Resized (and zeroed) only when the size differs; otherwise overwritten in place.
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

void TurboTransform::calculateSpaces() {
  if (!(m_spaceComputed.at(span) && m_spaceComputed.at(nspan))) calculateSpan();
  if (!(m_spaceComputed.at(mprime) && m_spaceComputed.at(nmprime))) calculateMprime();
  if (!m_spaceComputed.at(mprimeScaled)) calculateMprimeScaled();
  if (!(m_spaceComputed.at(m) && m_spaceComputed.at(nm) && m_spaceComputed.at(rnm))) calculateM();
}

void TurboTransform::calculateMprime() {
  requireMesh("calculateMprime");
  const Topo2dBase& level = m_topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  std::vector<double>& mp = sizedField(m_spaceValues, mprime, level.getSize());
  std::vector<double>& nmp = sizedField(m_spaceValues, nmprime, level.getSize());

  for (int j = 0; j <= jcv; ++j) {
    mp.at(at(level.getij(0, j))) = 0.0;
    for (int i = 1; i <= icv; ++i) {
      const int ia = level.getij(i - 1, j);
      const int ib = level.getij(i, j);
      const TripletBase<float>& a = m_meshPoints.at(at(ia));
      const TripletBase<float>& b = m_meshPoints.at(at(ib));
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

void TurboTransform::calculateMprimeScaled() {
  if (!(m_spaceComputed.at(mprime) && m_spaceComputed.at(nmprime))) calculateMprime();
  requireMesh("calculateMprimeScaled");
  const Topo2dBase& level = m_topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const std::vector<double>& mp = m_spaceValues.at(mprime);
  std::vector<double>& scaled = sizedField(m_spaceValues, mprimeScaled, level.getSize());
  const double hubTotal = mp.at(at(level.getij(icv, 0)));
  for (int j = 0; j <= jcv; ++j) {
    const double lineTotal = mp.at(at(level.getij(icv, j)));
    for (int i = 0; i <= icv; ++i) {
      const std::size_t k = at(level.getij(i, j));
      scaled.at(k) = mp.at(k) / (lineTotal / hubTotal);
    }
  }
}

void TurboTransform::calculateSpan() {
  requireMesh("calculateSpan");
  const Topo2dBase& level = m_topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const float h = 1.0f / static_cast<float>(jcv);

  std::vector<double>& ns = sizedField(m_spaceValues, nspan, level.getJsize());
  ns.at(0) = 0.0;
  for (int j = 1; j < jcv; ++j) ns.at(at(j)) = double(static_cast<float>(j) * h);
  ns.at(at(jcv)) = 1.0;

  std::vector<double>& sp = sizedField(m_spaceValues, span, level.getSize());
  ParametricDB rowDB;
  std::vector<TripletBase<float>> row(at(jcv + 1));
  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) row[at(j)] = m_meshPoints.at(at(level.getij(i, j)));
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

void TurboTransform::calculateM() {
  requireMesh("calculateM");
  const Topo2dBase& level = m_topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  std::vector<double>& mv = sizedField(m_spaceValues, m, level.getSize());
  std::vector<double>& nmv = sizedField(m_spaceValues, nm, level.getSize());
  std::vector<double>& rnmv = sizedField(m_spaceValues, rnm, level.getIsize());

  for (int j = 0; j <= jcv; ++j) mv.at(at(level.getij(0, j))) = 0.0;
  for (int i = 1; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      const int ia = level.getij(i - 1, j);
      const int ib = level.getij(i, j);
      mv.at(at(ib)) =
          mv.at(at(ia)) + nodeDistance(m_meshPoints.at(at(ia)), m_meshPoints.at(at(ib)));
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

}  // namespace qor
