// VarData to JSON and back.
#include "VarDataJson.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Cli.h"
#include "Kinds.h"
#include "PacketTree.h"
#include "TGVariantPair.h"
#include "kel/Limits.h"
#include "kel/time/AbsTime.h"

namespace zokel_tool {

using json = nlohmann::ordered_json;

namespace {

std::uint64_t ParseHexNumber(const json& j, const std::string& path) {
  const std::string* s = j.is_string() ? j.get_ptr<const std::string*>() : nullptr;
  bool ok = s != nullptr && s->size() > 2 && s->size() <= 18 && (*s)[0] == '0' &&
            ((*s)[1] == 'x' || (*s)[1] == 'X');
  std::uint64_t value = 0;
  for (std::size_t i = 2; ok && i < s->size(); ++i) {
    const char c = (*s)[i];
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
    ok = d >= 0;
    value = value << 4 | static_cast<std::uint64_t>(d < 0 ? 0 : d);
  }
  if (!ok) throw ToolError(path + ": expected a hex number such as \"0x1F\" (at most 16 digits)");
  return value;
}

std::uint64_t GetUnsigned(const json& j, const char* key, std::uint64_t max,
                          const std::string& path) {
  const auto it = j.find(key);
  if (it == j.end()) throw ToolError(path + ": missing member \"" + key + "\"");
  if (!it->is_number_unsigned() || it->get<std::uint64_t>() > max) {
    throw ToolError(path + "." + key + ": expected a whole number from 0 to " +
                    std::to_string(max));
  }
  return it->get<std::uint64_t>();
}

const json& Member(const json& j, const char* key, const std::string& path) {
  const auto it = j.find(key);
  if (it == j.end()) throw ToolError(path + ": missing member \"" + key + "\"");
  return *it;
}

const json& ArrayMember(const json& j, const char* key, const std::string& path) {
  const json& a = Member(j, key, path);
  if (!a.is_array()) throw ToolError(path + "." + key + ": expected an array");
  return a;
}

std::string HexMember(const json& j, const char* key, const std::string& path) {
  const json& h = Member(j, key, path);
  if (!h.is_string()) throw ToolError(path + "." + key + ": expected a string of hex digits");
  return h.get<std::string>();
}

json Words(const VarData& v) {
  std::uint32_t w3 = 0, w2 = 0, w1 = 0, w0 = 0;
  if (v.getGuts() != nullptr) v.getISSTimeValue()->getTimeValue().value().Get(w3, w2, w1, w0);
  return json::array({w0, w1, w2, w3});
}

void PutGuts(json& j, const VarData& v, std::uint16_t kind) {
  IVarDataGuts* guts = v.getGuts();
  switch (kind) {
    case VarData::kAnsi: {
      const IVarDataAnsi* text = v.getIAnsi();
      PutText(j, "text", "hex", guts ? text->GetData() : "", guts ? text->GetLength() : 0);
      return;
    }
    case VarData::kUnicode: {
      json units = json::array();
      if (guts != nullptr) {
        const wchar_t* chars = v.getIUnicode()->GetData();
        for (std::uint32_t i = 0; i < v.getIUnicode()->GetLength(); ++i) {
          units.push_back(static_cast<std::uint16_t>(chars[i]));
        }
      }
      j["units"] = std::move(units);
      return;
    }
    case VarData::kRaw: {
      const unsigned char* data = nullptr;
      std::uint32_t n = 0;
      if (guts != nullptr) static_cast<IVarDataRaw*>(guts)->GetData(data, n);
      j["hex"] = ToHex(data, n);
      return;
    }
    case VarData::kCell: {
      std::uint16_t row = 0, column = 0;
      VarData held;
      v.GetCell(row, column, held);
      j["row"] = row;
      j["column"] = column;
      j["value"] = ValueToJson(held);
      return;
    }
    case VarData::kDictionary: {
      json entries = json::array();
      if (guts != nullptr) {
        for (auto it = v.begin(); it != v.end(); ++it) {
          entries.push_back({{"key", ValueToJson(it.key())}, {"value", ValueToJson(it.value())}});
        }
      }
      j["entries"] = std::move(entries);
      return;
    }
    case VarData::kArray: {
      json elements = json::array();
      for (std::uint32_t i = 0; i < v.GetLength(); ++i)
        elements.push_back(ValueToJson(v.GetElement(i)));
      j["elements"] = std::move(elements);
      return;
    }
    case VarData::kAbsTime:
    case VarData::kRelTime:
      j["words"] = Words(v);
      return;
    case VarData::kTGVariant: {
      const unsigned short* words = nullptr;
      const unsigned char* data = nullptr;
      std::uint32_t wordCount = 0, byteCount = 0;
      if (guts != nullptr) v.getTGVariant(words, wordCount, data, byteCount);
      j["descriptor"] = WordsToHex(words, wordCount);
      j["data"] = ToHex(data, byteCount);
      return;
    }
    case VarData::kFlexData: {
      Bytes packet(4, 0);  // no guts: an empty packet, four zero bytes
      if (guts != nullptr) {
        const auto* flex = static_cast<IVarDataFlexData*>(guts);
        packet.assign(flex->serializationSize(), 0);
        unsigned char* cursor = packet.data();
        flex->serialize(cursor, packet.data() + packet.size());
      }
      j["packet"] = ToHex(packet);
      return;
    }
    default:
      return;
  }
}

void PutScalar(json& j, const VarData& v, std::uint16_t kind) {
  const std::uint64_t bits = v.getPayloadBits();
  switch (kind) {
    case VarData::kLogical: {
      bool b = false;
      v.GetLogical(b);
      j["value"] = b;
      break;
    }
    case VarData::kNumeric: {
      double d = 0;
      v.GetNumeric(d);
      // JSON has no NaN or infinity; those keep their exact bits instead.
      if (std::isfinite(d)) {
        j["value"] = d;
      } else {
        j["bits"] = HexNumber(bits, 16);
      }
      break;
    }
    case VarData::kTime:
      j["ns"] = static_cast<std::int64_t>(bits);
      break;
    case VarData::kVoidPointer:
      j["address"] = HexNumber(bits);
      break;
    case VarData::kID64:
      j["id"] = HexNumber(bits, 16);
      break;
    default:  // kind 0, empty, break, pulse: the full form's slot
      if (bits != 0) j["slot"] = HexNumber(bits, 16);
      break;
  }
  if (v.getQualifier() != 0) j["qualifier"] = v.getQualifier();
}

VarData ScalarFromJson(const json& j, std::uint16_t kind, const std::string& path) {
  std::uint64_t payload = 0;
  const char* members = "kind qualifier slot";
  switch (kind) {
    case VarData::kLogical: {
      members = "kind qualifier value";
      const json& b = Member(j, "value", path);
      if (!b.is_boolean()) throw ToolError(path + ".value: expected true or false");
      payload = b.get<bool>() ? 1 : 0;
      break;
    }
    case VarData::kNumeric:
      members = "kind qualifier value bits";
      if (j.contains("bits")) {
        payload = ParseHexNumber(j.at("bits"), path + ".bits");
      } else {
        const json& d = Member(j, "value", path);
        if (!d.is_number()) throw ToolError(path + ".value: expected a number");
        const double value = d.get<double>();
        std::memcpy(&payload, &value, sizeof payload);
      }
      break;
    case VarData::kTime: {
      members = "kind qualifier ns";
      const json& ns = Member(j, "ns", path);
      if (!ns.is_number_integer() ||
          (ns.is_number_unsigned() && ns.get<std::uint64_t>() > 0x7FFFFFFFFFFFFFFFu)) {
        throw ToolError(path + ".ns: expected a signed 64-bit count of nanoseconds");
      }
      payload = static_cast<std::uint64_t>(ns.get<std::int64_t>());
      break;
    }
    case VarData::kVoidPointer:
      members = "kind qualifier address";
      payload = ParseHexNumber(Member(j, "address", path), path + ".address");
      break;
    case VarData::kID64:
      members = "kind qualifier id";
      payload = ParseHexNumber(Member(j, "id", path), path + ".id");
      break;
    default:
      if (j.contains("slot")) payload = ParseHexNumber(j.at("slot"), path + ".slot");
      break;
  }
  CheckMembers(j, members, path);
  const auto qualifier = j.contains("qualifier") ? GetUnsigned(j, "qualifier", 0xFFFF, path) : 0;
  VarData v;
  v.setScalarWords(static_cast<std::uint32_t>(qualifier << 16 | kind), payload);
  return v;
}

// An array of exactly these elements, empty ones included: storing an empty value past the end
// of an array changes nothing, so an empty element is stored over a placeholder.
VarData ArrayFromJson(const json& elements, const std::string& path, std::uint32_t depth);

VarData GutsFromJson(const json& j, std::uint16_t kind, const std::string& path,
                     std::uint32_t depth);

VarData FromJson(const json& j, const std::string& path, std::uint32_t depth) {
  if (!j.is_object()) throw ToolError(path + ": expected an object with a \"kind\" member");
  if (depth >= zo::kel::kMaxNestingDepth) {
    throw ToolError(path + ": values nest deeper than " +
                    std::to_string(zo::kel::kMaxNestingDepth) + " levels");
  }
  const json& k = Member(j, "kind", path);
  std::uint16_t kind = 0;
  const bool known = k.is_string()
                         ? KindFromName(k.get<std::string>(), kind)
                         : k.is_number_unsigned() && k.get<std::uint64_t>() <= 0xFFFF &&
                               (k.get<std::uint64_t>() == 0 ||
                                KindName(static_cast<std::uint16_t>(k.get<std::uint64_t>())));
  if (!known) throw ToolError(path + ".kind: unknown kind " + k.dump());
  if (k.is_number()) kind = static_cast<std::uint16_t>(k.get<std::uint64_t>());
  if ((kind & VarData::kGutsBit) == 0) return ScalarFromJson(j, kind, path);
  return GutsFromJson(j, kind, path, depth);
}

VarData ArrayFromJson(const json& elements, const std::string& path, std::uint32_t depth) {
  VarData array;
  if (elements.empty()) {
    array.adoptGuts(VarData::kArray, nullptr);
    return array;
  }
  array.adoptGuts(VarData::kArray, NewVectorGuts());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    VarData element = FromJson(elements[i], path + "[" + std::to_string(i) + "]", depth + 1);
    const auto at = static_cast<std::uint32_t>(i);
    if (element.IsEmpty()) array.SetElement(at, VarData(0));
    array.SetElement(at, std::move(element));
  }
  return array;
}

VarData GutsFromJson(const json& j, std::uint16_t kind, const std::string& path,
                     std::uint32_t depth) {
  switch (kind) {
    case VarData::kAnsi: {
      CheckMembers(j, "kind text hex", path);
      const std::string text = GetText(j, "text", "hex", path);
      return VarData::ansi(text.data(), static_cast<std::uint32_t>(text.size()));
    }
    case VarData::kUnicode: {
      CheckMembers(j, "kind units", path);
      const json& units = ArrayMember(j, "units", path);
      std::vector<wchar_t> chars;
      for (const json& u : units) {
        if (!u.is_number_unsigned() || u.get<std::uint64_t>() > 0xFFFF) {
          throw ToolError(path + ".units: expected 16-bit code units (0 to 65535)");
        }
        chars.push_back(static_cast<wchar_t>(u.get<std::uint64_t>()));
      }
      return VarData::unicode(chars.data(), static_cast<std::uint32_t>(chars.size()));
    }
    case VarData::kRaw: {
      CheckMembers(j, "kind hex", path);
      const Bytes bytes = ParseHex(HexMember(j, "hex", path), path + ".hex");
      return VarData(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    case VarData::kCell: {
      CheckMembers(j, "kind row column value", path);
      const auto row = static_cast<std::uint16_t>(GetUnsigned(j, "row", 0xFFFF, path));
      const auto column = static_cast<std::uint16_t>(GetUnsigned(j, "column", 0xFFFF, path));
      return VarData(row, column, FromJson(Member(j, "value", path), path + ".value", depth + 1));
    }
    case VarData::kDictionary: {
      CheckMembers(j, "kind entries", path);
      const json& entries = ArrayMember(j, "entries", path);
      VarData dict = VarData::dict();
      for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::string at = path + ".entries[" + std::to_string(i) + "]";
        CheckMembers(entries[i], "key value", at);
        dict.setValue(FromJson(Member(entries[i], "key", at), at + ".key", depth + 1),
                      FromJson(Member(entries[i], "value", at), at + ".value", depth + 1));
      }
      return dict;
    }
    case VarData::kArray:
      CheckMembers(j, "kind elements", path);
      return ArrayFromJson(ArrayMember(j, "elements", path), path + ".elements", depth);
    case VarData::kAbsTime:
    case VarData::kRelTime: {
      CheckMembers(j, "kind words", path);
      const json& words = ArrayMember(j, "words", path);
      std::uint32_t w[4];
      for (std::size_t i = 0; i < 4; ++i) {
        if (words.size() != 4 || !words[i].is_number_unsigned() ||
            words[i].get<std::uint64_t>() > 0xFFFFFFFFu) {
          throw ToolError(path + ".words: expected four 32-bit words, least significant first");
        }
        w[i] = static_cast<std::uint32_t>(words[i].get<std::uint64_t>());
      }
      VarData v;
      v.setISSTimeValue(kind, nZOSS100::tSSTimeValue(nZOSS100::tSignedFixedPoint128::FromWords(
                                  w[3], w[2], w[1], w[0])));
      return v;
    }
    case VarData::kTGVariant: {
      CheckMembers(j, "kind descriptor data", path);
      const auto words = WordsFromHex(HexMember(j, "descriptor", path), path + ".descriptor");
      const Bytes data = ParseHex(HexMember(j, "data", path), path + ".data");
      return VarData::tgvar(words.data(), static_cast<std::uint32_t>(words.size()), data.data(),
                            static_cast<std::uint32_t>(data.size()));
    }
    case VarData::kFlexData: {
      CheckMembers(j, "kind packet", path);
      const Bytes bytes = ParseHex(HexMember(j, "packet", path), path + ".packet");
      return VarData(ReadPacketImage(bytes.data(), bytes.data() + bytes.size(), path + ".packet"));
    }
    default:
      throw ToolError(path + ": values of kind \"" + KindName(kind) + "\" cannot be built here");
  }
}

}  // namespace

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
  const Bytes bytes = ParseHex(HexMember(j, hexKey, path), path + "." + hexKey);
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

json ValueToJson(const VarData& v) {
  json j = json::object();
  const std::uint16_t kind = v.getKind();
  if (const char* name = KindName(kind)) {
    j["kind"] = name;
  } else {
    j["kind"] = kind;
  }
  if ((kind & VarData::kGutsBit) != 0) {
    PutGuts(j, v, kind);
  } else {
    PutScalar(j, v, kind);
  }
  return j;
}

VarData ValueFromJson(const json& j, const std::string& path) { return FromJson(j, path, 0); }

}  // namespace zokel_tool
