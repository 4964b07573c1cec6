#include "qor/foundation/Error.h"

#include <utility>

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

}  // namespace qor
