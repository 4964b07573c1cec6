#pragma once
/// @file
/// Message builders with numbered placeholders: `SystemMsg("Space (%1) not allowed") << 9` fills
/// every "%1" with "9". The n-th inserted value fills "%n"; a value whose placeholder does not
/// occur leaves the text unchanged and prints a warning on standard error.

#include <sstream>
#include <string>

#include "qor/export.h"

namespace qor {

/// Common part of `UserMsg` and `SystemMsg`.
class QOR_API MessageBase {
 public:
  /// @param text the message with placeholders "%1", "%2", ...; the counter starts at 0.
  explicit MessageBase(std::string text);
  virtual ~MessageBase();

  /// Inserts the next argument: the n-th call replaces every "%n" in the text by the value's
  /// text (numbers with default stream formatting: integers in decimal, floating-point values
  /// with six significant digits; a null `const char*` as "(null)"). When "%n" does not occur
  /// the text is unchanged and standard error gets: Warning: token %n was not used in the
  /// message: "<value>". Never throws for a missing placeholder.
  MessageBase& operator<<(const std::string& value);
  MessageBase& operator<<(const char* value);
  MessageBase& operator<<(int value);
  MessageBase& operator<<(long value);
  MessageBase& operator<<(long long value);
  MessageBase& operator<<(unsigned value);
  MessageBase& operator<<(unsigned long value);
  MessageBase& operator<<(unsigned long long value);
  MessageBase& operator<<(double value);
  MessageBase& operator<<(float value);

  /// The message with the placeholders filled so far.
  const std::string& str() const noexcept { return m_text; }
  /// Implicit, so a builder can be passed where an exception expects its message string.
  operator std::string() const { return m_text; }  // NOLINT(google-explicit-constructor)

 private:
  void insert(const std::string& valueText);

  std::string m_text;
  int m_counter = 0;
};

/// Messages meant for the end user (triplet division, the set-up checks of a transform).
class QOR_API UserMsg : public MessageBase {
 public:
  /// @param flag kept for compatibility with the product line; this library passes nullptr.
  explicit UserMsg(std::string text, bool* flag = nullptr);
  ~UserMsg() override;

  /// As `MessageBase::operator<<`, returning the `UserMsg` for chaining.
  template <typename T>
  UserMsg& operator<<(const T& value) {
    MessageBase::operator<<(value);
    return *this;
  }
};

/// Messages of every other failure.
class QOR_API SystemMsg : public MessageBase {
 public:
  /// @param text the message with placeholders "%1", "%2", ...
  explicit SystemMsg(std::string text);
  ~SystemMsg() override;

  /// As `MessageBase::operator<<`, returning the `SystemMsg` for chaining.
  template <typename T>
  SystemMsg& operator<<(const T& value) {
    MessageBase::operator<<(value);
    return *this;
  }
};

}  // namespace qor
