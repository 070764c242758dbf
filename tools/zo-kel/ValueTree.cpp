// The readable tree of a VarData.
#include "ValueTree.h"

#include <vector>

#include "Bytes.h"
#include "Kinds.h"
#include "PacketTree.h"
#include "ShowText.h"
#include "VarDataJson.h"
#include "kel/fd/FlexData.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/text/LogicalText.h"

namespace zokel_tool {

namespace {

constexpr std::size_t kShownBytes = 32;

std::uint64_t Advance(std::uint64_t offset, std::uint64_t by) {
  return offset == kNoOffset ? kNoOffset : offset + by;
}

std::string Plural(std::uint64_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string Numeric(const VarData& v) {
  double d = 0;
  v.GetNumeric(d);
  std::string text = "numeric " + ShowDouble(d);
  if (d != d || d - d != 0) text += " (bits " + HexNumber(v.getPayloadBits(), 16) + ")";
  const char* type = QualifierName(v.getQualifier());
  if (v.getQualifier() != 0) {
    text += type != nullptr ? std::string(" (") + type + ")"
                            : " (qualifier " + std::to_string(v.getQualifier()) + ")";
  }
  return text;
}

std::string Time(const VarData& v) {
  long long ns = 0;
  v.GetTime(ns);
  std::string text = "time " + std::to_string(ns) + " ns";
  char calendar[64];
  // Nanoseconds since 1899-12-30, shown on the display calendar when it reaches them.
  if (ns >= 0 && ns / 86400000000000LL < 65536 &&
      TimeToText(ns, 72, calendar, sizeof calendar) > 0) {
    text += std::string(" (") + calendar + ")";
  }
  return text;
}

// The one-line description of a value without nested values.
std::string Describe(const VarData& v) {
  const std::uint16_t kind = v.getKind();
  IVarDataGuts* guts = v.getGuts();
  std::string text;
  switch (kind) {
    case VarData::kLogical: {
      bool b = false;
      v.GetLogical(b);
      text = b ? "logical true" : "logical false";
      break;
    }
    case VarData::kNumeric:
      return Numeric(v);
    case VarData::kTime:
      text = Time(v);
      break;
    case VarData::kVoidPointer:
      text = "void pointer " + HexNumber(v.getPayloadBits());
      break;
    case VarData::kID64:
      text = "id64 " + HexNumber(v.getPayloadBits(), 16);
      break;
    case VarData::kAnsi: {
      const std::uint32_t n = guts ? v.getIAnsi()->GetLength() : 0;
      return "ansi " + QuoteBytes(guts ? v.getIAnsi()->GetData() : "", n) + " (" +
             Plural(n, "byte", "bytes") + ")";
    }
    case VarData::kUnicode: {
      const std::uint32_t n = guts ? v.getIUnicode()->GetLength() : 0;
      std::vector<std::uint16_t> units(n);
      for (std::uint32_t i = 0; i < n; ++i) {
        units[i] = static_cast<std::uint16_t>(v.getIUnicode()->GetData()[i]);
      }
      return "unicode " + QuoteUnits(units.data(), n) + " (" + Plural(n, "unit", "units") + ")";
    }
    case VarData::kRaw: {
      const unsigned char* data = nullptr;
      std::uint32_t n = 0;
      if (guts != nullptr) static_cast<IVarDataRaw*>(guts)->GetData(data, n);
      text = "raw, " + Plural(n, "byte", "bytes");
      if (n != 0) text += ": " + ToHex(data, n < kShownBytes ? n : kShownBytes);
      if (n > kShownBytes) text += " ...";
      return text;
    }
    case VarData::kAbsTime:
    case VarData::kRelTime: {
      nZOSS100::tSSTimeValue t;
      if (guts != nullptr) t = v.getISSTimeValue()->getTimeValue();
      return kind == VarData::kAbsTime ? "absolute time " + ShowAbsTime(zo::kel::AbsTime(t))
                                       : "relative time " + ShowSeconds(t);
    }
    default: {
      const char* name = KindName(kind);
      text = name != nullptr ? name : "kind " + std::to_string(kind);
      if (v.getPayloadBits() != 0) text += ", slot " + HexNumber(v.getPayloadBits(), 16);
      break;
    }
  }
  if (v.getQualifier() != 0) text += " (qualifier " + std::to_string(v.getQualifier()) + ")";
  return text;
}

class TreeWriter {
 public:
  TreeWriter(std::string& out, bool compact) : out_(out), compact_(compact) {}

  void value(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    switch (v.getKind()) {
      case VarData::kCell:
        return cell(v, at, indent, label);
      case VarData::kDictionary:
        return dictionary(v, at, indent, label);
      case VarData::kArray:
        return array(v, at, indent, label);
      case VarData::kTGVariant:
        return tgvariant(v, at, indent, label);
      case VarData::kFlexData:
        return packet(v, at, indent, label);
      default:
        AppendLine(out_, at, indent, label + Describe(v));
    }
  }

 private:
  std::uint64_t size(const VarData& v) const { return 4 + v.valueSerializationSizeImpl(compact_); }

  void cell(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    std::uint16_t row = 0, column = 0;
    VarData held;
    v.GetCell(row, column, held);
    AppendLine(out_, at, indent,
               label + "cell, row " + std::to_string(row) + ", column " + std::to_string(column));
    value(held, Advance(at, 8), indent + 1, "value: ");
  }

  void dictionary(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    const std::uint32_t n = v.getGuts() != nullptr ? v.size() : 0;
    AppendLine(out_, at, indent, label + "dictionary, " + Plural(n, "entry", "entries"));
    std::uint64_t pos = Advance(at, 8);
    if (n == 0) return;
    for (auto it = v.begin(); it != v.end(); ++it) {
      value(it.key(), pos, indent + 1, "key: ");
      pos = Advance(pos, size(it.key()));
      value(it.value(), pos, indent + 1, "value: ");
      pos = Advance(pos, size(it.value()));
    }
  }

  void array(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    const std::uint32_t n = v.GetLength();
    AppendLine(out_, at, indent, label + "array, " + Plural(n, "element", "elements"));
    std::uint64_t pos = Advance(at, 8);
    for (std::uint32_t i = 0; i < n; ++i) {
      const VarData element = v.GetElement(i);
      value(element, pos, indent + 1, "[" + std::to_string(i) + "] ");
      pos = Advance(pos, size(element));
    }
  }

  // Descriptor and data vectors (each a 32-bit count and its elements), and what they decode to.
  void tgvariant(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    const unsigned short* words = nullptr;
    const unsigned char* data = nullptr;
    std::uint32_t wordCount = 0, byteCount = 0;
    if (v.getGuts() != nullptr) v.getTGVariant(words, wordCount, data, byteCount);
    AppendLine(out_, at, indent,
               label + "TG variant, " + Plural(wordCount, "descriptor word", "descriptor words") +
                   ", " + Plural(byteCount, "data byte", "data bytes"));
    AppendLine(out_, Advance(at, 4), indent + 1, "descriptor: " + WordsToHex(words, wordCount));
    AppendLine(out_, Advance(at, 8 + 2ull * wordCount), indent + 1,
               "data: " + ToHex(data, byteCount));
    if (v.getGuts() == nullptr) return;
    try {
      value(v.getITGVariant()->convertToNativeType(), kNoOffset, indent + 1, "decodes to: ");
    } catch (const std::exception& e) {
      AppendLine(out_, kNoOffset, indent + 1, std::string("does not decode: ") + e.what());
    }
  }

  void packet(const VarData& v, std::uint64_t at, int indent, const std::string& label) {
    const auto* flex = static_cast<IVarDataFlexData*>(v.getGuts());
    if (flex == nullptr || flex->getFlexData().isEmpty()) {
      AppendLine(out_, at, indent, label + "packet, empty");
      return;
    }
    // The type word's line first, so that every element of a value starts at its type word.
    AppendLine(out_, at, indent, label + "FlexData packet");
    const zo::kel::FlexData& packet = flex->getFlexData();
    WalkPacket(&out_, packet.data(), packet.data() + packet.size(), Advance(at, 4), indent + 1, "");
  }

  std::string& out_;
  bool compact_;
};

}  // namespace

void AppendValueTree(std::string& out, const VarData& v, bool compact, std::uint64_t offset,
                     int indent, const std::string& label) {
  TreeWriter(out, compact).value(v, offset, indent, label);
}

}  // namespace zokel_tool
