// The JSON form of a VarData: every kind, qualifier and payload kept exactly, so that a value
// read from a byte image and written back from its JSON gives the same bytes.
//
//   {"kind": "numeric", "qualifier": 3, "value": 7}      numbers: finite doubles as JSON numbers
//   {"kind": "numeric", "bits": "0x7FF8000000000000"}    (round-trip text), others as their bits
//   {"kind": "empty", "slot": "0x0000000000000001"}      the full form's payload slot, when not 0
//   {"kind": "ansi", "text": "abc"}  or  {"kind": "ansi", "hex": "61 FF"}  (bytes not UTF-8)
//   {"kind": "unicode", "units": [97, 63744]}            16-bit code units
//   {"kind": "dictionary", "entries": [{"key": ..., "value": ...}]}   in stored order
//   {"kind": "abstime", "words": [0, 2147483648, 3, 0]}  least significant word first
//   {"kind": "tgvariant", "descriptor": "0004 0000", "data": ""}   words, bytes
//   {"kind": "packet", "packet": "0A 00 00 00 00 03 07 00 00 00"}
#ifndef ZO_KEL_TOOLS_VARDATAJSON_H
#define ZO_KEL_TOOLS_VARDATAJSON_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "Bytes.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

/// The JSON form of v.
nlohmann::ordered_json ValueToJson(const VarData& v);

/// The value described by j. ToolError naming `path` (the place of the failing element in the
/// document, such as "value.elements[2].key") and what is wrong with it.
VarData ValueFromJson(const nlohmann::ordered_json& j, const std::string& path);

/// Text as JSON: a "text" member when the bytes are UTF-8, otherwise a "hex" member.
void PutText(nlohmann::ordered_json& j, const char* textKey, const char* hexKey, const char* data,
             std::size_t n);
/// The bytes of a member written by PutText; ToolError when neither member is present.
std::string GetText(const nlohmann::ordered_json& j, const char* textKey, const char* hexKey,
                    const std::string& path);

/// Descriptor words as "0004 4021": four hex digits per word.
std::string WordsToHex(const unsigned short* words, std::size_t n);
/// Words from hex text read as big-endian byte pairs ("0004 4021" or "00 04 40 21").
std::vector<unsigned short> WordsFromHex(const std::string& text, const std::string& what);

/// Checks that j is an object whose members are all named in `allowed` (a blank-separated
/// list); ToolError naming path otherwise.
void CheckMembers(const nlohmann::ordered_json& j, const std::string& allowed,
                  const std::string& path);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_VARDATAJSON_H
