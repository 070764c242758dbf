// Scalar reads and element-run conversions between the ten numeric host types.
#include "kel/fd/NumericConversion.h"

#include <cstring>
#include <limits>
#include <type_traits>

#include "kel/exception.h"
#include "kel/fd/fd_impl.h"
#include "kel/little_endian.h"

namespace zo {
namespace kel {
namespace fd {
namespace {

// Floating point to integer, truncating toward zero. An out-of-range or NaN input gives the
// processor's integer-indefinite value of the width (its most negative integer); the range is
// tested first, because the cast itself would be undefined there.
inline std::int16_t Truncate16(double x) noexcept {
  return x > -32769.0 && x < 32768.0 ? static_cast<std::int16_t>(x)
                                     : std::numeric_limits<std::int16_t>::min();
}
inline std::int32_t Truncate32(double x) noexcept {
  return x > -2147483649.0 && x < 2147483648.0 ? static_cast<std::int32_t>(x)
                                               : std::numeric_limits<std::int32_t>::min();
}
inline long long Truncate64(double x) noexcept {
  return x >= -9223372036854775808.0 && x < 9223372036854775808.0
             ? static_cast<long long>(x)
             : std::numeric_limits<long long>::min();
}
inline unsigned long long TruncateUnsigned64(double x) noexcept {
  if (x >= 9223372036854775808.0 && x < 18446744073709551616.0) {
    return static_cast<unsigned long long>(x);
  }
  return static_cast<unsigned long long>(Truncate64(x));
}

// Floating point to each integer target: the narrow targets go through a wider conversion and
// keep its low bits, as the processor's conversion does.
template <typename To>
inline To FromFloating(double x) noexcept {
  if constexpr (std::is_same<To, short>::value)
    return static_cast<To>(Truncate16(x));
  else if constexpr (sizeof(To) == 1)
    return static_cast<To>(Truncate16(x));
  else if constexpr (std::is_same<To, unsigned short>::value)
    return static_cast<To>(Truncate32(x));
  else if constexpr (std::is_same<To, std::int32_t>::value)
    return static_cast<To>(Truncate32(x));
  else if constexpr (std::is_same<To, std::uint32_t>::value)
    return static_cast<To>(Truncate64(x));
  else if constexpr (std::is_same<To, long long>::value)
    return static_cast<To>(Truncate64(x));
  else
    return static_cast<To>(TruncateUnsigned64(x));
}

template <typename To, typename From>
inline To Convert(From v) noexcept {
  if constexpr (std::is_floating_point<From>::value && std::is_integral<To>::value) {
    return FromFloating<To>(static_cast<double>(v));
  } else if constexpr (std::is_same<From, unsigned long long>::value &&
                       std::is_floating_point<To>::value) {
    // Deliberately through the signed 64-bit integer of the same bits.
    return static_cast<To>(static_cast<long long>(v));
  } else {
    return static_cast<To>(v);
  }
}

template <typename From>
inline From Load(const unsigned char* p) noexcept {
  From v;
  std::memcpy(&v, p, sizeof v);
  return little_endian::FromLittleEndian(v);
}

template <typename From>
inline From Read(const unsigned char* p, const unsigned char* end) {
  detail::CheckScalarRead(sizeof(From), p, end);
  return Load<From>(p);
}

// The byte-order flag pairs that convert; every other pair writes nothing.
inline bool ConvertsOrder(TAEndian srcEndian, TAEndian dstEndian) noexcept {
  return srcEndian == dstEndian || (srcEndian == TAEndian::Little && dstEndian == TAEndian::Host) ||
         (srcEndian == TAEndian::Host && dstEndian == TAEndian::Little);
}

}  // namespace

template <typename T>
void ConvertUI64(unsigned long long v, T& out) noexcept {
  out = Convert<T>(v);
}

template <typename T>
T GetNum(FlexType type, const unsigned char* p, const unsigned char* end) {
  switch (type) {
    case FlexType::I8:
      return Convert<T>(Read<signed char>(p, end));
    case FlexType::UI8:
      return Convert<T>(Read<unsigned char>(p, end));
    case FlexType::I16:
      return Convert<T>(Read<short>(p, end));
    case FlexType::UI16:
      return Convert<T>(Read<unsigned short>(p, end));
    case FlexType::I32:
      return Convert<T>(Read<std::int32_t>(p, end));
    case FlexType::UI32:
      return Convert<T>(Read<std::uint32_t>(p, end));
    case FlexType::F32:
      return Convert<T>(Read<float>(p, end));
    case FlexType::I64:
      return Convert<T>(Read<long long>(p, end));
    case FlexType::F64:
      return Convert<T>(Read<double>(p, end));
    case FlexType::UI64: {
      T out;
      ConvertUI64(Read<unsigned long long>(p, end), out);
      return out;
    }
    default:
      throw exception::InvalidArgument("FlexData", 653);
  }
}

template <typename From, typename To>
void copyEltsHelper(std::uint32_t count, TAEndian srcEndian, const void* src, TAEndian dstEndian,
                    void* dst) noexcept {
  if (!ConvertsOrder(srcEndian, dstEndian)) return;
  // The library builds for little-endian hosts only, where host order is packet order: every
  // converting flag pair is this one loop, with no per-element decision.
  const auto* in = static_cast<const unsigned char*>(src);
  auto* out = static_cast<unsigned char*>(dst);
  for (std::uint32_t i = 0; i < count; ++i) {
    const To v = Convert<To>(Load<From>(in + std::size_t{i} * sizeof(From)));
    std::memcpy(out + std::size_t{i} * sizeof(To), &v, sizeof v);
  }
}

template <typename To>
void copyElts(FlexType srcType, std::uint32_t count, TAEndian srcEndian, const void* src,
              TAEndian dstEndian, void* dst) {
  switch (srcType) {
    case FlexType::I8:
    case FlexType::Bool:
      return copyEltsHelper<signed char, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::UI8:
      return copyEltsHelper<unsigned char, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::I16:
      return copyEltsHelper<short, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::UI16:
      return copyEltsHelper<unsigned short, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::I32:
      return copyEltsHelper<std::int32_t, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::UI32:
      return copyEltsHelper<std::uint32_t, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::F32:
      return copyEltsHelper<float, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::I64:
      return copyEltsHelper<long long, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::UI64:
      return copyEltsHelper<unsigned long long, To>(count, srcEndian, src, dstEndian, dst);
    case FlexType::F64:
      return copyEltsHelper<double, To>(count, srcEndian, src, dstEndian, dst);
    default:
      throw exception::InvalidArgument("FlexData", 1330);
  }
}

#define ZO_KEL_FD_HOST_TYPES(X) \
  X(signed char)                \
  X(unsigned char)              \
  X(short)                      \
  X(unsigned short)             \
  X(std::int32_t)               \
  X(std::uint32_t)              \
  X(float)                      \
  X(long long)                  \
  X(unsigned long long)         \
  X(double)

#define ZO_KEL_FD_INSTANTIATE_TARGET(T)                                       \
  template T GetNum<T>(FlexType, const unsigned char*, const unsigned char*); \
  template void ConvertUI64<T>(unsigned long long, T&) noexcept;              \
  template void copyElts<T>(FlexType, std::uint32_t, TAEndian, const void*, TAEndian, void*);
ZO_KEL_FD_HOST_TYPES(ZO_KEL_FD_INSTANTIATE_TARGET)

// copyElts instantiates every copyEltsHelper pair implicitly; these make each pair a symbol of
// its own, so that callers may name it.
#define ZO_KEL_FD_INSTANTIATE_PAIRS_FROM(From)                                                     \
  template void copyEltsHelper<From, signed char>(std::uint32_t, TAEndian, const void*, TAEndian,  \
                                                  void*) noexcept;                                 \
  template void copyEltsHelper<From, unsigned char>(std::uint32_t, TAEndian, const void*,          \
                                                    TAEndian, void*) noexcept;                     \
  template void copyEltsHelper<From, short>(std::uint32_t, TAEndian, const void*, TAEndian,        \
                                            void*) noexcept;                                       \
  template void copyEltsHelper<From, unsigned short>(std::uint32_t, TAEndian, const void*,         \
                                                     TAEndian, void*) noexcept;                    \
  template void copyEltsHelper<From, std::int32_t>(std::uint32_t, TAEndian, const void*, TAEndian, \
                                                   void*) noexcept;                                \
  template void copyEltsHelper<From, std::uint32_t>(std::uint32_t, TAEndian, const void*,          \
                                                    TAEndian, void*) noexcept;                     \
  template void copyEltsHelper<From, float>(std::uint32_t, TAEndian, const void*, TAEndian,        \
                                            void*) noexcept;                                       \
  template void copyEltsHelper<From, long long>(std::uint32_t, TAEndian, const void*, TAEndian,    \
                                                void*) noexcept;                                   \
  template void copyEltsHelper<From, unsigned long long>(std::uint32_t, TAEndian, const void*,     \
                                                         TAEndian, void*) noexcept;                \
  template void copyEltsHelper<From, double>(std::uint32_t, TAEndian, const void*, TAEndian,       \
                                             void*) noexcept;
ZO_KEL_FD_HOST_TYPES(ZO_KEL_FD_INSTANTIATE_PAIRS_FROM)

}  // namespace fd
}  // namespace kel
}  // namespace zo
