// The library's string template in its three instances (ASCII, locale and wide text): contiguous,
// NUL-terminated, case-insensitive in its order, convertible between instances, serializable.
#ifndef ZO_KEL_STRINGBASE_H
#define ZO_KEL_STRINGBASE_H

#include <cstdint>
#include <memory>
#include <type_traits>

#include "kel/export.h"

namespace zo {
namespace kel {

/// "Nothing found" for the searches and "up to the end" for counts: the all-ones unsigned value.
inline constexpr unsigned int npos = 0xFFFFFFFFu;

/// A contiguous run of characters of type C on a heap block of the DLLMalloc family (so that it
/// may be released by any module), always followed by a NUL terminator; embedded NULs are part of
/// the text (the length is never found by scanning). The string owns its block; a living string
/// never has a null block, an empty string holds one slot with the terminator.
///
/// Three instances exist (see the aliases below). WideC only decides which code set the narrow
/// side is in when text crosses between char and wchar_t: "US-ASCII" for AsciiString, the current
/// locale's code set for AString and for a bare `char const*` given to a WString.
///
/// Order and equality (`compare`, `<`, `==`, `!=`, `>`) ignore case (C locale); `exactCompare` does
/// not.
///
/// Errors: a position past the end of the string it indexes throws exception::OutOfRange2
/// ("Out of range: String offset out of range"); a result longer than the largest string (its
/// block, terminator included, must fit in 4 GiB: 0xFFFFFFFE chars or 0x3FFFFFFE wide chars)
/// throws exception::BoundExceeded2 ("A request was made that would exceed the bounds: Resulting
/// string too large"); exhausted memory throws std::bad_alloc. After any failure the string is
/// unchanged.
///
/// Not safe for concurrent use of one object.
template <typename C, typename OtherC, typename WideC>
class ZO_KEL_API StringBase {
  static_assert((std::is_same<C, char>::value && std::is_same<OtherC, wchar_t>::value) ||
                    (std::is_same<C, wchar_t>::value && std::is_same<OtherC, char>::value),
                "a string holds char or wchar_t and converts from the other one");

  template <typename P>
  static constexpr bool kIsTextPointer =
      std::is_same<P, C*>::value || std::is_same<P, const C*>::value ||
      std::is_same<P, OtherC*>::value || std::is_same<P, const OtherC*>::value;

 public:
  /// Container types: characters, 32-bit counts, pointers as iterators.
  ///@{
  using value_type = C;
  using size_type = unsigned int;
  using iterator = C*;
  using const_iterator = const C*;
  ///@}

  /// The all-ones unsigned value, as zo::kel::npos.
  static constexpr size_type npos = 0xFFFFFFFFu;

  // Construction. Every constructor allocates exactly length + 1 characters (no spare room).

  /// The empty string.
  StringBase();
  /// A copy of the NUL-terminated text s; a null s gives the empty string.
  StringBase(const C* s);
  /// A copy of count characters at s, embedded NULs included; a null s gives the empty string.
  StringBase(const C* s, size_type count);
  /// count copies of ch.
  StringBase(size_type count, C ch);
  /// The count characters of s at pos (fewer when s ends first). OutOfRange2 when pos > s.size().
  StringBase(const StringBase& s, size_type pos, size_type count = npos);
  /// The concatenation of a and b.
  StringBase(const StringBase& a, const StringBase& b);
  /// A copy of s, of exactly its length.
  StringBase(const StringBase& s);
  /// The NUL-terminated text s of the other character type, converted (code set as in the class
  /// note); a null s gives the empty string. Throws InvalidLocale when no converter can be opened;
  /// a character the target lacks becomes '?'.
  StringBase(const OtherC* s);
  /// count characters of the other type at s, converted, embedded NULs included.
  StringBase(const OtherC* s, size_type count);
  /// The characters of [first, last), of either character type (the other type is converted).
  template <typename P, typename = std::enable_if_t<kIsTextPointer<P>>>
  StringBase(P first, P last) {
    InitRange(static_cast<std::add_const_t<std::remove_pointer_t<P>>*>(first),
              static_cast<std::add_const_t<std::remove_pointer_t<P>>*>(last));
  }
  /// Text of another instance: copied when it has the same character type, otherwise converted
  /// with the narrow side's code set (AsciiString: "US-ASCII"; AString: the locale's).
  template <typename C2, typename O2, typename W2,
            typename = std::enable_if_t<!std::is_same<StringBase<C2, O2, W2>, StringBase>::value>>
  StringBase(const StringBase<C2, O2, W2>& other) {
    if constexpr (std::is_same<C2, C>::value) {
      InitCopy(other.begin(), other.size());
    } else {
      InitConverted(
          other.begin(), other.end(),
          std::is_same<C, char>::value ? NarrowCodeSet() : StringBase<C2, O2, W2>::NarrowCodeSet());
    }
  }
  ~StringBase();

  // Assignment.

  /// Copies s. Nothing happens when s's text starts at this string's own block (self-assignment).
  /// The block is resized exactly: reallocated to s.size() + 1 only when it is too small or more
  /// than twice too large. Unchanged after a failure.
  StringBase& operator=(const StringBase& s);
  /// As above for a NUL-terminated text; a null s empties the string.
  StringBase& operator=(const C* s);
  /// Converts s into a new block of exactly its converted length + 1 and frees the old block.
  StringBase& operator=(const OtherC* s);
  /// count characters at s, built in a new string that is then swapped in.
  StringBase& assign(const C* s, size_type count);

  // Appending. When the text does not fit, the block grows to twice the needed length (or, when
  // that much memory is refused, to exactly the needed length).

  /// Appends s.
  StringBase& append(const StringBase& s);
  /// The count characters of s at pos (fewer when s ends first). OutOfRange2 when pos > s.size().
  StringBase& append(const StringBase& s, size_type pos, size_type count);
  /// Appends a NUL-terminated text (nothing for a null s), count characters at s, or count
  /// copies of ch; += appends one character, a NUL-terminated text or a string.
  ///@{
  StringBase& append(const C* s);
  StringBase& append(const C* s, size_type count);
  StringBase& append(size_type count, C ch);
  StringBase& operator+=(C ch);
  StringBase& operator+=(const C* s);
  StringBase& operator+=(const StringBase& s);
  ///@}

  /// The concatenation, as a new string.
  ///@{
  friend StringBase operator+(const StringBase& a, const StringBase& b) { return StringBase(a, b); }
  friend StringBase operator+(const StringBase& a, const C* b) {
    StringBase result(a);
    result.append(b);
    return result;
  }
  friend StringBase operator+(const C* a, const StringBase& b) {
    StringBase result(a);
    result.append(b);
    return result;
  }
  friend StringBase operator+(const StringBase& a, C b) {
    StringBase result(a);
    result.append(1, b);
    return result;
  }
  ///@}

  // Access. operator[] does not check its index; the character at size() is the terminator.

  /// The text (NUL-terminated, embedded NULs possible), its first and one-past-last character,
  /// one character (index unchecked; the one at size() is the terminator), the character count
  /// (length() and size() alike), and whether it is empty.
  ///@{
  const C* c_str() const noexcept { return begin_; }
  C* begin() noexcept { return begin_; }
  const C* begin() const noexcept { return begin_; }
  C* end() noexcept { return finish_; }
  const C* end() const noexcept { return finish_; }
  C& operator[](size_type i) noexcept { return begin_[i]; }
  const C& operator[](size_type i) const noexcept { return begin_[i]; }
  size_type length() const noexcept { return static_cast<size_type>(finish_ - begin_); }
  size_type size() const noexcept { return static_cast<size_type>(finish_ - begin_); }
  bool empty() const noexcept { return finish_ == begin_; }
  ///@}
  /// True when a NUL lies inside the text (before the terminator).
  bool hasEmbeddedNull() const noexcept;

  // Comparison over the whole text, embedded NULs included. Results are negative, zero or
  // positive.

  /// Case-insensitive order (C locale).
  int compare(const StringBase& s) const;
  /// Case-insensitive order of the count characters at pos (fewer when the string ends first)
  /// against count2 characters at s. OutOfRange2 when pos > size().
  int compare(size_type pos, size_type count, const C* s, size_type count2) const;
  /// Exact, case-sensitive order.
  int exactCompare(const StringBase& s) const;
  /// The case-insensitive order of compare().
  ///@{
  bool operator<(const StringBase& s) const { return compare(s) < 0; }
  bool operator==(const StringBase& s) const { return compare(s) == 0; }
  bool operator!=(const StringBase& s) const { return compare(s) != 0; }
  bool operator>(const StringBase& s) const { return compare(s) > 0; }
  ///@}

  // Searching, with the standard meanings; npos when nothing is found. Matching is exact.

  /// Searches with the standard meanings, matching exactly; npos when nothing is found.
  ///@{
  size_type find(C ch, size_type pos = 0) const noexcept;
  size_type find(const StringBase& s, size_type pos = 0) const noexcept;
  size_type rfind(C ch, size_type pos = npos) const noexcept;
  size_type rfind(const StringBase& s, size_type pos = npos) const noexcept;
  size_type find_first_of(const StringBase& set, size_type pos = 0) const noexcept;
  size_type find_first_of(C ch, size_type pos = 0) const noexcept;
  size_type find_first_not_of(const StringBase& set, size_type pos = 0) const noexcept;
  size_type find_first_not_of(C ch, size_type pos = 0) const noexcept;
  size_type find_last_of(const StringBase& set, size_type pos = npos) const noexcept;
  size_type find_last_of(C ch, size_type pos = npos) const noexcept;
  size_type find_last_not_of(const StringBase& set, size_type pos = npos) const noexcept;
  size_type find_last_not_of(C ch, size_type pos = npos) const noexcept;
  ///@}

  // Editing.

  /// The count characters at pos, or everything from pos on when count is npos or reaches past the
  /// end. Deliberately no range error: a pos past the end gives the empty string.
  StringBase substr(size_type pos = 0, size_type count = npos) const;
  /// Copies up to count characters from pos to dest (no terminator added) and returns how many.
  /// OutOfRange2 when pos > size().
  size_type copy(C* dest, size_type count, size_type pos = 0) const;
  /// Removes up to count characters from pos. OutOfRange2 when pos > size(). The block is kept.
  StringBase& erase(size_type pos = 0, size_type count = npos);
  /// Removes [first, last) (pointers into this string) and returns first.
  C* erase(C* first, C* last) noexcept;
  /// Replaces up to count characters at pos with s. OutOfRange2 when pos > size().
  StringBase& replace(size_type pos, size_type count, const StringBase& s);
  /// Replaces up to count1 characters at pos1 with up to count2 characters of s at pos2.
  /// OutOfRange2 when pos1 > size() or pos2 > s.size(); BoundExceeded2 when the result would be
  /// longer than the largest string.
  StringBase& replace(size_type pos1, size_type count1, const StringBase& s, size_type pos2,
                      size_type count2);
  /// Shortens to count characters, or appends copies of ch up to count characters.
  void resize(size_type count, C ch = C());
  /// Exchanges the blocks of the two strings; never throws.
  void swap(StringBase& s) noexcept;
  /// Frees the block and leaves the string without one. Only for a string about to be destroyed,
  /// assigned or deserialized into; anything else on it is undefined until then.
  void freeString() noexcept;
  /// Kept for callers that check invariants in debug code; does nothing.
  void checkInvariants() const noexcept {}

  // Byte image, little-endian.
  //  char:    4-byte count = size() + 1, the characters, one 0 byte.
  //  wchar_t: 4-byte count = number of UTF-8 bytes, the UTF-8 bytes, no terminator.
  // The two widths deliberately differ; a reader must know which one it expects.

  /// Number of bytes serialize writes.
  std::uint32_t serializationSize() const;
  /// Writes the byte image at cursor and advances it. BufferOverflow (nothing written, cursor
  /// unchanged) when it does not fit before limit.
  void serialize(unsigned char*& cursor, const unsigned char* limit) const;
  /// Reads a byte image at cursor into this string and advances cursor past it.
  /// DeserializationError when the input ends early, when a narrow image has a count of 0 or does
  /// not end with a 0 byte; InvalidSequence for bad UTF-8 in a wide image. The count is checked
  /// against the input before anything is allocated. After a failure the string and the cursor
  /// are unchanged.
  void deserialize(const unsigned char*& cursor, const unsigned char* limit);

 private:
  template <typename, typename, typename>
  friend class StringBase;

  // The largest length whose block, terminator included, fits the allocator's 32-bit byte count.
  static constexpr size_type kMaxLength = 0xFFFFFFFFu / sizeof(C) - 1u;

  // The code set of the narrow side when this instance converts from or to char text.
  static const char* NarrowCodeSet() noexcept {
    return std::is_same<WideC, char>::value ? "US-ASCII" : "";
  }

  size_type capacity() const noexcept { return static_cast<size_type>(endOfStorage_ - begin_); }
  bool Owns(const C* p) const noexcept;

  void InitCopy(const C* s, size_type count);
  void InitConverted(const OtherC* first, const OtherC* last, const char* codeSet);
  void InitRange(const C* first, const C* last) {
    InitCopy(first, first == nullptr ? 0u : static_cast<size_type>(last - first));
  }
  void InitRange(const OtherC* first, const OtherC* last) {
    InitConverted(first, last, NarrowCodeSet());
  }
  void AssignExact(const C* s, size_type count);
  void Grow(size_type length);
  void Concatenate(const C* s, size_type count);
  void Splice(size_type pos, size_type count, const C* s, size_type count2);

  C* begin_;
  C* finish_;
  C* endOfStorage_;
};

/// Narrow text in US-ASCII.
using AsciiString = StringBase<char, wchar_t, char>;
/// Narrow text in the current locale's code set.
using AString = StringBase<char, wchar_t, wchar_t>;
/// Wide text, one 32-bit unit per character.
using WString = StringBase<wchar_t, char, wchar_t>;

extern template class ZO_KEL_API StringBase<char, wchar_t, char>;
extern template class ZO_KEL_API StringBase<char, wchar_t, wchar_t>;
extern template class ZO_KEL_API StringBase<wchar_t, char, wchar_t>;

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_STRINGBASE_H
