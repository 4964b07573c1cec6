#include "PointFiles.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "CliArgs.h"
#include "ToolError.h"

namespace qormeridional {
namespace {

std::string trim(const std::string& s) {
  std::size_t b = 0;
  std::size_t e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return s.substr(b, e - b);
}

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

/// Shortens a field quoted in an error message.
std::string quoted(const std::string& s) {
  if (s.size() <= 40) return "'" + s + "'";
  return "'" + s.substr(0, 37) + "...'";
}

std::vector<std::string> splitFields(const std::string& line, char delimiter) {
  std::vector<std::string> out;
  if (delimiter == ' ') {
    std::size_t k = 0;
    while (k < line.size()) {
      while (k < line.size() && std::isspace(static_cast<unsigned char>(line[k]))) ++k;
      if (k >= line.size()) break;
      std::size_t e = k;
      while (e < line.size() && !std::isspace(static_cast<unsigned char>(line[e]))) ++e;
      out.push_back(line.substr(k, e - k));
      k = e;
    }
    return out;
  }
  std::size_t start = 0;
  while (true) {
    const std::size_t d = line.find(delimiter, start);
    std::string field =
        trim(line.substr(start, d == std::string::npos ? std::string::npos : d - start));
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"')
      field = field.substr(1, field.size() - 2);
    out.push_back(field);
    if (d == std::string::npos) break;
    start = d + 1;
  }
  return out;
}

bool isNumber(const std::string& s) {
  double v = 0.0;
  return CliArgs::parseNumber(s, v);
}

/// A token that parses as a number, including non-finite ones, so that "nan" is reported as a bad
/// value rather than taken for a label.
bool looksNumeric(const std::string& s) {
  const std::string t = trim(s);
  if (t.empty()) return false;
  char* end = nullptr;
  std::strtod(t.c_str(), &end);
  return end == t.c_str() + t.size();
}

float toFloat(const std::string& path, int line, const std::string& field,
              const std::string& column) {
  double v = 0.0;
  if (!CliArgs::parseNumber(field, v)) {
    throw fileError(path, line, "column " + column + " is not a finite number: " + quoted(field));
  }
  if (std::fabs(v) > 1e30) {
    throw fileError(path, line, "column " + column + " is out of range: " + quoted(field));
  }
  return static_cast<float>(v);
}

struct Line {
  int number;
  std::string text;
};

PointTable readPointList(const std::string& path, const std::vector<Line>& lines) {
  PointTable table;
  const std::string countText = trim(lines.front().text);
  char* end = nullptr;
  errno = 0;
  const long count = std::strtol(countText.c_str(), &end, 10);
  if (errno == ERANGE || count < 0 || count > 100000000L) {
    throw fileError(path, lines.front().number,
                    "point count " + quoted(countText) + " is out of range");
  }
  std::size_t k = 1;
  for (long n = 0; n < count; ++n, ++k) {
    if (k >= lines.size()) {
      throw fileError(path, lines.back().number,
                      "the count line says " + std::to_string(count) +
                          " points, but the file ends after " + std::to_string(n));
    }
    std::string text = lines[k].text;
    std::replace(text.begin(), text.end(), ',', ' ');
    const std::vector<std::string> f = splitFields(text, ' ');
    if (f.size() != 3) {
      throw fileError(path, lines[k].number,
                      "expected three numbers, found " + std::to_string(f.size()) +
                          " fields: " + quoted(trim(lines[k].text)));
    }
    qor::TripletBase<float> p(toFloat(path, lines[k].number, f[0], "1"),
                              toFloat(path, lines[k].number, f[1], "2"),
                              toFloat(path, lines[k].number, f[2], "3"));
    table.points.push_back(p);
    table.lines.push_back(lines[k].number);
    table.labels.emplace_back();
    table.blocks.push_back(0);
  }
  if (k < lines.size()) {
    throw fileError(
        path, lines[k].number,
        "more point lines than the count on the first line (" + std::to_string(count) + ")");
  }
  return table;
}

int findColumn(const std::vector<std::string>& header, std::initializer_list<const char*> names) {
  for (std::size_t c = 0; c < header.size(); ++c) {
    const std::string h = lower(header[c]);
    for (const char* n : names) {
      if (h == n) return static_cast<int>(c);
    }
  }
  return -1;
}

/// The content lines of a file with their 1-based numbers: comments dropped, a UTF-8 byte-order
/// mark removed, runs of blank lines inside the content kept as one empty marker (a block break).
std::vector<Line> readContentLines(const std::string& path) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec))
    throw fileError(path, 0, "is a directory, not a point file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw fileError(path, 0, std::string("cannot open: ") + std::strerror(errno));
  std::vector<Line> lines;
  std::string raw;
  int number = 0;
  bool sawContent = false;
  while (std::getline(in, raw)) {
    ++number;
    if (!raw.empty() && raw.back() == '\r') raw.pop_back();
    if (number == 1 && raw.size() >= 3 && raw.compare(0, 3, "\xEF\xBB\xBF") == 0)
      raw = raw.substr(3);
    if (raw.find('\0') != std::string::npos)
      throw fileError(path, number, "binary data: not a text point file");
    const std::string t = trim(raw);
    if (!t.empty() && t[0] == '#') continue;
    if (t.empty()) {
      if (sawContent) lines.push_back({number, ""});
      continue;
    }
    sawContent = true;
    lines.push_back({number, raw});
  }
  while (!lines.empty() && lines.back().text.empty()) lines.pop_back();
  if (lines.empty()) throw fileError(path, 0, "no points found (the file is empty)");
  return lines;
}

/// Where the values of a column file are: the delimiter, the number of fields per line, the
/// columns of the three components and of the label (-1: none), the frame and the first data line.
struct ColumnLayout {
  char delimiter = ' ';
  std::size_t width = 0;
  int column[3] = {-1, -1, -1};
  int labelColumn = -1;
  Coords coords = Coords::art;
  bool framedByHeader = false;
  std::size_t firstData = 0;
};

/// The frame a header names (x and y columns: Cartesian; a radial column: meridional), checked
/// against the option that forced `columns`; `columns` itself when the header names none.
Coords headerFrame(const std::string& path, const Line& headerLine,
                   const std::vector<std::string>& header, Coords columns, const char* forcedBy,
                   bool& framed) {
  Coords named = columns;
  framed = false;
  if (findColumn(header, {"x"}) >= 0 && findColumn(header, {"y"}) >= 0) {
    named = Coords::xyz;
    framed = true;
  } else if (findColumn(header, {"radial", "radius", "r", "rad"}) >= 0) {
    named = Coords::art;
    framed = true;
  }
  if (named != columns && forcedBy != nullptr) {
    throw fileError(path, headerLine.number,
                    std::string("the header names ") +
                        (named == Coords::xyz ? "Cartesian (x, y, z)"
                                              : "meridional (axial, radial)") +
                        " columns, but option " + forcedBy + " says the points are " +
                        (columns == Coords::xyz ? "Cartesian" : "meridional"));
  }
  return named;
}

/// The columns of a CSV or whitespace file: from its header's names, else the numeric columns of
/// the first data line in order.
ColumnLayout findColumns(const std::string& path, const std::vector<Line>& lines, Coords columns,
                         const char* forcedBy) {
  ColumnLayout l;
  const std::string first = trim(lines.front().text);
  l.delimiter = first.find(',') != std::string::npos
                    ? ','
                    : (first.find(';') != std::string::npos ? ';' : ' ');
  const std::vector<std::string> header = splitFields(first, l.delimiter);
  const bool hasHeader = std::none_of(header.begin(), header.end(), looksNumeric);
  l.firstData = hasHeader ? 1 : 0;
  while (l.firstData < lines.size() && lines[l.firstData].text.empty()) ++l.firstData;
  if (l.firstData >= lines.size())
    throw fileError(path, lines.front().number, "a header line but no points");

  const std::vector<std::string> sample = splitFields(lines[l.firstData].text, l.delimiter);
  l.width = hasHeader ? header.size() : sample.size();
  if (hasHeader && columns != Coords::values)
    columns = headerFrame(path, lines.front(), header, columns, forcedBy, l.framedByHeader);
  l.coords = columns;
  int* c = l.column;
  if (hasHeader) {
    if (columns == Coords::art) {
      c[0] = findColumn(header, {"axial", "a", "ax", "x", "z"});
      c[1] = findColumn(header, {"radial", "radius", "r", "rad"});
      c[2] = findColumn(header, {"theta", "th", "t"});
    } else if (columns == Coords::xyz) {
      c[0] = findColumn(header, {"x"});
      c[1] = findColumn(header, {"y"});
      c[2] = findColumn(header, {"z"});
    }
    l.labelColumn = findColumn(header, {"boundary", "name", "label", "curve"});
    if ((c[0] < 0) != (c[1] < 0)) {
      throw fileError(path, lines.front().number,
                      columns == Coords::art
                          ? "the header names only one of the axial and radial columns"
                          : "the header names only one of the x and y columns");
    }
  }
  if (c[0] >= 0) return l;
  // Positional: the numeric columns of the first data line, in order.
  std::vector<int> numeric;
  for (std::size_t k = 0; k < sample.size(); ++k) {
    if (looksNumeric(sample[k])) {
      numeric.push_back(static_cast<int>(k));
    } else if (l.labelColumn < 0 && !sample[k].empty()) {
      l.labelColumn = static_cast<int>(k);
    }
  }
  const Line& at = lines[l.firstData];
  if (numeric.size() < 2) {
    throw fileError(path, at.number,
                    "expected 2 or 3 numeric columns, found " + std::to_string(numeric.size()) +
                        ": " + quoted(trim(at.text)));
  }
  if (numeric.size() > 3) {
    throw fileError(path, at.number,
                    std::to_string(numeric.size()) + " numeric columns: add a header naming the " +
                        (columns == Coords::art   ? "axial and radial (and theta)"
                         : columns == Coords::xyz ? "x, y (and z)"
                                                  : "three") +
                        " columns");
  }
  c[0] = numeric[0];
  c[1] = numeric[1];
  c[2] = numeric.size() > 2 ? numeric[2] : -1;
  return l;
}

/// The points of the data lines of a column file laid out as `l`; a blank line starts a new block.
PointTable readRows(const std::string& path, const std::vector<Line>& lines,
                    const ColumnLayout& l) {
  const char* names[3] = {"x", "y", "z"};
  if (l.coords == Coords::art) {
    names[0] = "axial", names[1] = "radial", names[2] = "theta";
  } else if (l.coords == Coords::values) {
    names[0] = "value", names[1] = "theta", names[2] = "span";
  }
  PointTable table;
  table.coords = l.coords;
  table.framedByHeader = l.framedByHeader;
  int block = 0;
  for (std::size_t k = l.firstData; k < lines.size(); ++k) {
    if (lines[k].text.empty()) {
      ++block;
      while (k + 1 < lines.size() && lines[k + 1].text.empty()) ++k;
      continue;
    }
    const std::vector<std::string> f = splitFields(lines[k].text, l.delimiter);
    if (f.size() != l.width) {
      throw fileError(path, lines[k].number,
                      "expected " + std::to_string(l.width) + " columns, found " +
                          std::to_string(f.size()) + ": " + quoted(trim(lines[k].text)));
    }
    const int ln = lines[k].number;
    float v[3] = {0.0f, 0.0f, 0.0f};
    for (int c = 0; c < 3; ++c) {
      const int col = l.column[c];
      if (col < 0) continue;
      v[c] = toFloat(path, ln, f[static_cast<std::size_t>(col)],
                     std::to_string(col + 1) + " (" + names[c] + ")");
    }
    if (l.coords == Coords::art && v[1] < 0.0f) {
      throw fileError(path, ln,
                      "negative radius " + quoted(f[static_cast<std::size_t>(l.column[1])]));
    }
    table.points.emplace_back(v[0], v[1], v[2]);
    table.lines.push_back(ln);
    table.labels.push_back(l.labelColumn >= 0 ? f[static_cast<std::size_t>(l.labelColumn)]
                                              : std::string());
    table.blocks.push_back(block);
  }
  return table;
}

}  // namespace

PointTable readPointFile(const std::string& path, Coords columns, const char* forcedBy) {
  const std::vector<Line> lines = readContentLines(path);
  // The library's own point list: a lone integer on the first line.
  const std::string first = trim(lines.front().text);
  if (first.find_first_not_of("0123456789+-") == std::string::npos && isNumber(first)) {
    std::vector<Line> nonBlank;
    for (const Line& l : lines) {
      if (!l.text.empty()) nonBlank.push_back(l);
    }
    PointTable table = readPointList(path, nonBlank);
    table.coords = columns;
    if (table.points.empty())
      throw fileError(path, lines.front().number, "the point count is 0: no points");
    return table;
  }
  return readRows(path, lines, findColumns(path, lines, columns, forcedBy));
}

std::vector<std::vector<qor::TripletBase<float>>> splitCurves(const PointTable& table,
                                                              std::vector<std::string>& names,
                                                              std::vector<int>& firstLines) {
  std::vector<std::vector<qor::TripletBase<float>>> curves;
  names.clear();
  firstLines.clear();
  const bool byLabel = std::any_of(table.labels.begin(), table.labels.end(),
                                   [](const std::string& s) { return !s.empty(); });
  for (std::size_t k = 0; k < table.points.size(); ++k) {
    const std::string key =
        byLabel ? table.labels[k] : "block " + std::to_string(table.blocks[k] + 1);
    const auto it = std::find(names.begin(), names.end(), key);
    if (it == names.end()) {
      names.push_back(key);
      firstLines.push_back(table.lines[k]);
      curves.emplace_back();
      curves.back().push_back(table.points[k]);
    } else {
      curves[static_cast<std::size_t>(it - names.begin())].push_back(table.points[k]);
    }
  }
  return curves;
}

std::string csvNumber(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.9g", v);
  return buf;
}

void ensureDirectory(const std::string& dir) {
  std::error_code ec;
  if (std::filesystem::is_directory(dir, ec)) return;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw ToolError(dir + ": cannot create directory: " + ec.message());
}

}  // namespace qormeridional
