#pragma once
/// @file
/// `CurveOrientation`: checks the directions of the four boundary curves of a passage against
/// each other before a transform is set up from them.

#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

/// What `check` found about the directions of the hub, shroud, inlet and outlet curves.
///
/// `TurboTransform` expects hub and shroud to run from inlet to outlet and inlet and outlet from
/// hub to shroud; curves given the wrong way round do not fail, they give a folded mesh or wrong
/// coordinates. `check` compares the curves' ends in the meridional plane: hub and shroud must
/// start at the inlet's first and last point, and end at the outlet's first and last point. The
/// ends count as meeting within a quarter of the shortest curve's chord (and 5 % of the diagonal of
/// the passage's extent), so that the far end of any curve never counts as meeting.
class QOR_API CurveOrientation {
 public:
  /// Index of each curve in `reverse` and in the `names` of `check`.
  enum curve : int { hub = 0, shroud = 1, inlet = 2, outlet = 3 };

  /// Checks the four curves, given as (axial, radial, theta) points in the order of the file (theta
  /// is not used: take Cartesian curves to ART first, e.g. with `AxisFrame::toART`).
  ///
  /// - Every end meets as it should: nothing to do (`changed()` is false, `message` empty).
  /// - Exactly one curve runs the wrong way while the others agree with each other, and no other
  ///   reading is as simple: `reverse` names it; the caller reverses it and shows `message`
  ///   ("NAME: the hub curve runs outlet to inlet while the other curves agree with each other;
  ///   reversed it").
  /// - The ends meet in no reading at all (hub, shroud, inlet, outlet swapped or reversed in any
  ///   way): `meet` is false, nothing is to be reversed and `message` says that the curves do not
  ///   meet at the passage corners (the mesh set up from them will likely fold).
  /// @param names how messages name the curves in the order hub, shroud, inlet, outlet (their
  ///        files, for instance); empty or missing names give the curve's role and the messages
  ///        then speak of "curves" instead of "curve files"
  /// @throws data::invalid when the curves contradict each other and the intent cannot be told
  ///         (hub and shroud swapped, two curves reversed, or several equally simple readings):
  ///         "NAMES: the curve files contradict each other (READINGS); which is meant cannot be
  ///         told, fix the files", NAMES listing the curves involved in every simplest reading
  /// @throws data::invalid for a curve without points
  static CurveOrientation check(const std::vector<TripletBase<float>>& hub,
                                const std::vector<TripletBase<float>>& shroud,
                                const std::vector<TripletBase<float>>& inlet,
                                const std::vector<TripletBase<float>>& outlet,
                                const std::vector<std::string>& names = {});

  /// Whether a curve is to be reversed.
  bool changed() const noexcept { return reverse[0] || reverse[1] || reverse[2] || reverse[3]; }

  /// Curves to reverse, indexed by `curve` (at most one is true).
  bool reverse[4] = {false, false, false, false};
  /// Whether the ends of the curves meet at the four passage corners (after the reversal).
  bool meet = true;
  /// What to tell the user when a curve is reversed or the curves do not meet; empty otherwise.
  std::string message;
};

}  // namespace qor
