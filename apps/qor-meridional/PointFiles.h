#pragma once
/// @file
/// Readers and writers of the point files of the tool.
///
/// Accepted input layouts, recognised from the content:
///  - the library's point-list format: a first line holding the number of points, then one line of
///    three numbers per point (blanks or commas between them);
///  - CSV (comma or semicolon separated) with or without a header line;
///  - whitespace-separated columns with or without a header line.
/// Lines starting with '#' are comments. A header names the columns and with them the frame:
/// x and y (and z) columns make a Cartesian file; a radial column (radial, radius, r or rad) makes
/// a meridional one, whose axial column is named axial, a, ax, x or z and whose theta column
/// theta, th or t; names are case-blind and other columns are ignored. Without a header the
/// numeric columns are taken in order and a missing third column is 0. A text column (named
/// boundary/name/label/curve, or the first non-numeric column of a headerless file) labels the
/// points; a blank line ends a block.
/// Every problem throws ToolError "file:line: problem".

#include <string>
#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qormeridional {

/// Column meaning: (axial, radial, theta), (x, y, z), or three plain values (no names, no checks).
enum class Coords { art, xyz, values };

struct PointTable {
  std::vector<qor::TripletBase<float>> points;
  std::vector<int> lines;           ///< 1-based line of each point in the file
  std::vector<std::string> labels;  ///< text label of each point (empty when none)
  std::vector<int> blocks;          ///< block number of each point (blank-line separated)
  Coords coords = Coords::art;      ///< the frame the points were read in
  bool framedByHeader = false;      ///< whether a header's column names chose `coords`
};

/// Reads a point file in the frame `columns`, unless a header names the columns of the other frame
/// (art or xyz): the header then decides, or, when the frame was given by the option `forcedBy`,
/// the contradiction is an error.
/// @param forcedBy the option that chose `columns` ("--xyz", ...), or nullptr for a default
/// @throws ToolError naming the file, the line and the problem; also for a file without points.
PointTable readPointFile(const std::string& path, Coords columns,
                         const char* forcedBy = nullptr);

/// Splits a table into curves: by label when the file has labels, otherwise by blank-line blocks.
/// `names` receives the label (or "block N") of each curve, `firstLines` the file line of its first
/// point.
std::vector<std::vector<qor::TripletBase<float>>> splitCurves(const PointTable& table,
                                                              std::vector<std::string>& names,
                                                              std::vector<int>& firstLines);

/// Formats a number for CSV output with enough digits to read back the float exactly.
std::string csvNumber(double v);

/// Creates the directory (and its parents) unless it exists. @throws ToolError on failure
void ensureDirectory(const std::string& dir);

}  // namespace qormeridional
