// Pieces of zo-kel's JSON forms: text that may not be UTF-8, descriptor words as hex, and
// the check that an object has no member the tool does not know.
#ifndef ZO_KEL_TOOLS_VARDATAJSON_H
#define ZO_KEL_TOOLS_VARDATAJSON_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Bytes.h"

namespace zokel_tool {

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
