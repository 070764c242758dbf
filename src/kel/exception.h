// The exception family of the foundation and packet code: each error records where it was
// thrown, a fixed numeric code and a message.
#ifndef ZO_KEL_EXCEPTION_H
#define ZO_KEL_EXCEPTION_H

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "kel/SourceName.h"
#include "kel/export.h"

namespace zo {
namespace kel {
namespace exception {

/// Root of the library's errors. Constructed from the place of the throw (source base name and
/// line, see ZO_KEL_HERE); `what()` and `getErrorCode()` are fixed per class. Copying never throws.
class ZO_KEL_API Exception : public std::exception {
 public:
  /// Records the place of the throw: `file`, a source base name in static storage, and `line`.
  Exception(const char* file, std::int32_t line) noexcept : line_(line), file_(file) {}
  ~Exception() override;

  /// "unspecified exception" unless a subclass says otherwise.
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  /// -1 unless a subclass says otherwise.
  virtual std::int32_t getErrorCode() const noexcept;

  /// Base name of the throwing source (no folders, no extension); static storage.
  const char* getFile() const noexcept { return file_; }
  /// Line of the throw in that source.
  std::int32_t getLine() const noexcept { return line_; }

 private:
  std::int32_t line_;
  const char* file_;
};

/// A destination buffer is too small: "Buffer overflowed", code 0x8ABC7017.
class ZO_KEL_API BufferOverflow : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~BufferOverflow() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// Input runs short or is malformed: "Failed to deserialize", code 0x8ABC7014.
class ZO_KEL_API DeserializationError : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~DeserializationError() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// A value cannot be converted: "Unable to convert.", code -1 (deliberately the base's code).
class ZO_KEL_API UnableToConvert : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~UnableToConvert() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// A bound would be exceeded: code 0x8ABC7007; thrown only as BoundExceeded2.
class ZO_KEL_API BoundExceeded : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~BoundExceeded() override;
  std::int32_t getErrorCode() const noexcept override;
};

namespace detail {
// An immutable message shared between copies of an exception, so that copying cannot throw.
using SharedMessage = std::shared_ptr<const std::string>;
}  // namespace detail

/// "A request was made that would exceed the bounds: " followed by the detail.
class ZO_KEL_API BoundExceeded2 : public BoundExceeded {
 public:
  /// The place of the throw and the detail (copied).
  BoundExceeded2(const char* file, std::int32_t line, const char* detail);
  ~BoundExceeded2() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;

 private:
  detail::SharedMessage message_;
};

/// A value or position lies outside its range: "Out of range", code 0x8ABC7007.
class ZO_KEL_API OutOfRange : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~OutOfRange() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// "Out of range: " followed by the detail; code 0x8ABC7007.
class ZO_KEL_API OutOfRange2 : public OutOfRange {
 public:
  /// The place of the throw and the detail (copied).
  OutOfRange2(const char* file, std::int32_t line, const char* detail);
  ~OutOfRange2() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;

 private:
  detail::SharedMessage message_;
};

/// Malformed packet or flattened data, code 0x8ABC7004. The message is "SyntaxError" for an
/// empty detail, otherwise "SyntaxError: " followed by the detail.
class ZO_KEL_API SyntaxError : public Exception {
 public:
  /// The place of the throw and the detail, wide (converted) or narrow; both copied.
  ///@{
  SyntaxError(const char* file, std::int32_t line, const wchar_t* detail = L"");
  SyntaxError(const char* file, std::int32_t line, const char* detail);
  ///@}
  ~SyntaxError() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;

 private:
  detail::SharedMessage message_;
};

/// "Invalid argument(s)", code 0x8ABC700F.
class ZO_KEL_API InvalidArgument : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~InvalidArgument() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// "Not found", code 0x8ABC700A.
class ZO_KEL_API NotFound : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~NotFound() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// Malformed UTF-8: "Invalid UTF8 encoding sequence", code 0x8ABC7030.
class ZO_KEL_API InvalidSequence : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~InvalidSequence() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

/// A character-set converter cannot be opened: "Invalid locale", code 0x8ABC7024.
class ZO_KEL_API InvalidLocale : public Exception {
 public:
  /// Records the place of the throw (see Exception).
  using Exception::Exception;
  ~InvalidLocale() override;
  /// The class's fixed message (see the class comment); static storage.
  const char* what() const noexcept override;
  std::int32_t getErrorCode() const noexcept override;
};

}  // namespace exception
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_EXCEPTION_H
