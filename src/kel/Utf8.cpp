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

#include "kel/NewArray_impl.h"
#include "kel/exception.h"

namespace zo {
namespace kel {
namespace {

using Byte = unsigned char;

// Eight bytes are all ASCII when none of these bits is set.
constexpr std::uint64_t kHighBits = 0x8080808080808080ull;

// Length of the sequence that each lead byte announces; 0 for a byte that cannot start one
// (continuation bytes 80-BF, the overlong leads C0 and C1, FE and FF). There is deliberately no
// five-byte entry: F8-FB announce six bytes like FC and FD, so a five-byte sequence written by
// the encoder does not read back as the same character.
struct LeadTable {
  std::uint8_t length[256];
};

constexpr LeadTable MakeLeadTable() {
  LeadTable table{};
  for (int b = 0; b < 256; ++b) {
    std::uint8_t n = 0;
    if (b < 0x80) {
      n = 1;
    } else if (b >= 0xC2 && b <= 0xDF) {
      n = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
      n = 3;
    } else if (b >= 0xF0 && b <= 0xF7) {
      n = 4;
    } else if (b >= 0xF8 && b <= 0xFD) {
      n = 6;
    }
    table.length[b] = n;
  }
  return table;
}

constexpr LeadTable kLead = MakeLeadTable();

[[noreturn]] __attribute__((noinline, cold)) void ThrowInvalidSequence() {
  throw exception::InvalidSequence(ZO_KEL_HERE);
}

inline bool IsContinuation(Byte b) { return (b & 0xC0) == 0x80; }

inline bool AllAscii(const Byte* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return (word & kHighBits) == 0;
}

// Encodes one character: returns the length of its sequence (1 to 6), or -1 for a value with the
// top bit set, which has no sequence. Writes the bytes at out unless countOnly. Surrogates
// (D800-DFFF) are encoded like any other three-byte value, deliberately: wide text that holds
// them round-trips through the library's own coder.
inline int utf8_wctombc(wchar_t character, Byte* out, bool countOnly) {
  const std::uint32_t c = static_cast<std::uint32_t>(character);
  // Branch-free so that the counting loop over a whole text can be vectorised.
  const int n = 1 + (c >= 0x80u) + (c >= 0x800u) + (c >= 0x10000u) + (c >= 0x200000u) +
                (c >= 0x4000000u) - 7 * (c >= 0x80000000u);
  if (countOnly || n < 0) return n;
  if (n == 1) {
    out[0] = static_cast<Byte>(c);
    return 1;
  }
  static constexpr Byte kLeadMark[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
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
    for (std::size_t i = 0; i < block; ++i) {
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
  if (size != 0) {
    for (const wchar_t* p = begin; p != end; ++p) {
      const std::uint32_t c = static_cast<std::uint32_t>(*p);
      if (c < 0x80u) {
        *out++ = static_cast<Byte>(c);
        continue;
      }
      const int n = utf8_wctombc(*p, out, false);
      if (n < 0) {
        *out++ = '?';
      } else {
        out += n;
      }
    }
  }
  *out = 0;
  return result;
}

// Decodes the sequence at p, whose lead byte's announced length the caller has checked to be
// available: returns the length and stores the character at out unless countOnly. Throws
// InvalidSequence for a bad lead byte, a missing continuation byte or an overlong two-, three-
// or four-byte form. Surrogates and values above 10FFFF are accepted, deliberately, so that
// everything the encoder writes below 200000 reads back.
inline int utf8_mbctowc(const Byte* p, wchar_t* out, bool countOnly) {
  const std::uint32_t b0 = p[0];
  std::uint32_t value;
  int n;
  if (b0 < 0x80u) {
    value = b0;
    n = 1;
  } else if (b0 >= 0xC2u && b0 <= 0xDFu) {
    if (!IsContinuation(p[1])) ThrowInvalidSequence();
    value = (b0 & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    n = 2;
  } else if (b0 >= 0xE0u && b0 <= 0xEFu) {
    if (!IsContinuation(p[1]) || !IsContinuation(p[2]) || (b0 == 0xE0u && p[1] <= 0x9Fu)) {
      ThrowInvalidSequence();
    }
    value = (b0 & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    n = 3;
  } else if (b0 >= 0xF0u && b0 <= 0xF7u) {
    if (!IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3]) ||
        (b0 == 0xF0u && p[1] <= 0x8Fu)) {
      ThrowInvalidSequence();
    }
    value = (b0 & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
    n = 4;
  } else if (b0 >= 0xF8u && b0 <= 0xFDu) {
    for (int i = 1; i < 6; ++i) {
      if (!IsContinuation(p[i])) ThrowInvalidSequence();
    }
    if (b0 <= 0xFCu && p[1] <= 0x83u) ThrowInvalidSequence();
    // Only the lowest bit of the lead byte contributes, for F8-FB as for FC and FD.
    value = (b0 & 0x01u) << 30 | (p[1] & 0x3Fu) << 24 | (p[2] & 0x3Fu) << 18 |
            (p[3] & 0x3Fu) << 12 | (p[4] & 0x3Fu) << 6 | (p[5] & 0x3Fu);
    n = 6;
  } else {
    ThrowInvalidSequence();
  }
  if (!countOnly) *out = static_cast<wchar_t>(value);
  return n;
}

// Number of characters in [p, p + count). Checks every sequence completely, and checks that the
// lead byte's announced length fits before reading any continuation byte, so nothing past the
// end is ever read. Throws InvalidSequence for a bad or truncated sequence.
std::size_t StringLength(const Byte* p, std::size_t count) {
  if (p == nullptr || count == 0) return 0;
  const Byte* const end = p + count;
  std::size_t characters = 0;
  while (p != end) {
    while (static_cast<std::size_t>(end - p) >= 8 && AllAscii(p)) {
      p += 8;
      characters += 8;
    }
    if (p == end) break;
    const std::size_t n = kLead.length[*p];
    if (n == 0 || n > static_cast<std::size_t>(end - p)) ThrowInvalidSequence();
    utf8_mbctowc(p, nullptr, true);
    p += n;
    ++characters;
  }
  return characters;
}

// The wide form of [p, p + count) as a new NUL-terminated array (delete[]). Counts first, so the
// decoding below only ever sees complete sequences; the array is freed if decoding throws.
wchar_t* Utf8ToUcs(const Byte* p, std::size_t count) {
  const std::size_t characters = StringLength(p, count);
  std::unique_ptr<wchar_t[]> result(detail::NewArray<wchar_t>(characters + 1));
  wchar_t* out = result.get();
  if (characters != 0) {
    const Byte* const end = p + count;
    while (p != end) {
      while (static_cast<std::size_t>(end - p) >= 8 && AllAscii(p)) {
        for (int i = 0; i < 8; ++i) out[i] = static_cast<wchar_t>(p[i]);
        p += 8;
        out += 8;
      }
      if (p == end) break;
      p += utf8_mbctowc(p, out, false);
      ++out;
    }
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
