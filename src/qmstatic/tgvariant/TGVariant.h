// The TG variant codec: a VarData flattened into a type descriptor (16-bit words) and a data stream
// (bytes), the flattened pair in which TG programs exchange values, and back.
#ifndef ZO_KEL_TGVARIANT_TGVARIANT_H
#define ZO_KEL_TGVARIANT_TGVARIANT_H

#include <cstdint>

#include "kel/StringBase.h"
#include "kel/export.h"
#include "qmstatic/vardata/VarData.h"

/// Flattened form, in brief. A descriptor is a run of 16-bit words held in the machine's order:
/// word 0 its own length in bytes, word 1 the type word (low 8 bits the type code, bit 0x4000 set
/// when a label ends the descriptor), then words that depend on the code, then the label (its
/// length and bytes packed big-endian into words). The data stream holds every number
/// big-endian. Arrays are described by one element descriptor; clusters by one descriptor per
/// element, each labelled.
///
/// Variants (code 0x53), as this library lays them out. The data of a variant is its variant
/// body: the nested value's descriptor, its words written big-endian into the data stream (its
/// first word is its byte length, so it delimits itself), then the nested value's data, then a
/// u32 attribute count and per attribute a u32 name length, the name's bytes and the attribute's
/// value as a variant body of its own. Within a variant body, the nested value is the body's
/// value when there are no attributes; with attributes the nested value must be empty (void) and
/// the body stands for a dictionary of the attributes. A variant carrying both a value and
/// attributes has no VarData form (UnableToConvert).
namespace bry {

/// The type codes of the flattened form.
enum TGVariantTypeCodes : std::uint16_t {
  kTGVoid = 0x00,
  kTGInt8 = 0x01,
  kTGInt16 = 0x02,
  kTGInt32 = 0x03,
  kTGUInt8 = 0x05,
  kTGUInt16 = 0x06,
  kTGUInt32 = 0x07,
  kTGFloat = 0x09,
  kTGDouble = 0x0A,
  kTGBoolean = 0x21,
  kTGString = 0x30,
  kTGArray = 0x40,
  kTGCluster = 0x50,
  kTGVariant = 0x53,
  kTGTimestamp = 0x54,
};

/// How a VarData dictionary is carried.
enum DictionaryConversion {
  /// Dictionaries are not convertible (and clusters and variants are not read).
  kDictionaryNotConvertible = 0,
  /// A dictionary is a cluster: one element per entry, labelled with its key, in the exact
  /// (case-sensitive) order of the key texts. Keys must be non-empty text of at most 255 bytes.
  kDictionaryAsCluster = 1,
  /// A dictionary is a variant whose nested value is empty (written as the descriptor 4, 0x0000
  /// and no data) and whose attributes are the entries, in the dictionary's own order, each
  /// value written as a variant body with no attributes. Keys must be text (empty allowed).
  kDictionaryAsVariant = 2,
};

/// The sizes VarDataToTGVariant needs for `value`: `descriptorWords` 16-bit words and
/// `dataBytes` bytes. Throws what VarDataToTGVariant throws for an unconvertible value
/// (UnableToConvert); the outputs are then unchanged.
ZO_KEL_API void VarDataToTGVariantLength(const VarData& value, const zo::kel::AString& name,
                                         DictionaryConversion mode, std::uint32_t& descriptorWords,
                                         std::uint32_t& dataBytes);

/// Flattens `value` into the caller's buffers, the descriptor from `descriptorBegin` and the data
/// from `dataBegin`, each filled with exactly the sizes VarDataToTGVariantLength reports; `name`
/// becomes the top-level label (none when empty).
///
/// By kind: empty is void; logical is boolean (1 or 0); a numeric takes the code of its
/// qualifier (0 double, 1-3 signed 8/16/32, 4-5 unsigned 8/16, 6 and 8 (bit array) unsigned 32,
/// 7 float), the number truncated toward zero and saturated to the type's range (NaN gives 0;
/// a bit array is read with the handle's own bit-array rule); narrow and wide strings and byte
/// blocks are strings (wide text converted to the locale's narrow code set first); a non-empty
/// array is an array described by element 0; a dictionary as `mode` says; an absolute time is a
/// timestamp (every time has exactly one 128-bit form, so none is refused).
///
/// Throws UnableToConvert for any other kind, an empty array, an array whose elements do not all
/// flatten to element 0's descriptor (the pair could not be read back), a dictionary in mode 0,
/// a key that mode cannot carry or two keys with the same text (case ignored, as the reader's
/// dictionary compares them), a numeric qualifier above 8, a label over 255 bytes, a descriptor
/// over 65534 bytes, data over 4 GiB, or nesting deeper than zo::kel::kMaxNestingDepth levels.
/// Throws BufferOverflow when a buffer is too short: every write is checked first, so nothing is
/// written outside the buffers, but after any failure their contents are unspecified.
ZO_KEL_API void VarDataToTGVariant(const VarData& value, const zo::kel::AString& name,
                                   DictionaryConversion mode, unsigned short* descriptorBegin,
                                   unsigned short* descriptorEnd, unsigned char* dataBegin,
                                   unsigned char* dataEnd);

/// Reads one flattened value; both ranges must hold exactly that value (trailing words or bytes
/// are a SyntaxError). The top-level label is stored into `nameOut` (empty without one); `wide`
/// makes strings and dictionary keys wide (kind 0x1006) instead of narrow (0x1005).
///
/// Codes map back as the writer maps them (unsigned 32-bit comes back as qualifier 6, never as
/// a bit array); strings become text, never byte blocks; arrays keep all their elements, empty
/// ones included, and an element count of 0 gives an empty array; clusters (mode 1 only) become
/// dictionaries keyed by their element labels; variants (mode 2 only) must come out as
/// dictionaries, a variant with an empty nested value and no attributes being the empty one.
///
/// Throws UnableToConvert for an unsupported code, a cluster outside mode 1 or a variant outside
/// mode 2, a dimension count other than 1, missing 0xFFFF words, a cluster element without a
/// label, two keys with the same text, or a variant that is not a dictionary. Throws SyntaxError
/// (what() "SyntaxError: " and the detail) for a descriptor length below 2 or odd, a length that
/// disagrees with the words its type uses, a descriptor or data stream that ends inside a value
/// or continues after it, nesting deeper than zo::kel::kMaxNestingDepth levels, or more than
/// zo::kel::kMaxEmptyElements array elements that occupy no data. Never reads outside the two
/// ranges. On failure `nameOut` is unchanged.
ZO_KEL_API VarData TGVariantToVarData(const unsigned short* descriptorBegin,
                                      const unsigned short* descriptorEnd,
                                      const unsigned char* dataBegin, const unsigned char* dataEnd,
                                      DictionaryConversion mode, zo::kel::AString& nameOut,
                                      bool wide);

}  // namespace bry

#endif  // ZO_KEL_TGVARIANT_TGVARIANT_H
