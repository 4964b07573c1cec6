#include "OutputFile.h"
#include "SvgWriter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "ToolError.h"
#include "VtkWriter.h"
#include "qor/foundation/QORVector.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

struct StyleInfo {
  const char* cssClass;
  const char* legend;
};

StyleInfo info(SvgStyle s) {
  switch (s) {
    case SvgStyle::mesh:
      return {"mesh", "background mesh"};
    case SvgStyle::wall:
      return {"wall", "hub and shroud"};
    case SvgStyle::inlet:
      return {"inlet", "inlet"};
    case SvgStyle::outlet:
      return {"outlet", "outlet"};
    case SvgStyle::spanLine:
      return {"span", "normalised span"};
    case SvgStyle::streamLine:
      return {"stream", "nm (streamwise)"};
    case SvgStyle::userLine:
      return {"user", "requested lines"};
    case SvgStyle::boundary:
      return {"bound", "internal boundaries"};
  }
  return {"user", ""};
}

double niceStep(double range) {
  if (!(range > 0.0)) return 1.0;
  const double raw = range / 6.0;
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  const double f = raw / mag;
  return (f < 1.5 ? 1.0 : f < 3.5 ? 2.0 : f < 7.5 ? 5.0 : 10.0) * mag;
}

std::string fmt(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f", v);
  return buf;
}

std::string tickLabel(double v, double step) {
  const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, std::fabs(v) < step * 1e-6 ? 0.0 : v);
  return buf;
}

std::string escape(const std::string& s) {
  std::string out;
  for (char c : s) {
    if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else if (c == '&')
      out += "&amp;";
    else if (c == '"')
      out += "&quot;";
    else
      out += c;
  }
  return out;
}

bool finitePoint(const P& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::fabs(p[0]) < 1e30f &&
         std::fabs(p[1]) < 1e30f;
}

}  // namespace

void writeSvg(const std::string& path, const SvgPicture& picture) {
  double x0 = std::numeric_limits<double>::max(), x1 = -x0, y0 = x0, y1 = -x0;
  const auto extend = [&](const P& p) {
    if (!finitePoint(p)) return;
    x0 = std::min(x0, double(p[0]));
    x1 = std::max(x1, double(p[0]));
    y0 = std::min(y0, double(p[1]));
    y1 = std::max(y1, double(p[1]));
  };
  for (const auto& l : picture.lines) std::for_each(l.points.begin(), l.points.end(), extend);
  std::for_each(picture.markers.begin(), picture.markers.end(), extend);
  if (x0 > x1) x0 = 0.0, x1 = 1.0, y0 = 0.0, y1 = 1.0;
  double dx = x1 - x0, dy = y1 - y0;
  const double extent = std::max({dx, dy, 1e-12});
  if (dx < 1e-3 * extent) x0 -= 0.05 * extent, x1 += 0.05 * extent, dx = x1 - x0;
  if (dy < 1e-3 * extent) y0 -= 0.05 * extent, y1 += 0.05 * extent, dy = y1 - y0;
  // A margin of `pad` pixels inside the frame leaves room for the labels at the line ends.
  const double pad = 34.0;
  const double inner = std::min((900.0 - 2 * pad) / dx, (700.0 - 2 * pad) / dy);
  x0 -= pad / inner, x1 += pad / inner, y0 -= pad / inner, y1 += pad / inner;
  dx = x1 - x0, dy = y1 - y0;

  // One scale for both axes keeps the passage's true shape.
  const double scale = std::min(900.0 / dx, 700.0 / dy);
  const double plotW = dx * scale, plotH = dy * scale;
  const double left = 90.0, top = 50.0, legendW = 190.0;
  const double width = left + plotW + 30.0 + legendW, height = top + plotH + 70.0;
  const auto sx = [&](double x) { return left + (x - x0) * scale; };
  const auto sy = [&](double y) { return top + (y1 - y) * scale; };

  OutputFile file(path, OutputFile::Api::cstdio);
  std::FILE* f = file.cfile();
  std::fprintf(f,
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%s\" height=\"%s\" viewBox=\"0 0 "
               "%s %s\">\n",
               fmt(width).c_str(), fmt(height).c_str(), fmt(width).c_str(), fmt(height).c_str());
  std::fputs(
      "<style>\n"
      "  text { font-family: Helvetica, Arial, sans-serif; font-size: 12px; fill: #222; }\n"
      "  .title { font-size: 15px; font-weight: bold; }\n"
      "  .lab { font-size: 10px; paint-order: stroke; stroke: white; stroke-width: 3px; "
      "stroke-linejoin: round; }\n"
      "  .lab.span { fill: #1f5fbf; } .lab.stream { fill: #c0392b; } .lab.user, .lab.bound { fill: "
      "#b35900; }\n"
      "  polyline, line.leg { fill: none; stroke-linejoin: round; stroke-linecap: round; }\n"
      "  .mesh { stroke: #c9c9c9; stroke-width: 0.5; }\n"
      "  .wall { stroke: #111; stroke-width: 2.2; }\n"
      "  .inlet { stroke: #1a9641; stroke-width: 2.2; }\n"
      "  .outlet { stroke: #7b3294; stroke-width: 2.2; }\n"
      "  .span { stroke: #1f5fbf; stroke-width: 1.1; }\n"
      "  .stream { stroke: #c0392b; stroke-width: 1.1; }\n"
      "  .user { stroke: #e67e00; stroke-width: 1.6; }\n"
      "  .bound { stroke: #e67e00; stroke-width: 1.8; stroke-dasharray: 6 3; }\n"
      "  .axis { stroke: #222; stroke-width: 1; }\n"
      "  .grid { stroke: #eee; stroke-width: 0.6; }\n"
      "</style>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
      f);
  std::fprintf(f, "<text class=\"title\" x=\"%s\" y=\"28\">%s</text>\n", fmt(left).c_str(),
               escape(picture.title).c_str());

  // Grid, axes and ticks.
  const std::string unit = picture.units.empty() ? "" : " [" + escape(picture.units) + "]";
  const double step = niceStep(std::max(dx, dy));
  std::fputs("<g>\n", f);
  for (double t = std::ceil(x0 / step) * step; t <= x1 + 1e-9 * step; t += step) {
    std::fprintf(f, "<line class=\"grid\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\"/>\n",
                 fmt(sx(t)).c_str(), fmt(top).c_str(), fmt(sx(t)).c_str(),
                 fmt(top + plotH).c_str());
    std::fprintf(f, "<line class=\"axis\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\"/>\n",
                 fmt(sx(t)).c_str(), fmt(top + plotH).c_str(), fmt(sx(t)).c_str(),
                 fmt(top + plotH + 5).c_str());
    std::fprintf(f, "<text x=\"%s\" y=\"%s\" text-anchor=\"middle\">%s</text>\n",
                 fmt(sx(t)).c_str(), fmt(top + plotH + 19).c_str(), tickLabel(t, step).c_str());
  }
  for (double t = std::ceil(y0 / step) * step; t <= y1 + 1e-9 * step; t += step) {
    std::fprintf(f, "<line class=\"grid\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\"/>\n",
                 fmt(left).c_str(), fmt(sy(t)).c_str(), fmt(left + plotW).c_str(),
                 fmt(sy(t)).c_str());
    std::fprintf(f, "<line class=\"axis\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\"/>\n",
                 fmt(left - 5).c_str(), fmt(sy(t)).c_str(), fmt(left).c_str(), fmt(sy(t)).c_str());
    std::fprintf(f, "<text x=\"%s\" y=\"%s\" text-anchor=\"end\">%s</text>\n",
                 fmt(left - 8).c_str(), fmt(sy(t) + 4).c_str(), tickLabel(t, step).c_str());
  }
  std::fprintf(
      f, "<rect class=\"axis\" fill=\"none\" x=\"%s\" y=\"%s\" width=\"%s\" height=\"%s\"/>\n",
      fmt(left).c_str(), fmt(top).c_str(), fmt(plotW).c_str(), fmt(plotH).c_str());
  std::fprintf(f, "<text x=\"%s\" y=\"%s\" text-anchor=\"middle\">axial%s</text>\n",
               fmt(left + plotW / 2).c_str(), fmt(top + plotH + 42).c_str(), unit.c_str());
  std::fprintf(f,
               "<text x=\"%s\" y=\"%s\" text-anchor=\"middle\" transform=\"rotate(-90 %s "
               "%s)\">radial%s</text>\n",
               fmt(left - 62).c_str(), fmt(top + plotH / 2).c_str(), fmt(left - 62).c_str(),
               fmt(top + plotH / 2).c_str(), unit.c_str());
  std::fputs("</g>\n", f);

  // Lines, drawn in style order so that walls lie on top of the mesh.
  std::vector<SvgStyle> used;
  for (SvgStyle s : {SvgStyle::mesh, SvgStyle::spanLine, SvgStyle::streamLine, SvgStyle::userLine,
                     SvgStyle::boundary, SvgStyle::inlet, SvgStyle::outlet, SvgStyle::wall}) {
    bool any = false;
    for (const auto& l : picture.lines) {
      if (l.style != s) continue;
      std::string pts;
      for (const P& p : l.points) {
        if (!finitePoint(p)) continue;
        pts += fmt(sx(p[0])) + "," + fmt(sy(p[1])) + " ";
      }
      if (pts.empty()) continue;
      any = true;
      std::fprintf(f, "<polyline class=\"%s\" points=\"%s\"/>\n", info(s).cssClass, pts.c_str());
    }
    if (any) used.push_back(s);
  }
  // Labels never overlap: each is pushed outward along its line until it is clear of the ones
  // placed before (10 px text, about 5.6 px per character), and left out when that fails.
  struct Box {
    double left, top, right, bottom;
  };
  std::vector<Box> placed;
  const auto boxOf = [](double x, double y, const char* anchor, std::size_t chars) {
    const double w = 5.6 * double(chars);
    const double from = anchor[0] == 's' ? x : (anchor[0] == 'e' ? x - w : x - w / 2);
    return Box{from - 1.0, y - 9.0, from + w + 1.0, y + 2.5};
  };
  const auto clear = [&](const Box& b) {
    for (const Box& o : placed) {
      if (b.left < o.right && o.left < b.right && b.top < o.bottom && o.top < b.bottom) {
        return false;
      }
    }
    return true;
  };
  for (const auto& l : picture.lines) {
    if (l.label.empty() || l.points.empty()) continue;
    const P& p = l.labelAtEnd ? l.points.back() : l.points.front();
    if (!finitePoint(p)) continue;
    // The label continues the line beyond its end, outside the passage.
    double ux = 0.0, uy = -1.0;
    if (l.points.size() >= 2) {
      const P& q = l.labelAtEnd ? l.points[l.points.size() - 2] : l.points[1];
      const double ex = sx(p[0]) - sx(q[0]), ey = sy(p[1]) - sy(q[1]);
      const double len = std::hypot(ex, ey);
      if (len > 0.0) ux = ex / len, uy = ey / len;
    }
    const char* anchor = ux > 0.5 ? "start" : (ux < -0.5 ? "end" : "middle");
    double lx = sx(p[0]) + 5.0 * ux;
    double ly = sy(p[1]) + 5.0 * uy + (uy > 0.5 ? 9.0 : (uy < -0.5 ? -1.0 : 3.5));
    bool fits = false;
    for (int push = 0; push < 6 && !fits; ++push) {
      const double x = lx + 12.0 * push * ux, y = ly + 12.0 * push * uy;
      if (clear(boxOf(x, y, anchor, l.label.size()))) {
        lx = x, ly = y;
        fits = true;
      }
    }
    if (!fits) continue;
    placed.push_back(boxOf(lx, ly, anchor, l.label.size()));
    std::fprintf(f, "<text class=\"lab %s\" x=\"%s\" y=\"%s\" text-anchor=\"%s\">%s</text>\n",
                 info(l.style).cssClass, fmt(lx).c_str(), fmt(ly).c_str(), anchor,
                 escape(l.label).c_str());
  }
  static const char* const kGroupColours[] = {"#e67e00", "#1f77b4", "#2ca02c", "#9467bd",
                                              "#8c564b", "#e377c2", "#17becf", "#bcbd22"};
  const auto colourOf = [&](int group) { return kGroupColours[group % 8]; };
  const auto groupOf = [&](std::size_t k) {
    return k < picture.markerGroups.size() ? picture.markerGroups[k] : 0;
  };
  const auto dot = [&](double x, double y, int group) {
    if (group < 0) {
      std::fprintf(f,
                   "<circle class=\"outside\" cx=\"%s\" cy=\"%s\" r=\"3.5\" fill=\"none\" "
                   "stroke=\"#d62728\" stroke-width=\"1.5\"/>\n",
                   fmt(x).c_str(), fmt(y).c_str());
    } else {
      std::fprintf(f,
                   "<circle cx=\"%s\" cy=\"%s\" r=\"2.5\" fill=\"%s\" stroke=\"#222\" "
                   "stroke-width=\"0.5\"/>\n",
                   fmt(x).c_str(), fmt(y).c_str(), colourOf(group));
    }
  };
  std::vector<int> groups;  // in first-appearance order, for the legend
  for (std::size_t k = 0; k < picture.markers.size(); ++k) {
    const P& p = picture.markers[k];
    if (!finitePoint(p)) continue;
    dot(sx(p[0]), sy(p[1]), groupOf(k));
    if (std::find(groups.begin(), groups.end(), groupOf(k)) == groups.end()) {
      groups.push_back(groupOf(k));
    }
  }
  std::sort(groups.begin(), groups.end());

  // Legend.
  double ly = top + 10;
  const double lx = left + plotW + 30;
  for (SvgStyle s : used) {
    std::fprintf(f, "<line class=\"leg %s\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\"/>\n",
                 info(s).cssClass, fmt(lx).c_str(), fmt(ly).c_str(), fmt(lx + 28).c_str(),
                 fmt(ly).c_str());
    std::fprintf(f, "<text x=\"%s\" y=\"%s\">%s</text>\n", fmt(lx + 36).c_str(),
                 fmt(ly + 4).c_str(), info(s).legend);
    ly += 20;
  }
  for (int group : groups) {
    dot(lx + 14, ly, group);
    std::string text = picture.markerLegend;
    if (group < 0) {
      text += ": outside the passage";
    } else if (!picture.markerGroups.empty()) {
      text += ": segment " + std::to_string(group);
    }
    std::fprintf(f, "<text x=\"%s\" y=\"%s\">%s</text>\n", fmt(lx + 36).c_str(),
                 fmt(ly + 4).c_str(), escape(text).c_str());
    ly += 20;
  }
  std::fputs("</svg>\n", f);
  file.commit();
}

void addMesh(SvgPicture& picture, const MeshFields& mesh) {
  const auto node = [&](int i, int j) {
    return mesh.nodes[static_cast<std::size_t>(i) * static_cast<std::size_t>(mesh.nj) +
                      static_cast<std::size_t>(j)];
  };
  // Fine meshes are thinned to about 150 lines per direction to keep the picture readable.
  const int si = std::max(1, (mesh.ni + 149) / 150);
  const int sj = std::max(1, (mesh.nj + 149) / 150);
  for (int i = si; i + 1 < mesh.ni; i += si) {
    SvgPolyline l;
    l.style = SvgStyle::mesh;
    for (int j = 0; j < mesh.nj; ++j) l.points.push_back(node(i, j));
    picture.lines.push_back(std::move(l));
  }
  for (int j = sj; j + 1 < mesh.nj; j += sj) {
    SvgPolyline l;
    l.style = SvgStyle::mesh;
    for (int i = 0; i < mesh.ni; ++i) l.points.push_back(node(i, j));
    picture.lines.push_back(std::move(l));
  }
  if (mesh.ni < 1 || mesh.nj < 1) return;
  SvgPolyline hub, shroud, inlet, outlet;
  hub.style = shroud.style = SvgStyle::wall;
  inlet.style = SvgStyle::inlet;
  outlet.style = SvgStyle::outlet;
  for (int i = 0; i < mesh.ni; ++i) {
    hub.points.push_back(node(i, 0));
    shroud.points.push_back(node(i, mesh.nj - 1));
  }
  for (int j = 0; j < mesh.nj; ++j) {
    inlet.points.push_back(node(0, j));
    outlet.points.push_back(node(mesh.ni - 1, j));
  }
  for (auto* l : {&hub, &shroud, &inlet, &outlet}) picture.lines.push_back(std::move(*l));
}

void addIsoLines(SvgPicture& picture, const qor::TurboTransform& transform, double step) {
  const int n = static_cast<int>(std::floor(1.0 / step + 1e-9));
  for (int k = 1; k <= n; ++k) {
    const double v = k * step;
    if (v >= 1.0 - 1e-9) break;
    char label[16];
    std::snprintf(label, sizeof label, "%.2g", v);
    qor::QORVector<P> curve;
    transform.getConstantSpace(qor::TurboTransform::nspanConst, v, curve);
    picture.lines.push_back(
        {std::vector<P>(curve.begin(), curve.end()), SvgStyle::spanLine, label, false});
    curve.clear();
    transform.getConstantSpace(qor::TurboTransform::nmConst, v, curve);
    picture.lines.push_back(
        {std::vector<P>(curve.begin(), curve.end()), SvgStyle::streamLine, label, true});
  }
}

}  // namespace qormeridional
