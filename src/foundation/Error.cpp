#include "qor/foundation/Error.h"

#include <utility>

#include "foundation/Assert.h"

namespace qor {

Error::Error(std::string className, std::string functionName, std::string message, errorType type)
    : m_className(std::move(className)),
      m_functionName(std::move(functionName)),
      m_message(std::move(message)),
      m_errorType(type) {}

Error::~Error() = default;

std::string Error::getDescription() const {
  return m_className + "::" + m_functionName + ": " + m_message + " (error type " +
         std::to_string(static_cast<int>(m_errorType)) + ")";
}

data::error::~error() = default;
data::invalid::~invalid() = default;
internal::error::~error() = default;
internal::nullPointer::~nullPointer() = default;

void foundation_detail::assertionFailed(const char* condition, const char* reason,
                                        const char* file, int line, const char* function) {
  std::string where = file;
  const std::size_t slash = where.find_last_of('/');
  if (slash != std::string::npos) where.erase(0, slash + 1);
  throw internal::error("QOR_ASSERT", function,
                        std::string("Internal invariant broken: ") + reason + " (" + condition +
                            ", " + where + ":" + std::to_string(line) + ")");
}

}  // namespace qor
