// Fuzz target: the FlexData readers on one packet image: the metadata walk, data sizes,
// attribute lookups and number reads of kel/fd, the validating FlexData class and its
// accessors, and the packet value of VarData with its conversions. No reader may touch a byte
// past its end; a packet the class accepts must have accessors that never fail on bounds, parts
// that are packets in their own right, and a serialized form equal to its bytes.
#include <cstdint>
#include <cstring>

#include "FuzzCheck.h"
#include "kel/exception.h"
#include "kel/fd/FlexData.h"
#include "kel/fd/NumericConversion.h"
#include "kel/fd/fd.h"
#include "kel/time/AbsTime.h"
#include "qmdynamic/VarDataFlexData.h"
#include "qmstatic/vardata/VarData.h"

namespace {

namespace fd = zo::kel::fd;
using zo::kel::FlexData;
using zo::kel::exception::Exception;
using zo_kel_fuzz::Bytes;

// Every answer that is a position must lie inside [begin, end).
void CheckInside(const unsigned char* p, const unsigned char* begin, const unsigned char* end) {
  FUZZ_CHECK(p >= begin && p < end);
}

template <class Call>
void Guarded(Call call) {
  try {
    call();
  } catch (const Exception&) {
  }
}

template <class T>
void ReadNumber(fd::FlexType type, const unsigned char* p, const unsigned char* end) {
  Guarded([&] { (void)fd::GetNum<T>(type, p, end); });
}

void WalkMetadata(const unsigned char* md, const unsigned char* end) {
  Guarded([&] { FUZZ_CHECK(fd::GetMDEltSize(md, end) <= static_cast<std::size_t>(end - md)); });
  Guarded([&] {
    std::uint16_t next = 0;
    const unsigned char* after = fd::GetNextElt(md, next, end);
    FUZZ_CHECK(after > md && after + 2 <= end);
  });
  const unsigned char* type = nullptr;
  Guarded([&] {
    type = fd::GetTypeFromMD(md, end);
    FUZZ_CHECK(type >= md && type + 2 <= end);
  });
  std::size_t mdSize = 0;
  Guarded([&] {
    mdSize = fd::GetMDSize(md, end);
    FUZZ_CHECK(mdSize >= 2 && mdSize <= static_cast<std::size_t>(end - md));
  });
  Guarded([&] { (void)fd::GetDataSize(md, nullptr, end); });
  if (mdSize != 0) {
    const unsigned char* data = md + mdSize;
    Guarded([&] {
      FUZZ_CHECK(fd::GetDataSize(md, data, end) <= static_cast<std::size_t>(end - data));
    });
    if (type != nullptr) {
      std::uint16_t code;
      std::memcpy(&code, type, 2);
      const auto flexType = static_cast<fd::FlexType>(code);
      (void)fd::GetDataSize(flexType);
      ReadNumber<signed char>(flexType, data, end);
      ReadNumber<unsigned char>(flexType, data, end);
      ReadNumber<short>(flexType, data, end);
      ReadNumber<unsigned short>(flexType, data, end);
      ReadNumber<std::int32_t>(flexType, data, end);
      ReadNumber<std::uint32_t>(flexType, data, end);
      ReadNumber<float>(flexType, data, end);
      ReadNumber<long long>(flexType, data, end);
      ReadNumber<unsigned long long>(flexType, data, end);
      ReadNumber<double>(flexType, data, end);
      Guarded([&] { (void)fd::GetTime(data, end); });
    }
  }
  Guarded([&] {
    const unsigned char* section = fd::GetAttributeMD(md, fd::FlexAttr::AttributeSection, end);
    if (section != nullptr) CheckInside(section, md, end);
  });
  for (const char* name : {"_ZO_MDT", "_ZO_NAME", "a"}) {
    Guarded([&] {
      const unsigned char* value = fd::GetAttributeMD(md, name, end);
      if (value != nullptr) CheckInside(value, md, end);
    });
    Guarded([&] {
      const unsigned char* packet = fd::GetAttributePacket(md, name, end);
      if (packet == nullptr) return;
      FUZZ_CHECK(packet + 4 < end);
      Guarded([&] { CheckInside(fd::GetTypeFromPacket(packet, end), packet, end); });
      Guarded([&] { FUZZ_CHECK(fd::GetData(packet, end) <= end); });
    });
  }
  Guarded([&] {
    // By code the answer is the element's length field, which readers check against end.
    const unsigned char* packet = fd::GetAttributePacket(md, fd::FlexAttr::AttributeSection, end);
    if (packet == nullptr) return;
    FUZZ_CHECK(packet > md && packet <= end);
    Guarded([&] { (void)fd::GetTypeFromPacket(packet, end); });
  });
  if (fd::IsWaveformType(md, end)) Guarded([&] { (void)fd::GetWaveformSampleType(md, end); });
}

// A part handed out by an accessor is a complete packet of its own.
void CheckPacket(const FlexData& part) {
  if (part.isEmpty()) return;
  const FlexData copy(part.data(), part.data() + part.size());
  FUZZ_CHECK(copy == part);
}

// Every accessor of an accepted packet either answers or raises a library error; bulk reads
// are limited to packets of a reasonable element count.
void Explore(const FlexData& f, int depth) {
  if (depth > 4) return;
  Guarded([&] { (void)f.getType(); });
  Guarded([&] { (void)f.isWaveform(); });
  Guarded([&] { (void)f.getF64(); });
  Guarded([&] { (void)f.getBool(); });
  Guarded([&] { (void)f.getTime(); });
  Guarded([&] { (void)f.getAString(); });
  Guarded([&] { (void)f.getWString(); });
  Guarded([&] { (void)f.getUTF16(); });
  Guarded([&] { (void)f.getDims(); });
  Guarded([&] { (void)f.getElementType(); });
  Guarded([&] {
    const std::uint64_t count = f.getElementCount();
    if (count > 4096) return;
    Guarded([&] { (void)f.getScalarArray<double>(); });
    Guarded([&] { (void)f.getScalarArray<bool>(); });
    Guarded([&] { (void)f.getAStringArray(); });
    for (std::uint64_t i = 0; i < count && i < 3; ++i) {
      Guarded([&] {
        const FlexData element = f.getElement(i);
        CheckPacket(element);
        Explore(element, depth + 1);
      });
    }
    Guarded([&] { (void)f.getElement(count); });
  });
  Guarded([&] {
    const std::uint16_t members = f.getMemberCount();
    for (std::uint16_t i = 0; i < members && i < 4; ++i) {
      const FlexData member = f.getMember(i);
      CheckPacket(member);
      Explore(member, depth + 1);
    }
  });
  Guarded([&] {
    const FlexData inner = f.getVariant();
    CheckPacket(inner);
    Explore(inner, depth + 1);
  });
  for (const char* name : {"_ZO_MDT", "_ZO_NAME"}) {
    Guarded([&] {
      if (!f.hasAttribute(name)) return;
      const FlexData value = f.getAttribute(name);
      CheckPacket(value);
      FlexData without = f;
      FUZZ_CHECK(without.removeAttribute(name) && !without.hasAttribute(name));
      CheckPacket(without);
    });
  }
  Guarded([&] {
    if (f.getWaveformSampleCount() > 4096) return;
    (void)f.getWaveformStart();
    (void)f.getWaveformInterval();
    (void)f.getWaveformSamples<double>();
  });
}

// The packet value of VarData: a value the packet stands for becomes a packet again, and a
// second round gives the same packet.
void CheckValue(const FlexData& f) {
  const VarData value(f);
  VarData native;
  try {
    native = value.getIFlexData()->convertToNativeType();
  } catch (const Exception&) {
    return;
  }
  Guarded([&] { (void)value.getIFlexData()->convertToNativeTypeOrDictionary(); });
  VarData packet;
  packet.adoptGuts(VarData::kFlexData, NewVarDataFlexDataFromVarData(native));
  const FlexData once = packet.getFlexData();
  CheckPacket(once);
  VarData again;
  again.adoptGuts(VarData::kFlexData,
                  NewVarDataFlexDataFromVarData(packet.getIFlexData()->convertToNativeType()));
  FUZZ_CHECK(again.getFlexData() == once);
}

void CheckClass(const std::uint8_t* data, std::size_t size) {
  const unsigned char* const end = data + size;
  FlexData f;
  f.setI32(5);
  const FlexData before = f;
  const unsigned char* pos = data;
  try {
    f.deserialize(pos, end);
  } catch (const Exception&) {
    FUZZ_CHECK(pos == data && f == before);
    return;
  }
  FUZZ_CHECK(pos > data && pos <= end);
  Bytes image(f.serializationSize());
  unsigned char* out = image.data();
  f.serialize(out, image.data() + image.size());
  FUZZ_CHECK(out == image.data() + image.size() && Bytes(data, pos) == image);
  if (f.isEmpty()) return;
  // The serialized stream form of the packet value reads back to the same packet.
  VarData value(f);
  zo::kel::AutoBuffer stream;
  value.SerializeWithoutSize(stream, true);
  const unsigned char* in = stream.Data();
  VarData back;
  back.deserializeImpl(in, stream.Data() + stream.Len(), true);
  FUZZ_CHECK(in == stream.Data() + stream.Len() && back.getFlexData() == f);
  Explore(f, 0);
  CheckValue(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size >= 4) WalkMetadata(data + 4, data + size);
  CheckClass(data, size);
  return 0;
}
