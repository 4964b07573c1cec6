#pragma once
// Reads typed values from fuzz input; past the end it yields zeros.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qorfuzz {

class ByteReader {
 public:
  ByteReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
  std::uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
  float rawFloat() {
    float f = 0.0f;
    std::uint8_t b[4] = {byte(), byte(), byte(), byte()};
    std::memcpy(&f, b, sizeof f);
    return f;
  }
  /// A value in [-1, 1] from one byte.
  float unit() { return (static_cast<float>(byte()) - 127.5f) / 127.5f; }
  bool done() const { return m_pos >= m_size; }

 private:
  const std::uint8_t* m_data;
  std::size_t m_size;
  std::size_t m_pos = 0;
};

}  // namespace qorfuzz
