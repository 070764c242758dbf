// Bounds-checked little-endian cursor primitives under every byte image of the library.
#ifndef ZO_KEL_LITTLE_ENDIAN_H
#define ZO_KEL_LITTLE_ENDIAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kel/export.h"

#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "zo_kel_basics byte images are written for little-endian hosts"
#endif

namespace zo {
namespace kel {
namespace little_endian {

namespace detail {
/// Throws BufferOverflow recorded at ("little_endian", 111).
[[noreturn]] ZO_KEL_API void ThrowSerializationSize();
/// Throws DeserializationError recorded at ("little_endian", 124).
[[noreturn]] ZO_KEL_API void ThrowDeserializationSize();

/// True when n bytes lie in [pos, end); written so that it can neither overflow nor form a
/// pointer past end.
inline bool Fits(std::size_t n, const unsigned char* pos, const unsigned char* end) noexcept {
  return pos <= end && n <= static_cast<std::size_t>(end - pos);
}

// Every width that reaches a byte image is fixed: `long` is 32 bits in the byte images on every
// platform, so callers write std::int32_t / std::uint32_t (or the 64-bit fixed types) instead.
// Where `long` is 32 bits it differs from every fixed-width type and is refused outright; where
// it is 64 bits it is std::int64_t itself, and the byte-image tests on both platforms catch a
// 32-bit field written as `long`.
template <typename T>
constexpr bool kIsWireType =
    std::is_arithmetic<T>::value && !std::is_same<T, bool>::value &&
    !(sizeof(long) == 4 && (std::is_same<T, long>::value || std::is_same<T, unsigned long>::value));
}  // namespace detail

/// Returns pos + n when n bytes fit before end; otherwise throws BufferOverflow.
inline unsigned char* CheckSerializationSize(std::size_t n, unsigned char* pos,
                                             const unsigned char* end) {
  if (!detail::Fits(n, pos, end)) detail::ThrowSerializationSize();
  return pos + n;
}

/// Returns pos + n when n bytes fit before end; otherwise throws DeserializationError.
inline const unsigned char* CheckDeserializationSize(std::size_t n, const unsigned char* pos,
                                                     const unsigned char* end) {
  if (!detail::Fits(n, pos, end)) detail::ThrowDeserializationSize();
  return pos + n;
}

/// The value in little-endian order (the identity on the only hosts the library supports).
template <typename T>
constexpr T ToLittleEndian(const T& v) noexcept {
  static_assert(std::is_arithmetic<T>::value, "little-endian conversion is for numbers");
  return v;
}

/// The value in host order from little-endian order (the identity on supported hosts).
template <typename T>
constexpr T FromLittleEndian(const T& v) noexcept {
  static_assert(std::is_arithmetic<T>::value, "little-endian conversion is for numbers");
  return v;
}

/// Stores v as sizeof(T) little-endian bytes at pos and advances pos; BufferOverflow (nothing
/// written, pos unchanged) when they do not fit before end.
template <typename T>
inline void SerializeRaw(const T& v, unsigned char*& pos, const unsigned char* end) {
  static_assert(detail::kIsWireType<T>, "write fixed-width numbers into byte images");
  unsigned char* next = CheckSerializationSize(sizeof(T), pos, end);
  const T le = ToLittleEndian(v);
  std::memcpy(pos, &le, sizeof(T));
  pos = next;
}

/// Loads sizeof(T) little-endian bytes at pos into v and advances pos; DeserializationError
/// (v and pos unchanged) when they do not lie before end. No alignment is assumed.
template <typename T>
inline void DeserializeRaw(T& v, const unsigned char*& pos, const unsigned char* end) {
  static_assert(detail::kIsWireType<T>, "read fixed-width numbers from byte images");
  const unsigned char* next = CheckDeserializationSize(sizeof(T), pos, end);
  T le;
  std::memcpy(&le, pos, sizeof(T));
  v = FromLittleEndian(le);
  pos = next;
}

}  // namespace little_endian
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_LITTLE_ENDIAN_H
