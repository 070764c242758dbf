// The library's own UTF-8 coder between wide text (one 32-bit unit per character) and bytes.
#ifndef ZO_KEL_UTF8_H
#define ZO_KEL_UTF8_H

#include <cstdint>

#include "kel/export.h"

namespace zo {
namespace kel {

/// The UTF-8 form of a NUL-terminated wide text, as a new NUL-terminated array owned by the
/// caller (release with delete[]). Characters are written in the classic scheme of up to six
/// bytes (U+200000 and above take five or six), surrogates D800-DFFF as three bytes without
/// complaint; a character that cannot be encoded (>= 0x80000000) becomes '?'. A null text gives a
/// one-byte array holding 0. Throws std::bad_alloc only when memory is exhausted.
ZO_KEL_API char* WideToUtf8(const wchar_t* text);
/// The same for the range [begin, end).
ZO_KEL_API char* WideToUtf8(const wchar_t* begin, const wchar_t* end);

/// The number of bytes WideToUtf8 writes, terminator not counted (1 for each '?'); 0 for a null
/// text or an empty range. A count above 0xFFFFFFFF (only possible for texts of more than 715
/// million characters) is reported as 0xFFFFFFFF.
ZO_KEL_API std::uint32_t GetUtf8EncodingBytes(const wchar_t* text);
ZO_KEL_API std::uint32_t GetUtf8EncodingBytes(const wchar_t* begin, const wchar_t* end);

/// The wide form of count UTF-8 bytes, as a new NUL-terminated array owned by the caller
/// (delete[]); a null pointer or a count of 0 gives a one-unit array holding 0. Throws
/// InvalidSequence ("Invalid UTF8 encoding sequence") on malformed or truncated input, having
/// read nothing past bytes + count and allocated nothing that outlives the throw.
/// Rejected: bytes 80-BF, FE and FF as lead bytes, a missing continuation byte, the overlong
/// two-, three-, four- and six-byte forms (C0/C1 .., E0 80-9F .., F0 80-8F .., F8-FC 80-83 ..).
/// Accepted, deliberately: surrogates and
/// values above U+10FFFF. There is no five-byte form: lead bytes F8-FB start a six-byte sequence
/// in which only the lead byte's lowest bit counts, so the encoder's five-byte output for
/// U+200000..U+3FFFFFF does not read back as the same character.
ZO_KEL_API wchar_t* Utf8ToWide(const char* bytes, std::uint32_t count);

/// The number of characters in count UTF-8 bytes (0 for a null pointer); checks every sequence
/// and throws InvalidSequence exactly where Utf8ToWide does.
ZO_KEL_API std::uint32_t GetUtf8StringLength(const char* bytes, std::uint32_t count);

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_UTF8_H
