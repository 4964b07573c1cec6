#pragma once
/// @file
/// String helpers.

#include <string>

#include "qor/export.h"

namespace qor {

/// Static functions only.
class QOR_API StringUtilities {
 public:
  /// `text` with every occurrence of `from` replaced by `to`; an empty `from` changes nothing.
  static std::string replaceSubstring(const std::string& text, const std::string& from,
                                      const std::string& to);
};

}  // namespace qor
