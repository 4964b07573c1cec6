/// @file
/// Smooth2dbs: diagnostic surface and point files of one level, and the printed condition maps.

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "qor/foundation/QORStream.h"
#include "qor/smoothing/Smooth2dbs.h"

namespace qor {

namespace {
const Topo2dBase& checkedLevel(const Topo2dMultiLevel* topo, int level) {
  if (topo == nullptr) throw std::out_of_range("Smooth2dbs: no topology set");
  return topo->getLevel(level);
}
}  // namespace

void Smooth2dbs::writePostSurface(const int& level, const std::string& fileName) {
  const Topo2dBase& block = checkedLevel(m_topo, level);
  const QORVector<TripletBase<float>>& mesh = *m_mesh;
  QORStream out(fileName, 2, false);
  for (int k = block.begin(); k < block.end(); ++k) {
    const TripletBase<float>& p = mesh.at(static_cast<std::size_t>(k));
    out << p.x() << " " << p.y() << " " << p.z() << " "
        << "\n";
  }
  out << "\n";
  out << "# Faces"
      << "\n";
  const int jsize = block.getJsize();
  for (int i = 1; i <= block.getIcv(); ++i) {
    for (int j = 1; j <= block.getJcv(); ++j) {
      out << i * jsize + j << " " << (i - 1) * jsize + j << " " << (i - 1) * jsize + (j - 1) << " "
          << i * jsize + (j - 1) << "\n";
    }
  }
  out.close();
  std::cout << " Post Mesh saved in:" << fileName << std::endl;
}

void Smooth2dbs::writemesh(const int& level, const std::string& fileName) {
  const Topo2dBase& block = checkedLevel(m_topo, level);
  const QORVector<TripletBase<float>>& mesh = *m_mesh;
  QORStream out(fileName, 2, false);
  for (int k = block.begin(); k < block.end(); ++k) {
    const TripletBase<float>& p = mesh.at(static_cast<std::size_t>(k));
    out << p.x() << " " << p.y() << "\n";
  }
  out.close();
  std::cout << "Mesh saved in:" << fileName << std::endl;
}

void Smooth2dbs::writebcID(const int& level) const { writeShort(level, " BC ", m_conditions, 0); }

void Smooth2dbs::writegeoID(const int& level) const { writeShort(level, " GEO", m_conditions, 1); }

void Smooth2dbs::writeShort(const int& level, const std::string& title,
                            const QORVector<std::pair<short, short>>& conditions,
                            const int& which) const {
  if (m_topo == nullptr || level > m_levels - 1 || level < 0) return;
  const Topo2dBase& block = m_topo->getLevel(level);
  const int icv = block.getIcv();
  const int jcv = block.getJcv();
  char cell[32];

  std::cout << "    **********" << title << "**********"
            << "\n"
            << "\n";
  for (int first = 0; first <= icv; first += 10) {
    const int last = std::min(first + 9, icv);
    std::cout << "    ";
    for (int i = first; i <= last; ++i) {
      std::snprintf(cell, sizeof cell, "%4i", i);
      std::cout << cell;
    }
    std::cout << "\n"
              << "\n";
    for (int j = jcv; j >= 0; --j) {
      std::snprintf(cell, sizeof cell, "%4i", j);
      std::cout << cell;
      for (int i = first; i <= last; ++i) {
        const std::pair<short, short>& c =
            conditions.at(static_cast<std::size_t>(block.getij(i, j)));
        std::snprintf(cell, sizeof cell, "%4i", which == 0 ? int(c.first) : int(c.second));
        std::cout << cell;
      }
      std::cout << "\n";
    }
  }
  std::cout << std::flush;
}

}  // namespace qor
