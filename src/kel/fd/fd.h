// Readers and writers of the FlexData packet layout: a 4-byte size, the metadata (MD) describing
// the type, then the data, all little-endian. Every function takes the end of its readable (or
// writable) range and never touches a byte at or past it.
#ifndef ZO_KEL_FD_FD_H
#define ZO_KEL_FD_FD_H

#include <cstddef>
#include <cstdint>

#include "kel/export.h"

namespace zo {
namespace kel {

class AbsTime;

namespace fd {

/// Type codes of the type element (element class 0). Any 16-bit value may be carried; the
/// enumerators name the codes the library writes. Codes up to 0x06FF have a fixed data size
/// given by bits 8-12 (0x01xx: 1 byte, 0x02xx: 2, 0x03xx: 4, 0x04xx: 8, 0x05xx: 16, 0x06xx: 32).
enum class FlexType : std::uint16_t {
  Void = 0x0001,     ///< no data
  I8 = 0x0100,       ///< signed 8-bit
  UI8 = 0x0101,      ///< unsigned 8-bit
  Bool = 0x0102,     ///< one byte, 0 false, anything else true
  I16 = 0x0200,      ///< signed 16-bit
  UI16 = 0x0201,     ///< unsigned 16-bit
  I32 = 0x0300,      ///< signed 32-bit
  UI32 = 0x0301,     ///< unsigned 32-bit
  F32 = 0x0302,      ///< IEEE single
  I64 = 0x0400,      ///< signed 64-bit
  UI64 = 0x0401,     ///< unsigned 64-bit
  F64 = 0x0402,      ///< IEEE double
  Time = 0x0504,     ///< 128-bit fixed-point seconds since 1904, least significant word first
  Array = 0x0800,    ///< N-dimensional array, see the array layout
  Cluster = 0x0801,  ///< record of members, see the cluster layout
  AString = 0x0900,  ///< 4-byte count n, then n narrow characters (no terminator)
  Variant = 0x0902,  ///< a complete nested packet, its own size field first
  UTF16 = 0x0A00,    ///< 4-byte count n, then n UTF-16LE code units
};

/// Codes of the prefix elements of class 0x4000 (attributes) that the library knows.
enum class FlexAttr : std::uint16_t {
  AttributeSection = 2,  ///< 0x4002: the named attributes of the value that follows
  AttributeName = 3,     ///< 0x4003: one attribute's name inside the section
};

/// Byte order of numbers handed to a reader or array transform: Little (0) is packet order;
/// any other value means host order. On the little-endian hosts the library supports both read
/// the same bytes; the array transform distinguishes them (see copyEltsHelper).
enum class TAEndian : std::int32_t { Little = 0, Host = 1 };

/// Element classes: the top three bits of an MD type word.
constexpr std::uint16_t kClassMask = 0xE000;
constexpr std::uint16_t kTypeClass = 0x0000;
constexpr std::uint16_t kAttributeClass = 0x4000;
constexpr std::uint16_t kMarkerClass = 0x8000;

// Every reader below throws zo::kel::exception::SyntaxError (source "fd", the line of the
// failed check, what() "SyntaxError: " and what was wrong) when a field it needs does not lie
// before `end`, or when the bytes are malformed; it then has read nothing past `end`. Writers
// throw zo::kel::exception::BufferOverflow and write nothing when the destination is too small.

/// The unsigned 32-bit value at p (4 bytes).
ZO_KEL_API std::uint32_t GetUI32(const unsigned char* p, const unsigned char* end,
                                 TAEndian endian = TAEndian::Little);
/// The signed 64-bit value at p (8 bytes).
ZO_KEL_API long long GetI64(const unsigned char* p, const unsigned char* end,
                            TAEndian endian = TAEndian::Little);
/// The time at p: 16 bytes, four 32-bit words, least significant first (bytes 0-7 the 64-bit
/// fraction of a second, bytes 8-15 the signed whole seconds since 1904-01-01 00:00:00 UTC).
ZO_KEL_API AbsTime GetTime(const unsigned char* p, const unsigned char* end,
                           TAEndian endian = TAEndian::Little);
/// Writes t in the 16-byte layout of GetTime at dst; returns 16.
ZO_KEL_API std::size_t SetTime(unsigned char* dst, const AbsTime& t, const unsigned char* dstEnd);

/// Copies n bytes from src to dst after checking that [src, src + n) lies before srcEnd
/// (SyntaxError otherwise) and [dst, dst + n) before dstEnd (BufferOverflow otherwise); returns
/// n. Nothing is written when a check fails. The ranges may overlap.
ZO_KEL_API std::size_t MemCpy(unsigned char* dst, const unsigned char* dstEnd,
                              const unsigned char* src, const unsigned char* srcEnd, std::size_t n);

/// Size in bytes of the MD element at md: 2 for a scalar or string type and a marker (class
/// 0x8000); 4 + the sub-packet length for an array; 4 + the member lengths for a cluster;
/// 2 + the length field for an attribute element (class 0x4000). The whole element must lie
/// before end. An element of an undefined class (0x2000, 0x6000, 0xA000, 0xC000, 0xE000), a
/// cluster without members and a length shorter than what it must count are malformed.
ZO_KEL_API std::size_t GetMDEltSize(const unsigned char* md, const unsigned char* end);
/// md + GetMDEltSize(md, end).
ZO_KEL_API const unsigned char* GetNextElt(const unsigned char* md, const unsigned char* end);
/// As above, and stores the type word of the element that follows (which must lie before end).
ZO_KEL_API const unsigned char* GetNextElt(const unsigned char* md, std::uint16_t& type,
                                           const unsigned char* end);
/// The type element of the MD at md: prefix elements (classes other than 0) are skipped.
ZO_KEL_API const unsigned char* GetTypeFromMD(const unsigned char* md, const unsigned char* end);
/// Size of the MD at md: its prefix elements plus its type element.
ZO_KEL_API std::size_t GetMDSize(const unsigned char* md, const unsigned char* end);
/// The type element of the packet at packet (its MD starts after the 4-byte size field).
ZO_KEL_API const unsigned char* GetTypeFromPacket(const unsigned char* packet,
                                                  const unsigned char* end);
/// The first data byte of the packet at packet: right after its MD.
ZO_KEL_API const unsigned char* GetData(const unsigned char* packet, const unsigned char* end);

/// The data size of a type given by its code alone: the fixed size for codes up to 0x06FF,
/// 0 for arrays and clusters, 8 for a nested packet, 4 for the string families (0x09xx, 0x0Axx),
/// 0 for every other code. Never throws.
ZO_KEL_API std::size_t GetDataSize(FlexType type) noexcept;
/// The size of the data at data of the type described at md (prefix elements are skipped).
/// With data null the variable parts count as empty: a string gives 4, a nested packet 8, an
/// array 4 per dimension, a cluster the sum of its members' sizes each rounded up to even. With
/// data given, the counts and dimension sizes are read and the whole data must lie before end;
/// a negative dimension, a nested packet shorter than its own header and nesting deeper than
/// zo::kel::kMaxNestingDepth are malformed. Elements that occupy no bytes are counted, never
/// walked, so the time taken is bounded by the bytes present.
ZO_KEL_API std::size_t GetDataSize(const unsigned char* md, const unsigned char* data,
                                   const unsigned char* end);

/// The first prefix element of the MD at md whose type word is 0x4000 | attr, or null when the
/// type element comes first.
ZO_KEL_API const unsigned char* GetAttributeMD(const unsigned char* md, FlexAttr attr,
                                               const unsigned char* end);
/// The MD of the value of the attribute called name (compared byte for byte, case sensitive)
/// inside the attribute section of the MD at md, or null when the MD has no section or the
/// section has no such attribute, as the by-code lookup. Inside the section each entry is a
/// name element (0x4003) followed by the value's MD and data, the data padded to an even length.
ZO_KEL_API const unsigned char* GetAttributeMD(const unsigned char* md, const char* name,
                                               const unsigned char* end);
/// The same lookups, answering a packet position p (null when missing) such that the value's MD
/// starts at p + 4: GetTypeFromPacket(p, end) and GetData(p, end) read it. For a lookup by code
/// the 4 bytes at p are the element's own length field; for a lookup by name they belong to the
/// name and are not a size.
ZO_KEL_API const unsigned char* GetAttributePacket(const unsigned char* md, FlexAttr attr,
                                                   const unsigned char* end);
ZO_KEL_API const unsigned char* GetAttributePacket(const unsigned char* md, const char* name,
                                                   const unsigned char* end);

/// True when the 62 bytes at md are the waveform type: the fixed cluster of start time,
/// interval, one-dimensional sample array, error cluster and attribute packet, with a sample
/// type that passes IsWaveformSampleType. Fewer than 62 bytes give false; never throws.
ZO_KEL_API bool IsWaveformType(const unsigned char* md, const unsigned char* end) noexcept;
/// The sample type code at offset 28 of a waveform type (needs 30 bytes).
ZO_KEL_API FlexType GetWaveformSampleType(const unsigned char* md, const unsigned char* end);
/// False for Bool (0x0102) and 0x0202, true for every other code: deliberately no further check,
/// so callers that need a numeric sample type check that themselves.
ZO_KEL_API bool IsWaveformSampleType(FlexType type) noexcept;
/// Writes the 52-byte attribute section that marks a packet as a waveform (one attribute,
/// "_ZO_MDT", a cluster of the AString "MDT" and the I16 3); returns 52.
ZO_KEL_API std::size_t SetWaveformAttributes(unsigned char* dst, const unsigned char* dstEnd);
/// Writes the 62-byte waveform type with the given sample type; returns 62.
ZO_KEL_API std::size_t SetWaveformType(unsigned char* dst, const unsigned char* dstEnd,
                                       FlexType sampleType);
/// Writes the 20 bytes that follow the samples of a waveform: an empty error cluster and an
/// empty attribute packet (a 10-byte packet of the 4-byte type 0x0305 holding zeros); returns 20.
ZO_KEL_API std::size_t SetWaveformDataSuffix(unsigned char* dst, const unsigned char* dstEnd);
/// 52.
constexpr std::size_t CalculateWaveformAttributeSize() noexcept { return 52; }
/// 62.
constexpr std::size_t CalculateWaveformTypeSize() noexcept { return 62; }
/// The waveform data size for sampleBytes bytes of samples: 16 (start time) + sampleBytes + 32
/// (interval, dimension, suffix), in 64-bit arithmetic so that no packet's sample size wraps.
constexpr std::uint64_t CalculateWaveformDataSize(std::uint64_t sampleBytes) noexcept {
  return 16 + sampleBytes + 32;
}

}  // namespace fd
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_FD_FD_H
