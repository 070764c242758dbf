// Pieces of the JSON forms: text, descriptor words, member checks.
#include "VarDataJson.h"

#include <cstdio>
#include <vector>

#include "Cli.h"
#include "TGVariantPair.h"

namespace zokel_tool {

using json = nlohmann::ordered_json;

void CheckMembers(const json& j, const std::string& allowed, const std::string& path) {
  if (!j.is_object()) throw ToolError(path + ": expected an object");
  for (auto it = j.begin(); it != j.end(); ++it) {
    const std::string padded = " " + allowed + " ";
    if (padded.find(" " + it.key() + " ") == std::string::npos) {
      throw ToolError(path + ": unexpected member \"" + it.key() + "\"");
    }
  }
}

void PutText(json& j, const char* textKey, const char* hexKey, const char* data, std::size_t n) {
  std::string text(data, n);
  try {
    (void)json(text).dump();  // throws for bytes that are not UTF-8
    j[textKey] = std::move(text);
  } catch (const json::type_error&) {
    j[hexKey] = ToHex(reinterpret_cast<const unsigned char*>(data), n);
  }
}

std::string GetText(const json& j, const char* textKey, const char* hexKey,
                    const std::string& path) {
  if (j.contains(textKey) && j.contains(hexKey)) {
    throw ToolError(path + ": give \"" + textKey + "\" or \"" + hexKey + "\", not both");
  }
  if (j.contains(textKey)) {
    if (!j.at(textKey).is_string()) throw ToolError(path + "." + textKey + ": expected a string");
    return j.at(textKey).get<std::string>();
  }
  if (!j.contains(hexKey)) throw ToolError(path + ": missing member \"" + textKey + "\"");
  if (!j.at(hexKey).is_string()) throw ToolError(path + "." + hexKey + ": expected hex text");
  const Bytes bytes = ParseHex(j.at(hexKey).get<std::string>(), path + "." + hexKey);
  return std::string(bytes.begin(), bytes.end());
}

std::string WordsToHex(const unsigned short* words, std::size_t n) {
  std::string out;
  char buf[8];
  for (std::size_t i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, i == 0 ? "%04X" : " %04X", static_cast<unsigned>(words[i]));
    out += buf;
  }
  return out;
}

std::vector<unsigned short> WordsFromHex(const std::string& text, const std::string& what) {
  return WordsFromBytes(ParseHex(text, what), what);
}

}  // namespace zokel_tool
