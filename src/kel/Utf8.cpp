// The library's own UTF-8 coder: the classic scheme of up to six bytes per character on writing,
// a decoder that rejects the overlong forms, and a counting pass that bounds every read.
#include "kel/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "kel/NewArray_impl.h"
#include "kel/exception.h"

namespace zo {
namespace kel {
namespace {

using Byte = unsigned char;

static_assert(sizeof(wchar_t) == 4, "wide text has one 32-bit unit per character");

[[noreturn]] __attribute__((noinline, cold)) void ThrowInvalidSequence() {
  throw exception::InvalidSequence(ZO_KEL_HERE);
}

// When encoding, ASCII runs up to this long are copied one by one before whole blocks are tried.
constexpr std::size_t kShortRun = 8;

inline bool IsContinuation(Byte b) { return (b & 0xC0) == 0x80; }

// Block helpers for runs of ASCII, the common case of the library's texts. Each handles one
// block when all of it is ASCII (returning the block size) and otherwise nothing (returning 0).
#if defined(__SSE2__)
constexpr std::size_t kAsciiBlock = 16;

inline std::size_t EncodeAsciiBlock(const wchar_t* p, Byte* out) {
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4));
  const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
  const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12));
  const __m128i high =
      _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), _mm_set1_epi32(~0x7F));
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) return 0;
  const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
  return kAsciiBlock;
}

inline std::size_t DecodeAsciiBlock(const Byte* p, wchar_t* out) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  if (_mm_movemask_epi8(v) != 0) return 0;
  const __m128i zero = _mm_setzero_si128();
  const __m128i low = _mm_unpacklo_epi8(v, zero);
  const __m128i high = _mm_unpackhi_epi8(v, zero);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi16(low, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi16(low, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpacklo_epi16(high, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm_unpackhi_epi16(high, zero));
  return kAsciiBlock;
}

#else
constexpr std::size_t kAsciiBlock = 8;

inline std::uint64_t LoadWord(const Byte* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

inline std::size_t EncodeAsciiBlock(const wchar_t* p, Byte* out) {
  std::uint32_t any = 0;
  for (std::size_t i = 0; i < kAsciiBlock; ++i) any |= static_cast<std::uint32_t>(p[i]);
  if (any >= 0x80u) return 0;
  for (std::size_t i = 0; i < kAsciiBlock; ++i) out[i] = static_cast<Byte>(p[i]);
  return kAsciiBlock;
}

inline std::size_t DecodeAsciiBlock(const Byte* p, wchar_t* out) {
  if ((LoadWord(p) & 0x8080808080808080ull) != 0) return 0;
  for (std::size_t i = 0; i < kAsciiBlock; ++i) out[i] = static_cast<wchar_t>(p[i]);
  return kAsciiBlock;
}

#endif

// Encodes one character: returns the length of its sequence (1 to 6), or -1 for a value with the
// top bit set, which has no sequence. Writes the bytes at out unless countOnly. Surrogates
// (D800-DFFF) are encoded like any other three-byte value, deliberately: wide text that holds
// them round-trips through the library's own coder.
inline int utf8_wctombc(wchar_t character, Byte* out, bool countOnly) {
  const std::uint32_t c = static_cast<std::uint32_t>(character);
  if (countOnly) {
    // Branch-free, so that counting a whole text vectorises.
    return 1 + (c >= 0x80u) + (c >= 0x800u) + (c >= 0x10000u) + (c >= 0x200000u) +
           (c >= 0x4000000u) - 7 * (c >= 0x80000000u);
  }
  if (c < 0x80u) {
    out[0] = static_cast<Byte>(c);
    return 1;
  }
  if (c < 0x800u) {
    out[0] = static_cast<Byte>(0xC0u | c >> 6);
    out[1] = static_cast<Byte>(0x80u | (c & 0x3Fu));
    return 2;
  }
  if (c < 0x10000u) {
    out[0] = static_cast<Byte>(0xE0u | c >> 12);
    out[1] = static_cast<Byte>(0x80u | (c >> 6 & 0x3Fu));
    out[2] = static_cast<Byte>(0x80u | (c & 0x3Fu));
    return 3;
  }
  if (c >= 0x80000000u) return -1;
  const int n = c < 0x200000u ? 4 : c < 0x4000000u ? 5 : 6;
  static constexpr Byte kLeadMark[7] = {0, 0, 0, 0, 0xF0, 0xF8, 0xFC};
  std::uint32_t rest = c;
  for (int i = n - 1; i > 0; --i) {
    out[i] = static_cast<Byte>(0x80u | (rest & 0x3Fu));
    rest >>= 6;
  }
  out[0] = static_cast<Byte>(kLeadMark[n] | rest);
  return n;
}

// Number of bytes UcsToUtf8 writes for [begin, end), terminator not counted: the sum of the
// sequence lengths, 1 for each character that cannot be encoded (it is written as '?').
std::uint64_t SizeOfUtf8(const wchar_t* begin, const wchar_t* end) {
  if (begin == nullptr || end <= begin) return 0;
  // Blocks small enough that a 32-bit sum cannot overflow (6 bytes per character at most).
  constexpr std::size_t kBlock = std::size_t{1} << 26;
  std::uint64_t total = 0;
  while (begin != end) {
    const std::size_t block = std::min(static_cast<std::size_t>(end - begin), kBlock);
    std::uint32_t sum = 0;
    std::size_t i = 0;
#if defined(__SSE2__)
    // Four characters at a time: 1 plus one for each length threshold passed. Compared as signed
    // values, a character with the top bit set passes none and counts 1, as its '?' does.
    __m128i lanes = _mm_setzero_si128();
    for (; block - i >= 4; i += 4) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin + i));
      lanes = _mm_sub_epi32(lanes, _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7F)));
      lanes = _mm_sub_epi32(lanes, _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7FF)));
      lanes = _mm_sub_epi32(lanes, _mm_cmpgt_epi32(v, _mm_set1_epi32(0xFFFF)));
      lanes = _mm_sub_epi32(lanes, _mm_cmpgt_epi32(v, _mm_set1_epi32(0x1FFFFF)));
      lanes = _mm_sub_epi32(lanes, _mm_cmpgt_epi32(v, _mm_set1_epi32(0x3FFFFFF)));
    }
    std::uint32_t lane[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lane), lanes);
    sum = static_cast<std::uint32_t>(i) + lane[0] + lane[1] + lane[2] + lane[3];
#endif
    for (; i < block; ++i) {
      const int n = utf8_wctombc(begin[i], nullptr, true);
      sum += static_cast<std::uint32_t>(n < 0 ? 1 : n);
    }
    total += sum;
    begin += block;
  }
  return total;
}

// The UTF-8 form of [begin, end) as a new NUL-terminated array (delete[]); a null input gives
// a one-byte array holding 0.
char* UcsToUtf8(const wchar_t* begin, const wchar_t* end) {
  const std::uint64_t size = SizeOfUtf8(begin, end);
  if (size >= std::numeric_limits<std::size_t>::max()) throw std::bad_alloc();
  char* const result = detail::NewArray<char>(static_cast<std::size_t>(size) + 1);
  Byte* out = reinterpret_cast<Byte*>(result);
  const wchar_t* p = begin;
  while (size != 0 && p != end) {
    const std::uint32_t c = static_cast<std::uint32_t>(*p);
    if (c < 0x80u) {
      // A run of ASCII. Short runs (spaces between words of other scripts) go one by one; a run
      // longer than kShortRun goes on in whole blocks while they last, then one by one.
      const wchar_t* const stop = p + std::min(kShortRun, static_cast<std::size_t>(end - p));
      while (p != stop && static_cast<std::uint32_t>(*p) < 0x80u) *out++ = static_cast<Byte>(*p++);
      if (p != stop) continue;
      while (static_cast<std::size_t>(end - p) >= kAsciiBlock) {
        const std::size_t done = EncodeAsciiBlock(p, out);
        if (done == 0) break;
        p += done;
        out += done;
      }
      while (p != end && static_cast<std::uint32_t>(*p) < 0x80u) {
        *out++ = static_cast<Byte>(*p++);
      }
      continue;
    }
    const int n = utf8_wctombc(*p++, out, false);
    if (n < 0) {
      *out++ = '?';
    } else {
      out += n;
    }
  }
  *out = 0;
  return result;
}

// Decodes the sequence at p (p < end): returns its length and stores the character at out unless
// countOnly. Throws InvalidSequence for a byte that cannot lead (80-C1, FE, FF), a sequence that
// the lead byte announces longer than what is left before end (checked before any continuation
// byte is read), a missing continuation byte, or an overlong two-, three-, four- or six-byte
// form. Surrogates and values above 10FFFF are accepted, deliberately, so that everything the
// encoder writes below 200000 reads back. There is deliberately no five-byte form: F8-FB lead
// six bytes like FC and FD, so the encoder's five-byte sequences do not read back as the same
// character.
inline int utf8_mbctowc(const Byte* p, const Byte* end, wchar_t* out, bool countOnly) {
  const std::uint32_t b0 = p[0];
  const std::size_t left = static_cast<std::size_t>(end - p);
  std::uint32_t value;
  int n;
  if (b0 < 0x80u) {
    value = b0;
    n = 1;
  } else if (b0 < 0xE0u) {
    if (b0 < 0xC2u || left < 2 || !IsContinuation(p[1])) ThrowInvalidSequence();
    value = (b0 & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    n = 2;
  } else if (b0 < 0xF0u) {
    if (left < 3) ThrowInvalidSequence();
    const std::uint32_t b1 = p[1];
    const std::uint32_t b2 = p[2];
    // One branch for the common case: both continuation bytes, and not the overlong E0 80-9F.
    if ((((b1 ^ 0x80u) | (b2 ^ 0x80u)) >= 0x40u) | ((b0 == 0xE0u) & (b1 <= 0x9Fu))) {
      ThrowInvalidSequence();
    }
    value = (b0 & 0x0Fu) << 12 | (b1 & 0x3Fu) << 6 | (b2 & 0x3Fu);
    n = 3;
  } else if (b0 < 0xF8u) {
    if (left < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3]) ||
        (b0 == 0xF0u && p[1] <= 0x8Fu)) {
      ThrowInvalidSequence();
    }
    value = (b0 & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
    n = 4;
  } else {
    if (b0 > 0xFDu || left < 6) ThrowInvalidSequence();
    for (int i = 1; i < 6; ++i) {
      if (!IsContinuation(p[i])) ThrowInvalidSequence();
    }
    if (b0 <= 0xFCu && p[1] <= 0x83u) ThrowInvalidSequence();
    // Only the lowest bit of the lead byte contributes, for F8-FB as for FC and FD.
    value = (b0 & 0x01u) << 30 | (p[1] & 0x3Fu) << 24 | (p[2] & 0x3Fu) << 18 |
            (p[3] & 0x3Fu) << 12 | (p[4] & 0x3Fu) << 6 | (p[5] & 0x3Fu);
    n = 6;
  }
  if (!countOnly) *out = static_cast<wchar_t>(value);
  return n;
}

// True when the block at p is all ASCII.
inline bool IsAsciiBlock(const Byte* p) {
#if defined(__SSE2__)
  return _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) == 0;
#else
  return (LoadWord(p) & 0x8080808080808080ull) == 0;
#endif
}

// Number of characters in [p, p + count), checking every sequence completely. Throws
// InvalidSequence for a bad or truncated sequence, without reading past the end.
std::size_t StringLength(const Byte* p, std::size_t count) {
  if (p == nullptr || count == 0) return 0;
  const Byte* const end = p + count;
  std::size_t characters = 0;
  while (p != end) {
    if (*p < 0x80u && static_cast<std::size_t>(end - p) >= kAsciiBlock && IsAsciiBlock(p)) {
      p += kAsciiBlock;
      characters += kAsciiBlock;
      continue;
    }
    p += utf8_mbctowc(p, end, nullptr, true);
    ++characters;
  }
  return characters;
}

// Number of bytes of [p, p + count) that are not continuation bytes: the number of characters
// when the bytes are valid UTF-8, and always at least the number that decoding can produce,
// since every decoded character begins with such a byte.
std::size_t CountLeads(const Byte* p, std::size_t count) {
  std::size_t continuation = 0;
  std::size_t i = 0;
#if defined(__SSE2__)
  // Per byte lane, count the continuation bytes (as signed bytes exactly those below -64) of
  // up to 255 blocks, then add the lanes up.
  const __m128i zero = _mm_setzero_si128();
  const __m128i limit = _mm_set1_epi8(-64);
  while (count - i >= kAsciiBlock) {
    const std::size_t blocks = std::min<std::size_t>((count - i) / kAsciiBlock, 255);
    __m128i lanes = zero;
    for (std::size_t k = 0; k < blocks; ++k, i += kAsciiBlock) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
      lanes = _mm_sub_epi8(lanes, _mm_cmplt_epi8(v, limit));
    }
    const __m128i sums = _mm_sad_epu8(lanes, zero);
    continuation += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
                    static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
  }
#endif
  for (; i < count; ++i) continuation += IsContinuation(p[i]);
  return count - continuation;
}

// The wide form of [p, p + count) as a new NUL-terminated array (delete[]). Sized by a cheap
// count of lead bytes, then decoded with every sequence checked (the end before any continuation
// byte is read); a malformed sequence frees the array and throws InvalidSequence, so the result
// is the same as counting with StringLength first, at half the work.
wchar_t* Utf8ToUcs(const Byte* p, std::size_t count) {
  if (p == nullptr) count = 0;
  std::unique_ptr<wchar_t[]> result(detail::NewArray<wchar_t>(CountLeads(p, count) + 1));
  wchar_t* out = result.get();
  const Byte* const end = p + count;
  while (p != end) {
    if (*p < 0x80u) {
      // A run of ASCII: whole blocks while they last, then the rest of the run one by one. (Unlike
      // encoding, trying a block first pays here even for short runs: it costs one load.)
      while (static_cast<std::size_t>(end - p) >= kAsciiBlock) {
        const std::size_t done = DecodeAsciiBlock(p, out);
        if (done == 0) break;
        p += done;
        out += done;
      }
      while (p != end && *p < 0x80u) *out++ = static_cast<wchar_t>(*p++);
      continue;
    }
    p += utf8_mbctowc(p, end, out++, false);
  }
  *out = 0;
  return result.release();
}

}  // namespace

char* WideToUtf8(const wchar_t* text) {
  if (text == nullptr) return UcsToUtf8(nullptr, nullptr);
  return UcsToUtf8(text, text + std::wcslen(text));
}

char* WideToUtf8(const wchar_t* begin, const wchar_t* end) { return UcsToUtf8(begin, end); }

std::uint32_t GetUtf8EncodingBytes(const wchar_t* text) {
  if (text == nullptr) return 0;
  return GetUtf8EncodingBytes(text, text + std::wcslen(text));
}

std::uint32_t GetUtf8EncodingBytes(const wchar_t* begin, const wchar_t* end) {
  const std::uint64_t size = SizeOfUtf8(begin, end);
  return size > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(size);
}

wchar_t* Utf8ToWide(const char* bytes, std::uint32_t count) {
  return Utf8ToUcs(reinterpret_cast<const Byte*>(bytes), count);
}

std::uint32_t GetUtf8StringLength(const char* bytes, std::uint32_t count) {
  // At most one character per byte, so the count always fits.
  return static_cast<std::uint32_t>(StringLength(reinterpret_cast<const Byte*>(bytes), count));
}

}  // namespace kel
}  // namespace zo
