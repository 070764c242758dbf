// Codes and messages of the exception family.
#include "kel/exception.h"

#include <memory>

#include "kel/osdep/WideToAnsi.h"

namespace zo {
namespace kel {
namespace exception {
namespace {

detail::SharedMessage MakeMessage(const char* prefix, const char* detail) {
  std::string text(prefix);
  if (detail != nullptr) text += detail;
  return std::make_shared<const std::string>(std::move(text));
}

// A wide detail is narrowed to the locale's code set like every other wide text, so that a
// name from a packet reads the same in the message as on the caller's terminal. Should the
// locale's converter be unavailable, the message still gets made: each character outside ASCII
// then becomes '?'.
std::string NarrowDetail(const wchar_t* detail) {
  std::string text;
  if (detail == nullptr || *detail == L'\0') return text;
  try {
    std::unique_ptr<char[]> narrow(osdep::WideToAnsi(detail, ""));
    return text.assign(narrow.get());
  } catch (const Exception&) {
    for (const wchar_t* p = detail; *p != L'\0'; ++p) {
      text += (*p >= 0 && *p < 0x80) ? static_cast<char>(*p) : '?';
    }
  }
  return text;
}

detail::SharedMessage MakeSyntaxMessage(const std::string& detail) {
  if (detail.empty()) return std::make_shared<const std::string>("SyntaxError");
  return MakeMessage("SyntaxError: ", detail.c_str());
}

}  // namespace

Exception::~Exception() = default;
const char* Exception::what() const noexcept { return "unspecified exception"; }
std::int32_t Exception::getErrorCode() const noexcept { return -1; }

BufferOverflow::~BufferOverflow() = default;
const char* BufferOverflow::what() const noexcept { return "Buffer overflowed"; }
std::int32_t BufferOverflow::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7017u);
}

DeserializationError::~DeserializationError() = default;
const char* DeserializationError::what() const noexcept { return "Failed to deserialize"; }
std::int32_t DeserializationError::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7014u);
}

UnableToConvert::~UnableToConvert() = default;
const char* UnableToConvert::what() const noexcept { return "Unable to convert."; }
// Deliberately the base class's code although the class overrides it.
std::int32_t UnableToConvert::getErrorCode() const noexcept { return -1; }

BoundExceeded::~BoundExceeded() = default;
std::int32_t BoundExceeded::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7007u);
}

BoundExceeded2::BoundExceeded2(const char* file, std::int32_t line, const char* detail)
    : BoundExceeded(file, line),
      message_(MakeMessage("A request was made that would exceed the bounds: ", detail)) {}
BoundExceeded2::~BoundExceeded2() = default;
const char* BoundExceeded2::what() const noexcept { return message_->c_str(); }

OutOfRange::~OutOfRange() = default;
const char* OutOfRange::what() const noexcept { return "Out of range"; }
// Shares its code with BoundExceeded, deliberately.
std::int32_t OutOfRange::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7007u);
}

OutOfRange2::OutOfRange2(const char* file, std::int32_t line, const char* detail)
    : OutOfRange(file, line), message_(MakeMessage("Out of range: ", detail)) {}
OutOfRange2::~OutOfRange2() = default;
const char* OutOfRange2::what() const noexcept { return message_->c_str(); }

SyntaxError::SyntaxError(const char* file, std::int32_t line, const wchar_t* detail)
    : Exception(file, line), message_(MakeSyntaxMessage(NarrowDetail(detail))) {}
SyntaxError::SyntaxError(const char* file, std::int32_t line, const char* detail)
    : Exception(file, line), message_(MakeSyntaxMessage(detail != nullptr ? detail : "")) {}
SyntaxError::~SyntaxError() = default;
const char* SyntaxError::what() const noexcept { return message_->c_str(); }
std::int32_t SyntaxError::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7004u);
}

InvalidArgument::~InvalidArgument() = default;
const char* InvalidArgument::what() const noexcept { return "Invalid argument(s)"; }
std::int32_t InvalidArgument::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC700Fu);
}

NotFound::~NotFound() = default;
const char* NotFound::what() const noexcept { return "Not found"; }
std::int32_t NotFound::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC700Au);
}

InvalidSequence::~InvalidSequence() = default;
const char* InvalidSequence::what() const noexcept { return "Invalid UTF8 encoding sequence"; }
std::int32_t InvalidSequence::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7030u);
}

InvalidLocale::~InvalidLocale() = default;
const char* InvalidLocale::what() const noexcept { return "Invalid locale"; }
std::int32_t InvalidLocale::getErrorCode() const noexcept {
  return static_cast<std::int32_t>(0x8ABC7024u);
}

}  // namespace exception
}  // namespace kel
}  // namespace zo
