// The packet guts, the conversions between values and packets (one-dimensional arrays both
// ways by the element mapping), and the handle's packet members.
#include "qmdynamic/VarDataFlexData.h"

#include <type_traits>
#include <vector>

#include "kel/Limits.h"
#include "kel/StringBase.h"
#include "kel/Vector.h"
#include "kel/exception.h"
#include "kel/fd/NumericConversion.h"
#include "kel/little_endian.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VectorGuts_impl.h"

namespace {

using zo::kel::AString;
using zo::kel::FlexData;
using zo::kel::Vector;
using zo::kel::exception::UnableToConvert;
using zo::kel::fd::FlexType;

// The numeric subtype of a number: the 4-bit field above the kind code.
std::uint16_t Subtype(const VarData& v) { return (v.getTypeWord() >> 16) & 0xFu; }

bool IsAStringFamily(FlexType t) {
  const auto code = static_cast<std::uint16_t>(t);
  return (code & 0xFF00u) == 0x0900u && t != FlexType::Variant;
}

using ArrayElements = zo::kel::detail::VectorGuts::Elements;

const ArrayElements& Elements(const VarData& array) {
  static const ArrayElements kNone;
  if (array.getKind() != VarData::kArray || array.getGuts() == nullptr) return kNone;
  return static_cast<const zo::kel::detail::VectorGuts*>(array.getGuts())->elements();
}

VarData ArrayOf(ArrayElements elements) {
  VarData array;
  array.adoptGuts(VarData::kArray, elements.empty()
                                       ? nullptr
                                       : new zo::kel::detail::VectorGuts(std::move(elements)));
  return array;
}

// A double converted to a packet element type as the array transform converts it.
template <typename T>
T CastNumber(double d) {
  T out;
  zo::kel::fd::copyEltsHelper<double, T>(1, zo::kel::fd::TAEndian::Host, &d,
                                         zo::kel::fd::TAEndian::Host, &out);
  return out;
}

// ---- VarData vector to packet array ----

// Element i as the host type of its packet element: numbers cast from their double, logicals
// as their truth, strings as their narrow text.
template <typename T>
T GetVarDataElement(const VarData& v, std::uint32_t i) {
  const VarData& element = Elements(v)[i];
  if constexpr (std::is_same<T, bool>::value) {
    return static_cast<bool>(element);
  } else if constexpr (std::is_same<T, AString>::value) {
    return element.getAnsiString();
  } else {
    double d = 0.0;
    element.GetNumeric(d);
    return CastNumber<T>(d);
  }
}

template <typename T>
void SetArrayFromVector(FlexData& out, FlexType type, const Vector<T>& elements) {
  const std::int32_t length = static_cast<std::int32_t>(elements.size());
  const Vector<std::int32_t> dims(&length, &length + 1);
  if constexpr (std::is_same<T, AString>::value) {
    out.setAStringArray(dims, elements);
  } else {
    out.setScalarArray(type, dims, elements);
  }
}

template <typename T>
void SetArrayFromVarData(FlexData& out, FlexType type, const VarData& v) {
  Vector<T> elements(static_cast<std::uint32_t>(Elements(v).size()));
  for (std::uint32_t i = 0; i < elements.size(); ++i) elements[i] = GetVarDataElement<T>(v, i);
  SetArrayFromVector(out, type, elements);
}

void SetNumberArray(FlexData& out, std::uint16_t subtype, const VarData& v) {
  switch (subtype) {
    case VarData::kDouble:
      return SetArrayFromVarData<double>(out, FlexType::F64, v);
    case VarData::kInt8:
      return SetArrayFromVarData<signed char>(out, FlexType::I8, v);
    case VarData::kInt16:
      return SetArrayFromVarData<short>(out, FlexType::I16, v);
    case VarData::kInt32:
      return SetArrayFromVarData<std::int32_t>(out, FlexType::I32, v);
    case VarData::kUInt8:
      return SetArrayFromVarData<unsigned char>(out, FlexType::UI8, v);
    case VarData::kUInt16:
      return SetArrayFromVarData<unsigned short>(out, FlexType::UI16, v);
    case VarData::kUInt32:
    case VarData::kBitArray:  // deliberately shares the UI32 row; it comes back as subtype 6
      return SetArrayFromVarData<std::uint32_t>(out, FlexType::UI32, v);
    case VarData::kFloat:
      return SetArrayFromVarData<float>(out, FlexType::F32, v);
    default:
      return out.setVoid();
  }
}

// Element 0 decides the element type; elements of another kind make the whole array Void
// (their qualifiers are not compared).
void ConvertVarDataVectorToFlexDataArray(FlexData& out, const VarData& v) {
  const ArrayElements& elements = Elements(v);
  if (elements.empty()) return out.setVoid();
  const std::uint16_t kind = elements[0].getKind();
  for (const VarData& element : elements) {
    if (element.getKind() != kind) return out.setVoid();
  }
  switch (kind) {
    case VarData::kLogical:
      return SetArrayFromVarData<bool>(out, FlexType::Bool, v);
    case VarData::kAnsi:
      return SetArrayFromVarData<AString>(out, FlexType::AString, v);
    case VarData::kNumeric:
      return SetNumberArray(out, Subtype(elements[0]), v);
    default:
      return out.setVoid();
  }
}

// ---- Packet array to VarData vector ----

template <typename T>
Vector<T> GetElementsFromFlexData(const FlexData& in) {
  if constexpr (std::is_same<T, AString>::value) {
    return in.getAStringArray();
  } else {
    return in.getScalarArray<T>();
  }
}

template <typename T>
void SetVarDataElement(VarData& v, std::uint32_t i, const T& x, std::uint16_t subtype) {
  VarData& element = static_cast<zo::kel::detail::VectorGuts*>(v.getGuts())->elements()[i];
  if constexpr (std::is_same<T, bool>::value || std::is_same<T, AString>::value) {
    element = VarData(x);
  } else {
    element = VarData::num(static_cast<double>(x), subtype);
  }
}

template <typename T>
void SetVarDataVectorFromFlexData(VarData& v, std::uint16_t subtype, const FlexData& in) {
  const Vector<T> elements = GetElementsFromFlexData<T>(in);
  VarData array = ArrayOf(ArrayElements(elements.size()));
  for (std::uint32_t i = 0; i < elements.size(); ++i) {
    SetVarDataElement(array, i, elements[i], subtype);
  }
  v = std::move(array);
}

// The element type is looked at only when there are elements, so an empty array of any type
// converts.
VarData ConvertFlexDataArrayToVarDataVector(const FlexData& in) {
  const Vector<std::int32_t> dims = in.getDims();
  if (dims.size() != 1) throw UnableToConvert("VarDataFlexData", 216);
  VarData v = ArrayOf({});
  if (dims[0] == 0) return v;
  const FlexType type = in.getElementType();
  switch (type) {
    case FlexType::I8:
      SetVarDataVectorFromFlexData<signed char>(v, VarData::kInt8, in);
      break;
    case FlexType::UI8:
      SetVarDataVectorFromFlexData<unsigned char>(v, VarData::kUInt8, in);
      break;
    case FlexType::I16:
      SetVarDataVectorFromFlexData<short>(v, VarData::kInt16, in);
      break;
    case FlexType::UI16:
      SetVarDataVectorFromFlexData<unsigned short>(v, VarData::kUInt16, in);
      break;
    case FlexType::I32:
      SetVarDataVectorFromFlexData<std::int32_t>(v, VarData::kInt32, in);
      break;
    case FlexType::UI32:
      SetVarDataVectorFromFlexData<std::uint32_t>(v, VarData::kUInt32, in);
      break;
    case FlexType::F32:
      SetVarDataVectorFromFlexData<float>(v, VarData::kFloat, in);
      break;
    case FlexType::F64:
      SetVarDataVectorFromFlexData<double>(v, VarData::kDouble, in);
      break;
    case FlexType::Bool:
      SetVarDataVectorFromFlexData<bool>(v, 0, in);
      break;
    default:
      if (!IsAStringFamily(type)) throw UnableToConvert("VarDataFlexData", 269);
      SetVarDataVectorFromFlexData<AString>(v, 0, in);
      break;
  }
  return v;
}

// ---- Packet to value ----

VarData ValueOf(const FlexData& packet, bool dictionaries);

bool HasMemberName(const FlexData& member) {
  return member.hasAttribute(kFlexDataMemberName) &&
         IsAStringFamily(member.getAttribute(kFlexDataMemberName).getType());
}

VarData ValueOfCluster(const FlexData& packet, bool dictionaries) {
  // A waveform keeps its start, interval and samples; its error cluster and attribute packet
  // are always empty.
  const std::uint16_t count = packet.isWaveform() ? 3 : packet.getMemberCount();
  std::vector<FlexData> members;
  members.reserve(count);
  bool named = dictionaries;
  for (std::uint16_t i = 0; i < count; ++i) {
    members.push_back(packet.getMember(i));
    named = named && HasMemberName(members.back());
  }
  if (named) {
    VarData dict = VarData::dict();
    for (const FlexData& member : members) {
      dict.setValue(VarData(member.getAttribute(kFlexDataMemberName).getAString()),
                    ValueOf(member, true));
    }
    return dict;
  }
  ArrayElements values;
  values.reserve(count);
  for (const FlexData& member : members) values.push_back(ValueOf(member, dictionaries));
  return ArrayOf(std::move(values));
}

// Recursion follows the packet's own nesting, which validation bounded.
VarData ValueOf(const FlexData& packet, bool dictionaries) {
  if (packet.isEmpty()) return VarData();
  const FlexType type = packet.getType();
  switch (type) {
    case FlexType::Void:
      return VarData();
    case FlexType::I8:
      return VarData::num(packet.getI8(), VarData::kInt8);
    case FlexType::I16:
      return VarData::num(packet.getI16(), VarData::kInt16);
    case FlexType::I32:
      return VarData::num(packet.getI32(), VarData::kInt32);
    case FlexType::UI8:
      return VarData::num(packet.getUI8(), VarData::kUInt8);
    case FlexType::UI16:
      return VarData::num(packet.getUI16(), VarData::kUInt16);
    case FlexType::UI32:
      return VarData::num(packet.getUI32(), VarData::kUInt32);
    case FlexType::F32:
      return VarData::num(packet.getF32(), VarData::kFloat);
    case FlexType::F64:
      return VarData(packet.getF64());
    case FlexType::I64:
      return VarData(static_cast<double>(packet.getI64()));
    case FlexType::UI64:
      return VarData(static_cast<double>(packet.getUI64()));
    case FlexType::Bool:
      return VarData(packet.getBool());
    case FlexType::Time:
      return VarData(packet.getTime());
    case FlexType::Array:
      return ConvertFlexDataArrayToVarDataVector(packet);
    case FlexType::Cluster:
      return ValueOfCluster(packet, dictionaries);
    case FlexType::Variant:
      return ValueOf(packet.getVariant(), dictionaries);
    default:
      if (IsAStringFamily(type)) return VarData(packet.getAString());
      if ((static_cast<std::uint16_t>(type) & 0xFF00u) == 0x0A00u) {
        return VarData(packet.getWString());
      }
      throw UnableToConvert(ZO_KEL_HERE);
  }
}

// ---- Value to packet ----

FlexData PacketOf(const VarData& v, std::uint32_t depth);

void SetNumber(FlexData& out, std::uint16_t subtype, double d) {
  switch (subtype) {
    case VarData::kInt8:
      return out.setI8(CastNumber<signed char>(d));
    case VarData::kInt16:
      return out.setI16(CastNumber<short>(d));
    case VarData::kInt32:
      return out.setI32(CastNumber<std::int32_t>(d));
    case VarData::kUInt8:
      return out.setUI8(CastNumber<unsigned char>(d));
    case VarData::kUInt16:
      return out.setUI16(CastNumber<unsigned short>(d));
    case VarData::kUInt32:
    case VarData::kBitArray:
      return out.setUI32(CastNumber<std::uint32_t>(d));
    case VarData::kFloat:
      return out.setF32(CastNumber<float>(d));
    default:  // doubles, and qualifiers that name no type: the number is kept
      return out.setF64(d);
  }
}

void SetDictionary(FlexData& out, const VarData& v, std::uint32_t depth) {
  const std::uint32_t count = v.getGuts() == nullptr ? 0 : v.size();
  if (count == 0) return out.setVoid();
  if (count > 0xFFFFu) throw UnableToConvert(ZO_KEL_HERE);
  std::vector<FlexData> members;
  members.reserve(count);
  for (auto it = v.begin(); it != v.end(); ++it) {
    FlexData name;
    name.setAString(it->first.getAnsiString());
    members.push_back(PacketOf(it->second, depth + 1));
    members.back().setAttribute(kFlexDataMemberName, name);
  }
  out.setCluster(members.data(), count);
}

FlexData PacketOf(const VarData& v, std::uint32_t depth) {
  if (depth >= zo::kel::kMaxNestingDepth) throw UnableToConvert(ZO_KEL_HERE);
  FlexData out;
  switch (v.getKind()) {
    case VarData::kLogical:
      out.setBool(static_cast<bool>(v));
      break;
    case VarData::kNumeric:
      SetNumber(out, Subtype(v), static_cast<double>(v));
      break;
    case VarData::kID64: {
      unsigned long long id = 0;
      v.getID64(id);
      out.setUI64(id);
      break;
    }
    case VarData::kTime:
    case VarData::kAbsTime: {
      VarData time(v);
      time.Convert_(VarData::kAbsTime);  // an inline time becomes the same instant
      zo::kel::AbsTime t;
      time.getAbsTime(t);
      out.setTime(t);
      break;
    }
    case VarData::kRelTime:
      out.setF64(static_cast<double>(v));
      break;
    case VarData::kAnsi:
      out.setAString(v.getAnsiString());
      break;
    case VarData::kUnicode:
      out.setUTF16(v.getUnicodeString());
      break;
    case VarData::kRaw: {
      const unsigned char* bytes = nullptr;
      std::uint32_t count = 0;
      if (v.getGuts() != nullptr)
        static_cast<const IVarDataRaw*>(v.getGuts())->GetData(bytes, count);
      const std::int32_t dim = static_cast<std::int32_t>(count);
      out.setScalarArray(FlexType::UI8, &dim, 1, FlexType::UI8, bytes);
      break;
    }
    case VarData::kDictionary:
      SetDictionary(out, v, depth);
      break;
    case VarData::kFlexData:
      out = v.getFlexData();
      break;
    case VarData::kTGVariant: {
      VarData native;
      try {
        if (v.getGuts() != nullptr) native = v.getITGVariant()->convertToNativeType();
      } catch (const zo::kel::exception::Exception&) {
        native.Clear();  // a variant that cannot be decoded stands for nothing
      }
      out = PacketOf(native, depth + 1);
      break;
    }
    case VarData::kArray:
      ConvertVarDataVectorToFlexDataArray(out, v);
      break;
    default:  // empty, events, void pointer, cell
      out.setVoid();
      break;
  }
  return out;
}

}  // namespace

// ---- The guts ----

class VarDataFlexData final : public zo::kel::detail::GutsObject<IVarDataFlexData> {
 public:
  explicit VarDataFlexData(FlexData packet) noexcept : packet_(std::move(packet)) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    using zo::kel::detail::IsOneOf;
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataFlexData})) {
      return zo::kel::detail::GrantInterface(static_cast<IVarDataFlexData*>(this), out);
    }
    return zo::kel::detail::RefuseInterface(out);
  }
  operator bool() const override {
    try {
      return static_cast<bool>(convertToNativeType());
    } catch (const zo::kel::exception::Exception&) {
      return false;
    }
  }
  operator double() const override {
    try {
      return static_cast<double>(convertToNativeType());
    } catch (const zo::kel::exception::Exception&) {
      return 0.0;
    }
  }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    return packet_.compare(static_cast<const IVarDataFlexData*>(other)->getFlexData());
  }
  void serialize(unsigned char*& cursor, const unsigned char* limit) const override {
    packet_.serialize(cursor, limit);
  }
  std::uint32_t serializationSize() const override { return packet_.serializationSize(); }
  VarData convertToNativeType() const override { return ValueOf(packet_, false); }
  VarData convertToNativeTypeOrDictionary() const override { return ValueOf(packet_, true); }

 private:
  ~VarDataFlexData() override = default;

  friend FlexData IVarDataFlexData::getFlexData() const;

  const FlexData packet_;
};

// The library's own guts share their packet; any other packet guts is read back from the bytes
// it serializes, the one form every packet guts offers.
FlexData IVarDataFlexData::getFlexData() const {
  if (const auto* own = dynamic_cast<const VarDataFlexData*>(this)) return own->packet_;
  const std::uint32_t size = serializationSize();
  zo::kel::Vector<unsigned char> bytes(size);
  unsigned char* cursor = bytes.begin();
  serialize(cursor, bytes.begin() + size);
  if (size == 4 && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 0 && bytes[3] == 0) {
    return FlexData();  // the empty packet
  }
  return FlexData(bytes.begin(), cursor);
}

IVarDataGuts* NewVarDataFlexData(const FlexData& packet) { return new VarDataFlexData(packet); }

IVarDataGuts* NewVarDataFlexDataFromVarData(const VarData& value) {
  return new VarDataFlexData(PacketOf(value, 0));
}

IVarDataGuts* DeserializeVarDataFlexData(const unsigned char*& cursor, const unsigned char* limit) {
  const unsigned char* pos = cursor;
  std::uint32_t size = 0;
  zo::kel::little_endian::DeserializeRaw(size, pos, limit);
  FlexData packet;
  if (size != 0) {
    // The size counts its own four bytes: the stream must hold all of them from the cursor.
    pos = zo::kel::little_endian::CheckDeserializationSize(size, cursor, limit);
    packet.assign(cursor, pos);
  }
  IVarDataGuts* made = new VarDataFlexData(std::move(packet));
  cursor = pos;
  return made;
}

// ---- The handle's packet members ----

VarData::VarData(const FlexData& packet) : VarData() {
  adoptGuts(kFlexData, NewVarDataFlexData(packet));
}

VarData VarData::flexData(const unsigned char* begin, const unsigned char* end) {
  return VarData(FlexData(begin, end));
}

FlexData VarData::getFlexData() const {
  throwIfWrongType(kFlexData);
  return guts() == nullptr ? FlexData() : getIFlexData()->getFlexData();
}
