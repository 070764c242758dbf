// The two string orders of the library: the C locale's case-insensitive order and the exact
// order, for narrow and wide text, NUL-terminated and counted.
#include "kel/osdep/StringCaseCompare.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kel/osdep/StringCaseCompare_impl.h"

namespace zo {
namespace kel {
namespace osdep {
namespace {

using detail::CaseCompareNarrow;
using detail::FirstDifferingByte;
using detail::FoldNarrow;
using detail::LoadWord;
using detail::RemainingDifference;

// Wide text folds to upper case, as towupper does, so '_' (0x5F) sorts after the letters in
// wide text but before them in narrow text. Deliberate: both orders are kept as they are because
// stored dictionaries depend on them.
inline wchar_t FoldWide(wchar_t c) {
  return (static_cast<std::uint32_t>(c) - L'a' < 26u) ? c - (L'a' - L'A') : c;
}

// -1, 0 or 1, comparing as signed wchar_t, as the C library compares one-character wide strings.
inline int CompareWide(wchar_t a, wchar_t b) { return (a > b) - (a < b); }

inline std::size_t Length(const char* begin, const char* end) {
  return end > begin ? static_cast<std::size_t>(end - begin) : 0;
}
inline std::size_t Length(const wchar_t* begin, const wchar_t* end) {
  return end > begin ? static_cast<std::size_t>(end - begin) : 0;
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
  return CaseCompareNarrow(aBegin, Length(aBegin, aEnd), bBegin, Length(bBegin, bEnd));
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
