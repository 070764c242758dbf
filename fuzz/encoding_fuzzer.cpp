// Fuzz target: the library's UTF-8 coder and the conversions through the platform's converter
// (narrow to wide and back in several code sets, UTF-16 units in and out), each checked against
// what the code set says the result must be.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "FuzzCheck.h"
#include "kel/StringBase.h"
#include "kel/Utf8.h"
#include "kel/exception.h"
#include "kel/osdep/AnsiToWide.h"
#include "kel/osdep/SerializeUtf16.h"
#include "kel/osdep/WideToAnsi.h"

namespace {

using zo::kel::WString;
using Wide = std::vector<wchar_t>;

bool IsScalarValue(std::uint32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

Wide ToWide(const wchar_t* begin, const wchar_t* end) { return Wide(begin, end); }

// Library UTF-8: decodes, re-encodes to the input (except lead bytes F8-FB, whose unused bit is
// dropped), and the encoding decodes to the same characters.
void CheckUtf8(const std::uint8_t* data, std::size_t size, Wide& decoded, bool& valid) {
  const char* bytes = reinterpret_cast<const char*>(data);
  const auto count = static_cast<std::uint32_t>(size);
  std::uint32_t length = 0;
  bool counted = true;
  try {
    length = zo::kel::GetUtf8StringLength(bytes, count);
  } catch (const zo::kel::exception::Exception&) {
    counted = false;
  }
  std::unique_ptr<wchar_t[]> wide;
  try {
    wide.reset(zo::kel::Utf8ToWide(bytes, count));
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(!counted);
    valid = false;
    return;
  }
  FUZZ_CHECK(counted && wide[length] == 0);
  valid = true;
  decoded = ToWide(wide.get(), wide.get() + length);
  const std::uint32_t encodedSize = zo::kel::GetUtf8EncodingBytes(wide.get(), wide.get() + length);
  std::unique_ptr<char[]> encoded(zo::kel::WideToUtf8(wide.get(), wide.get() + length));
  FUZZ_CHECK(encoded[encodedSize] == 0);
  bool plainLeads = true;
  for (std::size_t i = 0; i < size; ++i) plainLeads &= data[i] < 0xF8 || data[i] > 0xFB;
  if (plainLeads) {
    FUZZ_CHECK(encodedSize == size && std::memcmp(encoded.get(), data, size) == 0);
  }
  std::unique_ptr<wchar_t[]> back(zo::kel::Utf8ToWide(encoded.get(), encodedSize));
  FUZZ_CHECK(ToWide(back.get(), back.get() + length) == decoded && back[length] == 0);
}

Wide Narrow2Wide(const char* begin, const char* end, const char* codeSet) {
  wchar_t* outBegin = nullptr;
  wchar_t* outEnd = nullptr;
  zo::kel::osdep::AnsiToWide(begin, end, codeSet, outBegin, outEnd);
  std::unique_ptr<wchar_t[]> owned(outBegin);
  FUZZ_CHECK(*outEnd == 0 && outEnd - outBegin <= end - begin);
  return ToWide(outBegin, outEnd);
}

std::vector<char> Wide2Narrow(const Wide& text, const char* codeSet) {
  char* outBegin = nullptr;
  char* outEnd = nullptr;
  zo::kel::osdep::WideToAnsi(text.data(), text.data() + text.size(), codeSet, outBegin, outEnd);
  std::unique_ptr<char[]> owned(outBegin);
  FUZZ_CHECK(*outEnd == 0);
  return std::vector<char>(outBegin, outEnd);
}

void CheckNarrowCodeSets(const std::uint8_t* data, std::size_t size, const Wide& decoded,
                         bool valid) {
  const char* begin = reinterpret_cast<const char*>(data);
  const char* end = begin + size;
  // Latin-1 widens every byte to its value and narrows back to the same bytes.
  const Wide latin1 = Narrow2Wide(begin, end, "ISO-8859-1");
  FUZZ_CHECK(latin1.size() == size);
  for (std::size_t i = 0; i < size; ++i) FUZZ_CHECK(latin1[i] == data[i]);
  FUZZ_CHECK(Wide2Narrow(latin1, "ISO-8859-1") == std::vector<char>(begin, end));
  // ASCII keeps bytes below 128 and makes every other byte one '?'; the C locale's code set
  // is ASCII.
  const Wide ascii = Narrow2Wide(begin, end, "US-ASCII");
  FUZZ_CHECK(ascii.size() == size);
  for (std::size_t i = 0; i < size; ++i) FUZZ_CHECK(ascii[i] == (data[i] < 128 ? data[i] : L'?'));
  FUZZ_CHECK(Narrow2Wide(begin, end, "") == ascii);
  // The converter's UTF-8 agrees with the library's where both follow the standard.
  const Wide utf8 = Narrow2Wide(begin, end, "UTF-8");
  bool standard = valid;
  for (wchar_t c : decoded) standard &= IsScalarValue(static_cast<std::uint32_t>(c));
  if (standard) {
    FUZZ_CHECK(utf8 == decoded);
    const std::vector<char> narrow = Wide2Narrow(decoded, "UTF-8");
    FUZZ_CHECK(narrow == std::vector<char>(begin, end));
  }
}

// The input as 32-bit characters through UTF-16 and back, and as UTF-16 units to characters.
void CheckUtf16(const std::uint8_t* data, std::size_t size) {
  using zo::kel::osdep::SerializeUtf16;
  Wide chars(size / 4);
  if (!chars.empty()) std::memcpy(chars.data(), data, chars.size() * 4);
  const WString text(chars.data(), static_cast<WString::size_type>(chars.size()));
  const std::uint32_t bytes = SerializeUtf16::GetUtf16SerializationSize(text);
  std::vector<unsigned short> units(bytes / 2 + 1);
  unsigned short* written =
      SerializeUtf16::SerializeAsUtf16(text, units.data(), units.data() + units.size());
  FUZZ_CHECK(static_cast<std::size_t>(written - units.data()) <= bytes / 2);
  const WString back = SerializeUtf16::DeserializeFromUtf16(units.data(), written);
  bool allValid = true;
  for (wchar_t c : chars) allValid &= IsScalarValue(static_cast<std::uint32_t>(c));
  if (allValid) {
    FUZZ_CHECK(static_cast<std::size_t>(written - units.data()) == bytes / 2);
    FUZZ_CHECK(ToWide(back.begin(), back.end()) == chars);
  }

  std::vector<unsigned short> in(size / 2);
  if (!in.empty()) std::memcpy(in.data(), data, in.size() * 2);
  const WString read = SerializeUtf16::DeserializeFromUtf16(in.data(), in.data() + in.size());
  Wide expected;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const unsigned u = in[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < in.size() && in[i + 1] >= 0xDC00 &&
        in[i + 1] <= 0xDFFF) {
      expected.push_back(
          static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (in[i + 1] - 0xDC00)));
      ++i;
    } else {
      expected.push_back(u >= 0xD800 && u <= 0xDFFF ? L'?' : static_cast<wchar_t>(u));
    }
  }
  FUZZ_CHECK(ToWide(read.begin(), read.end()) == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Wide decoded;
  bool valid = false;
  CheckUtf8(data, size, decoded, valid);
  CheckNarrowCodeSets(data, size, decoded, valid);
  CheckUtf16(data, size);
  return 0;
}
