// The library's own UTF-8 coder between wide text (one 32-bit unit per character) and bytes.
#ifndef ZO_KEL_UTF8_H
#define ZO_KEL_UTF8_H

#include <cstdint>

#include "kel/export.h"

namespace zo {
namespace kel {

/// The UTF-8 form of a NUL-terminated wide text, as a new NUL-terminated array owned by the
/// caller (release with delete[]). A character that cannot be encoded (>= 0x80000000) becomes '?'.
/// A null text gives a one-byte array holding 0.
ZO_KEL_API char* WideToUtf8(const wchar_t* text);
/// The same for the range [begin, end).
ZO_KEL_API char* WideToUtf8(const wchar_t* begin, const wchar_t* end);

/// The number of bytes WideToUtf8 writes, terminator not counted.
ZO_KEL_API std::uint32_t GetUtf8EncodingBytes(const wchar_t* text);
ZO_KEL_API std::uint32_t GetUtf8EncodingBytes(const wchar_t* begin, const wchar_t* end);

/// The wide form of count UTF-8 bytes, as a new NUL-terminated array owned by the caller
/// (delete[]). Throws InvalidSequence ("Invalid UTF8 encoding sequence") on malformed or
/// truncated input, having read nothing past bytes + count.
ZO_KEL_API wchar_t* Utf8ToWide(const char* bytes, std::uint32_t count);

/// The number of characters in count UTF-8 bytes; InvalidSequence as Utf8ToWide.
ZO_KEL_API std::uint32_t GetUtf8StringLength(const char* bytes, std::uint32_t count);

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_UTF8_H
