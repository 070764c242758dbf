// UTF-16LE through the platform converter, and the converter-free UCS-2 form.
#include "kel/osdep/SerializeUtf16.h"

#include <algorithm>
#include <cstddef>

#include "kel/little_endian.h"
#include "kel/osdep/IConv.h"

namespace zo {
namespace kel {
namespace osdep {
namespace {

constexpr const char* kWideCodeSet = "wchar_t";
constexpr const char* kUtf16CodeSet = "UTF-16LE";

// Characters converted per call when only the size is wanted. Four units of scratch per
// character hold any character's form, and 1024 characters keep the scratch at 8 KiB of stack.
constexpr std::size_t kSizeChunk = 1024;

// The length of a wide string built from count units; an impossible length is left for the
// string to refuse (BoundExceeded2).
unsigned StringLengthFor(std::size_t count) {
  return static_cast<unsigned>(std::min<std::size_t>(count, npos));
}

}  // namespace

std::uint32_t SerializeUtf16::GetUtf16SerializationSize(const WString& text) {
  unsigned short scratch[kSizeChunk * 4];
  std::uint32_t units = 0;
  for (const wchar_t* p = text.begin(); p != text.end();) {
    const wchar_t* chunkEnd = p + std::min<std::size_t>(kSizeChunk, text.end() - p);
    unsigned short* written = scratch + kSizeChunk * 4;
    IConv(p, chunkEnd, kWideCodeSet, scratch, written, kUtf16CodeSet);
    units += static_cast<std::uint32_t>(written - scratch);
    p = chunkEnd;
  }
  return units * 2u;
}

unsigned short* SerializeUtf16::SerializeAsUtf16(const WString& text, unsigned short* begin,
                                                 unsigned short* end) {
  if (text.empty() || begin == nullptr || end <= begin) return begin;
  unsigned short* written = end;
  IConv(text.begin(), text.end(), kWideCodeSet, begin, written, kUtf16CodeSet);
  return written;
}

WString SerializeUtf16::DeserializeFromUtf16(const unsigned short* begin,
                                             const unsigned short* end) {
  if (begin == nullptr || end <= begin) return WString();
  // Never more characters than units; the tail the conversion leaves unfilled is cut off.
  WString text(StringLengthFor(static_cast<std::size_t>(end - begin)), L'\0');
  wchar_t* written = text.end();
  IConv(begin, end, kUtf16CodeSet, text.begin(), written, kWideCodeSet);
  text.erase(written, text.end());
  return text;
}

std::uint32_t SerializeUcs2::GetUtf16SerializationSize(const WString& text) {
  return text.size() * 2u;
}

unsigned short* SerializeUcs2::SerializeAsUtf16(const WString& text, unsigned short* begin,
                                                unsigned short* end) {
  if (begin == nullptr || end <= begin) return begin;
  const std::size_t count = std::min<std::size_t>(text.size(), end - begin);
  for (std::size_t i = 0; i < count; ++i) {
    // Deliberately only the low 16 bits: characters above U+FFFF are not representable here.
    const auto unit = static_cast<std::uint16_t>(static_cast<std::uint32_t>(text[i]));
    begin[i] = little_endian::ToLittleEndian(unit);
  }
  return begin + count;
}

WString SerializeUcs2::DeserializeFromUtf16(const unsigned short* begin,
                                            const unsigned short* end) {
  if (begin == nullptr || end <= begin) return WString();
  const std::size_t count = static_cast<std::size_t>(end - begin);
  WString text(StringLengthFor(count), L'\0');
  for (std::size_t i = 0; i < count; ++i) {
    text[static_cast<unsigned>(i)] =
        static_cast<wchar_t>(little_endian::FromLittleEndian(static_cast<std::uint16_t>(begin[i])));
  }
  return text;
}

}  // namespace osdep
}  // namespace kel
}  // namespace zo
