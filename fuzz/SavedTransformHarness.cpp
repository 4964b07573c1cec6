// Fuzzing of TurboTransform::load: arbitrary bytes as a saved transform, then the same bytes with a
// consistent header, and, for what loads, a save back and a few conversions.

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "FuzzHarness.h"
#include "qor/CoordTransform.h"

namespace qorfuzz {

namespace {

using P3 = qor::TripletBase<float>;

// The header's payload length and FNV-1a 64 made to agree with the bytes that follow, so that the
// mutations reach the checks of the fields instead of stopping at the checksum.
std::string withConsistentHeader(std::string b) {
  constexpr std::size_t kHeader = 28;
  if (b.size() < kHeader) return b;
  const std::uint64_t length = b.size() - kHeader;
  std::uint64_t h = 14695981039346656037ull;
  for (std::size_t k = kHeader; k < b.size(); ++k) h = (h ^ std::uint8_t(b[k])) * 1099511628211ull;
  for (int i = 0; i < 8; ++i) {
    b[12 + i] = char((length >> (8 * i)) & 0xff);
    b[20 + i] = char((h >> (8 * i)) & 0xff);
  }
  return b;
}

bool loads(qor::TurboTransform& t, const std::string& bytes) {
  std::istringstream in(bytes, std::ios::binary);
  try {
    t.load(in);
    return true;
  } catch (const qor::Error&) {
    // A damaged input is reported through the library's exceptions.
    return false;
  }
}

}  // namespace

int savedTransform(const std::uint8_t* data, std::size_t size) {
  const std::string raw(reinterpret_cast<const char*>(data), size);
  qor::TurboTransform t;
  (void)loads(t, raw);  // as given: mostly stopped by the header or the checksum
  const std::string bytes = withConsistentHeader(raw);
  if (!loads(t, bytes)) return 0;

  // Whatever was accepted is a transform that saves to the same bytes and converts without a
  // crash.
  std::ostringstream out(std::ios::binary);
  t.save(out);
  if (out.str() != bytes) std::abort();
  try {
    for (int k = 0; k < 3; ++k) {
      const P3 p(0.7f * float(k), 1.0f + 0.4f * float(k), 0.1f);
      P3 tns, back;
      (void)t.convertARTtoSpace(qor::TurboTransform::nspan, p);
      (void)t.convertXYZtoSpace(qor::TurboTransform::m, p);
      t.convertARTtoSpaceTNs(qor::TurboTransform::nm, p, tns);
      t.convertSpaceTNsToART(qor::TurboTransform::nm, tns, back);
      t.convertSpaceTNsToART(qor::TurboTransform::mprime, P3(0.5f, 0.0f, 0.5f), back);
    }
    qor::QORVector<P3> line;
    t.getConstantSpace(qor::TurboTransform::nspanConst, 0.5, line);
    t.getConstantSpace(qor::TurboTransform::nmConst, 0.5, 7, line);
    t.getConstantSpace(qor::TurboTransform::rnmConst, 0.3, line);
  } catch (const qor::Error&) {
  }
  try {
    // The rebuilt projection database carries a new mesh.
    t.createBackgroundMesh(qor::TurboTransform::linear, 16);
  } catch (const qor::Error&) {
  }
  return 0;
}

}  // namespace qorfuzz
