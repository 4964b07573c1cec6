#include <unistd.h>

#include <cstdio>
#include <string>

#include "FuzzHarness.h"
#include "qor/CoordTransform.h"

namespace qorfuzz {

int pointFile(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/qor-fuzz-points-" + std::to_string(getpid()) + ".txt";
  if (FILE* f = std::fopen(path.c_str(), "wb")) {
    if (size > 0) std::fwrite(data, 1, size, f);
    std::fclose(f);
  } else {
    return 0;
  }
  qor::TurboTransform t;
  qor::QORVector<qor::TripletBase<float>> points;
  try {
    t.getVectorFromFile(path, points);
  } catch (const qor::Error&) {
    // A malformed file is reported through the library's exceptions.
  }
  std::remove(path.c_str());
  return 0;
}

}  // namespace qorfuzz
