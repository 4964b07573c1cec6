#include "qor/foundation/Message.h"

#include <iostream>
#include <utility>

namespace qor {

namespace {
template <typename T>
std::string streamed(const T& value) {
  std::ostringstream os;  // default formatting: six significant digits for floating point
  os << value;
  return os.str();
}
}  // namespace

MessageBase::MessageBase(std::string text) : m_text(std::move(text)) {}
MessageBase::~MessageBase() = default;

void MessageBase::insert(const std::string& valueText) {
  ++m_counter;
  const std::string token = "%" + std::to_string(m_counter);
  std::string::size_type pos = m_text.find(token);
  if (pos == std::string::npos) {
    std::cerr << "Warning: token %" << m_counter << " was not used in the message: \"" << valueText
              << "\"" << std::endl;
    return;
  }
  // Replace every occurrence, continuing after the inserted text.
  while (pos != std::string::npos) {
    m_text.replace(pos, token.size(), valueText);
    pos = m_text.find(token, pos + valueText.size());
  }
}

MessageBase& MessageBase::operator<<(const std::string& value) {
  insert(value);
  return *this;
}
MessageBase& MessageBase::operator<<(const char* value) {
  insert(value != nullptr ? std::string(value) : std::string("(null)"));
  return *this;
}
MessageBase& MessageBase::operator<<(int value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(long value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(long long value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(unsigned value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(unsigned long value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(unsigned long long value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(double value) {
  insert(streamed(value));
  return *this;
}
MessageBase& MessageBase::operator<<(float value) {
  insert(streamed(value));
  return *this;
}

UserMsg::UserMsg(std::string text, bool* /*flag*/) : MessageBase(std::move(text)) {}
UserMsg::~UserMsg() = default;
SystemMsg::SystemMsg(std::string text) : MessageBase(std::move(text)) {}
SystemMsg::~SystemMsg() = default;

}  // namespace qor
