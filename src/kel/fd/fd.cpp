// Readers and writers of the packet layout, the type walker under the data-size rules, and the
// validation of whole packets.
#include "kel/fd/fd.h"

#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "kel/DLLMalloc.h"
#include "kel/Limits.h"
#include "kel/exception.h"
#include "kel/fd/fd_impl.h"
#include "kel/time/AbsTime.h"

namespace zo {
namespace kel {
namespace fd {
namespace detail {
namespace {

[[noreturn]] void Malformed(std::int32_t line, const wchar_t* what) {
  throw exception::SyntaxError(ZO_KEL_SOURCE_NAME, line, what);
}

}  // namespace
}  // namespace detail

// Every check records its own line, so that a debugger shows which field was short.
#define ZO_FD_REQUIRE(condition, what)                   \
  do {                                                   \
    if (!(condition)) detail::Malformed(__LINE__, what); \
  } while (false)

namespace detail {
namespace {

using kel::kMaxEmptyElements;
using kel::kMaxNestingDepth;

// Element types are compiled into this allocator's vectors, which go through the library's
// allocation wrappers so that exhaustion is reported (and testable) like everywhere else.
template <typename T>
struct LibraryAllocator {
  using value_type = T;
  LibraryAllocator() = default;
  template <typename U>
  LibraryAllocator(const LibraryAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    if (n > std::numeric_limits<unsigned>::max() / sizeof(T)) throw std::bad_alloc();
    return static_cast<T*>(DLLMalloc(static_cast<unsigned>(n * sizeof(T))));
  }
  void deallocate(T* p, std::size_t) noexcept { DLLFree(p); }
  template <typename U>
  bool operator==(const LibraryAllocator<U>&) const noexcept {
    return true;
  }
  template <typename U>
  bool operator!=(const LibraryAllocator<U>&) const noexcept {
    return false;
  }
};
template <typename T>
using LibraryVector = std::vector<T, LibraryAllocator<T>>;

std::uint16_t TypeWordAt(const unsigned char* p, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(2, p, end), L"packet ends inside a type word");
  return LoadU16(p);
}

std::size_t ClusterEltSize(const unsigned char* md, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(4, md, end), L"packet ends inside a cluster header");
  const std::uint16_t members = LoadU16(md + 2);
  ZO_FD_REQUIRE(members != 0, L"cluster has no members");
  const unsigned char* p = md + 4;
  for (std::uint32_t i = 0; i < members; ++i) {
    ZO_FD_REQUIRE(Fits(4, p, end), L"packet ends inside a cluster member length");
    const std::uint32_t length = LoadU32(p);
    ZO_FD_REQUIRE(length >= kMinSubPacket, L"cluster member is shorter than its header");
    ZO_FD_REQUIRE(Fits(length, p, end), L"packet ends inside a cluster member");
    p += length;
  }
  return static_cast<std::size_t>(p - md);
}

// A type compiled from its MD once, so that measuring data never re-reads the MD per element:
// runs of members whose size does not depend on the data collapse into one constant, and an
// array of such elements is measured by one multiplication. Measuring therefore costs time in
// proportion to the bytes present, whatever the shape of the type.
class TypeLayout {
 public:
  // Compiles the MD at md (prefix elements first, then the type element) that must lie before
  // end. depth is the nesting level of the type element. With validate, attribute sections met
  // in prefixes are checked, nested packets are validated while measuring and arrays of empty
  // elements are limited.
  TypeLayout(const unsigned char* md, const unsigned char* end, std::uint32_t depth, bool validate)
      : validate_(validate) {
    root_ = Compile(md, end, depth, typeElement_, mdEnd_);
  }

  const unsigned char* typeElement() const { return typeElement_; }
  const unsigned char* mdEnd() const { return mdEnd_; }
  std::size_t nullDataSize() const { return static_cast<std::size_t>(nodes_[root_].nullSize); }
  std::size_t dataSize(const unsigned char* data, const unsigned char* end) const {
    return static_cast<std::size_t>(Measure(root_, data, end));
  }

 private:
  enum Kind : std::uint8_t { kFixed, kBytes, kUnits, kPacket, kArray, kCluster };
  static constexpr std::uint32_t kNoNode = 0xFFFFFFFFu;

  struct Node {
    Kind kind = kFixed;
    bool constant = true;  // the data size does not depend on the data
    bool packed = false;   // array: element code up to 0x06FF, elements without padding
    std::uint16_t dims = 0;
    std::uint32_t depth = 0;
    std::uint32_t element = kNoNode;
    std::uint32_t firstStep = 0;
    std::uint32_t stepCount = 0;
    std::uint64_t constSize = 0;
    std::uint64_t nullSize = 0;
  };
  // One step of a cluster's data: constant bytes, or a member whose size must be measured.
  struct Step {
    std::uint64_t bytes;
    std::uint32_t node;
  };

  const unsigned char* SkipPrefix(const unsigned char* md, const unsigned char* end,
                                  std::uint32_t depth) const;
  std::uint32_t Compile(const unsigned char* md, const unsigned char* end, std::uint32_t depth,
                        const unsigned char*& typeElement, const unsigned char*& typeEnd);
  std::uint32_t CompileArray(std::uint32_t index, const unsigned char* elt,
                             const unsigned char* eltEnd, std::uint32_t depth);
  std::uint32_t CompileCluster(std::uint32_t index, const unsigned char* elt, std::uint32_t depth);
  std::uint64_t Measure(std::uint32_t index, const unsigned char* data,
                        const unsigned char* end) const;
  std::uint64_t MeasureArray(const Node& node, const unsigned char* data,
                             const unsigned char* end) const;

  bool validate_;
  std::uint32_t root_ = 0;
  const unsigned char* typeElement_ = nullptr;
  const unsigned char* mdEnd_ = nullptr;
  LibraryVector<Node> nodes_;
  LibraryVector<Step> steps_;
};

void ValidateAttributeSection(const unsigned char* section, const unsigned char* end,
                              std::uint32_t depth);

const unsigned char* TypeLayout::SkipPrefix(const unsigned char* md, const unsigned char* end,
                                            std::uint32_t depth) const {
  std::uint16_t type = TypeWordAt(md, end);
  while ((type & kClassMask) != kTypeClass) {
    if (validate_ &&
        type == (kAttributeClass | static_cast<std::uint16_t>(FlexAttr::AttributeSection))) {
      ValidateAttributeSection(md, end, depth);
    }
    md = GetNextElt(md, type, end);
  }
  return md;
}

std::uint32_t TypeLayout::Compile(const unsigned char* md, const unsigned char* end,
                                  std::uint32_t depth, const unsigned char*& typeElement,
                                  const unsigned char*& typeEnd) {
  const unsigned char* elt = SkipPrefix(md, end, depth);
  const std::uint16_t type = LoadU16(elt);
  const unsigned char* eltEnd = elt + GetMDEltSize(elt, end);
  typeElement = elt;
  typeEnd = eltEnd;

  const auto index = static_cast<std::uint32_t>(nodes_.size());
  nodes_.emplace_back();
  Node& node = nodes_.back();
  node.depth = depth;
  if (type == static_cast<std::uint16_t>(FlexType::Array)) {
    return CompileArray(index, elt, eltEnd, depth);
  }
  if (type == static_cast<std::uint16_t>(FlexType::Cluster)) {
    return CompileCluster(index, elt, depth);
  }
  if (type <= 0x06FF) {
    node.constSize = node.nullSize = FixedSize(type);
  } else if (type == static_cast<std::uint16_t>(FlexType::Variant)) {
    node.kind = kPacket;
    node.constant = false;
    node.nullSize = 8;
  } else if ((type & 0xFF00u) == 0x0900u || (type & 0xFF00u) == 0x0A00u) {
    node.kind = (type & 0xFF00u) == 0x0900u ? kBytes : kUnits;
    node.constant = false;
    node.nullSize = 4;
  }
  return index;
}

std::uint32_t TypeLayout::CompileArray(std::uint32_t index, const unsigned char* elt,
                                       const unsigned char* eltEnd, std::uint32_t depth) {
  ZO_FD_REQUIRE(depth < kMaxNestingDepth, L"types nest deeper than 256 levels");
  const unsigned char* elementType = nullptr;
  const unsigned char* elementEnd = nullptr;
  const std::uint32_t element = Compile(elt + 8, eltEnd, depth + 1, elementType, elementEnd);
  ZO_FD_REQUIRE(elementEnd == eltEnd, L"array element type does not fill its length");
  const Node& e = nodes_[element];
  Node& node = nodes_[index];
  node.kind = kArray;
  node.dims = LoadU16(elt + 2);
  node.element = element;
  node.packed = LoadU16(elementType) <= 0x06FF;
  node.nullSize = 4ull * node.dims;
  // No dimensions make a product of one element.
  node.constant = node.dims == 0 && e.constant;
  if (node.constant) node.constSize = node.packed ? e.constSize : RoundUpEven(e.constSize);
  return index;
}

std::uint32_t TypeLayout::CompileCluster(std::uint32_t index, const unsigned char* elt,
                                         std::uint32_t depth) {
  ZO_FD_REQUIRE(depth < kMaxNestingDepth, L"types nest deeper than 256 levels");
  const std::uint16_t members = LoadU16(elt + 2);
  LibraryVector<Step> steps;
  std::uint64_t nullSize = 0;
  bool constant = true;
  const unsigned char* p = elt + 4;
  for (std::uint32_t i = 0; i < members; ++i) {
    // GetMDEltSize has checked every member length against the element's end.
    const unsigned char* memberEnd = p + LoadU32(p);
    const unsigned char* memberType = nullptr;
    const unsigned char* memberTypeEnd = nullptr;
    const std::uint32_t member = Compile(p + 4, memberEnd, depth + 1, memberType, memberTypeEnd);
    ZO_FD_REQUIRE(memberTypeEnd == memberEnd, L"cluster member type does not fill its length");
    const Node& m = nodes_[member];
    nullSize += RoundUpEven(m.nullSize);
    if (m.constant) {
      if (steps.empty() || steps.back().node != kNoNode) steps.push_back(Step{0, kNoNode});
      steps.back().bytes += RoundUpEven(m.constSize);
    } else {
      constant = false;
      steps.push_back(Step{0, member});
    }
    p = memberEnd;
  }
  Node& node = nodes_[index];
  node.kind = kCluster;
  node.nullSize = nullSize;
  node.constant = constant;
  if (constant) {
    node.constSize = steps.empty() ? 0 : steps.front().bytes;
  } else {
    node.firstStep = static_cast<std::uint32_t>(steps_.size());
    node.stepCount = static_cast<std::uint32_t>(steps.size());
    steps_.insert(steps_.end(), steps.begin(), steps.end());
  }
  return index;
}

std::uint64_t TypeLayout::Measure(std::uint32_t index, const unsigned char* data,
                                  const unsigned char* end) const {
  const Node& node = nodes_[index];
  if (node.constant) {
    ZO_FD_REQUIRE(Fits(node.constSize, data, end), L"packet ends inside the data");
    return node.constSize;
  }
  switch (node.kind) {
    case kBytes:
    case kUnits: {
      ZO_FD_REQUIRE(Fits(4, data, end), L"packet ends inside a string count");
      const std::uint64_t count = LoadU32(data);
      const std::uint64_t size = 4 + (node.kind == kBytes ? count : 2 * count);
      ZO_FD_REQUIRE(Fits(size, data, end), L"packet ends inside a string");
      return size;
    }
    case kPacket: {
      ZO_FD_REQUIRE(Fits(4, data, end), L"packet ends inside the size of a nested packet");
      const std::uint32_t size = LoadU32(data);
      ZO_FD_REQUIRE(size >= kMinPacket, L"nested packet is shorter than its header");
      ZO_FD_REQUIRE(Fits(size, data, end), L"packet ends inside a nested packet");
      if (validate_) ValidatePacket(data, data + size, node.depth + 1);
      return size;
    }
    case kArray:
      return MeasureArray(node, data, end);
    case kCluster:
    default: {
      const unsigned char* p = data;
      for (std::uint32_t i = 0; i < node.stepCount; ++i) {
        const Step& step = steps_[node.firstStep + i];
        const std::uint64_t bytes =
            step.node == kNoNode ? step.bytes : RoundUpEven(Measure(step.node, p, end));
        ZO_FD_REQUIRE(Fits(bytes, p, end), L"packet ends inside a cluster member");
        p += bytes;
      }
      return static_cast<std::uint64_t>(p - data);
    }
  }
}

std::uint64_t TypeLayout::MeasureArray(const Node& node, const unsigned char* data,
                                       const unsigned char* end) const {
  const std::uint64_t dimsBytes = 4ull * node.dims;
  ZO_FD_REQUIRE(Fits(dimsBytes, data, end), L"packet ends inside the array dimensions");
  std::uint64_t count = 1;
  bool empty = false;
  bool overflow = false;
  for (std::uint32_t i = 0; i < node.dims; ++i) {
    const std::int32_t dim = LoadI32(data + 4 * i);
    ZO_FD_REQUIRE(dim >= 0, L"array dimension is negative");
    if (dim == 0) {
      empty = true;
    } else if (!overflow) {
      const auto size = static_cast<std::uint64_t>(dim);
      if (count > std::numeric_limits<std::uint64_t>::max() / size) {
        overflow = true;
      } else {
        count *= size;
      }
    }
  }
  if (empty) return dimsBytes;
  const unsigned char* elements = data + dimsBytes;
  const Node& e = nodes_[node.element];
  if (node.packed || e.constant) {
    const std::uint64_t unit = node.packed ? e.constSize : RoundUpEven(e.constSize);
    if (unit == 0) {
      // Elements that occupy no bytes are counted, never walked.
      ZO_FD_REQUIRE(!validate_ || (!overflow && count <= kMaxEmptyElements),
                    L"array holds more empty elements than a reader builds");
      return dimsBytes;
    }
    ZO_FD_REQUIRE(!overflow && count <= static_cast<std::uint64_t>(end - elements) / unit,
                  L"packet ends inside the array elements");
    return dimsBytes + count * unit;
  }
  // Every element of a type whose size depends on its data occupies at least two bytes once
  // padded, so this loop ends at the first element that does not fit, however large count is.
  const unsigned char* p = elements;
  for (std::uint64_t i = 0; overflow || i < count; ++i) {
    const std::uint64_t bytes = RoundUpEven(Measure(node.element, p, end));
    ZO_FD_REQUIRE(bytes != 0 && Fits(bytes, p, end), L"packet ends inside the array elements");
    p += bytes;
  }
  return static_cast<std::uint64_t>(p - data);
}

// Where an attribute value whose data of `size` bytes starts at data ends: after the pad byte
// that makes the data even, except that the last value of a section may end with the section,
// without its pad byte (as some producers write it).
const unsigned char* ValueDataEnd(const unsigned char* data, std::uint64_t size,
                                  const unsigned char* sectionEnd) {
  const std::uint64_t padded = RoundUpEven(size);
  if (Fits(padded, data, sectionEnd)) return data + padded;
  ZO_FD_REQUIRE(Fits(size, data, sectionEnd), L"attribute value runs past the end of its section");
  return data + size;  // the section's end
}

void ValidateAttributeSection(const unsigned char* section, const unsigned char* end,
                              std::uint32_t depth) {
  ZO_FD_REQUIRE(depth < kMaxNestingDepth, L"types nest deeper than 256 levels");
  const unsigned char* sectionEnd = AttributeSectionEnd(section, end);
  const unsigned char* p = section + 6;
  while (p != sectionEnd) {
    const AttributeName name = ParseAttributeName(p, sectionEnd);
    TypeLayout value(name.value, sectionEnd, depth + 1, true);
    p = ValueDataEnd(value.mdEnd(), value.dataSize(value.mdEnd(), sectionEnd), sectionEnd);
  }
}

}  // namespace

void CheckScalarRead(std::size_t n, const unsigned char* p, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(n, p, end), L"packet ends inside a number");
}

AttributeName ParseAttributeName(const unsigned char* p, const unsigned char* sectionEnd) {
  const std::uint16_t type = TypeWordAt(p, sectionEnd);
  ZO_FD_REQUIRE(type == (kAttributeClass | static_cast<std::uint16_t>(FlexAttr::AttributeName)),
                L"attribute entry does not start with a name");
  ZO_FD_REQUIRE(Fits(6, p, sectionEnd), L"packet ends inside an attribute name header");
  const std::uint32_t length = LoadU32(p + 2);
  // The length counts itself (4), the name's type word (2) and its character count (4).
  ZO_FD_REQUIRE(length >= 10, L"attribute name is shorter than its header");
  ZO_FD_REQUIRE(Fits(2ull + length, p, sectionEnd), L"packet ends inside an attribute name");
  ZO_FD_REQUIRE(LoadU16(p + 6) == static_cast<std::uint16_t>(FlexType::AString),
                L"attribute name is not a narrow string");
  const std::uint32_t count = LoadU32(p + 8);
  ZO_FD_REQUIRE(count <= length - 10 && RoundUpEven(count) == length - 10,
                L"attribute name length does not match its characters");
  return AttributeName{p + 12, count, p + 2 + length};
}

const unsigned char* AttributeSectionEnd(const unsigned char* section, const unsigned char* end) {
  return section + GetMDEltSize(section, end);
}

const unsigned char* AttributeValueEnd(const unsigned char* value,
                                       const unsigned char* sectionEnd) {
  TypeLayout layout(value, sectionEnd, 0, false);
  return ValueDataEnd(layout.mdEnd(), layout.dataSize(layout.mdEnd(), sectionEnd), sectionEnd);
}

std::uint32_t ValidatePacket(const unsigned char* packet, const unsigned char* end,
                             std::uint32_t depth) {
  ZO_FD_REQUIRE(depth <= kMaxNestingDepth, L"packets nest deeper than 256 levels");
  ZO_FD_REQUIRE(Fits(4, packet, end), L"packet ends inside its size field");
  const std::uint32_t size = LoadU32(packet);
  ZO_FD_REQUIRE(size >= kMinPacket, L"packet is shorter than its header");
  ZO_FD_REQUIRE(Fits(size, packet, end), L"packet is longer than the bytes holding it");
  const unsigned char* packetEnd = packet + size;
  TypeLayout layout(packet + 4, packetEnd, depth, true);
  const std::size_t dataSize = layout.dataSize(layout.mdEnd(), packetEnd);
  ZO_FD_REQUIRE(dataSize == static_cast<std::size_t>(packetEnd - layout.mdEnd()),
                L"packet has bytes after its data");
  return size;
}

}  // namespace detail

using detail::Fits;
using detail::LoadU16;
using detail::LoadU32;

std::uint32_t GetUI32(const unsigned char* p, const unsigned char* end, TAEndian endian) {
  ZO_FD_REQUIRE(Fits(4, p, end), L"packet ends inside a 32-bit field");
  std::uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return endian == TAEndian::Little ? little_endian::FromLittleEndian(v) : v;
}

long long GetI64(const unsigned char* p, const unsigned char* end, TAEndian endian) {
  ZO_FD_REQUIRE(Fits(8, p, end), L"packet ends inside a 64-bit field");
  long long v;
  std::memcpy(&v, p, sizeof v);
  return endian == TAEndian::Little ? little_endian::FromLittleEndian(v) : v;
}

AbsTime GetTime(const unsigned char* p, const unsigned char* end, TAEndian endian) {
  ZO_FD_REQUIRE(Fits(16, p, end), L"packet ends inside a time");
  std::uint32_t words[4];
  std::memcpy(words, p, sizeof words);
  if (endian == TAEndian::Little) {
    for (std::uint32_t& w : words) w = little_endian::FromLittleEndian(w);
  }
  return AbsTime(nZOSS100::tSignedFixedPoint128::FromWords(words[3], words[2], words[1], words[0]));
}

std::size_t SetTime(unsigned char* dst, const AbsTime& t, const unsigned char* dstEnd) {
  if (!Fits(16, dst, dstEnd)) throw exception::BufferOverflow(ZO_KEL_HERE);
  std::uint32_t w3, w2, w1, w0;
  t.value().Get(w3, w2, w1, w0);
  detail::StoreU32(dst, w0);
  detail::StoreU32(dst + 4, w1);
  detail::StoreU32(dst + 8, w2);
  detail::StoreU32(dst + 12, w3);
  return 16;
}

std::size_t MemCpy(unsigned char* dst, const unsigned char* dstEnd, const unsigned char* src,
                   const unsigned char* srcEnd, std::size_t n) {
  ZO_FD_REQUIRE(Fits(n, src, srcEnd), L"packet ends inside the bytes to copy");
  if (!Fits(n, dst, dstEnd)) throw exception::BufferOverflow(ZO_KEL_HERE);
  if (n != 0) std::memmove(dst, src, n);
  return n;
}

std::size_t GetMDEltSize(const unsigned char* md, const unsigned char* end) {
  const std::uint16_t type = detail::TypeWordAt(md, end);
  switch (type & kClassMask) {
    case kTypeClass:
      if (type == static_cast<std::uint16_t>(FlexType::Array)) {
        ZO_FD_REQUIRE(Fits(8, md, end), L"packet ends inside an array header");
        const std::uint32_t length = LoadU32(md + 4);
        ZO_FD_REQUIRE(length >= detail::kMinSubPacket,
                      L"array element type is shorter than its header");
        ZO_FD_REQUIRE(Fits(4ull + length, md, end), L"packet ends inside an array element type");
        return 4 + static_cast<std::size_t>(length);
      }
      if (type == static_cast<std::uint16_t>(FlexType::Cluster)) {
        return detail::ClusterEltSize(md, end);
      }
      return 2;
    case kAttributeClass: {
      ZO_FD_REQUIRE(Fits(6, md, end), L"packet ends inside an attribute header");
      const std::uint32_t length = LoadU32(md + 2);
      ZO_FD_REQUIRE(length >= 4, L"attribute length is shorter than its own field");
      ZO_FD_REQUIRE(Fits(2ull + length, md, end), L"packet ends inside an attribute");
      return 2 + static_cast<std::size_t>(length);
    }
    case kMarkerClass:
      return 2;
    default:
      // Such an element would have no size, so a walk over it could never progress.
      detail::Malformed(__LINE__, L"metadata element of an undefined class");
  }
}

const unsigned char* GetNextElt(const unsigned char* md, const unsigned char* end) {
  return md + GetMDEltSize(md, end);
}

const unsigned char* GetNextElt(const unsigned char* md, std::uint16_t& type,
                                const unsigned char* end) {
  const unsigned char* next = GetNextElt(md, end);
  type = detail::TypeWordAt(next, end);
  return next;
}

const unsigned char* GetTypeFromMD(const unsigned char* md, const unsigned char* end) {
  std::uint16_t type = detail::TypeWordAt(md, end);
  // Every element is at least 2 bytes long, so the walk ends at end at the latest.
  while ((type & kClassMask) != kTypeClass) md = GetNextElt(md, type, end);
  return md;
}

std::size_t GetMDSize(const unsigned char* md, const unsigned char* end) {
  return static_cast<std::size_t>(GetNextElt(GetTypeFromMD(md, end), end) - md);
}

const unsigned char* GetTypeFromPacket(const unsigned char* packet, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(4, packet, end), L"packet ends inside its size field");
  return GetTypeFromMD(packet + 4, end);
}

const unsigned char* GetData(const unsigned char* packet, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(4, packet, end), L"packet ends inside its size field");
  return packet + 4 + GetMDSize(packet + 4, end);
}

std::size_t GetDataSize(FlexType type) noexcept {
  // Read as a signed 16-bit value, as the MD walker reads a type word.
  const auto code = static_cast<std::uint16_t>(type);
  if (static_cast<std::int16_t>(code) <= 0x06FF) return detail::FixedSize(code);
  if (type == FlexType::Variant) return 8;
  if ((code & 0xFF00u) == 0x0900u || (code & 0xFF00u) == 0x0A00u) return 4;
  return 0;
}

std::size_t GetDataSize(const unsigned char* md, const unsigned char* data,
                        const unsigned char* end) {
  const unsigned char* type = GetTypeFromMD(md, end);
  const std::uint16_t code = LoadU16(type);
  if (code != static_cast<std::uint16_t>(FlexType::Array) &&
      code != static_cast<std::uint16_t>(FlexType::Cluster) &&
      code != static_cast<std::uint16_t>(FlexType::Variant) && (code & 0xFF00u) != 0x0900u &&
      (code & 0xFF00u) != 0x0A00u) {
    const std::size_t size = detail::FixedSize(code > 0x06FF ? 0 : code);
    ZO_FD_REQUIRE(data == nullptr || Fits(size, data, end), L"packet ends inside the data");
    return size;
  }
  const detail::TypeLayout layout(type, end, 0, false);
  return data == nullptr ? layout.nullDataSize() : layout.dataSize(data, end);
}

const unsigned char* GetAttributeMD(const unsigned char* md, FlexAttr attr,
                                    const unsigned char* end) {
  const auto wanted =
      static_cast<std::uint16_t>(kAttributeClass | (static_cast<std::uint16_t>(attr) & 0x1FFFu));
  std::uint16_t type = detail::TypeWordAt(md, end);
  while ((type & kClassMask) != kTypeClass) {
    if (type == wanted) return md;
    md = GetNextElt(md, type, end);
  }
  return nullptr;
}

const unsigned char* GetAttributeMD(const unsigned char* md, const char* name,
                                    const unsigned char* end) {
  const unsigned char* section = GetAttributeMD(md, FlexAttr::AttributeSection, end);
  if (section == nullptr) return nullptr;
  const unsigned char* sectionEnd = detail::AttributeSectionEnd(section, end);
  const std::size_t length = name == nullptr ? 0 : std::strlen(name);
  const unsigned char* p = section + 6;
  while (p != sectionEnd) {
    const detail::AttributeName entry = detail::ParseAttributeName(p, sectionEnd);
    if (entry.length == length && (length == 0 || std::memcmp(entry.chars, name, length) == 0)) {
      return entry.value;
    }
    p = detail::AttributeValueEnd(entry.value, sectionEnd);
  }
  return nullptr;
}

const unsigned char* GetAttributePacket(const unsigned char* md, FlexAttr attr,
                                        const unsigned char* end) {
  const unsigned char* element = GetAttributeMD(md, attr, end);
  return element == nullptr ? nullptr : element + 2;
}

const unsigned char* GetAttributePacket(const unsigned char* md, const char* name,
                                        const unsigned char* end) {
  // A value always follows its name element, so the four bytes before it are inside the MD.
  const unsigned char* value = GetAttributeMD(md, name, end);
  return value == nullptr ? nullptr : value - 4;
}

namespace {

// The fixed blocks of a waveform, byte for byte.
constexpr unsigned char kWaveformAttributes[52] = {
    0x02, 0x40, 0x32, 0x00, 0x00, 0x00,                           // section, length 50
    0x03, 0x40, 0x12, 0x00, 0x00, 0x00,                           // name, length 18
    0x00, 0x09, 0x07, 0x00, 0x00, 0x00,                           // AString, 7 characters
    0x5F, 0x5A, 0x4F, 0x5F, 0x4D, 0x44, 0x54, 0x00,               // "_ZO_MDT", pad
    0x01, 0x08, 0x02, 0x00,                                       // cluster of 2
    0x06, 0x00, 0x00, 0x00, 0x00, 0x09,                           // AString
    0x06, 0x00, 0x00, 0x00, 0x00, 0x02,                           // I16
    0x03, 0x00, 0x00, 0x00, 0x4D, 0x44, 0x54, 0x00, 0x03, 0x00};  // "MDT", pad, 3
constexpr unsigned char kWaveformTypeHead[28] = {
    0x01, 0x08, 0x05, 0x00,                                                   // cluster of 5
    0x06, 0x00, 0x00, 0x00, 0x04, 0x05,                                       // start time
    0x06, 0x00, 0x00, 0x00, 0x02, 0x04,                                       // interval (F64)
    0x0E, 0x00, 0x00, 0x00, 0x00, 0x08, 0x01, 0x00, 0x06, 0x00, 0x00, 0x00};  // samples
constexpr unsigned char kWaveformTypeTail[32] = {
    0x1A, 0x00, 0x00, 0x00, 0x01, 0x08, 0x03, 0x00,  // error cluster of 3
    0x06, 0x00, 0x00, 0x00, 0x02, 0x01,              // status (Bool)
    0x06, 0x00, 0x00, 0x00, 0x00, 0x03,              // code (I32)
    0x06, 0x00, 0x00, 0x00, 0x00, 0x09,              // source (AString)
    0x06, 0x00, 0x00, 0x00, 0x02, 0x09};             // attributes (packet)
constexpr unsigned char kWaveformDataSuffix[20] = {
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,   // error cluster
    0x0A, 0x00, 0x00, 0x00, 0x05, 0x03, 0x00, 0x00, 0x00, 0x00};  // empty packet
static_assert(sizeof kWaveformAttributes == CalculateWaveformAttributeSize(), "attribute block");
static_assert(sizeof kWaveformTypeHead + 2 + sizeof kWaveformTypeTail ==
                  CalculateWaveformTypeSize(),
              "waveform type");

std::size_t WriteBlock(unsigned char* dst, const unsigned char* dstEnd, const unsigned char* block,
                       std::size_t n) {
  if (!Fits(n, dst, dstEnd)) throw exception::BufferOverflow(ZO_KEL_HERE);
  std::memcpy(dst, block, n);
  return n;
}

}  // namespace

bool IsWaveformType(const unsigned char* md, const unsigned char* end) noexcept {
  if (!Fits(CalculateWaveformTypeSize(), md, end)) return false;
  return std::memcmp(md, kWaveformTypeHead, sizeof kWaveformTypeHead) == 0 &&
         IsWaveformSampleType(static_cast<FlexType>(LoadU16(md + 28))) &&
         std::memcmp(md + 30, kWaveformTypeTail, sizeof kWaveformTypeTail) == 0;
}

FlexType GetWaveformSampleType(const unsigned char* md, const unsigned char* end) {
  ZO_FD_REQUIRE(Fits(30, md, end), L"packet ends inside the waveform type");
  return static_cast<FlexType>(LoadU16(md + 28));
}

bool IsWaveformSampleType(FlexType type) noexcept {
  // Deliberately only these two: 0x0202 is no sample type, and Bool samples are not numbers.
  return type != FlexType::Bool && static_cast<std::uint16_t>(type) != 0x0202;
}

std::size_t SetWaveformAttributes(unsigned char* dst, const unsigned char* dstEnd) {
  return WriteBlock(dst, dstEnd, kWaveformAttributes, sizeof kWaveformAttributes);
}

std::size_t SetWaveformType(unsigned char* dst, const unsigned char* dstEnd, FlexType sampleType) {
  if (!Fits(CalculateWaveformTypeSize(), dst, dstEnd)) {
    throw exception::BufferOverflow(ZO_KEL_HERE);
  }
  std::memcpy(dst, kWaveformTypeHead, sizeof kWaveformTypeHead);
  detail::StoreU16(dst + 28, static_cast<std::uint16_t>(sampleType));
  std::memcpy(dst + 30, kWaveformTypeTail, sizeof kWaveformTypeTail);
  return CalculateWaveformTypeSize();
}

std::size_t SetWaveformDataSuffix(unsigned char* dst, const unsigned char* dstEnd) {
  return WriteBlock(dst, dstEnd, kWaveformDataSuffix, sizeof kWaveformDataSuffix);
}

}  // namespace fd
}  // namespace kel
}  // namespace zo
