#pragma once
/// @file
/// Message builders with numbered placeholders: `SystemMsg("Space (%1) not allowed") << 9`
/// fills every "%1" with "9". The n-th inserted value fills "%n"; a value whose placeholder does not
/// occur leaves the text unchanged and prints a warning on standard error.

#include <sstream>
#include <string>

#include "qor/export.h"

namespace qor {

/// Common part of `UserMsg` and `SystemMsg`.
class QOR_API MessageBase {
 public:
  explicit MessageBase(std::string text);
  virtual ~MessageBase();

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

  template <typename T>
  UserMsg& operator<<(const T& value) {
    MessageBase::operator<<(value);
    return *this;
  }
};

/// Messages of every other failure.
class QOR_API SystemMsg : public MessageBase {
 public:
  explicit SystemMsg(std::string text);
  ~SystemMsg() override;

  template <typename T>
  SystemMsg& operator<<(const T& value) {
    MessageBase::operator<<(value);
    return *this;
  }
};

}  // namespace qor
