// The packet walker behind `zo-kel decode --flexdata` and the packets inside values.
#include "PacketTree.h"

#include <cstdio>
#include <cstring>

#include "Bytes.h"
#include "Cli.h"
#include "ShowText.h"
#include "kel/Limits.h"
#include "kel/exception.h"
#include "kel/fd/fd.h"
#include "kel/time/AbsTime.h"

namespace zokel_tool {

namespace fd = zo::kel::fd;

namespace {

constexpr std::uint16_t kArray = 0x0800;
constexpr std::uint16_t kCluster = 0x0801;
constexpr std::uint16_t kVariant = 0x0902;
constexpr std::uint16_t kAttributeSection = 0x4002;
constexpr std::uint16_t kAttributeName = 0x4003;
constexpr std::uint16_t kLastFixedCode = 0x06FF;

std::uint64_t RoundUpEven(std::uint64_t n) { return n + (n & 1u); }

bool Fits(std::uint64_t n, const unsigned char* p, const unsigned char* end) {
  return p <= end && n <= static_cast<std::uint64_t>(end - p);
}

template <class T>
T Load(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof v);  // packets are little-endian, as the hosts the tool runs on
  return v;
}

class Walker {
 public:
  Walker(std::string* out, const unsigned char* begin, std::uint64_t base,
         std::uint64_t maxElements)
      : out_(out),
        begin_(begin),
        base_(base),
        maxElements_(maxElements),
        // Asked for more elements than the default, the walk shows them all.
        maxLines_(maxElements > kShownElements ? ~std::uint64_t{0} : kMaxPacketLines) {}

  std::uint64_t packet(const unsigned char* p, const unsigned char* end, std::uint32_t depth,
                       int indent, const std::string& label) {
    if (depth > zo::kel::kMaxNestingDepth) fail(p, "packet", "packets nest deeper than 256 levels");
    const std::uint32_t size = u32(p, end, "packet size field");
    if (size < 6) {
      fail(p, "packet", "size " + std::to_string(size) + " is shorter than its header (6 bytes)");
    }
    if (!Fits(size, p, end)) {
      fail(p, "packet",
           "size " + std::to_string(size) + " runs past the end (" + std::to_string(end - p) +
               " bytes remain)");
    }
    const unsigned char* packetEnd = p + size;
    line(p, indent, label + "packet, " + std::to_string(size) + " bytes");
    const unsigned char* type = prefix(p + 4, packetEnd, depth, indent + 1);
    const unsigned char* data = type + elementSize(type, packetEnd);
    const std::uint64_t n = value(type, data, packetEnd, depth, indent + 1, "");
    if (n != static_cast<std::uint64_t>(packetEnd - data)) {
      fail(data + n, "packet",
           BytesFollow(static_cast<std::uint64_t>(packetEnd - data) - n) + " its data");
    }
    return size;
  }

 private:
  [[noreturn]] void fail(const unsigned char* p, const std::string& what,
                         const std::string& why) const {
    throw ToolError(what + " at byte " + std::to_string(at(p)) + ": " + why);
  }
  std::uint64_t at(const unsigned char* p) const {
    return base_ == kNoOffset ? kNoOffset : base_ + static_cast<std::uint64_t>(p - begin_);
  }
  bool budgetLeft() const { return lines_ < maxLines_; }

  void line(const unsigned char* p, int indent, const std::string& text) {
    if (lines_ == maxLines_) {
      if (out_ != nullptr) AppendLine(*out_, kNoOffset, indent, "... (the rest is not shown)");
      ++lines_;
    }
    if (!budgetLeft()) return;
    ++lines_;
    if (out_ != nullptr) AppendLine(*out_, at(p), indent, text);
  }

  std::uint16_t u16(const unsigned char* p, const unsigned char* end, const char* what) const {
    if (!Fits(2, p, end)) fail(p, what, "the packet ends inside it");
    return Load<std::uint16_t>(p);
  }
  std::uint32_t u32(const unsigned char* p, const unsigned char* end, const char* what) const {
    if (!Fits(4, p, end)) fail(p, what, "the packet ends inside it");
    return Load<std::uint32_t>(p);
  }

  // The library's own measurements, with the failing element's offset added to their errors.
  std::size_t elementSize(const unsigned char* md, const unsigned char* end) const {
    try {
      return fd::GetMDEltSize(md, end);
    } catch (const zo::kel::exception::Exception& e) {
      fail(md, "type element " + FlexTypeName(u16(md, end, "type element")), Reason(e));
    }
  }
  std::uint64_t dataSize(const unsigned char* type, const unsigned char* data,
                         const unsigned char* end) const {
    try {
      return fd::GetDataSize(type, data, end);
    } catch (const zo::kel::exception::Exception& e) {
      fail(data, FlexTypeName(Load<std::uint16_t>(type)) + " data", Reason(e));
    }
  }

  // Shows the prefix elements (attribute sections, markers) and returns the type element.
  const unsigned char* prefix(const unsigned char* md, const unsigned char* end,
                              std::uint32_t depth, int indent) {
    for (;;) {
      const std::uint16_t type = u16(md, end, "metadata element");
      if ((type & fd::kClassMask) == fd::kTypeClass) return md;
      const std::size_t size = elementSize(md, end);
      if (type == kAttributeSection) {
        attributes(md, md + size, depth, indent);
      } else {
        line(md, indent,
             "prefix element " + HexNumber(type, 4) + ", " + std::to_string(size) + " bytes");
      }
      md += size;
    }
  }

  // Each entry: a name element (0x4003, a length, an AString), then the value's MD and data.
  void attributes(const unsigned char* section, const unsigned char* end, std::uint32_t depth,
                  int indent) {
    line(section, indent, "attributes");
    const unsigned char* q = section + 6;
    while (q < end) {
      if (u16(q, end, "attribute name") != kAttributeName) {
        fail(q, "attribute entry", "does not start with a name element (0x4003)");
      }
      const std::uint32_t length = u32(q + 2, end, "attribute name length");
      if (length < 10 || !Fits(length, q + 2, end)) {
        fail(q, "attribute name", "length " + std::to_string(length) + " does not fit");
      }
      const unsigned char* valueMD = q + 2 + length;
      const std::uint16_t nameType = u16(q + 6, valueMD, "attribute name type");
      if (nameType != 0x0900) {
        fail(q + 6, "attribute name",
             "type " + HexNumber(nameType, 4) + " is not AString (0x0900)");
      }
      const std::uint32_t count = u32(q + 8, valueMD, "attribute name count");
      if (RoundUpEven(count) != length - 10) {
        fail(q + 8, "attribute name",
             std::to_string(count) + " characters do not match its length " +
                 std::to_string(length));
      }
      line(q, indent + 1, "attribute " + QuoteBytes(reinterpret_cast<const char*>(q + 12), count));
      const unsigned char* type = prefix(valueMD, end, depth + 1, indent + 2);
      const unsigned char* data = type + elementSize(type, end);
      const std::uint64_t n = RoundUpEven(value(type, data, end, depth + 1, indent + 2, ""));
      if (!Fits(n, data, end)) fail(data, "attribute value", "runs past its section");
      q = data + n;
    }
  }

  std::uint64_t value(const unsigned char* type, const unsigned char* data,
                      const unsigned char* end, std::uint32_t depth, int indent,
                      const std::string& label) {
    const std::uint16_t code = u16(type, end, "type element");
    if (depth > zo::kel::kMaxNestingDepth) fail(type, "type", "types nest deeper than 256 levels");
    if (!budgetLeft()) return dataSize(type, data, end);
    if (code == kArray) return array(type, data, end, depth, indent, label);
    if (code == kCluster) return cluster(type, data, end, depth, indent, label);
    if (code == kVariant) {
      line(data, indent, label + "variant");
      return packet(data, end, depth + 1, indent + 1, "");
    }
    const std::uint64_t n = dataSize(type, data, end);
    line(data, indent, label + leaf(code, data, n));
    return n;
  }

  std::string leaf(std::uint16_t code, const unsigned char* data, std::uint64_t n) const {
    const std::string name = FlexTypeName(code);
    if ((code & 0xFF00) == 0x0900) {
      return name + " " + QuoteBytes(reinterpret_cast<const char*>(data + 4), n - 4);
    }
    if ((code & 0xFF00) == 0x0A00) {
      std::vector<std::uint16_t> units((n - 4) / 2);
      for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = Load<std::uint16_t>(data + 4 + 2 * i);
      return name + " " + QuoteUnits(units.data(), units.size());
    }
    switch (static_cast<fd::FlexType>(code)) {
      case fd::FlexType::Void:
        return name;
      case fd::FlexType::I8:
        return name + " " + std::to_string(Load<std::int8_t>(data));
      case fd::FlexType::UI8:
        return name + " " + std::to_string(Load<std::uint8_t>(data));
      case fd::FlexType::Bool:
        return name + (data[0] != 0 ? " true" : " false") +
               (data[0] > 1 ? " (byte " + HexNumber(data[0], 2) + ")" : "");
      case fd::FlexType::I16:
        return name + " " + std::to_string(Load<std::int16_t>(data));
      case fd::FlexType::UI16:
        return name + " " + std::to_string(Load<std::uint16_t>(data));
      case fd::FlexType::I32:
        return name + " " + std::to_string(Load<std::int32_t>(data));
      case fd::FlexType::UI32:
        return name + " " + std::to_string(Load<std::uint32_t>(data));
      case fd::FlexType::F32:
        return name + " " + ShowDouble(Load<float>(data));
      case fd::FlexType::I64:
        return name + " " + std::to_string(Load<std::int64_t>(data));
      case fd::FlexType::UI64:
        return name + " " + std::to_string(Load<std::uint64_t>(data));
      case fd::FlexType::F64:
        return name + " " + ShowDouble(Load<double>(data));
      case fd::FlexType::Time:
        return name + " " + ShowAbsTime(fd::GetTime(data, data + 16));
      default:
        return name + (n == 0 ? ", no data"
                              : ", " + std::to_string(n) +
                                    " bytes: " + ToHex(data, static_cast<std::size_t>(n)));
    }
  }

  // Array element 0 x 0 x ... of a packet: dimension sizes, then the elements in row-major
  // order, each of a variable-size type padded to even. Only the first maxElements_ are walked;
  // the library measures the whole array.
  std::uint64_t array(const unsigned char* type, const unsigned char* data,
                      const unsigned char* end, std::uint32_t depth, int indent,
                      const std::string& label) {
    const std::uint16_t dims = Load<std::uint16_t>(type + 2);  // inside the measured element
    const unsigned char* elementMD = type + 8;
    const unsigned char* elementEnd = type + 4 + Load<std::uint32_t>(type + 4);
    if (!Fits(4ull * dims, data, end)) fail(data, "array", "the packet ends inside its dimensions");
    std::string shape;
    std::uint64_t count = 1;  // saturates: only the first maxElements_ are walked
    bool none = false;
    for (std::uint16_t i = 0; i < dims; ++i) {
      const auto dim = Load<std::int32_t>(data + 4 * i);
      if (dim < 0) fail(data + 4 * i, "array dimension", std::to_string(dim) + " is negative");
      shape += (i == 0 ? "" : " x ") + std::to_string(dim);
      const auto size = static_cast<std::uint64_t>(dim);
      if (dim == 0) {
        none = true;
      } else {
        count = count > ~std::uint64_t{0} / size ? ~std::uint64_t{0} : count * size;
      }
    }
    if (none) count = 0;
    const std::uint16_t elementCode = u16(elementMD, elementEnd, "array element type");
    line(data, indent,
         label + "array of " + FlexTypeName(elementCode) + ", dimensions [" + shape + "]");
    const unsigned char* element = prefix(elementMD, elementEnd, depth + 1, indent + 1);
    elementSize(element, elementEnd);
    const std::uint64_t shown = count < maxElements_ ? count : maxElements_;
    const unsigned char* p = data + 4ull * dims;
    for (std::uint64_t i = 0; i < shown && budgetLeft(); ++i) {
      std::uint64_t n =
          value(element, p, end, depth + 1, indent + 1, "[" + std::to_string(i) + "] ");
      if (Load<std::uint16_t>(element) > kLastFixedCode) n = RoundUpEven(n);
      if (!Fits(n, p, end)) fail(p, "array element " + std::to_string(i), "runs past the end");
      p += n;
    }
    const std::uint64_t total = dataSize(type, data, end);
    if (count > shown) {
      line(p, indent + 1, "... and " + std::to_string(count - shown) + " more");
    }
    return total;
  }

  std::uint64_t cluster(const unsigned char* type, const unsigned char* data,
                        const unsigned char* end, std::uint32_t depth, int indent,
                        const std::string& label) {
    const std::uint16_t members = Load<std::uint16_t>(type + 2);
    const char* waveform = fd::IsWaveformType(type, end) ? "waveform: " : "";
    line(data, indent, label + waveform + "cluster of " + std::to_string(members) + " members");
    const unsigned char* member = type + 4;
    const unsigned char* p = data;
    for (std::uint16_t i = 0; i < members; ++i) {
      const unsigned char* memberEnd = member + Load<std::uint32_t>(member);  // measured
      const unsigned char* memberType = prefix(member + 4, memberEnd, depth + 1, indent + 1);
      elementSize(memberType, memberEnd);
      const std::uint64_t n = RoundUpEven(
          value(memberType, p, end, depth + 1, indent + 1, "member " + std::to_string(i) + ": "));
      if (!Fits(n, p, end)) fail(p, "cluster member " + std::to_string(i), "runs past the end");
      p += n;
      member = memberEnd;
    }
    return static_cast<std::uint64_t>(p - data);
  }

  std::string* out_;
  const unsigned char* begin_;
  std::uint64_t base_;
  std::uint64_t maxElements_;
  std::uint64_t maxLines_;
  std::uint64_t lines_ = 0;
};

}  // namespace

void AppendLine(std::string& out, std::uint64_t offset, int indent, const std::string& text) {
  char column[24] = "";
  if (offset != kNoOffset)
    std::snprintf(column, sizeof column, "%llu", static_cast<unsigned long long>(offset));
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "%8s  ", column);
  out += prefix;
  out.append(static_cast<std::size_t>(2 * indent), ' ');
  out += text;
  out += '\n';
}

std::string FlexTypeName(std::uint16_t code) {
  switch (code) {
    case 0x0001:
      return "Void";
    case 0x0100:
      return "I8";
    case 0x0101:
      return "UI8";
    case 0x0102:
      return "Bool";
    case 0x0200:
      return "I16";
    case 0x0201:
      return "UI16";
    case 0x0300:
      return "I32";
    case 0x0301:
      return "UI32";
    case 0x0302:
      return "F32";
    case 0x0400:
      return "I64";
    case 0x0401:
      return "UI64";
    case 0x0402:
      return "F64";
    case 0x0504:
      return "Time";
    case kArray:
      return "array";
    case kCluster:
      return "cluster";
    case 0x0900:
      return "AString";
    case kVariant:
      return "variant";
    case 0x0A00:
      return "UTF16";
    default:
      return "type " + HexNumber(code, 4);
  }
}

void WalkPacket(std::string* out, const unsigned char* packet, const unsigned char* end,
                std::uint64_t base, int indent, const std::string& label,
                std::uint64_t maxElements) {
  Walker(out, packet, base, maxElements).packet(packet, end, 0, indent, label);
}

zo::kel::FlexData ReadPacketImage(const unsigned char* begin, const unsigned char* end,
                                  const std::string& form) {
  zo::kel::FlexData packet;
  const unsigned char* cursor = begin;
  try {
    packet.deserialize(cursor, end);
  } catch (const zo::kel::exception::Exception& e) {
    try {
      WalkPacket(nullptr, begin, end, 0, 0, "");
    } catch (const ToolError& located) {
      throw ToolError(form + ": " + located.what());
    }
    throw ToolError(form + ": packet at byte 0: " + Reason(e));
  }
  if (cursor != end) {
    throw ToolError(form + ": " + BytesFollow(static_cast<std::uint64_t>(end - cursor)) +
                    " the packet, from byte " + std::to_string(cursor - begin));
  }
  return packet;
}

}  // namespace zokel_tool
