#include "kel/Utf8.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kel/exception.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"
#include "support/Rows.h"

namespace {

using zo::kel::GetUtf8EncodingBytes;
using zo::kel::GetUtf8StringLength;
using zo::kel::Utf8ToWide;
using zo::kel::WideToUtf8;
using zo::kel::exception::InvalidSequence;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

constexpr std::int32_t kInvalidSequenceCode = -1967362000;

// The UTF-8 bytes of [text, text + n) as hex, without the terminator, checking that the result
// is terminated and that GetUtf8EncodingBytes agrees with what was written.
std::string EncodeHex(const wchar_t* text, std::size_t n) {
  std::unique_ptr<char[]> utf8(WideToUtf8(text, text + n));
  const std::uint32_t size = GetUtf8EncodingBytes(text, text + n);
  EXPECT_EQ('\0', utf8[size]);
  return ToHex(reinterpret_cast<const unsigned char*>(utf8.get()), size);
}

// The bytes in a heap block of exactly their size, so that AddressSanitizer catches a read past
// the end.
template <typename Range>
std::vector<char> AtEndOfBlock(const Range& bytes) {
  return std::vector<char>(bytes.begin(), bytes.end());
}

// Decodes bytes placed at the end of a block, checking that Utf8ToWide and GetUtf8StringLength
// agree on the length and that the result is terminated.
std::wstring DecodeAtEndOfBlock(const zo_kel_test::Bytes& bytes) {
  const std::vector<char> input = AtEndOfBlock(bytes);
  std::unique_ptr<wchar_t[]> wide(Utf8ToWide(input.data(), input.size()));
  const std::uint32_t length = GetUtf8StringLength(input.data(), input.size());
  EXPECT_EQ(L'\0', wide[length]);
  return std::wstring(wide.get(), length);
}

TEST(Utf8, EncodesEachSequenceLength) {
  // Up to U+10FFFF the round trip and the inserted characters below decide; values with the top
  // bit set have no sequence: '?'.
  const struct {
    std::uint32_t character;
    const char* bytes;
  } rows[] = {{0x1FFFFF, "F7 BF BF BF"},         {0x200000, "F8 88 80 80 80"},
              {0x3FFFFFF, "FB BF BF BF BF"},     {0x4000000, "FC 84 80 80 80 80"},
              {0x7FFFFFFF, "FD BF BF BF BF BF"}, {0x80000000, "3F"}};
  for (const auto& row : rows) {
    const wchar_t text[] = {static_cast<wchar_t>(row.character), L'\0'};
    EXPECT_EQ(row.bytes, EncodeHex(text, 1)) << std::hex << row.character;
  }
  std::unique_ptr<char[]> terminated(WideToUtf8(L"a\x20AC\x80000000z"));
  EXPECT_STREQ("a\xE2\x82\xAC?z", terminated.get());
  EXPECT_EQ(3u, GetUtf8EncodingBytes(L"\x20AC"));
  EXPECT_EQ(0u, GetUtf8EncodingBytes(nullptr));
  EXPECT_EQ('\0', std::unique_ptr<char[]>(WideToUtf8(nullptr))[0]);
  EXPECT_EQ(L'\0', std::unique_ptr<wchar_t[]>(Utf8ToWide(nullptr, 5))[0]);
  EXPECT_EQ(0u, GetUtf8StringLength(nullptr, 5));
  EXPECT_EQ(0u, GetUtf8StringLength("abc", 0));
}

TEST(Utf8, DecodesAcceptedSequences) {
  const struct {
    const char* bytes;
    std::uint32_t character;
  } rows[] = {
      // Up to U+10FFFF, surrogates included, every character round-trips (below).
      {"F4 90 80 80", 0x110000},  // values above U+10FFFF are accepted
      // F8-FB start six-byte sequences in which only the lead byte's lowest bit counts.
      {"F8 88 80 80 80 80", 0x08000000},
      {"F9 84 80 80 80 80", 0x44000000},
      {"FD 80 80 80 80 80", 0x40000000},  // FD needs no minimum second byte
      {"FD BF BF BF BF BF", 0x7FFFFFFF},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(std::wstring(1, static_cast<wchar_t>(row.character)),
              DecodeAtEndOfBlock(Hex(row.bytes)))
        << row.bytes;
  }
  // Embedded NULs are characters like any other.
  EXPECT_EQ(std::wstring(L"a\0b", 3), DecodeAtEndOfBlock(Hex("61 00 62")));
}

TEST(Utf8, RejectsMalformedAndTruncatedSequencesWithoutReadingPastTheEnd) {
  // Stray continuations, overlong forms, missing continuations, FE and FF; then sequences cut by
  // the count (not a terminator), and the encoder's five-byte U+200000, which announces six.
  const std::string rejected =
      "80 | 41 80 | C0 80 | C1 BF | C2 41 | C2 C2 80 | E0 80 80 | E0 9F BF | E1 80 41 | E1 41 80 |"
      "F0 80 80 80 | F0 8F BF BF | F1 80 80 41 | F8 80 80 80 80 80 | FC 83 BF BF BF BF |"
      "FD 80 80 80 80 41 | FE | FF | C2 | E2 82 | 61 E2 82 | F0 9F 98 | FD BF BF BF BF |"
      "F8 88 80 80 80";
  for (const std::string& bytes : zo_kel_test::Items(rejected)) {
    SCOPED_TRACE(bytes);
    const std::vector<char> input = AtEndOfBlock(Hex(bytes));
    EXPECT_KEL_THROW(Utf8ToWide(input.data(), input.size()), InvalidSequence, kInvalidSequenceCode,
                     "Invalid UTF8 encoding sequence");
    EXPECT_KEL_THROW(GetUtf8StringLength(input.data(), input.size()), InvalidSequence,
                     kInvalidSequenceCode, "Invalid UTF8 encoding sequence");
  }
}

TEST(Utf8, EveryUnicodeScalarAndSurrogateRoundTrips) {
  std::wstring all;
  for (std::uint32_t c = 0; c <= 0x10FFFF; ++c) all.push_back(static_cast<wchar_t>(c));
  // 128 one-byte, 1920 two-byte, 63488 three-byte (surrogates included), 1048576 four-byte.
  const std::uint32_t expectedBytes = 128 + 1920 * 2 + 63488 * 3 + 1048576 * 4;
  EXPECT_EQ(expectedBytes, GetUtf8EncodingBytes(all.data(), all.data() + all.size()));
  std::unique_ptr<char[]> utf8(WideToUtf8(all.data(), all.data() + all.size()));
  std::unique_ptr<wchar_t[]> back(Utf8ToWide(utf8.get(), expectedBytes));
  EXPECT_TRUE(std::wstring(back.get(), all.size()) == all);
}

TEST(Utf8, NonAsciiAtEveryPositionAroundTheWordBoundaries) {
  // Runs of ASCII are handled eight bytes at a time; a sequence or an error may sit anywhere.
  struct Inserted {
    wchar_t character;
    const char* utf8;
  };
  const Inserted inserted[] = {
      {L'\xE9', "\xC3\xA9"}, {L'\x20AC', "\xE2\x82\xAC"}, {L'\x1F600', "\xF0\x9F\x98\x80"}};
  for (std::size_t length = 1; length <= 70; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      const Inserted& one = inserted[(length + at) % 3];
      std::wstring wide(length, L'a');
      wide[at] = one.character;
      std::string utf8 = std::string(at, 'a') + one.utf8 + std::string(length - at - 1, 'a');
      const zo_kel_test::Bytes bytes(utf8.begin(), utf8.end());
      EXPECT_EQ(ToHex(bytes), EncodeHex(wide.data(), wide.size()));
      EXPECT_TRUE(DecodeAtEndOfBlock(bytes) == wide) << length << " " << at;

      utf8[at] = '\xFF';
      const std::vector<char> bad = AtEndOfBlock(utf8);
      EXPECT_THROW(Utf8ToWide(bad.data(), bad.size()), InvalidSequence);
      EXPECT_THROW(GetUtf8StringLength(bad.data(), bad.size()), InvalidSequence);
    }
  }
}

TEST(Utf8, ExhaustedMemoryPropagates) {
  const zo_kel_test::RefuseAllocationsFrom hook(0);
  EXPECT_THROW(WideToUtf8(L"abc"), std::bad_alloc);
  EXPECT_THROW(Utf8ToWide("abc", 3), std::bad_alloc);
  EXPECT_EQ(3u, GetUtf8StringLength("abc", 3));  // counting allocates nothing
}

}  // namespace
