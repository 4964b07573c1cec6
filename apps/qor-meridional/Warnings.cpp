#include "Warnings.h"

#include <cstdio>
#include <vector>

namespace qormeridional {
namespace {

std::vector<std::string>& pending() {
  static std::vector<std::string> warnings;
  return warnings;
}

}  // namespace

void addWarning(const std::string& text) {
  for (const std::string& w : pending()) {
    if (w == text) return;
  }
  pending().push_back(text);
}

void printWarnings() {
  for (const std::string& w : pending()) {
    std::fprintf(stderr, "qor-meridional: warning: %s\n", w.c_str());
  }
  pending().clear();
}

}  // namespace qormeridional
