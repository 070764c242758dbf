// Wide strings as UTF-16LE code units (through the platform converter), and the UCS-2 form kept
// beside it for platforms without a converter.
#ifndef ZO_KEL_OSDEP_SERIALIZEUTF16_H
#define ZO_KEL_OSDEP_SERIALIZEUTF16_H

#include <cstdint>

#include "kel/StringBase.h"
#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

/// UTF-16LE form of wide text: a character up to U+FFFF is one 16-bit unit, a character above it
/// a surrogate pair. A character that UTF-16 cannot hold (a surrogate code point, a value above
/// U+10FFFF) is written as one '?' unit, and on reading a unit that is not valid UTF-16 (a lone
/// surrogate) becomes one L'?'. The units are little-endian 16-bit values in aligned memory.
/// Throws InvalidLocale when the converter cannot be opened and std::bad_alloc when memory is
/// exhausted.
class ZO_KEL_API SerializeUtf16 {
 public:
  /// Number of bytes of the UTF-16LE form of text (2 per character, 4 above U+FFFF).
  static std::uint32_t GetUtf16SerializationSize(const WString& text);
  /// Writes the UTF-16LE form of text into [begin, end) and returns the end of what was written.
  /// Writing stops when the room is used up: give it GetUtf16SerializationSize(text) bytes.
  static unsigned short* SerializeAsUtf16(const WString& text, unsigned short* begin,
                                          unsigned short* end);
  /// The wide text of the UTF-16LE units [begin, end); null or empty input gives the empty text.
  static WString DeserializeFromUtf16(const unsigned short* begin, const unsigned short* end);
};

/// The same three operations in UCS-2, without a converter (not the form this platform uses for
/// UTF-16): every character is one unit, truncated to its low 16 bits on writing, so characters
/// above U+FFFF lose their upper bits; every unit is widened to one character on reading.
class ZO_KEL_API SerializeUcs2 {
 public:
  /// Number of bytes: 2 per character.
  static std::uint32_t GetUtf16SerializationSize(const WString& text);
  /// Writes one unit per character into [begin, end), stopping when the room is used up, and
  /// returns the end of what was written.
  static unsigned short* SerializeAsUtf16(const WString& text, unsigned short* begin,
                                          unsigned short* end);
  /// One character per unit of [begin, end).
  static WString DeserializeFromUtf16(const unsigned short* begin, const unsigned short* end);
};

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_SERIALIZEUTF16_H
