// zo::kel::FlexData: one self-describing packet (scalar, string, time, N-dimensional array,
// cluster, nested packet or waveform, with named attributes), built in code or taken from bytes.
#ifndef ZO_KEL_FD_FLEXDATA_H
#define ZO_KEL_FD_FLEXDATA_H

#include <cstdint>
#include <initializer_list>
#include <type_traits>

#include "kel/AutoBuffer.h"
#include "kel/StringBase.h"
#include "kel/Vector.h"
#include "kel/exception.h"
#include "kel/export.h"
#include "kel/fd/fd.h"

namespace zo {
namespace kel {

class AbsTime;

namespace fd {
/// The FlexType whose elements have host type T (bool is Bool, one byte 0 or 1).
template <typename T>
constexpr FlexType HostFlexType() noexcept {
  static_assert(std::is_arithmetic<T>::value && (sizeof(T) <= 8), "a numeric host type");
  if constexpr (std::is_same<T, bool>::value)
    return FlexType::Bool;
  else if constexpr (std::is_floating_point<T>::value)
    return sizeof(T) == 4 ? FlexType::F32 : FlexType::F64;
  else if constexpr (sizeof(T) == 1)
    return std::is_signed<T>::value ? FlexType::I8 : FlexType::UI8;
  else if constexpr (sizeof(T) == 2)
    return std::is_signed<T>::value ? FlexType::I16 : FlexType::UI16;
  else if constexpr (sizeof(T) == 4)
    return std::is_signed<T>::value ? FlexType::I32 : FlexType::UI32;
  else
    return std::is_signed<T>::value ? FlexType::I64 : FlexType::UI64;
}
}  // namespace fd

/// A FlexData packet held by value. Either empty (no packet at all) or one complete, validated
/// packet: every packet taken from bytes is checked once, completely (sizes, nested packets,
/// attribute sections, nesting depth), so that no accessor can later read outside it.
///
/// Copies share the bytes (an AutoBuffer, copy-on-write); every setter builds a new packet and
/// replaces the old one only when it succeeded, so after any exception the object is unchanged.
/// A setter replaces the whole value, attributes included: set the value first, then its
/// attributes. One object is not safe for concurrent mutation; distinct copies are.
///
/// Errors: bytes that are not a packet raise zo::kel::exception::SyntaxError with a detail; an
/// accessor asked for a value of another type (the I32 of a string, an element of a non-array)
/// raises InvalidArgument; a missing attribute, element or member (member 3 of a 2-member
/// cluster) and any accessor of an empty FlexData raise NotFound; a packet that would exceed 4 GiB
/// raises std::bad_alloc, as an exhausted heap does.
class ZO_KEL_API FlexData {
 public:
  /// Empty: holds no packet.
  FlexData() noexcept = default;
  /// A copy of the packet [begin, end): its size field must equal end - begin and the whole
  /// packet must be well-formed (SyntaxError otherwise).
  FlexData(const unsigned char* begin, const unsigned char* end);
  /// Copy and move; they never throw.
  ///@{
  FlexData(const FlexData&) noexcept = default;
  FlexData(FlexData&&) noexcept = default;
  FlexData& operator=(const FlexData&) noexcept = default;
  FlexData& operator=(FlexData&&) noexcept = default;
  ///@}
  ~FlexData() = default;

  /// Replaces the packet with a copy of [begin, end), validated as by the constructor.
  void assign(const unsigned char* begin, const unsigned char* end);
  /// Makes this empty.
  void clear() noexcept { packet_.Free(); }
  /// True when no packet is held.
  bool isEmpty() const noexcept { return packet_.Len() == 0; }
  /// The packet bytes (size field first), null when empty; valid until this object changes.
  const unsigned char* data() const noexcept { return packet_.Data(); }
  /// The packet size in bytes, 0 when empty.
  std::uint32_t size() const noexcept { return packet_.Len(); }

  // Serialized form: the packet byte for byte; an empty FlexData is four zero bytes.
  /// size(), or 4 when empty.
  std::uint32_t serializationSize() const noexcept { return isEmpty() ? 4u : size(); }
  /// Writes the serialized form at pos and advances pos; BufferOverflow (nothing written, pos
  /// unchanged) when it does not fit before end.
  void serialize(unsigned char*& pos, const unsigned char* end) const;
  /// Reads one serialized FlexData at pos (a size of 0 gives empty) and advances pos past it.
  /// SyntaxError when the bytes are not a complete well-formed packet; then neither this object
  /// nor pos changes.
  void deserialize(const unsigned char*& pos, const unsigned char* end);

  /// Byte order of the packets (lexicographic, a shorter prefix first, empty first): -1, 0, 1.
  int compare(const FlexData& other) const noexcept;
  /// The order of compare().
  ///@{
  bool operator==(const FlexData& other) const noexcept { return compare(other) == 0; }
  bool operator!=(const FlexData& other) const noexcept { return compare(other) != 0; }
  bool operator<(const FlexData& other) const noexcept { return compare(other) < 0; }
  ///@}

  // Type queries.
  /// The code of the packet's type element (Array, Cluster, I32, ...).
  fd::FlexType getType() const;
  /// True for a packet whose type is the waveform type (see setWaveform).
  bool isWaveform() const;

  // Scalars. Each setter makes this a packet of that one value.
  /// Makes this a packet of that one value (setVoid: of no value).
  ///@{
  void setVoid();
  void setI8(signed char v);
  void setUI8(unsigned char v);
  ///@}
  /// Stores 1 for true, 0 for false.
  void setBool(bool v);
  /// Makes this a packet of that one value, of the type the name gives.
  ///@{
  void setI16(short v);
  void setUI16(unsigned short v);
  void setI32(std::int32_t v);
  void setUI32(std::uint32_t v);
  void setF32(float v);
  void setI64(long long v);
  void setUI64(unsigned long long v);
  void setF64(double v);
  void setTime(const AbsTime& v);
  ///@}
  /// A narrow string of count characters (bytes of the caller's locale, no terminator).
  void setAString(const char* chars, std::uint32_t count);
  /// A UTF-16 string of count code units.
  void setUTF16(const std::uint16_t* units, std::uint32_t count);
  /// A narrow string of all of text's characters, embedded NULs included.
  void setAString(const AString& text);
  /// A UTF-16 string of the wide text: characters above U+FFFF become surrogate pairs, a
  /// character UTF-16 cannot hold becomes '?' (see osdep::SerializeUtf16).
  void setUTF16(const WString& text);

  /// The numeric scalar converted to the host type as fd::GetNum converts (truncation toward
  /// zero, integer-indefinite values out of range). InvalidArgument (source "FlexData", 653)
  /// for a packet that is not a numeric scalar, Bool included.
  ///@{
  signed char getI8() const;
  unsigned char getUI8() const;
  short getI16() const;
  unsigned short getUI16() const;
  std::int32_t getI32() const;
  std::uint32_t getUI32() const;
  float getF32() const;
  long long getI64() const;
  unsigned long long getUI64() const;
  double getF64() const;
  ///@}
  /// A Bool packet's byte != 0, or a numeric scalar != 0; InvalidArgument for other types.
  bool getBool() const;
  /// The time of a Time packet; InvalidArgument for other types.
  AbsTime getTime() const;
  /// The characters of an AString packet as a view into this packet (valid until this object
  /// changes); returns the character count. InvalidArgument for other types.
  std::uint32_t getAString(const char*& chars) const;
  /// The code units of a UTF16 packet; InvalidArgument for other types.
  Vector<std::uint16_t> getUTF16() const;
  /// A copy of the characters of an AString packet; InvalidArgument for other types.
  AString getAString() const;
  /// The wide text of a UTF16 packet (a unit that is not valid UTF-16 becomes L'?');
  /// InvalidArgument for other types.
  WString getWString() const;

  // N-dimensional arrays. Dimension sizes are non-negative 32-bit counts; elements are stored in
  // row-major order (the last dimension varies fastest).
  /// Makes this an array of `type` (a numeric type or Bool) with dims[0..dimCount): the
  /// product of the dims elements are read from `elements` as host values of srcType and
  /// converted to `type` as TransformArray converts. InvalidArgument for a type or srcType that
  /// is not numeric or Bool, or a negative dimension.
  void setScalarArray(fd::FlexType type, const std::int32_t* dims, std::uint16_t dimCount,
                      fd::FlexType srcType, const void* elements);
  /// The same from vectors; elements.size() must equal the product of dims (InvalidArgument).
  template <typename T>
  void setScalarArray(fd::FlexType type, const Vector<std::int32_t>& dims,
                      const Vector<T>& elements) {
    if (dims.size() > 0xFFFFu || ElementCount(dims.begin(), dims.size()) != elements.size()) {
      throw exception::InvalidArgument(ZO_KEL_HERE);
    }
    setScalarArray(type, dims.begin(), static_cast<std::uint16_t>(dims.size()),
                   fd::HostFlexType<T>(), elements.begin());
  }
  /// Makes this an array of AString with dims[0..dimCount); element i has lengths[i]
  /// characters at texts[i].
  void setAStringArray(const std::int32_t* dims, std::uint16_t dimCount, const char* const* texts,
                       const std::uint32_t* lengths);
  /// The same from vectors: one text per element (InvalidArgument when texts.size() is not the
  /// product of dims).
  void setAStringArray(const Vector<std::int32_t>& dims, const Vector<AString>& texts);
  /// Makes this an array of any element type: every element must be a non-empty FlexData with
  /// the same metadata (type and attributes) as elements[0]; InvalidArgument otherwise. A
  /// product of dims of 0 needs one element to give the type.
  void setArray(const std::int32_t* dims, std::uint16_t dimCount, const FlexData* elements);

  /// The dimension sizes of an array; InvalidArgument for other types.
  Vector<std::int32_t> getDims() const;
  /// The element type code of an array; InvalidArgument for other types.
  fd::FlexType getElementType() const;
  /// The number of elements of an array (product of its dims).
  std::uint64_t getElementCount() const;
  /// Converts every element of a numeric or Bool array to dstType into dst, which must have
  /// room for getElementCount() host values of dstType. InvalidArgument for other arrays, and
  /// for a dstType that is not numeric or Bool (source "FlexData", 1371).
  void getScalarArray(fd::FlexType dstType, void* dst) const;
  /// The elements converted to T. For bool, each converted byte (the low byte, see
  /// TransformArray) becomes byte != 0.
  template <typename T>
  Vector<T> getScalarArray() const {
    const std::uint64_t count = getElementCount();
    if (count > 0xFFFFFFFFu) throw exception::InvalidArgument(ZO_KEL_HERE);
    if constexpr (std::is_same<T, bool>::value) {
      Vector<signed char> bytes(static_cast<std::uint32_t>(count));
      getScalarArray(fd::FlexType::Bool, bytes.begin());
      Vector<bool> out(static_cast<std::uint32_t>(count));
      for (std::uint32_t i = 0; i < out.size(); ++i) out[i] = bytes[i] != 0;
      return out;
    } else {
      Vector<T> out(static_cast<std::uint32_t>(count));
      getScalarArray(fd::HostFlexType<T>(), out.begin());
      return out;
    }
  }
  /// Views of the characters of every element of an AString array (valid until this object
  /// changes): texts and lengths must have room for getElementCount() entries.
  void getAStringArray(const char** texts, std::uint32_t* lengths) const;
  /// Copies of the texts of every element of an AString array, in row-major order;
  /// InvalidArgument for other types.
  Vector<AString> getAStringArray() const;
  /// Element `index` (row-major) of any array, as a packet of its own; InvalidArgument for other
  /// types, NotFound when out of range. Takes time in proportion to index for elements of variable
  /// size.
  FlexData getElement(std::uint64_t index) const;

  // Clusters.
  /// Makes this a cluster of count (1 to 65535) members, each a non-empty FlexData whose
  /// metadata and data are copied (member attributes included); InvalidArgument otherwise.
  ///@{
  void setCluster(const FlexData* members, std::uint32_t count);
  void setCluster(std::initializer_list<FlexData> members) {
    setCluster(members.begin(), static_cast<std::uint32_t>(members.size()));
  }
  ///@}
  /// The number of members of a cluster; InvalidArgument for other types.
  std::uint16_t getMemberCount() const;
  /// Member `index` of a cluster as a packet of its own; InvalidArgument for other types,
  /// NotFound when out of range.
  FlexData getMember(std::uint16_t index) const;

  // Nested packets.
  /// Makes this a nested packet (variant) holding inner, which must not be empty.
  void setVariant(const FlexData& inner);
  /// The nested packet; InvalidArgument for other types.
  FlexData getVariant() const;

  // Named attributes: name/value pairs in the attribute section before the type.
  /// Adds or replaces the attribute called name (zero-terminated, compared byte for byte) with
  /// the non-empty value; the packet's value is kept.
  void setAttribute(const char* name, const FlexData& value);
  /// True when the packet has an attribute called name.
  bool hasAttribute(const char* name) const;
  /// The value of the attribute called name; NotFound when there is none.
  FlexData getAttribute(const char* name) const;
  /// Removes the attribute called name; returns false when there was none.
  bool removeAttribute(const char* name);

  // Waveforms: samples taken at a fixed interval from a start time, marked by the attribute
  // "_ZO_MDT" and laid out as the fixed waveform type (start time, interval, 1-D samples, an
  // empty error cluster and an empty attribute packet).
  /// Makes this a waveform of count samples of sampleType (a numeric type), read as host values
  /// of srcType and converted as TransformArray converts. InvalidArgument for other types.
  ///@{
  void setWaveform(const AbsTime& start, double interval, fd::FlexType sampleType,
                   fd::FlexType srcType, const void* samples, std::uint32_t count);
  template <typename T>
  void setWaveform(const AbsTime& start, double interval, fd::FlexType sampleType,
                   const Vector<T>& samples) {
    setWaveform(start, interval, sampleType, fd::HostFlexType<T>(), samples.begin(),
                samples.size());
  }
  ///@}
  /// Start time, interval in seconds, sample type and count of a waveform; InvalidArgument for
  /// a packet that is not a waveform.
  ///@{
  AbsTime getWaveformStart() const;
  double getWaveformInterval() const;
  fd::FlexType getWaveformSampleType() const;
  std::uint32_t getWaveformSampleCount() const;
  ///@}
  /// Converts the samples to dstType into dst (room for getWaveformSampleCount() values).
  ///@{
  void getWaveformSamples(fd::FlexType dstType, void* dst) const;
  template <typename T>
  Vector<T> getWaveformSamples() const {
    Vector<T> out(getWaveformSampleCount());
    getWaveformSamples(fd::HostFlexType<T>(), out.begin());
    return out;
  }
  ///@}

  /// Converts count elements of srcType at src into dstType at dst, choosing the conversion by
  /// the two codes (Bool as a signed byte) with fd::copyElts; see NumericConversion.h for the
  /// results and byte-order flags. InvalidArgument (source "FlexData", line 1371) for an
  /// unsupported dstType, (source "FlexData", line 1330) for an unsupported srcType. No bounds
  /// checking: src and dst must hold count elements each.
  void TransformArray(std::uint32_t count, fd::FlexType srcType, fd::TAEndian srcEndian,
                      const void* src, fd::FlexType dstType, fd::TAEndian dstEndian,
                      void* dst) const;

  /// The product of count dimension sizes, or UINT64_MAX when one is negative or it overflows.
  static std::uint64_t ElementCount(const std::int32_t* dims, std::uint32_t count) noexcept;

 private:
  struct View;
  explicit FlexData(AutoBuffer packet) noexcept : packet_(static_cast<AutoBuffer&&>(packet)) {}
  View view() const;
  void setFixed(fd::FlexType type, const void* value, std::uint32_t n);

  AutoBuffer packet_;
};

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_FD_FLEXDATA_H
