// The walk of a VarData image that writes its tree or JSON, and the JSON written back to bytes.
#include "ValueImage.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "Cli.h"
#include "IsoTime.h"
#include "Kinds.h"
#include "Output.h"
#include "PacketTree.h"
#include "ShowText.h"
#include "TGVariantPair.h"
#include "VarDataJson.h"
#include "kel/AutoBuffer.h"
#include "kel/Limits.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

constexpr std::size_t kShownBytes = 32;
constexpr std::uint16_t kKind0 = 0;

std::uint16_t U16(const unsigned char* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
std::uint32_t U32(const unsigned char* p) {
  return static_cast<std::uint32_t>(U16(p)) | static_cast<std::uint32_t>(U16(p + 2)) << 16;
}
std::uint64_t U64(const unsigned char* p) {
  return static_cast<std::uint64_t>(U32(p)) | static_cast<std::uint64_t>(U32(p + 4)) << 32;
}

std::string Plural(std::uint64_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

bool IsSlotKind(std::uint16_t kind) {
  return kind == kKind0 || kind == VarData::kEmpty || kind == VarData::kBreak ||
         kind == VarData::kPulse;
}

// UTF-16 code units as UTF-8; false when a surrogate is unpaired.
bool Utf16ToUtf8(const unsigned char* p, std::uint32_t n, std::string& out) {
  for (std::uint32_t i = 0; i < n; ++i) {
    std::uint32_t c = U16(p + 2 * i);
    if (c >= 0xDC00 && c < 0xE000) return false;
    if (c >= 0xD800 && c < 0xDC00) {
      if (i + 1 == n) return false;
      const std::uint32_t low = U16(p + 2 * (i + 1));
      if (low < 0xDC00 || low >= 0xE000) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      ++i;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | c >> 6);
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | c >> 12);
      out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | c >> 18);
      out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

// UTF-8 (as nlohmann's parser has checked it) as UTF-16 code units.
std::vector<std::uint16_t> Utf8ToUtf16(const std::string& s) {
  std::vector<std::uint16_t> units;
  for (std::size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    const int extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
    std::uint32_t c = extra == 0 ? b : b & (0x3F >> extra);
    for (int k = 1; k <= extra && i + static_cast<std::size_t>(k) < s.size(); ++k)
      c = c << 6 | (static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]) & 0x3F);
    i += static_cast<std::size_t>(extra) + 1;
    if (c >= 0x10000) {
      units.push_back(static_cast<std::uint16_t>(0xD800 + ((c - 0x10000) >> 10)));
      units.push_back(static_cast<std::uint16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      units.push_back(static_cast<std::uint16_t>(c));
    }
  }
  return units;
}

// The whole seconds and the fraction of a 128-bit time image (four words, least significant
// first).
void TimeWords(const unsigned char* p, std::int64_t& seconds, std::uint64_t& fraction) {
  fraction = U64(p);
  seconds = static_cast<std::int64_t>(U64(p + 8));
}

std::string AbsIso(const unsigned char* p) {
  std::int64_t seconds = 0;
  std::uint64_t fraction = 0;
  TimeWords(p, seconds, fraction);
  return IsoText(ShiftedSeconds(seconds, kAbsTimeEpochUnix), fraction);
}

std::string RelSeconds(const unsigned char* p) {
  std::int64_t seconds = 0;
  std::uint64_t fraction = 0;
  TimeWords(p, seconds, fraction);
  return ShowDouble(static_cast<double>(seconds) + std::ldexp(static_cast<double>(fraction), -64));
}

std::string TimeKindIso(std::int64_t ns) {
  std::int64_t seconds = ns / 1000000000, rest = ns % 1000000000;
  if (rest < 0) {
    rest += 1000000000;
    --seconds;
  }
  return IsoText(ShiftedSeconds(seconds, kTimeKindEpochUnix),
                 NanosecondsToFraction(static_cast<std::uint32_t>(rest)));
}

// Whole numbers without a fraction ("7", not "7.0"); -0 keeps its fraction so that it reads
// back as a double.
std::string Number(double d) {
  if (d == std::floor(d) && std::fabs(d) < 0x1p53 && !(d == 0 && std::signbit(d)))
    return std::to_string(static_cast<long long>(d));
  return json(d).dump();
}

class Walker {
 public:
  Walker(const unsigned char* begin, const unsigned char* end, bool compact, std::uint64_t base,
         const ShowOptions* show)
      : begin_(begin), end_(end), compact_(compact), base_(base), show_(show) {}

  const unsigned char* value(const unsigned char* p, std::uint32_t depth, int indent,
                             const std::string& label) {
    need(p, 4, "its type word");
    const std::uint32_t type = U32(p);
    const auto kind = static_cast<std::uint16_t>(type);
    if ((kind & VarData::kGutsBit) != 0 && depth >= zo::kel::kMaxNestingDepth) {
      fail(p, "values nest deeper than " + std::to_string(zo::kel::kMaxNestingDepth) + " levels");
    }
    switch (kind) {
      case VarData::kArray:
        return sequence(p, type, depth, indent, label, false);
      case VarData::kDictionary:
        return sequence(p, type, depth, indent, label, true);
      case VarData::kCell:
        return cell(p, type, depth, indent, label);
      default:
        return leaf(p, type, indent, label);
    }
  }

 private:
  struct Step {
    const char* member;
    std::uint64_t index;  // kNoIndex: the member alone
  };
  static constexpr std::uint64_t kNoIndex = ~std::uint64_t{0};

  std::uint64_t at(const unsigned char* p) const {
    return base_ == kNoOffset ? kNoOffset : base_ + static_cast<std::uint64_t>(p - begin_);
  }
  std::size_t remaining(const unsigned char* p) const { return static_cast<std::size_t>(end_ - p); }
  bool json() const { return show_->json; }

  std::string path() const {
    std::string text = "value";
    for (const Step& s : path_) {
      text += s.member;
      if (s.index != kNoIndex) text += "[" + std::to_string(s.index) + "]";
    }
    return text;
  }
  [[noreturn]] void fail(const unsigned char* p, const std::string& why) const {
    throw ImageFailure{path(), at(p), why};
  }
  void need(const unsigned char* p, std::size_t n, const std::string& what) const {
    if (remaining(p) < n) {
      fail(p, "the image ends inside " + what + " (" + std::to_string(remaining(p)) + " of " +
                  std::to_string(n) + " bytes)");
    }
  }

  void line(const unsigned char* p, int indent, const std::string& text) {
    std::string out;
    AppendLine(out, p == nullptr ? kNoOffset : at(p), indent, text);
    Put(out);
  }
  void newline(int indent) {
    Put("\n");
    Put(std::string(2 * static_cast<std::size_t>(indent), ' '));
  }
  // A JSON object of one value: its kind and any bits above the kind code.
  static std::string head(std::uint32_t type) {
    const auto kind = static_cast<std::uint16_t>(type);
    const auto qualifier = static_cast<std::uint16_t>(type >> 16);
    const char* name = kind == VarData::kObsolete ? "obsolete" : KindName(kind);
    std::string text =
        "{\"kind\":" + (name ? "\"" + std::string(name) + "\"" : std::to_string(kind));
    if (qualifier != 0) {
      const char* qname = kind == VarData::kNumeric ? QualifierName(qualifier) : nullptr;
      text += ",\"qualifier\":" +
              (qname ? "\"" + std::string(qname) + "\"" : std::to_string(qualifier));
    }
    return text;
  }
  static std::string qualifierNote(std::uint32_t type) {
    const auto qualifier = static_cast<std::uint16_t>(type >> 16);
    if (qualifier == 0) return std::string();
    const char* name =
        static_cast<std::uint16_t>(type) == VarData::kNumeric ? QualifierName(qualifier) : nullptr;
    return name ? std::string(" (") + name + ")" : " (qualifier " + std::to_string(qualifier) + ")";
  }

  const unsigned char* cell(const unsigned char* p, std::uint32_t type, std::uint32_t depth,
                            int indent, const std::string& label) {
    need(p + 4, 4, "the cell's row and column");
    const std::uint16_t row = U16(p + 4), column = U16(p + 6);
    if (show_ != nullptr) {
      if (json()) {
        Put(head(type) + ",\"row\":" + std::to_string(row) +
            ",\"column\":" + std::to_string(column) + ",\"value\":");
      } else {
        line(p, indent,
             label + "cell, row " + std::to_string(row) + ", column " + std::to_string(column) +
                 qualifierNote(type));
      }
    }
    path_.push_back({".value", kNoIndex});
    const unsigned char* q = value(p + 8, depth + 1, indent + 1, "value: ");
    path_.pop_back();
    if (show_ != nullptr && json()) Put("}");
    return q;
  }

  // Arrays (one value per element) and dictionaries (a key and a value per entry), in the
  // order of the image.
  const unsigned char* sequence(const unsigned char* p, std::uint32_t type, std::uint32_t depth,
                                int indent, const std::string& label, bool dictionary) {
    need(p + 4, 4, dictionary ? "its entry count" : "its element count");
    const std::uint32_t count = U32(p + 4);
    const ShowOptions* show = show_;
    const std::uint64_t shown =
        show == nullptr ? 0 : std::min<std::uint64_t>(count, show->maxElements);
    if (show != nullptr) {
      if (json()) {
        Put(head(type) + (dictionary ? ",\"entries\":[" : ",\"elements\":["));
      } else {
        line(p, indent,
             label +
                 (dictionary ? "dictionary, " + Plural(count, "entry", "entries")
                             : "array, " + Plural(count, "element", "elements")) +
                 qualifierNote(type));
      }
    }
    const unsigned char* q = p + 8;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (i == shown) show_ = nullptr;  // the rest is walked, not shown
      path_.push_back({dictionary ? ".entries" : ".elements", i});
      if (show_ != nullptr && json()) {
        if (i != 0) Put(",");
        newline(indent + 1);
      }
      if (dictionary) {
        if (show_ != nullptr && json()) Put("{\"key\":");
        path_.push_back({".key", kNoIndex});
        q = value(q, depth + 1, indent + 1, "key: ");
        path_.back().member = ".value";
        if (show_ != nullptr && json()) Put(",\"value\":");
        q = value(q, depth + 1, indent + 1, "value: ");
        path_.pop_back();
        if (show_ != nullptr && json()) Put("}");
      } else {
        q = value(q, depth + 1, indent + 1, "[" + std::to_string(i) + "] ");
      }
      path_.pop_back();
    }
    show_ = show;
    if (show_ != nullptr) {
      const std::uint64_t more = count - shown;
      if (json()) {
        if (shown != 0) newline(indent);
        Put(more == 0 ? "]}" : "],\"omitted\":" + std::to_string(more) + "}");
      } else if (more != 0) {
        line(nullptr, indent + 1, "... and " + std::to_string(more) + " more");
      }
    }
    return q;
  }

  // The length of a leaf's payload, checked against the image.
  std::size_t payloadSize(const unsigned char* p, std::uint16_t kind) {
    const unsigned char* payload = p + 4;
    switch (kind) {
      case VarData::kLogical:
        return 1;
      case VarData::kNumeric:
      case VarData::kTime:
      case VarData::kID64:
        return 8;
      case VarData::kVoidPointer:
        return compact_ ? 4 : 8;
      case VarData::kAnsi:
      case VarData::kRaw:
      case VarData::kUnicode: {
        need(payload, 4, "its length");
        const std::uint64_t n = U32(payload) * std::uint64_t{kind == VarData::kUnicode ? 2u : 1u};
        if (n > remaining(payload + 4))
          fail(p, "its length " + std::to_string(U32(payload)) + " runs past the end of the image");
        return 4 + static_cast<std::size_t>(n);
      }
      case VarData::kAbsTime:
      case VarData::kRelTime:
        return 16;
      case VarData::kTGVariant: {
        need(payload, 4, "its descriptor word count");
        const std::uint64_t words = 2 * std::uint64_t{U32(payload)};
        if (words > remaining(payload + 4))
          fail(p, "its descriptor runs past the end of the image");
        const unsigned char* data = payload + 4 + words;
        need(data, 4, "its data byte count");
        if (U32(data) > remaining(data + 4)) fail(p, "its data runs past the end of the image");
        return static_cast<std::size_t>(data + 4 + U32(data) - payload);
      }
      case VarData::kFlexData: {
        need(payload, 4, "the packet's size");
        const std::uint32_t size = U32(payload);
        if (size == 0) return 4;
        const unsigned char* packetEnd = payload + std::min<std::size_t>(size, remaining(payload));
        try {
          ReadPacketImage(payload, packetEnd, "");
        } catch (const ToolError&) {
          // Walked again with the input's offsets, to name the element that fails.
          try {
            WalkPacket(nullptr, payload, packetEnd, at(payload), 0, "");
          } catch (const ToolError& located) {
            fail(p, std::string("packet: ") + located.what());
          }
          fail(p, "packet: the library's reader refuses it");
        }
        return size;
      }
      case VarData::kObsolete: {
        need(payload, 12, "its three counts");
        std::uint64_t bytes = U32(payload);
        for (int i = 1; i < 3; ++i) {
          const std::uint32_t factor = U32(payload + 4 * i);
          bytes = factor != 0 && bytes > remaining(payload) / factor ? remaining(payload) + 1
                                                                     : bytes * factor;
        }
        if (bytes > remaining(payload + 12)) fail(p, "its contents run past the end of the image");
        return 12 + static_cast<std::size_t>(bytes);
      }
      default:
        if (IsSlotKind(kind)) return compact_ ? 0 : 8;
        fail(p, "unknown kind code " + HexNumber(kind, 4) + " (type word " + HexNumber(U32(p), 8) +
                    ")");
    }
  }

  const unsigned char* leaf(const unsigned char* p, std::uint32_t type, int indent,
                            const std::string& label) {
    const auto kind = static_cast<std::uint16_t>(type);
    const std::size_t size = payloadSize(p, kind);
    need(p + 4, size,
         std::string(kind == VarData::kObsolete ? "obsolete"
                     : KindName(kind)           ? KindName(kind)
                                                : "kind 0") +
             " value");
    if (show_ != nullptr) {
      if (json() && (kind == VarData::kRaw || kind == VarData::kFlexData)) {
        // Blocks of bytes go out a piece at a time: they can be most of a large value.
        const bool raw = kind == VarData::kRaw;
        Put(head(type) + (raw ? ",\"hex\":\"" : ",\"packet\":\""));
        PutHex(p + (raw ? 8 : 4), raw ? U32(p + 4) : size);
        Put("\"}");
      } else if (json()) {
        Put(head(type) + leafJson(p + 4, kind, size) + "}");
      } else {
        line(p, indent, label + leafText(p + 4, kind, size) + qualifierNote(type));
        if (kind == VarData::kFlexData && size > 4) {
          std::string out;
          WalkPacket(&out, p + 4, p + 4 + size, at(p + 4), indent + 1, "", show_->maxElements);
          Put(out);
        }
        if (kind == VarData::kTGVariant) decodedPair(p + 4, indent + 1);
      }
    }
    return p + 4 + size;
  }

  static TGPair Pair(const unsigned char* payload) {
    TGPair pair;
    const std::uint32_t words = U32(payload);
    for (std::uint32_t i = 0; i < words; ++i) pair.words.push_back(U16(payload + 4 + 2 * i));
    const unsigned char* data = payload + 4 + 2 * std::size_t{words};
    pair.data.assign(data + 4, data + 4 + U32(data));
    return pair;
  }

  // What an embedded pair holds, as the codec reads it (clusters first, then variants).
  void decodedPair(const unsigned char* payload, int indent) {
    const TGPair pair = Pair(payload);
    try {
      Bytes image;
      std::string how;
      const VarData v = ReadTGPair(pair, TGReadOptions(), how);
      if (v.IsEmpty() && pair.words.empty()) return;
      image = ValueToImage(v);
      line(nullptr, indent, "dictionaries as " + how + "s");
      Walker(image.data(), image.data() + image.size(), true, kNoOffset, show_)
          .value(image.data(), 0, indent, "decodes to: ");
    } catch (const ToolError& e) {
      line(nullptr, indent, std::string("does not decode: ") + e.what());
    }
  }

  // The members of a leaf after its kind; raw bytes and packets are written by leaf() itself.
  std::string leafJson(const unsigned char* q, std::uint16_t kind, std::size_t size) const {
    switch (kind) {
      case VarData::kLogical:
        return std::string(",\"value\":") + (q[0] != 0 ? "true" : "false") +
               (q[0] > 1 ? ",\"byte\":" + std::to_string(q[0]) : std::string());
      case VarData::kNumeric: {
        double d = 0;
        const std::uint64_t bits = U64(q);
        std::memcpy(&d, &bits, sizeof d);
        // JSON has no NaN or infinity; those keep their exact bits instead.
        return std::isfinite(d) ? ",\"value\":" + Number(d)
                                : ",\"bits\":\"" + HexNumber(bits, 16) + "\"";
      }
      case VarData::kTime: {
        const auto ns = static_cast<std::int64_t>(U64(q));
        return ",\"time\":\"" + TimeKindIso(ns) + "\",\"ns\":" + std::to_string(ns);
      }
      case VarData::kVoidPointer:
        return ",\"address\":\"" + HexNumber(size == 4 ? U32(q) : U64(q)) + "\"";
      case VarData::kID64:
        return ",\"id\":\"" + HexNumber(U64(q), 16) + "\"";
      case VarData::kAnsi: {
        nlohmann::ordered_json j = nlohmann::ordered_json::object();
        PutText(j, "text", "hex", reinterpret_cast<const char*>(q + 4), U32(q));
        const std::string members = j.dump();
        return "," + members.substr(1, members.size() - 2);
      }
      case VarData::kUnicode: {
        std::string text;
        if (Utf16ToUtf8(q + 4, U32(q), text))
          return ",\"text\":" + nlohmann::ordered_json(text).dump();
        std::string units = ",\"units\":[";
        for (std::uint32_t i = 0; i < U32(q); ++i)
          units += (i ? "," : "") + std::to_string(U16(q + 4 + 2 * i));
        return units + "]";
      }
      case VarData::kAbsTime:
      case VarData::kRelTime: {
        std::string words = ",\"words\":[";
        for (int i = 0; i < 4; ++i) words += (i ? "," : "") + std::to_string(U32(q + 4 * i));
        return (kind == VarData::kAbsTime ? ",\"time\":\"" + AbsIso(q) + "\""
                                          : ",\"seconds\":" + RelSeconds(q)) +
               words + "]";
      }
      case VarData::kTGVariant: {
        const TGPair pair = Pair(q);
        return ",\"descriptor\":\"" + WordsToHex(pair.words.data(), pair.words.size()) +
               "\",\"data\":\"" + ToHex(pair.data) + "\"";
      }
      case VarData::kObsolete:
        return ",\"counts\":[" + std::to_string(U32(q)) + "," + std::to_string(U32(q + 4)) + "," +
               std::to_string(U32(q + 8)) + "],\"hex\":\"" + ToHex(q + 12, size - 12) + "\"";
      default:  // the slot of the full form, when it holds anything
        return size == 8 && U64(q) != 0 ? ",\"slot\":\"" + HexNumber(U64(q), 16) + "\""
                                        : std::string();
    }
  }

  std::string leafText(const unsigned char* q, std::uint16_t kind, std::size_t size) const {
    switch (kind) {
      case VarData::kLogical:
        return std::string(q[0] != 0 ? "logical true" : "logical false") +
               (q[0] > 1 ? " (byte " + std::to_string(q[0]) + ")" : std::string());
      case VarData::kNumeric: {
        double d = 0;
        const std::uint64_t bits = U64(q);
        std::memcpy(&d, &bits, sizeof d);
        return "numeric " + ShowDouble(d) +
               (std::isfinite(d) ? std::string() : " (bits " + HexNumber(bits, 16) + ")");
      }
      case VarData::kTime: {
        const auto ns = static_cast<std::int64_t>(U64(q));
        return "time " + std::to_string(ns) + " ns (" + TimeKindIso(ns) + ")";
      }
      case VarData::kVoidPointer:
        return "void pointer " + HexNumber(size == 4 ? U32(q) : U64(q));
      case VarData::kID64:
        return "id64 " + HexNumber(U64(q), 16);
      case VarData::kAnsi: {
        const std::uint32_t n = U32(q);
        return "ansi " + QuoteBytes(reinterpret_cast<const char*>(q + 4), n) + " (" +
               Plural(n, "byte", "bytes") + ")";
      }
      case VarData::kUnicode: {
        const std::uint32_t n = U32(q);
        std::vector<std::uint16_t> units(n);
        for (std::uint32_t i = 0; i < n; ++i) units[i] = U16(q + 4 + 2 * i);
        return "unicode " + QuoteUnits(units.data(), n) + " (" + Plural(n, "unit", "units") + ")";
      }
      case VarData::kRaw: {
        const std::uint32_t n = U32(q);
        std::string text = "raw, " + Plural(n, "byte", "bytes");
        if (n != 0) text += ": " + ToHex(q + 4, n < kShownBytes ? n : kShownBytes);
        return n > kShownBytes ? text + " ..." : text;
      }
      case VarData::kAbsTime:
        return "absolute time " + AbsIso(q);
      case VarData::kRelTime:
        return "relative time " + RelSeconds(q) + " s";
      case VarData::kTGVariant: {
        const TGPair pair = Pair(q);
        return "TG variant, descriptor " + WordsToHex(pair.words.data(), pair.words.size()) +
               ", data " + ToHex(pair.data);
      }
      case VarData::kFlexData:
        return size == 4 ? "packet, empty" : "FlexData packet";
      case VarData::kObsolete:
        return "obsolete kind, " + Plural(size - 12, "byte", "bytes") + ", read as empty";
      default: {
        const char* name = KindName(kind);
        std::string text = name != nullptr ? name : "kind 0";
        if (size == 8 && U64(q) != 0) text += ", slot " + HexNumber(U64(q), 16);
        return text;
      }
    }
  }

  const unsigned char* begin_;
  const unsigned char* end_;
  bool compact_;
  std::uint64_t base_;
  const ShowOptions* show_;
  std::vector<Step> path_;
};

// ---- JSON back to bytes ----

void Put32(Bytes& out, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
void Put16(Bytes& out, std::uint16_t v) {
  out.push_back(static_cast<unsigned char>(v));
  out.push_back(static_cast<unsigned char>(v >> 8));
}
void Put64(Bytes& out, std::uint64_t v) {
  Put32(out, static_cast<std::uint32_t>(v));
  Put32(out, static_cast<std::uint32_t>(v >> 32));
}

[[noreturn]] void Bad(const std::string& path, const std::string& why) {
  throw ToolError(ShortPath(path) + ": " + why);
}

const json& Member(const json& j, const char* key, const std::string& path) {
  const auto it = j.find(key);
  if (it == j.end()) Bad(path, std::string("missing member \"") + key + "\"");
  return *it;
}

std::uint64_t Unsigned(const json& j, std::uint64_t max, const std::string& path) {
  if (!j.is_number_unsigned() || j.get<std::uint64_t>() > max)
    Bad(path, "expected a whole number from 0 to " + std::to_string(max));
  return j.get<std::uint64_t>();
}

std::uint64_t HexMemberNumber(const json& j, const char* key, const std::string& path) {
  const json& h = Member(j, key, path);
  const std::string at = path + "." + key;
  if (!h.is_string()) Bad(at, "expected a hex number such as \"0x1F\"");
  const std::string s = h.get<std::string>();
  if (s.size() < 3 || s.size() > 18 || s[0] != '0' || (s[1] != 'x' && s[1] != 'X'))
    Bad(at, "expected a hex number such as \"0x1F\" (at most 16 digits)");
  const Bytes bytes = ParseHex(std::string((s.size() % 2) ? "0" : "") + s.substr(2), at);
  std::uint64_t v = 0;
  for (unsigned char b : bytes) v = v << 8 | b;
  return v;
}

Bytes HexBytes(const json& j, const char* key, const std::string& path) {
  const json& h = Member(j, key, path);
  if (!h.is_string()) Bad(path + "." + key, "expected a string of hex digits");
  return ParseHex(h.get<std::string>(), path + "." + key);
}

void PutCounted(Bytes& out, const void* data, std::size_t n, std::size_t unit) {
  Put32(out, static_cast<std::uint32_t>(n / unit));
  const auto* b = static_cast<const unsigned char*>(data);
  out.insert(out.end(), b, b + n);
}

class Encoder {
 public:
  Encoder(Bytes& out, bool compact) : out_(out), compact_(compact) {}

  void value(const json& j, const std::string& path, std::uint32_t depth) {
    if (depth >= zo::kel::kMaxNestingDepth)
      Bad(path, "values nest deeper than " + std::to_string(zo::kel::kMaxNestingDepth) + " levels");
    if (!j.is_object() || !j.contains("kind")) return friendly(j, path, depth);
    const std::uint16_t kind = kindOf(j.at("kind"), path);
    std::uint32_t qualifier = 0;
    if (j.contains("qualifier")) {
      const json& q = j.at("qualifier");
      if (q.is_string()) {
        std::uint16_t n = 0;
        while (n <= 8 && q != QualifierName(n)) ++n;
        if (n > 8) Bad(path + ".qualifier", "unknown qualifier " + q.dump());
        qualifier = n;
      } else {
        qualifier = static_cast<std::uint32_t>(Unsigned(q, 0xFFFF, path + ".qualifier"));
      }
    }
    if (j.contains("omitted"))
      Bad(path, "elements were left out when this JSON was written (--max-elements)");
    Put32(out_, qualifier << 16 | kind);
    payload(j, kind, path, depth);
  }

 private:
  static std::uint16_t kindOf(const json& k, const std::string& path) {
    std::uint16_t kind = 0;
    if (k.is_string() && k == "obsolete") return VarData::kObsolete;
    if (k.is_string() && KindFromName(k.get<std::string>(), kind)) return kind;
    if (k.is_number_unsigned() && k.get<std::uint64_t>() == 0) return 0;
    Bad(path + ".kind", "unknown kind " + k.dump());
  }

  // A plain JSON value takes the obvious kind.
  void friendly(const json& j, const std::string& path, std::uint32_t depth) {
    std::int64_t seconds = 0;
    std::uint64_t fraction = 0;
    if (j.is_null()) {
      Put32(out_, VarData::kEmpty);
      if (!compact_) Put64(out_, 0);
    } else if (j.is_boolean()) {
      Put32(out_, VarData::kLogical);
      out_.push_back(j.get<bool>() ? 1 : 0);
    } else if (j.is_number()) {
      Put32(out_, VarData::kNumeric);
      const double d = j.get<double>();
      std::uint64_t bits = 0;
      std::memcpy(&bits, &d, sizeof bits);
      Put64(out_, bits);
    } else if (j.is_string() && ParseIsoText(j.get<std::string>(), seconds, fraction)) {
      Put32(out_, VarData::kAbsTime);
      putTime(seconds - kAbsTimeEpochUnix, fraction);
    } else if (j.is_string()) {
      Put32(out_, VarData::kAnsi);
      const std::string& s = j.get_ref<const std::string&>();
      PutCounted(out_, s.data(), s.size(), 1);
    } else if (j.is_array()) {
      Put32(out_, VarData::kArray);
      Put32(out_, static_cast<std::uint32_t>(j.size()));
      for (std::size_t i = 0; i < j.size(); ++i)
        value(j[i], path + "[" + std::to_string(i) + "]", depth + 1);
    } else {  // an object without "kind": a dictionary with narrow-text keys
      Put32(out_, VarData::kDictionary);
      Put32(out_, static_cast<std::uint32_t>(j.size()));
      for (auto it = j.begin(); it != j.end(); ++it) {
        Put32(out_, VarData::kAnsi);
        PutCounted(out_, it.key().data(), it.key().size(), 1);
        value(it.value(), path + "." + it.key(), depth + 1);
      }
    }
  }

  void putTime(std::int64_t seconds, std::uint64_t fraction) {
    Put64(out_, fraction);
    Put64(out_, static_cast<std::uint64_t>(seconds));
  }

  void payload(const json& j, std::uint16_t kind, const std::string& path, std::uint32_t depth) {
    switch (kind) {
      case VarData::kLogical: {
        if (j.contains("byte")) {
          out_.push_back(static_cast<unsigned char>(Unsigned(j.at("byte"), 255, path + ".byte")));
          return;
        }
        const json& b = Member(j, "value", path);
        if (!b.is_boolean()) Bad(path + ".value", "expected true or false");
        out_.push_back(b.get<bool>() ? 1 : 0);
        return;
      }
      case VarData::kNumeric: {
        std::uint64_t bits = 0;
        if (j.contains("bits")) {
          bits = HexMemberNumber(j, "bits", path);
        } else {
          const json& d = Member(j, "value", path);
          if (!d.is_number()) Bad(path + ".value", "expected a number");
          const double value = d.get<double>();
          std::memcpy(&bits, &value, sizeof bits);
        }
        Put64(out_, bits);
        return;
      }
      case VarData::kTime: {
        std::int64_t ns = 0;
        if (j.contains("ns")) {
          const json& n = j.at("ns");
          if (!n.is_number_integer() ||
              (n.is_number_unsigned() && n.get<std::uint64_t>() > INT64_MAX))
            Bad(path + ".ns", "expected a signed 64-bit count of nanoseconds");
          ns = n.get<std::int64_t>();
        } else {
          std::int64_t seconds = 0;
          std::uint64_t fraction = 0;
          const json& t = Member(j, "time", path);
          if (!t.is_string() || !ParseIsoText(t.get<std::string>(), seconds, fraction))
            Bad(path + ".time", "expected ISO 8601 UTC text such as \"2024-12-25T10:30:00Z\"");
          // Nanoseconds since 1899-12-30 in 64 bits reach 292 years either side.
          const std::int64_t since = seconds - kTimeKindEpochUnix;
          if (since > INT64_MAX / 1000000000 - 1 || since < INT64_MIN / 1000000000 + 1)
            Bad(path + ".time", "outside the 292 years either side of 1899-12-30 that it holds");
          ns = since * 1000000000 + FractionToNanoseconds(fraction);
        }
        Put64(out_, static_cast<std::uint64_t>(ns));
        return;
      }
      case VarData::kVoidPointer: {
        const std::uint64_t address = HexMemberNumber(j, "address", path);
        if (compact_) {
          Put32(out_, static_cast<std::uint32_t>(address));
        } else {
          Put64(out_, address);
        }
        return;
      }
      case VarData::kID64:
        Put64(out_, HexMemberNumber(j, "id", path));
        return;
      case VarData::kAnsi: {
        const std::string text = GetText(j, "text", "hex", path);
        PutCounted(out_, text.data(), text.size(), 1);
        return;
      }
      case VarData::kUnicode: {
        std::vector<std::uint16_t> units;
        if (j.contains("text") && j.at("text").is_string()) {
          units = Utf8ToUtf16(j.at("text").get<std::string>());
        } else {
          const json& u = Member(j, "units", path);
          if (!u.is_array()) Bad(path + ".units", "expected an array of 16-bit code units");
          for (const json& unit : u)
            units.push_back(static_cast<std::uint16_t>(Unsigned(unit, 0xFFFF, path + ".units")));
        }
        Put32(out_, static_cast<std::uint32_t>(units.size()));
        for (std::uint16_t unit : units) Put16(out_, unit);
        return;
      }
      case VarData::kRaw: {
        const Bytes bytes = HexBytes(j, "hex", path);
        PutCounted(out_, bytes.data(), bytes.size(), 1);
        return;
      }
      case VarData::kCell:
        Put16(out_,
              static_cast<std::uint16_t>(Unsigned(Member(j, "row", path), 0xFFFF, path + ".row")));
        Put16(out_, static_cast<std::uint16_t>(
                        Unsigned(Member(j, "column", path), 0xFFFF, path + ".column")));
        return value(Member(j, "value", path), path + ".value", depth + 1);
      case VarData::kDictionary:
      case VarData::kArray: {
        const bool dict = kind == VarData::kDictionary;
        const char* key = dict ? "entries" : "elements";
        const json& items = Member(j, key, path);
        if (!items.is_array()) Bad(path + "." + key, "expected an array");
        Put32(out_, static_cast<std::uint32_t>(items.size()));
        for (std::size_t i = 0; i < items.size(); ++i) {
          const std::string at = path + "." + key + "[" + std::to_string(i) + "]";
          if (!dict) {
            value(items[i], at, depth + 1);
            continue;
          }
          if (!items[i].is_object()) Bad(at, "expected {\"key\": ..., \"value\": ...}");
          value(Member(items[i], "key", at), at + ".key", depth + 1);
          value(Member(items[i], "value", at), at + ".value", depth + 1);
        }
        return;
      }
      case VarData::kAbsTime:
      case VarData::kRelTime:
        return timeValue(j, kind, path);
      case VarData::kTGVariant: {
        const json& d = Member(j, "descriptor", path);
        if (!d.is_string()) Bad(path + ".descriptor", "expected hex words such as \"0004 0000\"");
        const auto words = WordsFromHex(d.get<std::string>(), path + ".descriptor");
        Put32(out_, static_cast<std::uint32_t>(words.size()));
        for (unsigned short w : words) Put16(out_, w);
        const Bytes data = HexBytes(j, "data", path);
        PutCounted(out_, data.data(), data.size(), 1);
        return;
      }
      case VarData::kFlexData: {
        const Bytes packet = HexBytes(j, "packet", path);
        if (packet.size() != 4 || U32(packet.data()) != 0)
          ReadPacketImage(packet.data(), packet.data() + packet.size(),
                          ShortPath(path + ".packet"));
        out_.insert(out_.end(), packet.begin(), packet.end());
        return;
      }
      case VarData::kObsolete: {
        const json& counts = Member(j, "counts", path);
        if (!counts.is_array() || counts.size() != 3)
          Bad(path + ".counts", "expected three counts");
        for (const json& c : counts)
          Put32(out_, static_cast<std::uint32_t>(Unsigned(c, 0xFFFFFFFFu, path + ".counts")));
        const Bytes bytes = HexBytes(j, "hex", path);
        out_.insert(out_.end(), bytes.begin(), bytes.end());
        return;
      }
      default:  // kind 0, empty, break, pulse
        if (!compact_) Put64(out_, j.contains("slot") ? HexMemberNumber(j, "slot", path) : 0);
        return;
    }
  }

  // The exact words when given; otherwise the ISO text of an absolute time or the seconds of
  // a relative one.
  void timeValue(const json& j, std::uint16_t kind, const std::string& path) {
    if (j.contains("words")) {
      const json& words = j.at("words");
      if (!words.is_array() || words.size() != 4)
        Bad(path + ".words", "expected four 32-bit words, least significant first");
      for (const json& w : words)
        Put32(out_, static_cast<std::uint32_t>(Unsigned(w, 0xFFFFFFFFu, path + ".words")));
      return;
    }
    std::int64_t seconds = 0;
    std::uint64_t fraction = 0;
    if (kind == VarData::kAbsTime) {
      const json& t = Member(j, "time", path);
      if (!t.is_string() || !ParseIsoText(t.get<std::string>(), seconds, fraction))
        Bad(path + ".time", "expected ISO 8601 UTC text such as \"2024-12-25T10:30:00Z\"");
      return putTime(seconds - kAbsTimeEpochUnix, fraction);
    }
    const json& s = Member(j, "seconds", path);
    if (!s.is_number() || !std::isfinite(s.get<double>()) || std::fabs(s.get<double>()) > 9e18)
      Bad(path + ".seconds", "expected a number of seconds");
    const double d = s.get<double>(), whole = std::floor(d);
    putTime(static_cast<std::int64_t>(whole),
            static_cast<std::uint64_t>(
                std::ldexp(d - whole, 64) >= 0x1p64 ? 0 : std::ldexp(d - whole, 64)));
  }

  Bytes& out_;
  bool compact_;
};

}  // namespace

const unsigned char* ShowValueImage(const unsigned char* value, const unsigned char* end,
                                    bool compact, std::uint64_t base, const ShowOptions& options,
                                    int indent, const std::string& label) {
  return Walker(value, end, compact, base, &options).value(value, 0, indent, label);
}

const unsigned char* WalkValueImage(const unsigned char* value, const unsigned char* end,
                                    bool compact, std::uint64_t base) {
  return Walker(value, end, compact, base, nullptr).value(value, 0, 0, "");
}

void EncodeValueImage(Bytes& out, const json& j, bool compact, const std::string& path) {
  Encoder(out, compact).value(j, path, 0);
}

Bytes ValueToImage(const VarData& v) {
  zo::kel::AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, true);
  return Bytes(buffer.Data(), buffer.Data() + buffer.Len());
}

std::string ShortPath(const std::string& path) {
  constexpr std::size_t kKept = 48;
  if (path.size() <= 2 * kKept + 5) return path;
  return path.substr(0, kKept) + " ... " + path.substr(path.size() - kKept);
}

}  // namespace zokel_tool
