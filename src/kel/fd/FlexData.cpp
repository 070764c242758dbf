// The packet class: builders for every layout, accessors over validated packets, the array
// transform.
#include "kel/fd/FlexData.h"

#include <cstring>
#include <new>
#include <vector>

#include "kel/BufferWrapper.h"
#include "kel/exception.h"
#include "kel/fd/NumericConversion.h"
#include "kel/fd/fd_impl.h"
#include "kel/little_endian.h"
#include "kel/osdep/SerializeUtf16.h"
#include "kel/time/AbsTime.h"

namespace zo {
namespace kel {

using fd::FlexType;
using fd::TAEndian;
using fd::detail::Fits;
using fd::detail::LoadI32;
using fd::detail::LoadU16;
using fd::detail::LoadU32;
using fd::detail::RoundUpEven;

namespace {

constexpr std::uint16_t Code(FlexType t) noexcept { return static_cast<std::uint16_t>(t); }

bool IsNumeric(FlexType t) noexcept {
  switch (t) {
    case FlexType::I8:
    case FlexType::UI8:
    case FlexType::I16:
    case FlexType::UI16:
    case FlexType::I32:
    case FlexType::UI32:
    case FlexType::F32:
    case FlexType::I64:
    case FlexType::UI64:
    case FlexType::F64:
      return true;
    default:
      return false;
  }
}
bool IsNumericOrBool(FlexType t) noexcept { return t == FlexType::Bool || IsNumeric(t); }
bool IsAStringFamily(std::uint16_t code) noexcept {
  return (code & 0xFF00u) == 0x0900u && code != Code(FlexType::Variant);
}

void Require(bool condition) {
  if (!condition) throw exception::InvalidArgument(ZO_KEL_SOURCE_NAME, __LINE__);
}
// An element or member index past the last one names something the packet does not hold.
void RequireIndex(bool inRange) {
  if (!inRange) throw exception::NotFound(ZO_KEL_SOURCE_NAME, __LINE__);
}

// A packet under construction: its MD and its data are gathered apart and joined by Finish.
class Builder {
 public:
  void Md(const void* p, std::uint64_t n) { Append(md_, p, n); }
  void MdU16(std::uint16_t v) { AppendU16(md_, v); }
  void MdU32(std::uint32_t v) { AppendU32(md_, v); }
  void Data(const void* p, std::uint64_t n) { Append(data_, p, n); }
  void DataU16(std::uint16_t v) { AppendU16(data_, v); }
  void DataU32(std::uint32_t v) { AppendU32(data_, v); }
  // Appends n bytes whose content the caller writes at the returned position.
  unsigned char* DataRoom(std::uint64_t n) {
    CheckRoom(data_, n);
    const std::uint32_t at = data_.Len();
    data_.Skip(static_cast<std::uint32_t>(n));
    return data_.Data() + at;
  }
  // The pad byte that makes the data even so far.
  void PadData() {
    if ((data_.Len() & 1u) != 0) Data("", 1);
  }
  std::uint32_t DataLen() const { return data_.Len(); }
  // Wraps MD and data in a packet: the size field first.
  AutoBuffer Finish() const {
    const std::uint64_t size = 4ull + md_.Len() + data_.Len();
    if (size > AutoBuffer::kMaxLen) throw std::bad_alloc();
    AutoBuffer packet(static_cast<std::uint32_t>(size));
    AppendU32(packet, static_cast<std::uint32_t>(size));
    packet.Append(md_.Data(), md_.Len());
    packet.Append(data_.Data(), data_.Len());
    return packet;
  }

 private:
  static void CheckRoom(const AutoBuffer& b, std::uint64_t n) {
    if (n > AutoBuffer::kMaxLen - b.Len()) throw std::bad_alloc();
  }
  static void Append(AutoBuffer& b, const void* p, std::uint64_t n) {
    CheckRoom(b, n);
    b.Append(p, static_cast<std::uint32_t>(n));
  }
  static void AppendU16(AutoBuffer& b, std::uint16_t v) {
    unsigned char bytes[2];
    fd::detail::StoreU16(bytes, v);
    Append(b, bytes, 2);
  }
  static void AppendU32(AutoBuffer& b, std::uint32_t v) {
    unsigned char bytes[4];
    fd::detail::StoreU32(bytes, v);
    Append(b, bytes, 4);
  }

  AutoBuffer md_;
  AutoBuffer data_;
};

// The dimension sizes and the element MD of an array type, as a builder writes them.
void ArrayHeader(Builder& b, const std::int32_t* dims, std::uint16_t dimCount,
                 const unsigned char* elementMd, std::uint64_t elementMdSize) {
  if (elementMdSize > 0xFFFFFFFFu - 4u) throw std::bad_alloc();
  b.MdU16(Code(FlexType::Array));
  b.MdU16(dimCount);
  b.MdU32(static_cast<std::uint32_t>(4 + elementMdSize));
  b.Md(elementMd, elementMdSize);
  for (std::uint16_t i = 0; i < dimCount; ++i) b.DataU32(static_cast<std::uint32_t>(dims[i]));
}

std::uint64_t CheckedElementCount(const std::int32_t* dims, std::uint16_t dimCount) {
  for (std::uint16_t i = 0; i < dimCount; ++i) Require(dims[i] >= 0);
  const std::uint64_t count = FlexData::ElementCount(dims, dimCount);
  // Every element a packet can hold occupies a byte; more cannot be stored.
  if (count > AutoBuffer::kMaxLen) throw std::bad_alloc();
  return count;
}

// A packet built from the parts of a validated one: an MD and its data.
AutoBuffer PacketOf(const unsigned char* md, std::size_t mdSize, const unsigned char* data,
                    std::size_t dataSize) {
  Builder b;
  b.Md(md, mdSize);
  b.Data(data, dataSize);
  return b.Finish();
}

// The entries of the attribute section of a validated MD, walked in order.
struct Section {
  const unsigned char* begin = nullptr;  // the 0x4002 element, null when there is none
  const unsigned char* end = nullptr;
};

}  // namespace

// Positions inside the held packet, which was validated when it was taken or built.
struct FlexData::View {
  const unsigned char* packet;
  const unsigned char* end;
  const unsigned char* md;
  const unsigned char* type;
  const unsigned char* data;
  std::uint16_t code;

  const unsigned char* typeEnd() const { return fd::GetNextElt(type, end); }
  // Arrays: dimension count, element MD range, first element.
  std::uint16_t dimCount() const { return LoadU16(type + 2); }
  const unsigned char* elementMd() const { return type + 8; }
  const unsigned char* elementMdEnd() const { return type + 4 + LoadU32(type + 4); }
  std::uint16_t elementCode() const {
    return LoadU16(fd::GetTypeFromMD(elementMd(), elementMdEnd()));
  }
  const unsigned char* elements() const { return data + 4u * dimCount(); }
  std::uint64_t elementCount() const {
    std::uint64_t count = 1;
    bool zero = false;
    for (std::uint16_t i = 0; i < dimCount(); ++i) {
      const auto dim = static_cast<std::uint64_t>(LoadI32(data + 4u * i));
      if (dim == 0) zero = true;
      if (!zero) count *= dim;  // validation bounded the product by the bytes present
    }
    return zero ? 0 : count;
  }
  Section section() const {
    Section s;
    s.begin = fd::GetAttributeMD(md, fd::FlexAttr::AttributeSection, end);
    if (s.begin != nullptr) s.end = fd::detail::AttributeSectionEnd(s.begin, end);
    return s;
  }
};

FlexData::View FlexData::view() const {
  if (isEmpty()) throw exception::NotFound(ZO_KEL_HERE);
  View v;
  v.packet = packet_.Data();
  v.end = v.packet + packet_.Len();
  v.md = v.packet + 4;
  v.type = fd::GetTypeFromMD(v.md, v.end);
  v.data = fd::GetNextElt(v.type, v.end);
  v.code = LoadU16(v.type);
  return v;
}

std::uint64_t FlexData::ElementCount(const std::int32_t* dims, std::uint32_t count) noexcept {
  constexpr std::uint64_t kInvalid = ~std::uint64_t{0};
  bool zero = false;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (dims[i] < 0) return kInvalid;
    if (dims[i] == 0) zero = true;
  }
  if (zero) return 0;
  std::uint64_t product = 1;
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto dim = static_cast<std::uint64_t>(dims[i]);
    if (product > kInvalid / dim) return kInvalid;
    product *= dim;
  }
  return product;
}

// ---- Bytes in and out ----

FlexData::FlexData(const unsigned char* begin, const unsigned char* end) { assign(begin, end); }

void FlexData::assign(const unsigned char* begin, const unsigned char* end) {
  const std::uint32_t size = fd::detail::ValidatePacket(begin, end, 0);
  if (size != static_cast<std::size_t>(end - begin)) {
    throw exception::SyntaxError(ZO_KEL_HERE, L"bytes follow the packet");
  }
  packet_ = AutoBuffer(begin, size);
}

void FlexData::serialize(unsigned char*& pos, const unsigned char* end) const {
  unsigned char* next = little_endian::CheckSerializationSize(serializationSize(), pos, end);
  if (isEmpty()) {
    std::memset(pos, 0, 4);
  } else {
    std::memcpy(pos, packet_.Data(), packet_.Len());
  }
  pos = next;
}

void FlexData::deserialize(const unsigned char*& pos, const unsigned char* end) {
  if (Fits(4, pos, end) && LoadU32(pos) == 0) {
    clear();
    pos += 4;
    return;
  }
  const std::uint32_t size = fd::detail::ValidatePacket(pos, end, 0);
  packet_ = AutoBuffer(pos, size);
  pos += size;
}

int FlexData::compare(const FlexData& other) const noexcept {
  return CompareBuffers(BufferWrapper(data(), size()), BufferWrapper(other.data(), other.size()));
}

fd::FlexType FlexData::getType() const { return static_cast<FlexType>(view().code); }

bool FlexData::isWaveform() const {
  const View v = view();
  return fd::IsWaveformType(v.type, v.end);
}

// ---- Scalars ----

void FlexData::setFixed(FlexType type, const void* value, std::uint32_t n) {
  Builder b;
  b.MdU16(Code(type));
  b.Data(value, n);
  packet_ = b.Finish();
}

void FlexData::setVoid() { setFixed(FlexType::Void, nullptr, 0); }
void FlexData::setI8(signed char v) { setFixed(FlexType::I8, &v, 1); }
void FlexData::setUI8(unsigned char v) { setFixed(FlexType::UI8, &v, 1); }
void FlexData::setBool(bool v) {
  const unsigned char byte = v ? 1 : 0;
  setFixed(FlexType::Bool, &byte, 1);
}
// Numbers are stored little-endian, which is host order on every supported host.
void FlexData::setI16(short v) { setFixed(FlexType::I16, &v, 2); }
void FlexData::setUI16(unsigned short v) { setFixed(FlexType::UI16, &v, 2); }
void FlexData::setI32(std::int32_t v) { setFixed(FlexType::I32, &v, 4); }
void FlexData::setUI32(std::uint32_t v) { setFixed(FlexType::UI32, &v, 4); }
void FlexData::setF32(float v) { setFixed(FlexType::F32, &v, 4); }
void FlexData::setI64(long long v) { setFixed(FlexType::I64, &v, 8); }
void FlexData::setUI64(unsigned long long v) { setFixed(FlexType::UI64, &v, 8); }
void FlexData::setF64(double v) { setFixed(FlexType::F64, &v, 8); }

void FlexData::setTime(const AbsTime& v) {
  unsigned char bytes[16];
  fd::SetTime(bytes, v, bytes + sizeof bytes);
  setFixed(FlexType::Time, bytes, sizeof bytes);
}

void FlexData::setAString(const char* chars, std::uint32_t count) {
  Builder b;
  b.MdU16(Code(FlexType::AString));
  b.DataU32(count);
  b.Data(chars, count);
  packet_ = b.Finish();
}

void FlexData::setUTF16(const std::uint16_t* units, std::uint32_t count) {
  Builder b;
  b.MdU16(Code(FlexType::UTF16));
  b.DataU32(count);
  unsigned char* out = b.DataRoom(2ull * count);
  for (std::uint32_t i = 0; i < count; ++i) fd::detail::StoreU16(out + 2u * i, units[i]);
  packet_ = b.Finish();
}

void FlexData::setAString(const AString& text) { setAString(text.c_str(), text.size()); }

void FlexData::setUTF16(const WString& text) {
  Vector<std::uint16_t> units(osdep::SerializeUtf16::GetUtf16SerializationSize(text) / 2u);
  osdep::SerializeUtf16::SerializeAsUtf16(text, units.begin(), units.end());
  setUTF16(units.begin(), units.size());
}

namespace {
template <typename T>
T ScalarOf(const unsigned char* data, const unsigned char* end, std::uint16_t code) {
  return fd::GetNum<T>(static_cast<FlexType>(code), data, end);
}
}  // namespace

#define ZO_KEL_FLEXDATA_GETTER(name, T)        \
  T FlexData::name() const {                   \
    const View v = view();                     \
    return ScalarOf<T>(v.data, v.end, v.code); \
  }
ZO_KEL_FLEXDATA_GETTER(getI8, signed char)
ZO_KEL_FLEXDATA_GETTER(getUI8, unsigned char)
ZO_KEL_FLEXDATA_GETTER(getI16, short)
ZO_KEL_FLEXDATA_GETTER(getUI16, unsigned short)
ZO_KEL_FLEXDATA_GETTER(getI32, std::int32_t)
ZO_KEL_FLEXDATA_GETTER(getUI32, std::uint32_t)
ZO_KEL_FLEXDATA_GETTER(getF32, float)
ZO_KEL_FLEXDATA_GETTER(getI64, long long)
ZO_KEL_FLEXDATA_GETTER(getUI64, unsigned long long)
ZO_KEL_FLEXDATA_GETTER(getF64, double)
#undef ZO_KEL_FLEXDATA_GETTER

bool FlexData::getBool() const {
  const View v = view();
  if (v.code == Code(FlexType::Bool)) return v.data[0] != 0;
  return ScalarOf<double>(v.data, v.end, v.code) != 0.0;
}

AbsTime FlexData::getTime() const {
  const View v = view();
  Require(v.code == Code(FlexType::Time));
  return fd::GetTime(v.data, v.end);
}

std::uint32_t FlexData::getAString(const char*& chars) const {
  const View v = view();
  Require(IsAStringFamily(v.code));
  chars = reinterpret_cast<const char*>(v.data + 4);
  return LoadU32(v.data);
}

Vector<std::uint16_t> FlexData::getUTF16() const {
  const View v = view();
  Require((v.code & 0xFF00u) == Code(FlexType::UTF16));
  Vector<std::uint16_t> units(LoadU32(v.data));
  for (std::uint32_t i = 0; i < units.size(); ++i) units[i] = LoadU16(v.data + 4 + 2u * i);
  return units;
}

AString FlexData::getAString() const {
  const char* chars = nullptr;
  const std::uint32_t count = getAString(chars);
  return AString(chars, count);
}

WString FlexData::getWString() const {
  const Vector<std::uint16_t> units = getUTF16();
  return osdep::SerializeUtf16::DeserializeFromUtf16(units.begin(), units.end());
}

// ---- Arrays ----

void FlexData::setScalarArray(FlexType type, const std::int32_t* dims, std::uint16_t dimCount,
                              FlexType srcType, const void* elements) {
  Require(IsNumericOrBool(type) && IsNumericOrBool(srcType));
  const std::uint64_t count = CheckedElementCount(dims, dimCount);
  const std::size_t width = fd::GetDataSize(type);
  if (count > AutoBuffer::kMaxLen / width) throw std::bad_alloc();
  unsigned char elementMd[2];
  fd::detail::StoreU16(elementMd, Code(type));
  Builder b;
  ArrayHeader(b, dims, dimCount, elementMd, 2);
  unsigned char* out = b.DataRoom(count * width);
  TransformArray(static_cast<std::uint32_t>(count), srcType, TAEndian::Host, elements, type,
                 TAEndian::Little, out);
  packet_ = b.Finish();
}

void FlexData::setAStringArray(const std::int32_t* dims, std::uint16_t dimCount,
                               const char* const* texts, const std::uint32_t* lengths) {
  const std::uint64_t count = CheckedElementCount(dims, dimCount);
  unsigned char elementMd[2];
  fd::detail::StoreU16(elementMd, Code(FlexType::AString));
  Builder b;
  ArrayHeader(b, dims, dimCount, elementMd, 2);
  for (std::uint64_t i = 0; i < count; ++i) {
    b.DataU32(lengths[i]);
    b.Data(texts[i], lengths[i]);
    b.PadData();
  }
  packet_ = b.Finish();
}

void FlexData::setAStringArray(const Vector<std::int32_t>& dims, const Vector<AString>& texts) {
  Require(dims.size() <= 0xFFFFu && ElementCount(dims.begin(), dims.size()) == texts.size());
  std::vector<const char*> chars(texts.size());
  std::vector<std::uint32_t> lengths(texts.size());
  for (std::uint32_t i = 0; i < texts.size(); ++i) {
    chars[i] = texts[i].c_str();
    lengths[i] = texts[i].size();
  }
  setAStringArray(dims.begin(), static_cast<std::uint16_t>(dims.size()), chars.data(),
                  lengths.data());
}

void FlexData::setArray(const std::int32_t* dims, std::uint16_t dimCount,
                        const FlexData* elements) {
  const std::uint64_t count = CheckedElementCount(dims, dimCount);
  Require(elements != nullptr && !elements[0].isEmpty());
  const View first = elements[0].view();
  const unsigned char* mdEnd = first.typeEnd();
  const auto mdSize = static_cast<std::size_t>(mdEnd - first.md);
  const bool packed = first.code <= 0x06FF;
  Builder b;
  ArrayHeader(b, dims, dimCount, first.md, mdSize);
  for (std::uint64_t i = 0; i < count; ++i) {
    Require(!elements[i].isEmpty());
    const View e = elements[i].view();
    Require(static_cast<std::size_t>(e.typeEnd() - e.md) == mdSize &&
            std::memcmp(e.md, first.md, mdSize) == 0);
    b.Data(e.data, static_cast<std::size_t>(e.end - e.data));
    if (!packed) b.PadData();
  }
  AutoBuffer packet = b.Finish();
  // The elements may nest deeply already; the whole must stay readable.
  fd::detail::ValidatePacket(packet.Data(), packet.Data() + packet.Len(), 0);
  packet_ = packet;
}

Vector<std::int32_t> FlexData::getDims() const {
  const View v = view();
  Require(v.code == Code(FlexType::Array));
  Vector<std::int32_t> dims(v.dimCount());
  for (std::uint32_t i = 0; i < dims.size(); ++i) dims[i] = LoadI32(v.data + 4u * i);
  return dims;
}

fd::FlexType FlexData::getElementType() const {
  const View v = view();
  Require(v.code == Code(FlexType::Array));
  return static_cast<FlexType>(v.elementCode());
}

std::uint64_t FlexData::getElementCount() const {
  const View v = view();
  Require(v.code == Code(FlexType::Array));
  return v.elementCount();
}

void FlexData::getScalarArray(FlexType dstType, void* dst) const {
  const View v = view();
  Require(v.code == Code(FlexType::Array) &&
          IsNumericOrBool(static_cast<FlexType>(v.elementCode())));
  // The packet holds every element, so the count fits 32 bits.
  TransformArray(static_cast<std::uint32_t>(v.elementCount()),
                 static_cast<FlexType>(v.elementCode()), TAEndian::Little, v.elements(), dstType,
                 TAEndian::Host, dst);
}

void FlexData::getAStringArray(const char** texts, std::uint32_t* lengths) const {
  const View v = view();
  Require(v.code == Code(FlexType::Array) && IsAStringFamily(v.elementCode()));
  const unsigned char* p = v.elements();
  const std::uint64_t count = v.elementCount();
  for (std::uint64_t i = 0; i < count; ++i) {
    lengths[i] = LoadU32(p);
    texts[i] = reinterpret_cast<const char*>(p + 4);
    p += RoundUpEven(4ull + lengths[i]);
  }
}

Vector<AString> FlexData::getAStringArray() const {
  const View v = view();
  Require(v.code == Code(FlexType::Array) && IsAStringFamily(v.elementCode()));
  // The packet holds every element's count field, so the count fits 32 bits.
  const auto count = static_cast<std::uint32_t>(v.elementCount());
  Vector<const char*> chars(count);
  Vector<std::uint32_t> lengths(count);
  getAStringArray(chars.begin(), lengths.begin());
  Vector<AString> texts(count);
  for (std::uint32_t i = 0; i < count; ++i) texts[i].assign(chars[i], lengths[i]);
  return texts;
}

FlexData FlexData::getElement(std::uint64_t index) const {
  const View v = view();
  Require(v.code == Code(FlexType::Array));
  RequireIndex(index < v.elementCount());
  const unsigned char* md = v.elementMd();
  const unsigned char* mdEnd = v.elementMdEnd();
  const std::uint16_t code = v.elementCode();
  const unsigned char* p = v.elements();
  std::size_t size;
  if (code <= 0x06FF) {
    size = fd::detail::FixedSize(code);
    p += index * size;
  } else {
    for (std::uint64_t i = 0; i < index; ++i) p += RoundUpEven(fd::GetDataSize(md, p, v.end));
    size = fd::GetDataSize(md, p, v.end);
  }
  return FlexData(PacketOf(md, static_cast<std::size_t>(mdEnd - md), p, size));
}

// ---- Clusters and nested packets ----

void FlexData::setCluster(const FlexData* members, std::uint32_t count) {
  Require(count >= 1 && count <= 0xFFFFu);
  Builder b;
  b.MdU16(Code(FlexType::Cluster));
  b.MdU16(static_cast<std::uint16_t>(count));
  for (std::uint32_t i = 0; i < count; ++i) {
    Require(!members[i].isEmpty());
    const View m = members[i].view();
    const auto mdSize = static_cast<std::size_t>(m.typeEnd() - m.md);
    b.MdU32(static_cast<std::uint32_t>(4 + mdSize));
    b.Md(m.md, mdSize);
    b.Data(m.data, static_cast<std::size_t>(m.end - m.data));
    b.PadData();
  }
  AutoBuffer packet = b.Finish();
  fd::detail::ValidatePacket(packet.Data(), packet.Data() + packet.Len(), 0);
  packet_ = packet;
}

std::uint16_t FlexData::getMemberCount() const {
  const View v = view();
  Require(v.code == Code(FlexType::Cluster));
  return LoadU16(v.type + 2);
}

FlexData FlexData::getMember(std::uint16_t index) const {
  const View v = view();
  Require(v.code == Code(FlexType::Cluster));
  RequireIndex(index < LoadU16(v.type + 2));
  const unsigned char* member = v.type + 4;
  const unsigned char* data = v.data;
  for (std::uint16_t i = 0; i < index; ++i) {
    const unsigned char* memberEnd = member + LoadU32(member);
    data += RoundUpEven(fd::GetDataSize(member + 4, data, v.end));
    member = memberEnd;
  }
  const unsigned char* md = member + 4;
  const std::size_t mdSize = LoadU32(member) - 4u;
  return FlexData(PacketOf(md, mdSize, data, fd::GetDataSize(md, data, v.end)));
}

void FlexData::setVariant(const FlexData& inner) {
  Require(!inner.isEmpty());
  Builder b;
  b.MdU16(Code(FlexType::Variant));
  b.Data(inner.data(), inner.size());
  AutoBuffer packet = b.Finish();
  fd::detail::ValidatePacket(packet.Data(), packet.Data() + packet.Len(), 0);
  packet_ = packet;
}

FlexData FlexData::getVariant() const {
  const View v = view();
  Require(v.code == Code(FlexType::Variant));
  return FlexData(AutoBuffer(v.data, LoadU32(v.data)));
}

// ---- Attributes ----

namespace {

std::uint16_t AttributeWord(fd::FlexAttr attr) {
  return static_cast<std::uint16_t>(fd::kAttributeClass | static_cast<std::uint16_t>(attr));
}

// Rebuilds a packet with its attribute section replaced: the entries of the old section except
// the one called name, then (when value is given) the new entry. A section left without
// entries is dropped.
AutoBuffer WithAttribute(const unsigned char* end, const unsigned char* md, const Section& old,
                         const char* name, std::size_t nameLength, const FlexData* value,
                         bool& found) {
  AutoBuffer entries;
  found = false;
  if (old.begin != nullptr) {
    const unsigned char* p = old.begin + 6;
    while (p != old.end) {
      const fd::detail::AttributeName entry = fd::detail::ParseAttributeName(p, old.end);
      const unsigned char* next = fd::detail::AttributeValueEnd(entry.value, old.end);
      if (entry.length == nameLength && std::memcmp(entry.chars, name, nameLength) == 0) {
        found = true;
      } else {
        entries.Append(p, static_cast<std::uint32_t>(next - p));
        // A last entry read without its pad byte gets it back: entries follow it now.
        if (((next - p) & 1) != 0) entries.Append("", 1);
      }
      p = next;
    }
  }
  Builder b;
  if (value != nullptr) {
    if (nameLength > 0xFFFFFFFFu - 11u) throw std::bad_alloc();
    const auto count = static_cast<std::uint32_t>(nameLength);
    Builder entry;
    entry.MdU16(AttributeWord(fd::FlexAttr::AttributeName));
    entry.MdU32(static_cast<std::uint32_t>(10 + RoundUpEven(count)));
    entry.MdU16(Code(FlexType::AString));
    entry.MdU32(count);
    entry.Md(name, count);
    if ((count & 1u) != 0) entry.Md("", 1);
    const unsigned char* vp = value->data();
    const unsigned char* vEnd = vp + value->size();
    const unsigned char* vData = fd::GetData(vp, vEnd);
    entry.Md(vp + 4, static_cast<std::size_t>(vData - (vp + 4)));
    entry.Data(vData, static_cast<std::size_t>(vEnd - vData));
    entry.PadData();
    const AutoBuffer bytes = entry.Finish();
    entries.Append(bytes.Data() + 4, bytes.Len() - 4);
  }
  // The new MD: the prefix before the old section, the new section, the rest.
  const unsigned char* before = old.begin != nullptr ? old.begin : md;
  const unsigned char* after = old.begin != nullptr ? old.end : md;
  b.Md(md, static_cast<std::size_t>(before - md));
  if (entries.Len() != 0) {
    if (entries.Len() > 0xFFFFFFFFu - 4u) throw std::bad_alloc();
    b.MdU16(AttributeWord(fd::FlexAttr::AttributeSection));
    b.MdU32(4 + entries.Len());
    b.Md(entries.Data(), entries.Len());
  }
  b.Md(after, static_cast<std::size_t>(end - after));
  return b.Finish();
}

}  // namespace

void FlexData::setAttribute(const char* name, const FlexData& value) {
  Require(name != nullptr && !value.isEmpty());
  const View v = view();
  bool found = false;
  AutoBuffer packet =
      WithAttribute(v.end, v.md, v.section(), name, std::strlen(name), &value, found);
  fd::detail::ValidatePacket(packet.Data(), packet.Data() + packet.Len(), 0);
  packet_ = packet;
}

bool FlexData::removeAttribute(const char* name) {
  Require(name != nullptr);
  const View v = view();
  bool found = false;
  AutoBuffer packet =
      WithAttribute(v.end, v.md, v.section(), name, std::strlen(name), nullptr, found);
  if (found) packet_ = packet;
  return found;
}

bool FlexData::hasAttribute(const char* name) const {
  Require(name != nullptr);
  const View v = view();
  return fd::GetAttributeMD(v.md, name, v.end) != nullptr;
}

FlexData FlexData::getAttribute(const char* name) const {
  Require(name != nullptr);
  const View v = view();
  const unsigned char* value = fd::GetAttributeMD(v.md, name, v.end);
  if (value == nullptr) throw exception::NotFound(ZO_KEL_HERE);
  const Section s = v.section();
  const std::size_t mdSize = fd::GetMDSize(value, s.end);
  const unsigned char* data = value + mdSize;
  return FlexData(PacketOf(value, mdSize, data, fd::GetDataSize(value, data, s.end)));
}

// ---- Waveforms ----

void FlexData::setWaveform(const AbsTime& start, double interval, FlexType sampleType,
                           FlexType srcType, const void* samples, std::uint32_t count) {
  Require(IsNumeric(sampleType) && IsNumericOrBool(srcType) && count <= 0x7FFFFFFFu);
  const std::uint64_t sampleBytes = std::uint64_t{count} * fd::GetDataSize(sampleType);
  if (fd::CalculateWaveformDataSize(sampleBytes) > AutoBuffer::kMaxLen) throw std::bad_alloc();
  unsigned char block[fd::CalculateWaveformAttributeSize() + fd::CalculateWaveformTypeSize()];
  unsigned char* const blockEnd = block + sizeof block;
  const std::size_t attributes = fd::SetWaveformAttributes(block, blockEnd);
  fd::SetWaveformType(block + attributes, blockEnd, sampleType);
  Builder b;
  b.Md(block, sizeof block);
  // Each room is written before the next append, which may move the data.
  unsigned char* time = b.DataRoom(16);
  fd::SetTime(time, start, time + 16);
  b.Data(&interval, sizeof interval);  // little-endian is host order
  b.DataU32(count);
  unsigned char* out = b.DataRoom(sampleBytes);
  TransformArray(count, srcType, TAEndian::Host, samples, sampleType, TAEndian::Little, out);
  unsigned char* suffix = b.DataRoom(20);
  fd::SetWaveformDataSuffix(suffix, suffix + 20);
  packet_ = b.Finish();
}

namespace {
// Data offsets of the waveform type: start time, interval, sample count, samples.
constexpr std::size_t kIntervalOffset = 16;
constexpr std::size_t kCountOffset = 24;
constexpr std::size_t kSamplesOffset = 28;
}  // namespace

AbsTime FlexData::getWaveformStart() const {
  Require(isWaveform());
  const View v = view();
  return fd::GetTime(v.data, v.end);
}

double FlexData::getWaveformInterval() const {
  Require(isWaveform());
  const View v = view();
  return fd::GetNum<double>(FlexType::F64, v.data + kIntervalOffset, v.end);
}

fd::FlexType FlexData::getWaveformSampleType() const {
  Require(isWaveform());
  const View v = view();
  return fd::GetWaveformSampleType(v.type, v.end);
}

std::uint32_t FlexData::getWaveformSampleCount() const {
  Require(isWaveform());
  const View v = view();
  return static_cast<std::uint32_t>(LoadI32(v.data + kCountOffset));
}

void FlexData::getWaveformSamples(FlexType dstType, void* dst) const {
  const std::uint32_t count = getWaveformSampleCount();
  const View v = view();
  TransformArray(count, fd::GetWaveformSampleType(v.type, v.end), TAEndian::Little,
                 v.data + kSamplesOffset, dstType, TAEndian::Host, dst);
}

// ---- The array transform ----

void FlexData::TransformArray(std::uint32_t count, FlexType srcType, TAEndian srcEndian,
                              const void* src, FlexType dstType, TAEndian dstEndian,
                              void* dst) const {
  switch (dstType) {
    case FlexType::I8:
    case FlexType::Bool:
      return fd::copyElts<signed char>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::UI8:
      return fd::copyElts<unsigned char>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::I16:
      return fd::copyElts<short>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::UI16:
      return fd::copyElts<unsigned short>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::I32:
      return fd::copyElts<std::int32_t>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::UI32:
      return fd::copyElts<std::uint32_t>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::F32:
      return fd::copyElts<float>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::I64:
      return fd::copyElts<long long>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::UI64:
      return fd::copyElts<unsigned long long>(srcType, count, srcEndian, src, dstEndian, dst);
    case FlexType::F64:
      return fd::copyElts<double>(srcType, count, srcEndian, src, dstEndian, dst);
    default:
      throw exception::InvalidArgument("FlexData", 1371);
  }
}

}  // namespace kel
}  // namespace zo
