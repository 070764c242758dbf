// The two string orders of the library: the C locale's case-insensitive order and the exact
// order, for narrow and wide text, NUL-terminated and counted.
#include "kel/osdep/StringCaseCompare.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zo {
namespace kel {
namespace osdep {
namespace {

// The C locale folds A-Z and nothing else, for bytes (tolower) as for wide characters
// (towupper). Folding here instead of calling the C library keeps the order independent of the
// process's locale and avoids a locale lookup per character: dictionary keys are compared with
// these functions.
inline unsigned FoldNarrow(unsigned char c) {
  return (static_cast<unsigned>(c) - 'A' < 26u) ? c + ('a' - 'A') : c;
}

// Wide text folds to upper case, as towupper does, so '_' (0x5F) sorts after the letters in
// wide text but before them in narrow text. Deliberate: both orders are kept as they are because
// stored dictionaries depend on them.
inline wchar_t FoldWide(wchar_t c) {
  return (static_cast<std::uint32_t>(c) - L'a' < 26u) ? c - (L'a' - L'A') : c;
}

// -1, 0 or 1, comparing as signed wchar_t, as the C library compares one-character wide strings.
inline int CompareWide(wchar_t a, wchar_t b) { return (a > b) - (a < b); }

// (remaining length of a) - (remaining length of b) when one range ran out, clamped to int.
inline int RemainingDifference(std::size_t a, std::size_t b) {
  if (a >= b) return a - b > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(a - b);
  return b - a > static_cast<std::size_t>(INT_MAX) ? -INT_MAX : -static_cast<int>(b - a);
}

inline std::size_t Length(const char* begin, const char* end) {
  return end > begin ? static_cast<std::size_t>(end - begin) : 0;
}
inline std::size_t Length(const wchar_t* begin, const wchar_t* end) {
  return end > begin ? static_cast<std::size_t>(end - begin) : 0;
}

// Index of the first byte where two unequal 8-byte words differ (the words hold the bytes in
// memory order, so on this little-endian target the lowest set bit of the XOR marks it).
inline unsigned FirstDifferingByte(std::uint64_t x, std::uint64_t y) {
  return static_cast<unsigned>(__builtin_ctzll(x ^ y)) / 8u;
}

inline std::uint64_t LoadWord(const char* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// FoldNarrow applied to each of the eight bytes of a word at once: a byte below 0x80 gets its top
// bit set by adding 0x80 - 'A' when it is 'A' or above, and by adding 0x80 - 'Z' - 1 when it is
// above 'Z' (no sum carries into the next byte); A-Z are the bytes with the first and not the
// second, and they gain 0x20.
inline std::uint64_t FoldWord(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ull;
  constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  const std::uint64_t low7 = word & ~kHigh;
  const std::uint64_t atLeastA = low7 + kOnes * (0x80 - 'A');
  const std::uint64_t aboveZ = low7 + kOnes * (0x80 - 'Z' - 1);
  const std::uint64_t upper = atLeastA & ~aboveZ & ~word & kHigh;
  return word | (upper >> 2);
}

}  // namespace

int StringCaseCompare(const char* a, const char* b) {
  // A null text is the empty text.
  const unsigned char* p = reinterpret_cast<const unsigned char*>(a != nullptr ? a : "");
  const unsigned char* q = reinterpret_cast<const unsigned char*>(b != nullptr ? b : "");
  for (;; ++p, ++q) {
    const int diff = static_cast<int>(FoldNarrow(*p)) - static_cast<int>(FoldNarrow(*q));
    if (diff != 0 || *p == 0) return diff;
  }
}

int StringCaseCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd) {
  const std::size_t aLength = Length(aBegin, aEnd);
  const std::size_t bLength = Length(bBegin, bEnd);
  const std::size_t common = aLength < bLength ? aLength : bLength;
  std::size_t i = 0;
  // Eight bytes at a time: equal words need no folding; at the first unequal folded words, the
  // first differing folded byte decides, as it does byte by byte.
  for (; common - i >= 8; i += 8) {
    const std::uint64_t x = LoadWord(aBegin + i);
    const std::uint64_t y = LoadWord(bBegin + i);
    if (x == y) continue;
    const std::uint64_t fx = FoldWord(x);
    const std::uint64_t fy = FoldWord(y);
    if (fx != fy) {
      const unsigned shift = FirstDifferingByte(fx, fy) * 8u;
      return static_cast<int>((fx >> shift) & 0xFF) - static_cast<int>((fy >> shift) & 0xFF);
    }
  }
  for (; i < common; ++i) {
    const int diff = static_cast<int>(FoldNarrow(static_cast<unsigned char>(aBegin[i]))) -
                     static_cast<int>(FoldNarrow(static_cast<unsigned char>(bBegin[i])));
    if (diff != 0) return diff;
  }
  return RemainingDifference(aLength - common, bLength - common);
}

int StringCaseCompare(const wchar_t* a, const wchar_t* b) {
  const wchar_t* p = a != nullptr ? a : L"";
  const wchar_t* q = b != nullptr ? b : L"";
  for (;; ++p, ++q) {
    const int result = CompareWide(FoldWide(*p), FoldWide(*q));
    if (result != 0 || *p == 0) return result;
  }
}

int StringCaseCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                      const wchar_t* bEnd) {
  const std::size_t aLength = Length(aBegin, aEnd);
  const std::size_t bLength = Length(bBegin, bEnd);
  const std::size_t common = aLength < bLength ? aLength : bLength;
  for (std::size_t i = 0; i < common; ++i) {
    if (aBegin[i] == bBegin[i]) continue;
    const int result = CompareWide(FoldWide(aBegin[i]), FoldWide(bBegin[i]));
    if (result != 0) return result;
  }
  return RemainingDifference(aLength - common, bLength - common);
}

int StringExactCompare(const char* a, const char* b) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(a != nullptr ? a : "");
  const unsigned char* q = reinterpret_cast<const unsigned char*>(b != nullptr ? b : "");
  for (;; ++p, ++q) {
    const int diff = static_cast<int>(*p) - static_cast<int>(*q);
    if (diff != 0 || *p == 0) return diff;
  }
}

int StringExactCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd) {
  const std::size_t aLength = Length(aBegin, aEnd);
  const std::size_t bLength = Length(bBegin, bEnd);
  const std::size_t common = aLength < bLength ? aLength : bLength;
  std::size_t i = 0;
  for (; common - i >= 8; i += 8) {
    const std::uint64_t x = LoadWord(aBegin + i);
    const std::uint64_t y = LoadWord(bBegin + i);
    if (x != y) {
      const std::size_t at = i + FirstDifferingByte(x, y);
      return static_cast<int>(static_cast<unsigned char>(aBegin[at])) -
             static_cast<int>(static_cast<unsigned char>(bBegin[at]));
    }
  }
  for (; i < common; ++i) {
    const int diff = static_cast<int>(static_cast<unsigned char>(aBegin[i])) -
                     static_cast<int>(static_cast<unsigned char>(bBegin[i]));
    if (diff != 0) return diff;
  }
  return RemainingDifference(aLength - common, bLength - common);
}

int StringExactCompare(const wchar_t* a, const wchar_t* b) {
  const wchar_t* p = a != nullptr ? a : L"";
  const wchar_t* q = b != nullptr ? b : L"";
  for (;; ++p, ++q) {
    if (*p != *q) return CompareWide(*p, *q);
    if (*p == 0) return 0;
  }
}

int StringExactCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                       const wchar_t* bEnd) {
  const std::size_t aLength = Length(aBegin, aEnd);
  const std::size_t bLength = Length(bBegin, bEnd);
  const std::size_t common = aLength < bLength ? aLength : bLength;
  for (std::size_t i = 0; i < common; ++i) {
    if (aBegin[i] != bBegin[i]) return CompareWide(aBegin[i], bBegin[i]);
  }
  return RemainingDifference(aLength - common, bLength - common);
}

}  // namespace osdep
}  // namespace kel
}  // namespace zo
