// TG variant pairs read and written through the library's codec.
#include "TGVariantPair.h"

#include "Cli.h"
#include "PacketTree.h"
#include "ShowText.h"
#include "ValueTree.h"
#include "VarDataJson.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "qmstatic/tgvariant/TGVariant.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

struct ReadPair {
  VarData value;
  zo::kel::AString name;
  const char* dictionaries;
};

VarData Read(const TGPair& pair, bry::DictionaryConversion mode, bool wide,
             zo::kel::AString& name) {
  return bry::TGVariantToVarData(pair.words.data(), pair.words.data() + pair.words.size(),
                                 pair.data.data(), pair.data.data() + pair.data.size(), mode, name,
                                 wide);
}

ReadPair ReadWith(const TGPair& pair, const TGReadOptions& options) {
  ReadPair r;
  const bool cluster = options.dictionaries != "variant";
  r.dictionaries = cluster ? "cluster" : "variant";
  try {
    r.value = Read(pair, cluster ? bry::kDictionaryAsCluster : bry::kDictionaryAsVariant,
                   options.wide, r.name);
    return r;
  } catch (const zo::kel::exception::UnableToConvert& e) {
    // A pair that carries its dictionaries as variants is refused in cluster mode: try that.
    if (options.dictionaries == "auto") {
      try {
        r.value = Read(pair, bry::kDictionaryAsVariant, options.wide, r.name);
        r.dictionaries = "variant";
        return r;
      } catch (const zo::kel::exception::Exception&) {
      }
    }
    throw ToolError(std::string("TG variant pair: ") + e.what());
  } catch (const zo::kel::exception::Exception& e) {
    throw ToolError(std::string("TG variant pair: ") + e.what());
  }
}

std::string Plural(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

std::vector<unsigned short> WordsFromBytes(const Bytes& bytes, const std::string& what) {
  if (bytes.size() % 2 != 0) {
    throw ToolError(what + ": " + std::to_string(bytes.size()) +
                    " bytes do not make whole 16-bit words");
  }
  std::vector<unsigned short> words(bytes.size() / 2);
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = static_cast<unsigned short>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  }
  return words;
}

Bytes WordsToBytes(const std::vector<unsigned short>& words) {
  Bytes bytes;
  for (unsigned short w : words) {
    bytes.push_back(static_cast<unsigned char>(w >> 8));
    bytes.push_back(static_cast<unsigned char>(w));
  }
  return bytes;
}

json TGPairToJson(const TGPair& pair, const TGReadOptions& options) {
  const ReadPair r = ReadWith(pair, options);
  json doc = {{"form", "tgvariant"}};
  PutText(doc, "name", "nameHex", r.name.c_str(), r.name.size());
  doc["dictionaries"] = r.dictionaries;
  if (options.wide) doc["wide"] = true;
  doc["value"] = ValueToJson(r.value);
  return doc;
}

std::string TGPairTree(const TGPair& pair, const TGReadOptions& options) {
  const ReadPair r = ReadWith(pair, options);
  std::string out = "TG variant pair, " +
                    Plural(pair.words.size(), "descriptor word", "descriptor words") + ", " +
                    Plural(pair.data.size(), "data byte", "data bytes") + "\n";
  AppendLine(out, kNoOffset, 0, "descriptor: " + WordsToHex(pair.words.data(), pair.words.size()));
  AppendLine(out, kNoOffset, 0, "data: " + ToHex(pair.data));
  if (!r.name.empty()) {
    AppendLine(out, kNoOffset, 0, "name: " + QuoteBytes(r.name.c_str(), r.name.size()));
  }
  AppendLine(out, kNoOffset, 0, std::string("dictionaries as ") + r.dictionaries + "s");
  // The value is built by the codec, not read from a VarData image: no offsets to show.
  AppendValueTree(out, r.value, true, kNoOffset, 0, "value: ");
  return out;
}

TGPair TGPairFromJson(const json& doc) {
  CheckMembers(doc, "form name nameHex dictionaries wide value", "document");
  zo::kel::AString name;
  if (doc.contains("name") || doc.contains("nameHex")) {
    const std::string text = GetText(doc, "name", "nameHex", "document");
    name = zo::kel::AString(text.data(), text.size());
  }
  bry::DictionaryConversion mode = bry::kDictionaryAsCluster;
  if (doc.contains("dictionaries")) {
    const json& d = doc.at("dictionaries");
    if (d == "variant") {
      mode = bry::kDictionaryAsVariant;
    } else if (d != "cluster") {
      throw ToolError("document.dictionaries: expected \"cluster\" or \"variant\"");
    }
  }
  if (!doc.contains("value")) throw ToolError("document: missing member \"value\"");
  const VarData value = ValueFromJson(doc.at("value"), "value");
  TGPair pair;
  try {
    std::uint32_t wordCount = 0, byteCount = 0;
    bry::VarDataToTGVariantLength(value, name, mode, wordCount, byteCount);
    pair.words.resize(wordCount);
    pair.data.resize(byteCount);
    bry::VarDataToTGVariant(value, name, mode, pair.words.data(),
                            pair.words.data() + pair.words.size(), pair.data.data(),
                            pair.data.data() + pair.data.size());
  } catch (const zo::kel::exception::Exception& e) {
    throw ToolError(std::string("value: cannot be flattened into a TG variant pair: ") + e.what());
  }
  return pair;
}

}  // namespace zokel_tool
