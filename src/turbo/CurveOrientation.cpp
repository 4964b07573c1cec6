// CurveOrientation: the directions of the four boundary curves checked against each other.

#include "qor/turbo/CurveOrientation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {

namespace {

using P = TripletBase<float>;

const char* const kRoles[4] = {"hub", "shroud", "inlet", "outlet"};
const char* const kWrongWay[4] = {"runs outlet to inlet", "runs outlet to inlet",
                                  "runs shroud to hub", "runs shroud to hub"};

/// One way of reading the four curves: hub and shroud swapped or not, each curve reversed or not.
struct Reading {
  bool swap = false;
  bool reversed[4] = {false, false, false, false};
  int changes() const {
    return int(swap) + int(reversed[0]) + int(reversed[1]) + int(reversed[2]) + int(reversed[3]);
  }
};

double distance(const P& a, const P& b) {
  return std::hypot(double(a[0]) - b[0], double(a[1]) - b[1]);
}

/// "the hub and the shroud run outlet to inlet", "hub and shroud are swapped and the inlet runs
/// shroud to hub", ...; `mention` receives every curve the reading changes.
template <typename Mention>
std::string describe(const Reading& r, Mention&& mention) {
  std::string text;
  if (r.swap) {
    text = "hub and shroud are swapped";
    mention(0), mention(1);
  }
  for (int k = 0; k < 4; k += 2) {
    if (!r.reversed[k] && !r.reversed[k + 1]) continue;
    const bool both = r.reversed[k] && r.reversed[k + 1];
    const std::string who = both ? std::string("the ") + kRoles[k] + " and the " + kRoles[k + 1]
                                 : std::string("the ") + kRoles[r.reversed[k] ? k : k + 1];
    std::string how = kWrongWay[k];
    if (both) how.replace(0, 4, "run");  // "runs ..." -> "run ..."
    text.append(text.empty() ? "" : " and ").append(who).append(" ").append(how);
    for (int m = k; m < k + 2; ++m) {
      if (r.reversed[m]) mention(m);
    }
  }
  return text;
}

}  // namespace

CurveOrientation CurveOrientation::check(const std::vector<P>& hub, const std::vector<P>& shroud,
                                         const std::vector<P>& inlet, const std::vector<P>& outlet,
                                         const std::vector<std::string>& names) {
  const std::vector<P>* c[4] = {&hub, &shroud, &inlet, &outlet};
  for (int k = 0; k < 4; ++k) {
    if (c[k]->empty()) {
      throw data::invalid("CurveOrientation", "check",
                          UserMsg("Curve %1 has no points.") << kRoles[k], errorType::fatal);
    }
  }
  bool named = false;
  std::string name[4];
  for (int k = 0; k < 4; ++k) {
    const bool given = std::size_t(k) < names.size() && !names[std::size_t(k)].empty();
    named = named || given;
    name[k] = given ? names[std::size_t(k)] : kRoles[k];
  }

  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300}, chord = 1e300;
  for (const std::vector<P>* curve : c) {
    chord = std::min(chord, distance(curve->front(), curve->back()));
    for (const P& q : *curve) {
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], double(q[k]));
        hi[k] = std::max(hi[k], double(q[k]));
      }
    }
  }
  const double tolerance = std::min(0.25 * chord, 0.05 * std::hypot(hi[0] - lo[0], hi[1] - lo[1]));
  const auto fits = [&](const Reading& r) {
    const auto end = [&](int file, bool last) {
      const std::vector<P>& curve = *c[file];
      return (last != r.reversed[file]) ? curve.back() : curve.front();
    };
    const int h = r.swap ? 1 : 0, s = r.swap ? 0 : 1;
    return distance(end(h, false), end(2, false)) <= tolerance &&
           distance(end(s, false), end(2, true)) <= tolerance &&
           distance(end(h, true), end(3, false)) <= tolerance &&
           distance(end(s, true), end(3, true)) <= tolerance;
  };
  std::vector<Reading> fitting;
  for (int code = 0; code < 32; ++code) {
    Reading r;
    r.swap = (code & 16) != 0;
    for (int k = 0; k < 4; ++k) r.reversed[k] = (code >> k & 1) != 0;
    if (fits(r)) fitting.push_back(r);
  }

  CurveOrientation result;
  if (fitting.empty()) {
    result.meet = false;
    result.message =
        "the curves do not meet at the passage corners: hub and shroud must run inlet to outlet, "
        "inlet and outlet hub to shroud";
    return result;
  }
  std::stable_sort(fitting.begin(), fitting.end(),
                   [](const Reading& a, const Reading& b) { return a.changes() < b.changes(); });
  const Reading& best = fitting.front();
  if (best.changes() == 0) return result;
  const bool unique = fitting.size() == 1 || fitting[1].changes() > best.changes();
  if (unique && !best.swap && best.changes() == 1) {
    const int k = best.reversed[0] ? 0 : best.reversed[1] ? 1 : best.reversed[2] ? 2 : 3;
    result.reverse[k] = true;
    result.message = name[k] + ": the " + kRoles[k] + " curve " + kWrongWay[k] +
                     " while the other curves agree with each other; reversed it";
    return result;
  }

  // The curves contradict each other: every reading with the fewest changes (and one more) is
  // named, with the curves it involves.
  std::string readings;
  std::vector<std::string> involved;
  const auto mention = [&](int k) {
    if (std::find(involved.begin(), involved.end(), name[k]) == involved.end())
      involved.push_back(name[k]);
  };
  for (const Reading& r : fitting) {
    if (r.changes() > best.changes() + 1) break;
    readings += (readings.empty() ? "" : ", or ") + describe(r, mention);
  }
  std::string list;
  for (std::size_t k = 0; k < involved.size(); ++k) list += (k == 0 ? "" : ", ") + involved[k];
  const std::string what = named ? "curve files" : "curves";
  throw data::invalid("CurveOrientation", "check",
                      UserMsg(list + ": the " + what + " contradict each other (" + readings +
                              "); which is meant cannot be told, fix the " +
                              (named ? "files" : "curves")),
                      errorType::fatal);
}

}  // namespace qor
