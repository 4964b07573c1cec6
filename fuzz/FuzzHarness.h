#pragma once
// Fuzz harnesses. Each takes arbitrary bytes, drives the library with them and returns 0. A library
// exception (qor::Error) is an accepted answer to bad input; anything else escaping, a crash, a
// sanitizer report or a hang is a finding. The same functions run under libFuzzer (fuzz/) and,
// over the committed corpus and regressions, in the ordinary test suite.

#include <cstddef>
#include <cstdint>

namespace qorfuzz {

/// Bytes as the contents of a point-list file read by TurboTransform::getVectorFromFile.
int pointFile(const std::uint8_t* data, std::size_t size);
/// Bytes as four boundary curves (raw floats or perturbations of an annulus), a set-up, a small
/// background mesh and a few conversions forward and back.
int transform(const std::uint8_t* data, std::size_t size);
/// Bytes as internal boundaries of a fixed passage handed to the segmenter, then conversions.
int segmenter(const std::uint8_t* data, std::size_t size);
/// Bytes as a saved transform (TurboTransform::load), as given and with the header's length and
/// checksum made consistent; what loads must save back to the same bytes and convert.
int savedTransform(const std::uint8_t* data, std::size_t size);

}  // namespace qorfuzz
