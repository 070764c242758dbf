// Internals of the packet readers shared by the packet class and the numeric conversions: whole
// packet validation, attribute name parsing and unchecked loads for bytes already validated.
// Not part of the public interface.
#ifndef ZO_KEL_FD_FD_IMPL_H
#define ZO_KEL_FD_FD_IMPL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kel/fd/fd.h"
#include "kel/little_endian.h"

namespace zo {
namespace kel {
namespace fd {
namespace detail {

/// Smallest sub-packet (array element type, cluster member): a 4-byte length and a type word.
constexpr std::uint32_t kMinSubPacket = 6;
/// Smallest packet: a 4-byte size and a type word.
constexpr std::uint32_t kMinPacket = 6;

/// True when n bytes lie in [p, end); cannot overflow and never forms a pointer past end.
inline bool Fits(std::uint64_t n, const unsigned char* p, const unsigned char* end) noexcept {
  return p <= end && n <= static_cast<std::uint64_t>(end - p);
}

/// n rounded up to an even number: the padding of cluster members and variable array elements.
inline std::uint64_t RoundUpEven(std::uint64_t n) noexcept { return n + (n & 1u); }

// Unchecked little-endian loads, for positions a check or a validation has already covered.
inline std::uint16_t LoadU16(const unsigned char* p) noexcept {
  std::uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return little_endian::FromLittleEndian(v);
}
inline std::uint32_t LoadU32(const unsigned char* p) noexcept {
  std::uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return little_endian::FromLittleEndian(v);
}
inline std::int32_t LoadI32(const unsigned char* p) noexcept {
  return static_cast<std::int32_t>(LoadU32(p));
}
inline void StoreU16(unsigned char* p, std::uint16_t v) noexcept {
  v = little_endian::ToLittleEndian(v);
  std::memcpy(p, &v, sizeof v);
}
inline void StoreU32(unsigned char* p, std::uint32_t v) noexcept {
  v = little_endian::ToLittleEndian(v);
  std::memcpy(p, &v, sizeof v);
}

/// The fixed data size of a type code up to 0x06FF, from bits 8-12; 0 for other size classes.
inline std::uint32_t FixedSize(std::uint16_t type) noexcept {
  switch (type & 0x1F00u) {
    case 0x0100:
      return 1;
    case 0x0200:
      return 2;
    case 0x0300:
      return 4;
    case 0x0400:
      return 8;
    case 0x0500:
      return 16;
    case 0x0600:
      return 32;
    default:
      return 0;
  }
}

/// Throws SyntaxError (source "fd") unless n bytes lie in [p, end): the bounds check of the
/// scalar reads, so that a short scalar reports the packet reader as its source.
void CheckScalarRead(std::size_t n, const unsigned char* p, const unsigned char* end);

/// One entry of an attribute section: the name's characters and where the value's MD starts.
struct AttributeName {
  const unsigned char* chars;
  std::uint32_t length;
  const unsigned char* value;
};
/// Parses the name element (0x4003) at p, which must lie before sectionEnd.
AttributeName ParseAttributeName(const unsigned char* p, const unsigned char* sectionEnd);

/// The end of the attribute section that starts at section (its 0x4002 element).
const unsigned char* AttributeSectionEnd(const unsigned char* section, const unsigned char* end);

/// Where the value of the entry whose value MD starts at value ends (MD, data and the pad byte
/// that makes the data even; the last value of a section may end at sectionEnd without it),
/// checked against sectionEnd.
const unsigned char* AttributeValueEnd(const unsigned char* value, const unsigned char* sectionEnd);

/// Checks everything about the packet at packet, nested packets and attribute values included:
/// its size field (at least 6, within end), its MD, its data and that MD and data fill the size
/// exactly. depth is the nesting level of the packet (0 at the top); deeper than
/// zo::kel::kMaxNestingDepth is malformed, and so is an array of more than
/// zo::kel::kMaxEmptyElements elements that occupy no bytes. Returns the packet size; throws
/// SyntaxError otherwise.
std::uint32_t ValidatePacket(const unsigned char* packet, const unsigned char* end,
                             std::uint32_t depth);

}  // namespace detail
}  // namespace fd
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_FD_FD_IMPL_H
