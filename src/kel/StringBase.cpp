// Members of the three string instances: storage, growth, editing, search, order, conversion and
// the byte images.
#include "kel/StringBase.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "kel/DLLMalloc.h"
#include "kel/Utf8.h"
#include "kel/exception.h"
#include "kel/little_endian.h"
#include "kel/osdep/AnsiToWide.h"
#include "kel/osdep/StringCaseCompare.h"
#include "kel/osdep/WideToAnsi.h"

namespace zo {
namespace kel {
namespace {

constexpr const char* kOffsetOutOfRange = "String offset out of range";
constexpr const char* kResultTooLarge = "Resulting string too large";

// The allocator counts bytes in 32 bits.
constexpr unsigned long long kMaxBlockBytes = 0xFFFFFFFFull;

template <typename C>
unsigned BlockBytes(unsigned long long chars) {
  return static_cast<unsigned>(chars * sizeof(C));
}

template <typename C>
unsigned TextLength(const C* s) {
  return static_cast<unsigned>(std::char_traits<C>::length(s));
}

template <typename C>
void MoveChars(C* to, const C* from, unsigned count) {
  if (count != 0) std::memmove(to, from, count * sizeof(C));
}

// The first position at or after pos whose character satisfies match, or npos.
template <typename C, typename Match>
unsigned ScanForward(const C* text, unsigned length, unsigned pos, Match match) {
  for (unsigned i = pos; i < length; ++i) {
    if (match(text[i])) return i;
  }
  return npos;
}

// The last position at or before pos (clamped to the text) whose character satisfies match.
template <typename C, typename Match>
unsigned ScanBackward(const C* text, unsigned length, unsigned pos, Match match) {
  if (length == 0) return npos;
  for (unsigned i = std::min(pos, length - 1u) + 1u; i-- > 0;) {
    if (match(text[i])) return i;
  }
  return npos;
}

// Narrow and wide text cross through the platform converter; the result is a new[] array.
void Convert(const wchar_t* first, const wchar_t* last, const char* codeSet, char*& outBegin,
             char*& outEnd) {
  osdep::WideToAnsi(first, last, codeSet, outBegin, outEnd);
}
void Convert(const char* first, const char* last, const char* codeSet, wchar_t*& outBegin,
             wchar_t*& outEnd) {
  osdep::AnsiToWide(first, last, codeSet, outBegin, outEnd);
}

// The room an image needs, as a byte count that cannot wrap on a 32-bit host: a size beyond the
// address space becomes the largest one, which no room can hold.
std::size_t ImageBytes(unsigned long long bytes) {
  return static_cast<std::size_t>(std::min<unsigned long long>(bytes, SIZE_MAX));
}

[[noreturn]] void ThrowOutOfRange() {
  throw exception::OutOfRange2(ZO_KEL_HERE, kOffsetOutOfRange);
}
[[noreturn]] void ThrowTooLarge() { throw exception::BoundExceeded2(ZO_KEL_HERE, kResultTooLarge); }

}  // namespace

// ---- storage ----

template <typename C, typename O, typename W>
bool StringBase<C, O, W>::Owns(const C* p) const noexcept {
  // std::less gives a total order even for pointers into unrelated blocks.
  const std::less<const C*> before;
  return begin_ != nullptr && !before(p, begin_) && !before(endOfStorage_, p);
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::InitCopy(const C* s, size_type count) {
  if (s == nullptr) count = 0;
  if (count > kMaxLength) ThrowTooLarge();
  C* block = static_cast<C*>(DLLMalloc(BlockBytes<C>(count + 1ull)));
  MoveChars(block, s, count);
  block[count] = C();
  begin_ = block;
  finish_ = block + count;
  endOfStorage_ = block + count;
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::InitConverted(const O* first, const O* last, const char* codeSet) {
  if (first == nullptr || first == last) {
    InitCopy(nullptr, 0);
    return;
  }
  C* convertedBegin = nullptr;
  C* convertedEnd = nullptr;
  Convert(first, last, codeSet, convertedBegin, convertedEnd);
  const std::unique_ptr<C[]> converted(convertedBegin);
  InitCopy(convertedBegin, static_cast<size_type>(convertedEnd - convertedBegin));
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::AssignExact(const C* s, size_type count) {
  if (begin_ == nullptr) {  // re-initialising after freeString
    InitCopy(s, count);
    return;
  }
  const size_type cap = capacity();
  const bool reallocates = count > cap || 2ull * count < cap;
  if (reallocates && Owns(s)) {
    // Text from this string's own block would not survive the reallocation: copy it first.
    StringBase copy(s, count);
    swap(copy);
    return;
  }
  ReallocBuffer(begin_, endOfStorage_, count);
  MoveChars(begin_, s, count);
  begin_[count] = C();
  finish_ = begin_ + count;
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::Grow(size_type length) {
  const size_type oldLength = size();
  C* block = nullptr;
  size_type cap = length;
  const unsigned long long doubled = 2ull * length + 1u;
  if (doubled * sizeof(C) <= kMaxBlockBytes) {
    block = static_cast<C*>(DLLReallocNoThrow(begin_, BlockBytes<C>(doubled)));
    if (block != nullptr) cap = 2u * length;
  }
  if (block == nullptr) block = static_cast<C*>(DLLRealloc(begin_, BlockBytes<C>(length + 1ull)));
  begin_ = block;
  finish_ = block + oldLength;
  endOfStorage_ = block + cap;
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::Concatenate(const C* s, size_type count) {
  if (count == 0) return;
  const size_type oldLength = size();
  if (count > kMaxLength - oldLength) ThrowTooLarge();
  if (count > capacity() - oldLength) {
    // The old block is gone after growing, so a source inside it follows it to the new block.
    // (The source is re-pointed wherever it starts inside the string, not only at its beginning:
    // anything else would read released memory.)
    const bool own = Owns(s);
    const std::ptrdiff_t offset = own ? s - begin_ : 0;
    Grow(oldLength + count);
    if (own) s = begin_ + offset;
  }
  MoveChars(finish_, s, count);
  finish_ += count;
  *finish_ = C();
}

// Replaces count characters at pos (both already in range) with count2 characters at s.
template <typename C, typename O, typename W>
void StringBase<C, O, W>::Splice(size_type pos, size_type count, const C* s, size_type count2) {
  const size_type oldLength = size();
  const size_type kept = oldLength - count;
  if (count2 > kMaxLength - kept) ThrowTooLarge();
  const size_type newLength = kept + count2;
  if (Owns(s)) {
    // The replacement comes from this string: take a copy before anything moves.
    const StringBase copy(s, count2);
    Splice(pos, count, copy.begin_, count2);
    return;
  }
  if (newLength > capacity()) Grow(newLength);
  MoveChars(begin_ + pos + count2, begin_ + pos + count, oldLength - pos - count + 1u);
  MoveChars(begin_ + pos, s, count2);
  finish_ = begin_ + newLength;
}

// ---- construction and assignment ----

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase() {
  InitCopy(nullptr, 0);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const C* s) {
  InitCopy(s, s == nullptr ? 0u : TextLength(s));
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const C* s, size_type count) {
  InitCopy(s, count);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(size_type count, C ch) {
  if (count > kMaxLength) ThrowTooLarge();
  C* block = static_cast<C*>(DLLMalloc(BlockBytes<C>(count + 1ull)));
  std::char_traits<C>::assign(block, count, ch);
  block[count] = C();
  begin_ = block;
  finish_ = endOfStorage_ = block + count;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const StringBase& s, size_type pos, size_type count) {
  const size_type length = s.size();
  if (pos > length) ThrowOutOfRange();
  InitCopy(s.begin_ + pos, std::min(count, length - pos));
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const StringBase& a, const StringBase& b) {
  const size_type aLength = a.size();
  const size_type bLength = b.size();
  if (bLength > kMaxLength - aLength) ThrowTooLarge();
  const size_type length = aLength + bLength;
  C* block = static_cast<C*>(DLLMalloc(BlockBytes<C>(length + 1ull)));
  MoveChars(block, a.begin_, aLength);
  MoveChars(block + aLength, b.begin_, bLength);
  block[length] = C();
  begin_ = block;
  finish_ = endOfStorage_ = block + length;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const StringBase& s) {
  InitCopy(s.begin_, s.size());
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const O* s) {
  InitConverted(s, s == nullptr ? s : s + std::char_traits<O>::length(s), NarrowCodeSet());
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::StringBase(const O* s, size_type count) {
  InitConverted(s, s == nullptr ? s : s + count, NarrowCodeSet());
}

template <typename C, typename O, typename W>
StringBase<C, O, W>::~StringBase() {
  DLLFree(begin_);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator=(const StringBase& s) {
  if (s.begin_ != begin_) AssignExact(s.begin_, s.size());
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator=(const C* s) {
  if (s == nullptr) {
    AssignExact(s, 0);
  } else if (s != begin_) {
    AssignExact(s, TextLength(s));
  }
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator=(const O* s) {
  StringBase converted(s);
  swap(converted);
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::assign(const C* s, size_type count) {
  StringBase copy(s, count);
  swap(copy);
  return *this;
}

// ---- appending ----

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::append(const StringBase& s) {
  Concatenate(s.begin_, s.size());
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::append(const StringBase& s, size_type pos,
                                                 size_type count) {
  const size_type length = s.size();
  if (pos > length) ThrowOutOfRange();
  Concatenate(s.begin_ + pos, std::min(count, length - pos));
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::append(const C* s) {
  if (s != nullptr) Concatenate(s, TextLength(s));
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::append(const C* s, size_type count) {
  if (s != nullptr) Concatenate(s, count);
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::append(size_type count, C ch) {
  if (count == 0) return *this;
  const size_type oldLength = size();
  if (count > kMaxLength - oldLength) ThrowTooLarge();
  if (count > capacity() - oldLength) Grow(oldLength + count);
  std::char_traits<C>::assign(finish_, count, ch);
  finish_ += count;
  *finish_ = C();
  return *this;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator+=(C ch) {
  return append(1u, ch);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator+=(const C* s) {
  return append(s);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::operator+=(const StringBase& s) {
  return append(s);
}

// ---- access and order ----

template <typename C, typename O, typename W>
bool StringBase<C, O, W>::hasEmbeddedNull() const noexcept {
  return std::char_traits<C>::find(begin_, size(), C()) != nullptr;
}

template <typename C, typename O, typename W>
int StringBase<C, O, W>::compare(const StringBase& s) const {
  return osdep::StringCaseCompare(begin_, finish_, s.begin_, s.finish_);
}

template <typename C, typename O, typename W>
int StringBase<C, O, W>::compare(size_type pos, size_type count, const C* s,
                                 size_type count2) const {
  const size_type length = size();
  if (pos > length) ThrowOutOfRange();
  const C* first = begin_ + pos;
  const C* other = s == nullptr ? first : s;
  if (s == nullptr) count2 = 0;
  return osdep::StringCaseCompare(first, first + std::min(count, length - pos), other,
                                  other + count2);
}

template <typename C, typename O, typename W>
int StringBase<C, O, W>::exactCompare(const StringBase& s) const {
  return osdep::StringExactCompare(begin_, finish_, s.begin_, s.finish_);
}

// ---- searching ----

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find(C ch,
                                                                  size_type pos) const noexcept {
  const size_type length = size();
  if (pos >= length) return npos;
  const C* hit = std::char_traits<C>::find(begin_ + pos, length - pos, ch);
  return hit == nullptr ? npos : static_cast<size_type>(hit - begin_);
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find(const StringBase& s,
                                                                  size_type pos) const noexcept {
  const size_type length = size();
  const size_type n = s.size();
  if (pos > length || n > length - pos) return npos;
  for (size_type i = pos; i <= length - n; ++i) {
    if (std::char_traits<C>::compare(begin_ + i, s.begin_, n) == 0) return i;
  }
  return npos;
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::rfind(C ch,
                                                                   size_type pos) const noexcept {
  return ScanBackward(begin_, size(), pos, [ch](C c) { return c == ch; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::rfind(const StringBase& s,
                                                                   size_type pos) const noexcept {
  const size_type length = size();
  const size_type n = s.size();
  if (n > length) return npos;
  for (size_type i = std::min(pos, length - n) + 1u; i-- > 0;) {
    if (std::char_traits<C>::compare(begin_ + i, s.begin_, n) == 0) return i;
  }
  return npos;
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_first_of(
    const StringBase& set, size_type pos) const noexcept {
  return ScanForward(begin_, size(), pos, [&set](C c) { return set.find(c) != npos; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_first_of(
    C ch, size_type pos) const noexcept {
  return find(ch, pos);
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_first_not_of(
    const StringBase& set, size_type pos) const noexcept {
  return ScanForward(begin_, size(), pos, [&set](C c) { return set.find(c) == npos; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_first_not_of(
    C ch, size_type pos) const noexcept {
  return ScanForward(begin_, size(), pos, [ch](C c) { return c != ch; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_last_of(
    const StringBase& set, size_type pos) const noexcept {
  return ScanBackward(begin_, size(), pos, [&set](C c) { return set.find(c) != npos; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_last_of(
    C ch, size_type pos) const noexcept {
  return rfind(ch, pos);
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_last_not_of(
    const StringBase& set, size_type pos) const noexcept {
  return ScanBackward(begin_, size(), pos, [&set](C c) { return set.find(c) == npos; });
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::find_last_not_of(
    C ch, size_type pos) const noexcept {
  return ScanBackward(begin_, size(), pos, [ch](C c) { return c != ch; });
}

// ---- editing ----

template <typename C, typename O, typename W>
StringBase<C, O, W> StringBase<C, O, W>::substr(size_type pos, size_type count) const {
  const size_type length = size();
  // Deliberately no range error here; a start past the end selects nothing.
  if (pos > length) return StringBase();
  if (count != npos && count <= length - pos) return StringBase(begin_ + pos, count);
  return StringBase(begin_ + pos, length - pos);
}

template <typename C, typename O, typename W>
typename StringBase<C, O, W>::size_type StringBase<C, O, W>::copy(C* dest, size_type count,
                                                                  size_type pos) const {
  const size_type length = size();
  if (pos > length) ThrowOutOfRange();
  const size_type n = std::min(count, length - pos);
  MoveChars(dest, begin_ + pos, n);
  return n;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::erase(size_type pos, size_type count) {
  const size_type length = size();
  if (pos > length) ThrowOutOfRange();
  const size_type n = std::min(count, length - pos);
  MoveChars(begin_ + pos, begin_ + pos + n, length - pos - n + 1u);  // terminator included
  finish_ -= n;
  return *this;
}

template <typename C, typename O, typename W>
C* StringBase<C, O, W>::erase(C* first, C* last) noexcept {
  MoveChars(first, last, static_cast<size_type>(finish_ - last) + 1u);  // terminator included
  finish_ -= last - first;
  return first;
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::replace(size_type pos, size_type count,
                                                  const StringBase& s) {
  return replace(pos, count, s, 0, npos);
}

template <typename C, typename O, typename W>
StringBase<C, O, W>& StringBase<C, O, W>::replace(size_type pos1, size_type count1,
                                                  const StringBase& s, size_type pos2,
                                                  size_type count2) {
  const size_type length = size();
  const size_type otherLength = s.size();
  if (pos1 > length || pos2 > otherLength) ThrowOutOfRange();
  Splice(pos1, std::min(count1, length - pos1), s.begin_ + pos2,
         std::min(count2, otherLength - pos2));
  return *this;
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::resize(size_type count, C ch) {
  const size_type length = size();
  if (count < length) {
    erase(count, npos);
  } else if (count > length) {
    append(count - length, ch);
  }
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::swap(StringBase& s) noexcept {
  std::swap(begin_, s.begin_);
  std::swap(finish_, s.finish_);
  std::swap(endOfStorage_, s.endOfStorage_);
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::freeString() noexcept {
  DLLFree(begin_);
  begin_ = finish_ = endOfStorage_ = nullptr;
}

// ---- byte images ----

template <typename C, typename O, typename W>
std::uint32_t StringBase<C, O, W>::serializationSize() const {
  if constexpr (std::is_same<C, wchar_t>::value) {
    return GetUtf8EncodingBytes(begin_, finish_) + 4u;
  } else {
    return size() + 5u;
  }
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::serialize(unsigned char*& cursor, const unsigned char* limit) const {
  using little_endian::CheckSerializationSize;
  using little_endian::SerializeRaw;
  if constexpr (std::is_same<C, wchar_t>::value) {
    const std::uint32_t count = GetUtf8EncodingBytes(begin_, finish_);
    CheckSerializationSize(ImageBytes(count + 4ull), cursor, limit);
    const std::unique_ptr<char[]> utf8(WideToUtf8(begin_, finish_));
    SerializeRaw<std::uint32_t>(count, cursor, limit);
    std::memcpy(cursor, utf8.get(), count);
    cursor += count;
  } else {
    const size_type length = size();
    CheckSerializationSize(ImageBytes(length + 5ull), cursor, limit);
    SerializeRaw<std::uint32_t>(length + 1u, cursor, limit);
    std::memcpy(cursor, begin_, length);
    cursor[length] = 0;
    cursor += length + 1u;
  }
}

template <typename C, typename O, typename W>
void StringBase<C, O, W>::deserialize(const unsigned char*& cursor, const unsigned char* limit) {
  using little_endian::CheckDeserializationSize;
  using little_endian::DeserializeRaw;
  const unsigned char* pos = cursor;
  std::uint32_t count = 0;
  DeserializeRaw<std::uint32_t>(count, pos, limit);
  // The count is checked against the input before anything is allocated for it.
  const unsigned char* next = CheckDeserializationSize(count, pos, limit);
  const char* bytes = reinterpret_cast<const char*>(pos);
  if constexpr (std::is_same<C, wchar_t>::value) {
    if (count == 0) {
      AssignExact(nullptr, 0);
    } else {
      const size_type length = GetUtf8StringLength(bytes, count);
      const std::unique_ptr<wchar_t[]> decoded(Utf8ToWide(bytes, count));
      AssignExact(decoded.get(), length);
    }
  } else {
    // The count includes the terminator, so 0 and a last byte other than 0 are malformed.
    if (count == 0 || bytes[count - 1u] != 0) {
      throw exception::DeserializationError(ZO_KEL_HERE);
    }
    AssignExact(bytes, count - 1u);
  }
  cursor = next;
}

template class StringBase<char, wchar_t, char>;
template class StringBase<char, wchar_t, wchar_t>;
template class StringBase<wchar_t, char, wchar_t>;

}  // namespace kel
}  // namespace zo
