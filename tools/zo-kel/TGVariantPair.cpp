// TG variant pairs read and written through the library's codec.
#include "TGVariantPair.h"

#include <cstdio>

#include "Cli.h"
#include "Output.h"
#include "PacketTree.h"
#include "ShowText.h"
#include "TGPairWalk.h"
#include "VarDataJson.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "qmstatic/tgvariant/TGVariant.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

VarData Read(const TGPair& pair, bry::DictionaryConversion mode, bool wide,
             zo::kel::AString& name) {
  return bry::TGVariantToVarData(pair.words.data(), pair.words.data() + pair.words.size(),
                                 pair.data.data(), pair.data.data() + pair.data.size(), mode, name,
                                 wide);
}

std::string Plural(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

// The value of a compact image the tool wrote itself.
VarData ImageValue(const Bytes& image, const std::string& path) {
  VarData v;
  const unsigned char* cursor = image.data();
  try {
    v.deserializeImpl(cursor, image.data() + image.size(), true);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    try {
      WalkValueImage(image.data(), image.data() + image.size(), true, kNoOffset);
    } catch (const ImageFailure& f) {
      throw ToolError(ShortPath(path + f.path.substr(5)) + ": " + f.reason);
    }
    throw ToolError(path + ": does not make a value");
  }
  return v;
}

// The word or byte where the pair stops reading and why; in "auto" mode, that of the reading
// (clusters or variants) that gets further.
std::string WhereItFails(const TGPair& pair, const TGReadOptions& options) {
  TGFailure cluster, variant;
  const bool inCluster =
      options.dictionaries != "variant" && FindTGFailure(pair, false, options.wide, cluster);
  const bool inVariant =
      options.dictionaries != "cluster" && FindTGFailure(pair, true, options.wide, variant);
  const auto later = [](const TGFailure& a, const TGFailure& b) {
    return a.inData != b.inData ? a.inData : a.byte > b.byte;
  };
  if (inCluster || inVariant) {
    const TGFailure& f = !inVariant || (inCluster && !later(variant, cluster)) ? cluster : variant;
    return f.what + " at byte " + std::to_string(f.byte) + ": " + f.reason;
  }
  return Plural(pair.words.size(), "descriptor word", "descriptor words") + " and " +
         Plural(pair.data.size(), "data byte", "data bytes") + ": the codec refuses them";
}

TGPair Flatten(const VarData& value, const zo::kel::AString& name, bry::DictionaryConversion mode) {
  TGPair pair;
  try {
    std::uint32_t wordCount = 0, byteCount = 0;
    bry::VarDataToTGVariantLength(value, name, mode, wordCount, byteCount);
    pair.words.resize(wordCount);
    pair.data.resize(byteCount);
    bry::VarDataToTGVariant(value, name, mode, pair.words.data(),
                            pair.words.data() + pair.words.size(), pair.data.data(),
                            pair.data.data() + pair.data.size());
  } catch (const zo::kel::exception::Exception&) {
    throw ToolError(
        "value: cannot be flattened into a TG variant pair: a kind or a nesting the pair has no "
        "type for");
  }
  return pair;
}

}  // namespace

VarData ReadTGPair(const TGPair& pair, const TGReadOptions& options, std::string& dictionaries,
                   std::string* name) {
  zo::kel::AString read;
  const bool cluster = options.dictionaries != "variant";
  dictionaries = cluster ? "cluster" : "variant";
  VarData value;
  try {
    value = Read(pair, cluster ? bry::kDictionaryAsCluster : bry::kDictionaryAsVariant,
                 options.wide, read);
  } catch (const zo::kel::exception::Exception&) {
    // A pair that carries its dictionaries as variants is refused in cluster mode: try that.
    bool read_ = false;
    if (options.dictionaries == "auto") {
      try {
        value = Read(pair, bry::kDictionaryAsVariant, options.wide, read);
        dictionaries = "variant";
        read_ = true;
      } catch (const zo::kel::exception::Exception&) {
      }
    }
    if (!read_) throw ToolError("TG variant pair: " + WhereItFails(pair, options));
  }
  if (name != nullptr) *name = std::string(read.c_str(), read.size());
  return value;
}

std::vector<unsigned short> WordsFromBytes(const Bytes& bytes, const std::string& what) {
  if (bytes.size() % 2 != 0) {
    throw ToolError(what + ": word " + std::to_string(bytes.size() / 2) + " at byte " +
                    std::to_string(bytes.size() - 1) +
                    ": the input ends inside the word (1 of 2 bytes)");
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

void ShowTGPair(const TGPair& pair, const TGReadOptions& options, const ShowOptions& show) {
  std::string dictionaries, name;
  const VarData value = ReadTGPair(pair, options, dictionaries, &name);
  const Bytes image = ValueToImage(value);
  try {
    const TGPair again =
        Flatten(value, zo::kel::AString(name.data(), name.size()),
                dictionaries == "cluster" ? bry::kDictionaryAsCluster : bry::kDictionaryAsVariant);
    if (again.words != pair.words || again.data != pair.data) {
      std::fputs(
          "zo-kel decode: note: the pair is not in the normal form the library writes "
          "(`zo-kel encode --normalize` writes that form)\n",
          stderr);
    }
  } catch (const ToolError&) {
    // A value the writer cannot flatten back: nothing to compare with.
  }
  const std::string words = WordsToHex(pair.words.data(), pair.words.size());
  if (show.json) {
    json head = {{"form", "tgvariant"}};
    PutText(head, "name", "nameHex", name.data(), name.size());
    head["dictionaries"] = dictionaries;
    if (options.wide) head["wide"] = true;
    head["descriptor"] = words;
    head["data"] = ToHex(pair.data);
    const std::string text = head.dump();
    Put(text.substr(0, text.size() - 1) + ",\"value\":");
    ShowValueImage(image.data(), image.data() + image.size(), true, kNoOffset, show, 0, "");
    Put("}\n");
    return;
  }
  std::string out = "TG variant pair, " +
                    Plural(pair.words.size(), "descriptor word", "descriptor words") + ", " +
                    Plural(pair.data.size(), "data byte", "data bytes") + "\n";
  AppendLine(out, kNoOffset, 0, "descriptor: " + words);
  AppendLine(out, kNoOffset, 0, "data: " + ToHex(pair.data));
  if (!name.empty()) AppendLine(out, kNoOffset, 0, "name: " + QuoteBytes(name.data(), name.size()));
  AppendLine(out, kNoOffset, 0, "dictionaries as " + dictionaries + "s");
  Put(out);
  // The value is built by the codec, not read from a VarData image: no offsets to show.
  ShowValueImage(image.data(), image.data() + image.size(), true, kNoOffset, show, 0, "value: ");
}

TGPair TGPairFromJson(const json& doc, bool normalize) {
  CheckMembers(doc, "form name nameHex dictionaries wide descriptor data value", "document");
  std::string nameText;
  if (doc.contains("name") || doc.contains("nameHex")) {
    nameText = GetText(doc, "name", "nameHex", "document");
  }
  const zo::kel::AString name(nameText.data(), nameText.size());
  bry::DictionaryConversion mode = bry::kDictionaryAsCluster;
  TGReadOptions options;
  if (doc.contains("dictionaries")) {
    const json& d = doc.at("dictionaries");
    if (d == "variant") {
      mode = bry::kDictionaryAsVariant;
    } else if (d != "cluster") {
      throw ToolError("document.dictionaries: expected \"cluster\" or \"variant\"");
    }
    options.dictionaries = d.get<std::string>();
  }
  if (doc.contains("wide")) options.wide = doc.at("wide") == true;
  if (!doc.contains("value")) throw ToolError("document: missing member \"value\"");
  Bytes image;
  EncodeValueImage(image, doc.at("value"), true, "value");
  const VarData value = ImageValue(image, "value");
  // The words and bytes as read, when they still hold the value and name of the document: a
  // pair the writer would lay out otherwise (labels in another order, other booleans) comes
  // back as it was.
  if (!normalize && doc.contains("descriptor") && doc.contains("data") &&
      doc.at("descriptor").is_string() && doc.at("data").is_string()) {
    TGPair given;
    given.words = WordsFromHex(doc.at("descriptor").get<std::string>(), "document.descriptor");
    given.data = ParseHex(doc.at("data").get<std::string>(), "document.data");
    std::string dictionaries, givenName;
    try {
      const VarData read = ReadTGPair(given, options, dictionaries, &givenName);
      if (givenName == nameText && ValueToImage(read) == ValueToImage(value)) return given;
    } catch (const ToolError&) {
      // The given words do not read: the value decides.
    }
  }
  return Flatten(value, name, mode);
}

}  // namespace zokel_tool
