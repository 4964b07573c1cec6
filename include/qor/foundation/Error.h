#pragma once
/// @file
/// The exception family of the library. Every failure is thrown by value as one of these classes;
/// a handler for `qor::Error` catches every failure of the library.

#include <string>

#include "qor/export.h"

namespace qor {

/// Category of a failure, shared with the sibling libraries of the product line.
/// This library throws every exception with `errorType::fatal` (value 4).
enum class errorType : int { none = 0, information = 1, warning = 2, recoverable = 3, fatal = 4 };

/// Root of the exception family. Deliberately not derived from `std::exception`.
class QOR_API Error {
 public:
  /// @param className    class that reports the failure (for example "TurboTransform")
  /// @param functionName operation that failed (for example "setAxis")
  /// @param message      message text with its placeholders already filled in
  /// @param type         category of the failure
  Error(std::string className, std::string functionName, std::string message,
        errorType type = errorType::fatal);
  Error(const Error&) = default;
  Error& operator=(const Error&) = default;
  virtual ~Error();

  /// Class that reported the failure, e.g. "ParametricDB" ("Triplet" for triplet division).
  const std::string& getClassName() const noexcept { return m_className; }
  /// Operation named at the throw site (a few report a helper's or an older operation's name,
  /// e.g. "checkDataBaseEmpty").
  const std::string& getFunctionName() const noexcept { return m_functionName; }
  /// The message text, placeholders filled (e.g. "Curve does not exist. Name= hub").
  const std::string& getMessage() const noexcept { return m_message; }
  /// Category; `errorType::fatal` for every exception this library throws.
  errorType getErrorType() const noexcept { return m_errorType; }
  /// One line for logs: "ClassName::functionName: message (error type N)".
  std::string getDescription() const;

 private:
  std::string m_className;
  std::string m_functionName;
  std::string m_message;
  errorType m_errorType;
};

namespace data {
/// A failure caused by the data that the caller handed in (an unknown curve name, an empty
/// database).
class QOR_API error : public Error {
 public:
  using Error::Error;
  ~error() override;
};
/// An argument value that the operation cannot accept (division by zero, too few points requested).
class QOR_API invalid : public error {
 public:
  using error::error;
  ~invalid() override;
};
}  // namespace data

namespace internal {
/// An operation called in a state or with a choice that it does not support.
class QOR_API error : public Error {
 public:
  using Error::Error;
  ~error() override;
};
/// A required object was never set (for example the background mesh before `createBackgroundMesh`).
class QOR_API nullPointer : public error {
 public:
  using error::error;
  ~nullPointer() override;
};
}  // namespace internal

}  // namespace qor
