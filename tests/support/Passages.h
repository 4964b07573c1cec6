#pragma once
// Shared test support: the geometry of Geometry.h, transforms built on it, sample points, error
// and output capture, scoped environment variables and temporary directories.

#include <unistd.h>

#include <filesystem>
#include <random>
#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>

#include "Geometry.h"

namespace qortest {

/// A transform set up from an ART passage with its background mesh and the mesh nodes.
struct Built {
  Passage passage;
  qor::TurboTransform transform;
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  int index(int i, int j) const { return i * nj + j; }
  P3 node(int i, int j) const { return nodes.at(static_cast<std::size_t>(index(i, j))); }
};

/// Sets up b from p, builds the mesh and returns the quality result of createBackgroundMesh.
inline int build(Built& b, const Passage& p, qor::TurboTransform::BMmethod method, int size) {
  b.passage = p;
  initializeART(b.transform, p);
  const int quality = b.transform.createBackgroundMesh(method, size);
  b.transform.getBackgroundMesh(b.nodes, b.ni, b.nj);
  return quality;
}

/// n points strictly inside the passage streamwise (cells 1 to ni - 3, local coordinates in
/// [margin, 1 - margin]): on the line of normalised span ns, or (ns < 0) in random cells.
inline std::vector<P3> samplePoints(const Built& b, double ns, std::mt19937& rng, int n, double margin) {
  std::uniform_int_distribution<int> ci(1, b.ni - 3), cj(0, b.nj - 2);
  std::uniform_real_distribution<double> u(margin, 1.0 - margin);
  qor::QORVector<P3> line;
  if (ns >= 0.0) b.transform.getConstantSpace(qor::TurboTransform::nspanConst, ns, line);
  std::vector<P3> out;
  for (int k = 0; k < n; ++k) {
    const int i = ci(rng), j = cj(rng);
    const double s = u(rng), t = u(rng);
    const std::size_t k0 = std::size_t(i);
    const P3 lo = b.node(i, j) + (b.node(i + 1, j) - b.node(i, j)) * s;
    const P3 hi = b.node(i, j + 1) + (b.node(i + 1, j + 1) - b.node(i, j + 1)) * s;
    out.push_back(ns >= 0.0 ? line[k0] + (line[k0 + 1] - line[k0]) * s : lo + (hi - lo) * t);
  }
  return out;
}

/// Distance in the meridional plane.
template <typename A, typename B>
double meridionalDistance(const A& a, const B& b) {
  return std::hypot(double(a[0]) - double(b[0]), double(a[1]) - double(b[1]));
}

/// Runs f and returns the library error of type E it throws (a test failure when it throws
/// nothing or an error of another type).
template <typename E = qor::Error, typename F>
E captureError(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no error thrown";
  } catch (const qor::Error& e) {
    if constexpr (std::is_same<E, qor::Error>::value) {
      return e;
    } else {
      if (const E* typed = dynamic_cast<const E*>(&e)) return *typed;
      ADD_FAILURE() << "unexpected error type: " << e.getDescription();
    }
  }
  return E("", "", "");
}

/// Checks class name, operation name, message and the fatal type of a library error.
inline void expectError(const qor::Error& e, const std::string& className, const std::string& function,
                        const std::string& message) {
  EXPECT_EQ(e.getClassName(), className);
  EXPECT_EQ(e.getFunctionName(), function);
  EXPECT_EQ(e.getMessage(), message);
  EXPECT_EQ(e.getErrorType(), qor::errorType::fatal);
}

/// Sets an environment variable for the lifetime of the object.
struct ScopedEnv {
  ScopedEnv(const char* name, const char* value) : m_name(name) { setenv(name, value, 1); }
  ~ScopedEnv() { unsetenv(m_name); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;
  const char* m_name;
};

/// Switches the current directory to a fresh temporary directory for the object's lifetime.
struct ScopedTempDir {
  ScopedTempDir() : m_previous(std::filesystem::current_path()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "qor-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a temporary directory");
    m_path = pattern;
    std::filesystem::current_path(m_path);
  }
  ~ScopedTempDir() {
    std::error_code ec;
    std::filesystem::current_path(m_previous, ec);
    std::filesystem::remove_all(m_path, ec);
  }
  ScopedTempDir(const ScopedTempDir&) = delete;
  ScopedTempDir& operator=(const ScopedTempDir&) = delete;
  std::filesystem::path m_previous, m_path;
};

/// The lines of a stream or of a file.
inline std::vector<std::string> readLines(std::istream&& in) {
  std::vector<std::string> out;
  for (std::string text; std::getline(in, text);) out.push_back(text);
  return out;
}
inline std::vector<std::string> readLines(const std::string& file) { return readLines(std::ifstream(file)); }

/// What f prints on standard output.
template <typename F>
std::string captureStdout(F&& f) {
  ::testing::internal::CaptureStdout();
  f();
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace qortest
