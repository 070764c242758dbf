// The narrow case-insensitive order as an inline function, for callers that compare in a loop
// (dictionary keys) and cannot afford a call per comparison.
#ifndef ZO_KEL_OSDEP_STRINGCASECOMPARE_IMPL_H
#define ZO_KEL_OSDEP_STRINGCASECOMPARE_IMPL_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zo {
namespace kel {
namespace osdep {
namespace detail {

/// The C locale's lower-case fold of one byte: A-Z and nothing else. Folding here instead of
/// calling the C library keeps the order independent of the process's locale and avoids a locale
/// lookup per character.
inline unsigned FoldNarrow(unsigned char c) noexcept {
  return (static_cast<unsigned>(c) - 'A' < 26u) ? c + ('a' - 'A') : c;
}

/// (remaining length of a) - (remaining length of b) when one range ran out, clamped to int.
inline int RemainingDifference(std::size_t a, std::size_t b) noexcept {
  if (a >= b) return a - b > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(a - b);
  return b - a > static_cast<std::size_t>(INT_MAX) ? -INT_MAX : -static_cast<int>(b - a);
}

/// Index of the first byte where two unequal 8-byte words differ (the words hold the bytes in
/// memory order, so on this little-endian target the lowest set bit of the XOR marks it).
inline unsigned FirstDifferingByte(std::uint64_t x, std::uint64_t y) noexcept {
  return static_cast<unsigned>(__builtin_ctzll(x ^ y)) / 8u;
}

/// Eight bytes in memory order, from any alignment.
inline std::uint64_t LoadWord(const char* p) noexcept {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

/// FoldNarrow applied to each of the eight bytes of a word at once: a byte below 0x80 gets its
/// top bit set by adding 0x80 - 'A' when it is 'A' or above, and by adding 0x80 - 'Z' - 1 when it
/// is above 'Z' (no sum carries into the next byte); A-Z are the bytes with the first and not the
/// second, and they gain 0x20.
inline std::uint64_t FoldWord(std::uint64_t word) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101ull;
  constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  const std::uint64_t low7 = word & ~kHigh;
  const std::uint64_t atLeastA = low7 + kOnes * (0x80 - 'A');
  const std::uint64_t aboveZ = low7 + kOnes * (0x80 - 'Z' - 1);
  const std::uint64_t upper = atLeastA & ~aboveZ & ~word & kHigh;
  return word | (upper >> 2);
}

/// The order of two words that differ only in the case of their first differing byte: the
/// difference of the first unequal folded bytes, or 0 when the folded words are equal. Kept out
/// of line: texts that differ only in case are rare, and inlined, the compiler computes both
/// folds on every unequal pair of words.
#if defined(__GNUC__)
__attribute__((noinline, cold))
#endif
inline int FoldedWordOrder(std::uint64_t x, std::uint64_t y) noexcept {
  const std::uint64_t fx = FoldWord(x);
  const std::uint64_t fy = FoldWord(y);
  if (fx == fy) return 0;
  const unsigned shift = FirstDifferingByte(fx, fy) * 8u;
  return static_cast<int>((fx >> shift) & 0xFF) - static_cast<int>((fy >> shift) & 0xFF);
}

/// StringCaseCompare of two counted narrow texts, [a, a + aLength) and [b, b + bLength): the
/// difference of the first unequal folded bytes, otherwise the clamped length difference.
inline int CaseCompareNarrow(const char* a, std::size_t aLength, const char* b,
                             std::size_t bLength) noexcept {
  const std::size_t common = aLength < bLength ? aLength : bLength;
  std::size_t i = 0;
  // Eight bytes at a time: equal words need no folding; at the first unequal folded words, the
  // first differing folded byte decides, as it does byte by byte.
  for (; common - i >= 8; i += 8) {
    const std::uint64_t x = LoadWord(a + i);
    const std::uint64_t y = LoadWord(b + i);
    if (x == y) continue;
    // The bytes before the first differing one are equal, folded or not; when that byte pair
    // differs after folding too, it decides without folding the words.
    const unsigned at = FirstDifferingByte(x, y) * 8u;
    const int first = static_cast<int>(FoldNarrow(static_cast<unsigned char>(x >> at))) -
                      static_cast<int>(FoldNarrow(static_cast<unsigned char>(y >> at)));
    if (first != 0) return first;
    const int folded = FoldedWordOrder(x, y);
    if (folded != 0) return folded;
  }
  for (; i < common; ++i) {
    const int diff = static_cast<int>(FoldNarrow(static_cast<unsigned char>(a[i]))) -
                     static_cast<int>(FoldNarrow(static_cast<unsigned char>(b[i])));
    if (diff != 0) return diff;
  }
  return RemainingDifference(aLength - common, bLength - common);
}

}  // namespace detail
}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_STRINGCASECOMPARE_IMPL_H
