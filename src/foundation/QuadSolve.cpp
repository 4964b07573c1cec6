/// @file
/// Several Newton solves of `QuadSolve` at once.

#include "foundation/QuadSolve.h"

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define QOR_SOLVE_AVX 1
#include <immintrin.h>
#endif

namespace qor {
namespace foundation_detail {

namespace {

// In turn, one step each, as long as any is running.
void stepInTurn(QuadSolve* solves, const int* which, int count, int maxIterations,
                double tolerance2) {
  int running[64];
  for (int first = 0; first < count; first += 64) {
    int active = 0;
    for (int r = first; r < count && r < first + 64; ++r) running[active++] = which[r];
    for (int it = 0; it < maxIterations && active > 0; ++it) {
      int still = 0;
      for (int r = 0; r < active; ++r) {
        QuadSolve& state = solves[running[r]];
        state.step(tolerance2);
        if (!state.done()) running[still++] = running[r];
      }
      active = still;
    }
  }
}

}  // namespace

#if defined(QOR_SOLVE_AVX)

namespace {

// Four solves, one per lane; masks are all ones in a lane where they hold.
struct Lanes {
  __m256d ax, bx, cx, dx, ay, by, cy, dy, singular, cs, ct;
  __m256d active, converged, unusable;
};

#define QOR_AVX __attribute__((target("avx")))

}  // namespace

// The access of the vector code to the solves' state.
struct SideBySide {
  // Lanes beyond `n` repeat the first solve, inactive.
  QOR_AVX static void load(Lanes& l, QuadSolve* solves, const int* which, int n);
  QOR_AVX static void store(const Lanes& l, QuadSolve* solves, const int* which, int n);
};

QOR_AVX inline void SideBySide::load(Lanes& l, QuadSolve* solves, const int* which, int n) {
  const QuadSolve* q[4];
  for (int k = 0; k < 4; ++k) q[k] = &solves[which[k < n ? k : 0]];
#define QOR_LANES(member) _mm256_set_pd(q[3]->member, q[2]->member, q[1]->member, q[0]->member)
  l.ax = QOR_LANES(m_ax);
  l.bx = QOR_LANES(m_bx);
  l.cx = QOR_LANES(m_cx);
  l.dx = QOR_LANES(m_dx);
  l.ay = QOR_LANES(m_ay);
  l.by = QOR_LANES(m_by);
  l.cy = QOR_LANES(m_cy);
  l.dy = QOR_LANES(m_dy);
  l.singular = QOR_LANES(m_singular);
  l.cs = QOR_LANES(m_cs);
  l.ct = QOR_LANES(m_ct);
#undef QOR_LANES
  l.active = _mm256_cmp_pd(_mm256_set_pd(3.0, 2.0, 1.0, 0.0), _mm256_set1_pd(double(n)),
                           _CMP_LT_OQ);
  l.converged = _mm256_setzero_pd();
  l.unusable = _mm256_setzero_pd();
}

QOR_AVX inline void SideBySide::store(const Lanes& l, QuadSolve* solves, const int* which, int n) {
  alignas(32) double cs[4], ct[4];
  _mm256_store_pd(cs, l.cs);
  _mm256_store_pd(ct, l.ct);
  const int converged = _mm256_movemask_pd(l.converged);
  const int unusable = _mm256_movemask_pd(l.unusable);
  for (int k = 0; k < n; ++k) {
    QuadSolve& s = solves[which[k]];
    s.m_cs = cs[k];
    s.m_ct = ct[k];
    s.m_converged = (converged >> k) & 1;
    s.m_unusable = (unusable >> k) & 1;
    s.m_done = s.m_converged || s.m_unusable;
  }
}

namespace {

QOR_AVX inline __m256d fabs(__m256d x) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), x); }

// b where the mask is set, else a (by bit operations: the compiler keeps them in the vector unit).
QOR_AVX inline __m256d select(__m256d mask, __m256d a, __m256d b) {
  return _mm256_or_pd(_mm256_and_pd(mask, b), _mm256_andnot_pd(mask, a));
}

// std::max(a, b): b where a < b, else a.
QOR_AVX inline __m256d larger(__m256d a, __m256d b) {
  return select(_mm256_cmp_pd(a, b, _CMP_LT_OQ), a, b);
}

// QuadSolve::step in four lanes: every expression is evaluated as there, with the same roundings;
// what the scalar step does by returning early is done here by masks.
QOR_AVX inline void step(Lanes& l, __m256d tolerance2) {
  const __m256d inf = _mm256_set1_pd(__builtin_inf());
  const __m256d cs = l.cs, ct = l.ct;
  // residual(): ax + bx s + (cx + dx s) t
  const __m256d rx = _mm256_add_pd(_mm256_add_pd(l.ax, _mm256_mul_pd(l.bx, cs)),
                                   _mm256_mul_pd(_mm256_add_pd(l.cx, _mm256_mul_pd(l.dx, cs)), ct));
  const __m256d ry = _mm256_add_pd(_mm256_add_pd(l.ay, _mm256_mul_pd(l.by, cs)),
                                   _mm256_mul_pd(_mm256_add_pd(l.cy, _mm256_mul_pd(l.dy, cs)), ct));
  const __m256d xs = _mm256_add_pd(l.bx, _mm256_mul_pd(l.dx, ct));
  const __m256d ys = _mm256_add_pd(l.by, _mm256_mul_pd(l.dy, ct));
  const __m256d xt = _mm256_add_pd(l.cx, _mm256_mul_pd(l.dx, cs));
  const __m256d yt = _mm256_add_pd(l.cy, _mm256_mul_pd(l.dy, cs));
  const __m256d det = _mm256_sub_pd(_mm256_mul_pd(xs, yt), _mm256_mul_pd(xt, ys));
  const __m256d regular = _mm256_cmp_pd(fabs(det), l.singular, _CMP_GT_OQ);
  const __m256d inv = _mm256_div_pd(_mm256_set1_pd(1.0), det);
  __m256d ds = _mm256_mul_pd(_mm256_sub_pd(_mm256_mul_pd(xt, ry), _mm256_mul_pd(rx, yt)), inv);
  __m256d dt = _mm256_mul_pd(_mm256_sub_pd(_mm256_mul_pd(rx, ys), _mm256_mul_pd(xs, ry)), inv);
  const __m256d finite = _mm256_and_pd(_mm256_cmp_pd(fabs(ds), inf, _CMP_LT_OQ),
                                       _mm256_cmp_pd(fabs(dt), inf, _CMP_LT_OQ));
  const __m256d a1 = _mm256_and_pd(l.active, regular);
  const __m256d a2 = _mm256_and_pd(a1, finite);
  const __m256d maxStep = _mm256_set1_pd(2.0);
  const __m256d largest = larger(fabs(ds), fabs(dt));
  const __m256d clip = _mm256_cmp_pd(largest, maxStep, _CMP_GT_OQ);
  // Steps are rarely clipped: the division is then left out of the dependency chain.
  if (_mm256_movemask_pd(clip) != 0) {
    const __m256d factor = _mm256_div_pd(maxStep, largest);
    ds = select(clip, ds, _mm256_mul_pd(ds, factor));
    dt = select(clip, dt, _mm256_mul_pd(dt, factor));
  }
  l.cs = select(a2, cs, _mm256_add_pd(cs, ds));
  l.ct = select(a2, ct, _mm256_add_pd(ct, dt));
  const __m256d limit = _mm256_set1_pd(1e3);
  const __m256d far = _mm256_or_pd(_mm256_cmp_pd(fabs(l.cs), limit, _CMP_GT_OQ),
                                   _mm256_cmp_pd(fabs(l.ct), limit, _CMP_GT_OQ));
  const __m256d a3 = _mm256_andnot_pd(far, a2);
  const __m256d small = _mm256_cmp_pd(larger(fabs(ds), fabs(dt)), tolerance2, _CMP_LT_OQ);
  const __m256d converged = _mm256_and_pd(a3, small);
  // Failed: a lane that was active and did not reach a3 (singular, not finite or too far).
  l.unusable = _mm256_or_pd(l.unusable, _mm256_andnot_pd(a3, l.active));
  l.converged = _mm256_or_pd(l.converged, converged);
  l.active = _mm256_andnot_pd(converged, a3);
}

// Two groups of four side by side, so that their dependency chains overlap as well.
QOR_AVX void stepVectors(QuadSolve* solves, const int* which, int count, int maxIterations,
                         double tolerance2) {
  const __m256d tol = _mm256_set1_pd(tolerance2);
  for (int first = 0; first < count; first += 8) {
    const int n0 = count - first >= 4 ? 4 : count - first;
    const int n1 = count - first - n0 >= 4 ? 4 : count - first - n0;
    Lanes g0, g1;
    SideBySide::load(g0, solves, which + first, n0);
    if (n1 > 0) {
      SideBySide::load(g1, solves, which + first + n0, n1);
    } else {
      g1 = g0;
      g1.active = _mm256_setzero_pd();
    }
    for (int it = 0; it < maxIterations; ++it) {
      const int running = _mm256_movemask_pd(g0.active) | _mm256_movemask_pd(g1.active);
      if (running == 0) break;
      step(g0, tol);
      step(g1, tol);
    }
    SideBySide::store(g0, solves, which + first, n0);
    if (n1 > 0) SideBySide::store(g1, solves, which + first + n0, n1);
  }
}

bool haveAvx() {
  static const bool avx = __builtin_cpu_supports("avx");
  return avx;
}

}  // namespace

#endif

void stepSideBySide(QuadSolve* solves, const int* which, int count, int maxIterations,
                    double tolerance2) {
#if defined(QOR_SOLVE_AVX)
  if (haveAvx()) {
    stepVectors(solves, which, count, maxIterations, tolerance2);
    return;
  }
#endif
  stepInTurn(solves, which, count, maxIterations, tolerance2);
}

}  // namespace foundation_detail
}  // namespace qor
