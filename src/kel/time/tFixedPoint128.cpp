// Arithmetic, conversions and division of the 128-bit fixed-point type, and status merging.
#include "kel/time/tFixedPoint128.h"

#include <climits>
#include <cmath>
#include <csignal>
#include <cstring>
#include <type_traits>

namespace nZOSS100 {

static_assert(std::is_same<int, std::int32_t>::value,
              "the int constructor also serves the platform's 32-bit long");
static_assert(sizeof(tSignedFixedPoint128) == 16, "a fixed-point value is its four words");

std::int32_t palStatusSetStatus(std::int32_t current, std::int32_t proposed) noexcept {
  if (current < 0) return current;
  if (current == 0) return proposed;
  return proposed < 0 ? proposed : current;
}

namespace {

using tFixedPoint128Extra::AddChain;

constexpr std::uint64_t kTopBit = std::uint64_t{1} << 63;

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 Wide128;
#else
// The exact 128-bit product of two 64-bit numbers.
struct Product128 {
  std::uint64_t low;
  std::uint64_t high;
};

Product128 Multiply64(std::uint64_t a, std::uint64_t b) noexcept {
  const std::uint64_t a0 = a & 0xFFFFFFFFu, a1 = a >> 32;
  const std::uint64_t b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
  const std::uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
  // The middle column collects at most three 32-bit quantities: no overflow.
  const std::uint64_t middle = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
  return {(middle << 32) | (p00 & 0xFFFFFFFFu), p11 + (p01 >> 32) + (p10 >> 32) + (middle >> 32)};
}
#endif

// The four extended-precision scales of the words, built once on first use (a thread-safe local
// static: no shared mutable state).
struct WordScales {
  long double c0, c32, c64, c96;
};

const WordScales& Scales() noexcept {
  static const WordScales scales{std::ldexp(1.0L, -64), std::ldexp(1.0L, -32), 1.0L,
                                 std::ldexp(1.0L, 32)};
  return scales;
}

// ---- Long division: floor(u / v) for multi-digit numbers, least significant digit first. ----

template <typename Digit>
int LeadingZeros(Digit x) noexcept {
  int count = 0;
  for (Digit top = Digit(1) << (sizeof(Digit) * 8 - 1); (x & top) == 0; x <<= 1) ++count;
  return count;
}

// The two-digit by one-digit step: (high, low) / d with high < d, so the quotient fits a digit.
inline std::uint32_t DivideDigits(std::uint32_t high, std::uint32_t low, std::uint32_t d,
                                  std::uint32_t& rest) noexcept {
  const std::uint64_t n = (std::uint64_t{high} << 32) | low;
  rest = static_cast<std::uint32_t>(n % d);
  return static_cast<std::uint32_t>(n / d);
}

#if defined(__SIZEOF_INT128__)
inline std::uint64_t DivideDigits(std::uint64_t high, std::uint64_t low, std::uint64_t d,
                                  std::uint64_t& rest) noexcept {
#if defined(__x86_64__)
  // One hardware division: the caller guarantees high < d, so it cannot fault.
  std::uint64_t quotient;
  __asm__("divq %[d]" : "=a"(quotient), "=d"(rest) : [d] "rm"(d), "a"(low), "d"(high));
  return quotient;
#else
  const Wide128 n = (static_cast<Wide128>(high) << 64) | low;
  rest = static_cast<std::uint64_t>(n % d);
  return static_cast<std::uint64_t>(n / d);
#endif
}
#endif

// Knuth's algorithm D over digits of type Digit with the double-width type Wide. Stores the
// quotient's digits in q[0 .. m - n]; u has m digits, v has n digits with v[n - 1] != 0, m >= n,
// and neither has more than MaxDigits.
template <typename Digit, typename Wide, int MaxDigits>
void LongDivide(const Digit* u, int m, const Digit* v, int n, Digit* q) noexcept {
  constexpr int kBits = sizeof(Digit) * 8;
  constexpr Digit kMaxDigit = static_cast<Digit>(~Digit(0));
  const Wide base = Wide(1) << kBits;
  if (n == 1) {
    Digit rest = 0;
    for (int j = m - 1; j >= 0; --j) q[j] = DivideDigits(rest, u[j], v[0], rest);
    return;
  }
  // Normalise so that the divisor's top digit has its top bit set: each quotient digit estimate
  // is then at most two too large.
  const int s = LeadingZeros(v[n - 1]);
  const auto high_part = [s](Digit x) -> Digit { return s == 0 ? Digit(0) : x >> (kBits - s); };
  Digit vn[MaxDigits] = {};
  Digit un[MaxDigits + 1] = {};
  for (int i = n - 1; i > 0; --i) vn[i] = static_cast<Digit>(v[i] << s) | high_part(v[i - 1]);
  vn[0] = static_cast<Digit>(v[0] << s);
  un[m] = high_part(u[m - 1]);
  for (int i = m - 1; i > 0; --i) un[i] = static_cast<Digit>(u[i] << s) | high_part(u[i - 1]);
  un[0] = static_cast<Digit>(u[0] << s);

  for (int j = m - n; j >= 0; --j) {
    // The running remainder is below the divisor, so un[j + n] <= vn[n - 1].
    Digit qhat;
    Wide rhat;
    if (un[j + n] >= vn[n - 1]) {
      qhat = kMaxDigit;
      rhat = Wide(un[j + n - 1]) + vn[n - 1];
    } else {
      Digit rest;
      qhat = DivideDigits(un[j + n], un[j + n - 1], vn[n - 1], rest);
      rhat = rest;
    }
    while (rhat < base && Wide(qhat) * vn[n - 2] > ((rhat << kBits) | un[j + n - 2])) {
      --qhat;
      rhat += vn[n - 1];
    }
    // un[j .. j + n] -= qhat * vn, tracking the multiplication carry and the borrow apart.
    Digit carry = 0;
    Digit borrow = 0;
    for (int i = 0; i < n; ++i) {
      const Wide p = Wide(qhat) * vn[i] + carry;
      carry = static_cast<Digit>(p >> kBits);
      const Digit low = static_cast<Digit>(p);
      const Digit t = static_cast<Digit>(un[i + j] - low);
      const Digit b1 = un[i + j] < low ? 1 : 0;
      un[i + j] = static_cast<Digit>(t - borrow);
      borrow = static_cast<Digit>(b1 + (t < borrow ? 1 : 0));
    }
    const Digit t = static_cast<Digit>(un[j + n] - carry);
    const bool negative = un[j + n] < carry || t < borrow;
    un[j + n] = static_cast<Digit>(t - borrow);
    q[j] = qhat;
    if (negative) {  // the estimate was one too large: add the divisor back
      q[j] = static_cast<Digit>(q[j] - 1);
      Digit c = 0;
      for (int i = 0; i < n; ++i) {
        const Wide sum = Wide(un[i + j]) + vn[i] + c;
        un[i + j] = static_cast<Digit>(sum);
        c = static_cast<Digit>(sum >> kBits);
      }
      un[j + n] = static_cast<Digit>(un[j + n] + c);
    }
  }
}

// floor(dividend * 2^64 / divisor) modulo 2^128 over 32-bit digits; divisor != 0.
void DivideWords(const std::uint32_t (&dividend)[4], const std::uint32_t (&divisor)[4],
                 std::uint32_t (&quotient)[4]) noexcept {
  const std::uint32_t u[6] = {0, 0, dividend[0], dividend[1], dividend[2], dividend[3]};
  int n = 4;
  while (divisor[n - 1] == 0) --n;
  std::uint32_t q[6] = {};
  LongDivide<std::uint32_t, std::uint64_t, 6>(u, 6, divisor, n, q);
  for (int i = 0; i < 4; ++i) quotient[i] = q[i];
}

#if defined(__SIZEOF_INT128__)
inline std::uint64_t Low(Wide128 x) noexcept { return static_cast<std::uint64_t>(x); }
inline std::uint64_t High(Wide128 x) noexcept { return static_cast<std::uint64_t>(x >> 64); }

// One quotient digit of (r * 2^64 + next) / d, where d has its top bit set and r < d; r becomes
// the remainder. The two-digit case of the long division above, written out: the estimate from
// the top digits is corrected by the next digit, then is at most one too large.
inline std::uint64_t DivideStep(Wide128& r, std::uint64_t next, Wide128 d) noexcept {
  const std::uint64_t d1 = High(d), d0 = Low(d);
  std::uint64_t qhat;
  Wide128 rhat;
  if (High(r) >= d1) {
    qhat = ~std::uint64_t{0};
    rhat = Wide128{Low(r)} + d1;
  } else {
    std::uint64_t rest;
    qhat = DivideDigits(High(r), Low(r), d1, rest);
    rhat = rest;
  }
  while (High(rhat) == 0 && Wide128{qhat} * d0 > ((rhat << 64) | next)) {
    --qhat;
    rhat += d1;
  }
  // (r, next) - qhat * d over 192 bits: qhat * d is (upper, lower) with upper < 2^128.
  const Wide128 p0 = Wide128{qhat} * d0;
  const Wide128 upper = Wide128{qhat} * d1 + High(p0);
  const std::uint64_t lower = Low(p0);
  const std::uint64_t borrow = next < lower ? 1 : 0;
  const bool negative = r < upper || r - upper < borrow;
  Wide128 rest = ((r - upper - borrow) << 64) | (next - lower);
  if (negative) {  // the estimate was one too large: add the divisor back
    --qhat;
    rest += d;
  }
  r = rest;
  return qhat;
}

// floor(dividend * 2^64 / divisor) modulo 2^128 over 64-bit digits; divisor != 0.
void DivideHalves(const std::uint64_t (&dividend)[2], const std::uint64_t (&divisor)[2],
                  std::uint64_t (&quotient)[2]) noexcept {
  const std::uint64_t a0 = dividend[0], a1 = dividend[1];
  if (divisor[1] == 0) {
    // A one-digit divisor: three short divisions; the top quotient digit falls outside 128 bits.
    const std::uint64_t d = divisor[0];
    std::uint64_t rest = a1 % d;
    quotient[1] = DivideDigits(rest, a0, d, rest);
    quotient[0] = DivideDigits(rest, 0, d, rest);
    return;
  }
  // Normalised so that the divisor's top bit is set; the dividend, shifted alike, gains a digit
  // that stays below the divisor's top digit.
  const int s = __builtin_clzll(divisor[1]);
  const Wide128 d = ((Wide128{divisor[1]} << 64) | divisor[0]) << s;
  const Wide128 a = (Wide128{a1} << 64) | a0;
  Wide128 r = s == 0 ? Wide128{0} : (a >> (128 - s));
  r = (r << 64) | Low(a << s >> 64);
  const std::uint64_t next = Low(a << s);
  quotient[1] = DivideStep(r, next, d);
  quotient[0] = DivideStep(r, 0, d);
}
#endif

}  // namespace

template <int F, bool S>
tFixedPoint128<F, S>::tFixedPoint128(int value) noexcept
    : data_{{0, static_cast<std::uint64_t>(static_cast<std::int64_t>(value))}} {}

template <int F, bool S>
tFixedPoint128<F, S>::tFixedPoint128(std::uint32_t value) noexcept : data_{{0, value}} {}

template <int F, bool S>
tFixedPoint128<F, S>::tFixedPoint128(double value) noexcept {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const bool negative = (bits & kTopBit) != 0;
  const int exponent = static_cast<int>((bits >> 52) & 0x7FF);
  if (exponent == 0x7FF) {  // infinity or NaN saturates, deliberately
    data_.halves[0] = negative ? 0 : ~std::uint64_t{0};
    data_.halves[1] = (negative ? 0 : ~std::uint64_t{0}) ^ kTopBit;
    return;
  }
  // The hidden bit is set for subnormals too: they lie far below 2^-64 and end as zero anyway.
  data_.halves[0] = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
  data_.halves[1] = 0;
  Shift(1011 - exponent, false);
  if (negative) Negate();
}

template <int F, bool S>
tFixedPoint128<F, S>::tFixedPoint128(long double value) noexcept {
  if (std::isinf(value) || std::isnan(value)) {  // saturates by the sign, as for double
    const bool negative = std::signbit(value);
    data_.halves[0] = negative ? 0 : ~std::uint64_t{0};
    data_.halves[1] = (negative ? 0 : ~std::uint64_t{0}) ^ kTopBit;
    return;
  }
  const bool negative = value < 0;
  int exponent = 0;
  long double scaled = std::frexp(std::fabs(value), &exponent);
  if (exponent > 64) {  // keep the integer part modulo 2^64
    scaled = std::ldexp(scaled, exponent - 64);
    scaled -= std::floor(scaled);
    exponent = 64;
  }
  // Peel off 32 bits at a time from the top: every step is exact in the 64-bit significand.
  std::uint32_t words[4];
  scaled = std::ldexp(scaled, exponent - 32);
  for (int i = 3; i >= 0; --i) {
    const long double whole = std::floor(scaled);
    words[i] = static_cast<std::uint32_t>(whole);
    scaled = std::ldexp(scaled - whole, 32);
  }
  *this = FromWords(words[3], words[2], words[1], words[0]);
  if (negative) Negate();
}

template <int F, bool S>
tFixedPoint128<F, S>::tFixedPoint128(long double whole, long double part) noexcept
    : tFixedPoint128(whole) {
  *this += tFixedPoint128(part);
}

template <int F, bool S>
tFixedPoint128<F, S>::operator long double() const noexcept {
  tFixedPoint128 magnitude(*this);
  const bool negative = IsNegative();
  if (negative) magnitude.Negate();
  std::uint32_t w3, w2, w1, w0;
  magnitude.Get(w3, w2, w1, w0);
  const WordScales& c = Scales();
  long double sum = static_cast<long double>(w0) * c.c0 + static_cast<long double>(w1) * c.c32;
  sum += static_cast<long double>(w2) * c.c64;
  sum += static_cast<long double>(w3) * c.c96;
  return negative ? -sum : sum;
}

template <int F, bool S>
tFixedPoint128<F, S>::operator double() const noexcept {
  return static_cast<double>(static_cast<long double>(*this));
}

template <int F, bool S>
tFixedPoint128<F, S>::operator std::uint32_t() const noexcept {
  return static_cast<std::uint32_t>(ConversionHelper(sizeof(std::uint32_t), false));
}

template <int F, bool S>
std::uint64_t tFixedPoint128<F, S>::ConversionHelper(std::size_t size, bool) const noexcept {
  const std::uint64_t integer = data_.halves[1];
  if (size == 8) return integer;
  if (size == 4) return integer & 0xFFFFFFFFu;
  return integer & 0xFFFFu;
}

template <int F, bool S>
void tFixedPoint128<F, S>::Get(std::uint32_t& w3, std::uint32_t& w2, std::uint32_t& w1,
                               std::uint32_t& w0) const noexcept {
  w3 = static_cast<std::uint32_t>(data_.halves[1] >> 32);
  w2 = static_cast<std::uint32_t>(data_.halves[1]);
  w1 = static_cast<std::uint32_t>(data_.halves[0] >> 32);
  w0 = static_cast<std::uint32_t>(data_.halves[0]);
}

template <int F, bool S>
bool tFixedPoint128<F, S>::IsNegative() const noexcept {
  return S && (data_.halves[1] & kTopBit) != 0;
}

template <int F, bool S>
bool tFixedPoint128<F, S>::operator<(const tFixedPoint128& rhs) const noexcept {
  if (data_.halves[1] != rhs.data_.halves[1]) {
    if (S) {
      // Flipping the sign bit turns the signed order of the top word into the unsigned one.
      return (data_.halves[1] ^ kTopBit) < (rhs.data_.halves[1] ^ kTopBit);
    }
    return data_.halves[1] < rhs.data_.halves[1];
  }
  return data_.halves[0] < rhs.data_.halves[0];
}

template <int F, bool S>
tFixedPoint128<F, S>& tFixedPoint128<F, S>::operator+=(const tFixedPoint128& rhs) noexcept {
  const std::uint64_t low = data_.halves[0] + rhs.data_.halves[0];
  data_.halves[1] += rhs.data_.halves[1] + (low < rhs.data_.halves[0] ? 1 : 0);
  data_.halves[0] = low;
  return *this;
}

template <int F, bool S>
tFixedPoint128<F, S>& tFixedPoint128<F, S>::operator-=(const tFixedPoint128& rhs) noexcept {
  const std::uint64_t borrow = data_.halves[0] < rhs.data_.halves[0] ? 1 : 0;
  data_.halves[0] -= rhs.data_.halves[0];
  data_.halves[1] -= rhs.data_.halves[1] + borrow;
  return *this;
}

// Where the compiler has a 128-bit integer the product is defined inline in the header.
#if !defined(__SIZEOF_INT128__)
template <int F, bool S>
tFixedPoint128<F, S>& tFixedPoint128<F, S>::operator*=(const tFixedPoint128& rhs) noexcept {
  tFixedPoint128 right(rhs);
  bool negative = false;
  if (S) {
    if (right.IsNegative()) {
      right.Negate();
      negative = true;
    }
    if (IsNegative()) {
      Negate();
      negative = !negative;
    }
  }
  // Bits 64..191 of the 256-bit product of the magnitudes, from the four 64 x 64-bit partial
  // products; bits 0..62 only matter through bit 63, and bits above 191 are lost.
  const std::uint64_t a0 = data_.halves[0], a1 = data_.halves[1];
  const std::uint64_t b0 = right.data_.halves[0], b1 = right.data_.halves[1];
  const Product128 p00 = Multiply64(a0, b0), p01 = Multiply64(a0, b1);
  const Product128 p10 = Multiply64(a1, b0);
  std::uint64_t middle[2] = {p00.high, p01.high + p10.high + a1 * b1};
  AddChain(middle, p01.low, 2);
  AddChain(middle, p10.low, 2);
  data_.halves[0] = middle[0];
  data_.halves[1] = middle[1];
  if ((p00.low & kTopBit) != 0) IncrementLSB();  // round half up on the first dropped bit
  if (negative) Negate();
  return *this;
}
#endif

template <int F, bool S>
tFixedPoint128<F, S>& tFixedPoint128<F, S>::operator/=(const tFixedPoint128& rhs) noexcept {
  *this = DivideInternal(*this, rhs, nullptr);
  return *this;
}

template <int F, bool S>
void tFixedPoint128<F, S>::Invert() noexcept {
  data_.halves[0] = ~data_.halves[0];
  data_.halves[1] = ~data_.halves[1];
}

template <int F, bool S>
void tFixedPoint128<F, S>::IncrementLSB() noexcept {
  AddChain<std::uint64_t>(data_.halves, 1, 2);
}

template <int F, bool S>
void tFixedPoint128<F, S>::Negate() noexcept {
  Invert();
  IncrementLSB();
}

template <int F, bool S>
void tFixedPoint128<F, S>::RightShift(std::int32_t count, bool arithmetic) noexcept {
  Shift(count, arithmetic);
}

template <int F, bool S>
void tFixedPoint128<F, S>::LeftShift(std::int32_t count, bool arithmetic) noexcept {
  Shift(-static_cast<std::int64_t>(count), arithmetic);
}

template <int F, bool S>
void tFixedPoint128<F, S>::Shift(std::int64_t count, bool arithmetic) noexcept {
  if (count == 0) return;
  const std::uint64_t fill = arithmetic && IsNegative() ? ~std::uint64_t{0} : 0;
  std::uint64_t& low = data_.halves[0];
  std::uint64_t& high = data_.halves[1];
  if (count < -127) {
    Zero();
  } else if (count >= 128) {
    low = high = fill;
  } else if (count < 0) {
    int n = static_cast<int>(-count);
    if (n > 63) {
      high = low;
      low = 0;
      n -= 64;
    }
    if (n != 0) {
      high = (high << n) | (low >> (64 - n));
      low <<= n;
    }
  } else {
    int n = static_cast<int>(count);
    if (n > 63) {
      low = high;
      high = fill;
      n -= 64;
    }
    if (n != 0) {
      low = (low >> n) | (high << (64 - n));
      high = (high >> n) | (fill << (64 - n));
    }
  }
}

template <int F, bool S>
tFixedPoint128<F, S> tFixedPoint128<F, S>::DivideInternal(const tFixedPoint128& dividend,
                                                          const tFixedPoint128& divisor,
                                                          tFixedPoint128* remainder) noexcept {
  tFixedPoint128 quotient(HalvesTag{}, 0, 0);
  if (!divisor) {
    // Deliberate: a zero divisor is a programming error, raised as the platform's arithmetic
    // fault rather than reported.
    std::raise(SIGFPE);
    return quotient;
  }
  if (!dividend) {
    if (remainder != nullptr) remainder->Zero();
    return quotient;
  }
  // The magnitudes as unsigned values: the magnitude of the smallest signed value is 2^63, and the
  // quotient of magnitudes may have its top bit set.
  tUnsignedFixedPoint128 a, b, q;
  a.data_ = dividend.data_;
  b.data_ = divisor.data_;
  const bool negative_dividend = dividend.IsNegative();
  const bool negative_quotient = negative_dividend != divisor.IsNegative();
  if (negative_dividend) a.Negate();
  if (divisor.IsNegative()) b.Negate();
#if defined(__SIZEOF_INT128__)
  DivideHalves(a.data_.halves, b.data_.halves, q.data_.halves);
#else
  q = detail::DivideMagnitudesPortable(a, b);
#endif
  if (remainder != nullptr) {
    // The remainder in the fixed-point sense, with the rounding product of the magnitudes.
    remainder->data_ = (a - q * b).data_;
    if (negative_dividend) remainder->Negate();
  }
  quotient.data_ = q.data_;
  if (negative_quotient) quotient.Negate();
  return quotient;
}

template class tFixedPoint128<64, true>;
template class tFixedPoint128<64, false>;

bool operator!=(const tSignedFixedPoint128& lhs, int rhs) noexcept {
  return lhs != tSignedFixedPoint128(rhs);
}

bool operator!=(const tSignedFixedPoint128& lhs, std::uint32_t rhs) noexcept {
  return lhs != tSignedFixedPoint128(rhs);
}

tSignedFixedPoint128 operator-(std::int32_t lhs, const tSignedFixedPoint128& rhs) noexcept {
  return tSignedFixedPoint128(lhs) - rhs;
}

namespace detail {

tUnsignedFixedPoint128 DivideMagnitudesPortable(const tUnsignedFixedPoint128& dividend,
                                                const tUnsignedFixedPoint128& divisor) noexcept {
  std::uint32_t u[4], v[4], q[4];
  dividend.Get(u[3], u[2], u[1], u[0]);
  divisor.Get(v[3], v[2], v[1], v[0]);
  DivideWords(u, v, q);
  return tUnsignedFixedPoint128::FromWords(q[3], q[2], q[1], q[0]);
}

}  // namespace detail

}  // namespace nZOSS100
