#include "Passages.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace qortest {

ScopedTempDir::ScopedTempDir() {
  char buffer[4096];
  if (getcwd(buffer, sizeof buffer) != nullptr) m_previous = buffer;
  std::string pattern = (std::filesystem::temp_directory_path() / "qor-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a temporary directory");
  m_path = pattern;
  if (chdir(m_path.c_str()) != 0) throw std::runtime_error("cannot enter " + m_path);
}

ScopedTempDir::~ScopedTempDir() {
  if (!m_previous.empty() && chdir(m_previous.c_str()) != 0) {
    // Nothing sensible to do in a destructor; the next test starts from wherever it is.
  }
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

}  // namespace qortest
