// The text guts: narrow (AnsiGuts, with its text operations) and wide (UnicodeGuts).
//
// A text guts object and its characters live in one allocation (the characters right after the
// object), so that making, copying and dropping string values costs one allocation each.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "kel/SmallBlockAllocator_impl.h"
#include "kel/exception.h"
#include "kel/osdep/StringCaseCompare.h"
#include "qmstatic/text/LogicalText.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/StringGuts_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::detail::AnsiGuts;
using zo::kel::detail::DestroyText;
using zo::kel::detail::GrantInterface;
using zo::kel::detail::GutsObject;
using zo::kel::detail::IsOneOf;
using zo::kel::detail::RefuseInterface;
using zo::kel::osdep::StringCaseCompare;
using zo::kel::osdep::StringExactCompare;

// The number a text stands for: a logical word (1 or 0), a number, or a time's day count; no
// recogniser accepting gives 0. `recognised` tells whether any did.
template <class Char>
double NumberOfText(const Char* text, bool& recognised) {
  recognised = true;
  bool logical = false;
  if (IsLogicalText(text, logical)) return logical ? 1.0 : 0.0;
  double number = 0.0;
  if (IsNumericText(text, number)) return number;
  if (IsTimeText(text, number)) return number;
  recognised = false;
  return 0.0;
}

template <class Char>
bool TruthOfText(const Char* text) {
  bool logical = false;
  if (IsLogicalText(text, logical)) return logical;
  bool recognised = false;
  const double number = NumberOfText(text, recognised);
  // A NaN counts as true.
  return recognised && !(number == 0.0);
}

// Compares this text with another text guts of the same width, reached through its interface
// (it may come from another module).
template <class Char, class Itf, class Order>
std::int32_t CompareTexts(const Char* text, std::uint32_t length, const Itf* other, Order order) {
  const Char* theirs = other->GetData();
  return order(text, text + length, theirs, theirs + other->GetLength());
}

template <class Char, class Itf>
std::int32_t CaseCompare(const Char* text, std::uint32_t length, const Itf* other) {
  return CompareTexts(text, length, other,
                      [](const Char* a, const Char* ae, const Char* b, const Char* be) {
                        return StringCaseCompare(a, ae, b, be);
                      });
}

}  // namespace

namespace zo {
namespace kel {
namespace detail {

// Bytes of a text guts object of type T followed by `length` + 1 characters; the characters are
// what the object's text() points to. Short texts fit a small block with their object.
template <class T>
std::size_t TextBytes(std::uint32_t length) noexcept {
  return sizeof(T) + (std::size_t{length} + 1) * sizeof(typename T::Char);
}

template <class T>
void DestroyText(T* text) noexcept {
  const std::size_t bytes = TextBytes<T>(text->length_);
  text->~T();
  SmallBlockFree(text, bytes);
}

// Raw storage for an object of type T and its characters. Throws std::bad_alloc.
template <class T>
void* TextStorage(std::uint32_t length) {
  // Sizes stay within 32 bits on every target.
  if (length > (0xFFFFFFFFu - sizeof(T)) / sizeof(typename T::Char) - 1) throw std::bad_alloc();
  return SmallBlockAllocate(TextBytes<T>(length));
}

// Makes an object of type T (constructed from the length) holding the characters.
template <class T, class Char>
T* MakeText(const Char* text, std::uint32_t length) {
  void* raw = TextStorage<T>(length);
  T* made = ::new (raw) T(length);
  Char* chars = made->text();
  CopyTextBytes(chars, text, length * static_cast<std::uint32_t>(sizeof(Char)));
  chars[length] = Char();
  return made;
}

AnsiGuts* AnsiGuts::Make(const char* text, std::uint32_t length) {
  return MakeText<AnsiGuts>(text, length);
}

std::int32_t AnsiGuts::Release() {
  const std::int32_t n = DropReference();
  if (n == 0) DestroyText(this);
  return n;
}

void AnsiGuts::operator delete(void*) noexcept { std::abort(); }

std::int32_t AnsiGuts::QueryInterface(const GUID& iid, void** out) {
  if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataAnsi})) {
    return GrantInterface(static_cast<IVarDataAnsi*>(this), out);
  }
  if (IsEqualGUID(iid, IID_IAnsiGuts)) return GrantInterface(static_cast<IAnsiGuts*>(this), out);
  return RefuseInterface(out);
}

AnsiGuts::operator bool() const { return TruthOfText(text()); }

AnsiGuts::operator double() const {
  bool recognised = false;
  return NumberOfText(text(), recognised);
}

// Case-insensitive, like every text order of the library.
std::int32_t AnsiGuts::Compare(const IVarDataGuts* other) const {
  return CaseCompare(text(), length_, static_cast<const IVarDataAnsi*>(other));
}

std::int32_t AnsiGuts::Compare(const IAnsiGuts* other) const {
  return CaseCompare(text(), length_, other->owner());
}

std::int32_t AnsiGuts::ExactCompare(const IAnsiGuts* other) const {
  return CompareTexts(text(), length_, other->owner(),
                      [](const char* a, const char* ae, const char* b, const char* be) {
                        return StringExactCompare(a, ae, b, be);
                      });
}

std::int32_t AnsiGuts::Compare(const char* other) const {
  const char* o = other != nullptr ? other : "";
  return StringCaseCompare(text(), textEnd(), o, o + std::strlen(o));
}

std::int32_t AnsiGuts::ExactCompare(const char* other) const {
  const char* o = other != nullptr ? other : "";
  return StringExactCompare(text(), textEnd(), o, o + std::strlen(o));
}

IAnsiGuts* AnsiGuts::ToLower() const {
  return Mapped([](int c, bool) { return std::tolower(c); });
}

IAnsiGuts* AnsiGuts::ToUpper() const {
  return Mapped([](int c, bool) { return std::toupper(c); });
}

// The first letter of each run of letters in upper case, the rest of the run in lower case.
IAnsiGuts* AnsiGuts::Proper() const {
  return Mapped([](int c, bool inWord) { return inWord ? std::tolower(c) : std::toupper(c); });
}

IAnsiGuts* AnsiGuts::Concat(const IAnsiGuts* other) const {
  const IVarDataAnsi* that = other->owner();
  const std::uint32_t n = that->GetLength();
  if (n > 0xFFFFFFFFu - length_) throw std::bad_alloc();
  return Joined(that->GetData(), n);
}

IAnsiGuts* AnsiGuts::Concat(const char* other) const {
  const char* o = other != nullptr ? other : "";
  const std::size_t n = std::strlen(o);
  if (n > 0xFFFFFFFFu - length_) throw std::bad_alloc();
  return Joined(o, static_cast<std::uint32_t>(n));
}

// Counts beyond the text take what there is.
IAnsiGuts* AnsiGuts::Left(std::uint32_t n) const { return Make(text(), n < length_ ? n : length_); }

IAnsiGuts* AnsiGuts::Right(std::uint32_t n) const {
  const std::uint32_t count = n < length_ ? n : length_;
  return Make(textEnd() - count, count);
}

// A start past the end of the text is an error, as for every substring of the library.
IAnsiGuts* AnsiGuts::Mid(std::uint32_t start, std::uint32_t count) const {
  if (start > length_) {
    throw zo::kel::exception::OutOfRange2(ZO_KEL_HERE, "String offset out of range");
  }
  const std::uint32_t rest = length_ - start;
  return Make(text() + start, count < rest ? count : rest);
}

AnsiGuts* AnsiGuts::Joined(const char* more, std::uint32_t n) const {
  void* raw = TextStorage<AnsiGuts>(length_ + n);
  AnsiGuts* made = ::new (raw) AnsiGuts(length_ + n);
  std::memcpy(made->text(), text(), length_);
  std::memcpy(made->text() + length_, more, n);
  made->text()[length_ + n] = '\0';
  return made;
}

// Maps every letter with map(character, inWord), where inWord tells whether a letter came right
// before it; other characters are copied. Character classes are the locale's.
template <class Map>
IAnsiGuts* AnsiGuts::Mapped(Map map) const {
  AnsiGuts* made = Make(text(), length_);
  bool inWord = false;
  char* chars = made->text();
  for (std::uint32_t i = 0; i < length_; ++i) {
    const int c = static_cast<unsigned char>(chars[i]);
    if (std::isalpha(c)) {
      chars[i] = static_cast<char>(map(c, inWord));
      inWord = true;
    } else {
      inWord = false;
    }
  }
  return made;
}

}  // namespace detail
}  // namespace kel
}  // namespace zo

namespace {

using zo::kel::detail::MakeText;

class UnicodeGuts final : public GutsObject<IVarDataUnicode> {
 public:
  using Char = wchar_t;
  explicit UnicodeGuts(std::uint32_t length) noexcept : length_(length) {}

  // The characters share the object's storage, so the object frees itself by their count too.
  std::int32_t Release() override {
    const std::int32_t n = DropReference();
    if (n == 0) DestroyText(this);
    return n;
  }
  // Never reached, as for AnsiGuts.
  static void operator delete(void*) noexcept { std::abort(); }

  static UnicodeGuts* Make(const wchar_t* text, std::uint32_t length) {
    if (length > 0x3FFFFFFEu) throw std::bad_alloc();
    return MakeText<UnicodeGuts>(text, length);
  }

  wchar_t* text() noexcept { return reinterpret_cast<wchar_t*>(this + 1); }
  const wchar_t* text() const noexcept { return reinterpret_cast<const wchar_t*>(this + 1); }

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataUnicode})) {
      return GrantInterface(static_cast<IVarDataUnicode*>(this), out);
    }
    return RefuseInterface(out);
  }
  operator bool() const override { return TruthOfText(text()); }
  operator double() const override {
    bool recognised = false;
    return NumberOfText(text(), recognised);
  }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    return CaseCompare(text(), length_, static_cast<const IVarDataUnicode*>(other));
  }
  const wchar_t* GetData() const override { return text(); }
  std::uint32_t GetLength() const override { return length_; }

 private:
  friend void zo::kel::detail::DestroyText<UnicodeGuts>(UnicodeGuts*) noexcept;
  ~UnicodeGuts() override = default;

  std::uint32_t length_;
};

// The characters follow the object directly: its alignment covers theirs.
static_assert(sizeof(AnsiGuts) % alignof(wchar_t) == 0, "characters follow the object aligned");
static_assert(sizeof(UnicodeGuts) % alignof(wchar_t) == 0, "characters follow the object aligned");

}  // namespace

IVarDataGuts* NewAnsiGuts(const char* text) {
  const char* t = text != nullptr ? text : "";
  const std::size_t n = std::strlen(t);
  if (n > 0xFFFFFFF0u) throw std::bad_alloc();
  return static_cast<IVarDataAnsi*>(AnsiGuts::Make(t, static_cast<std::uint32_t>(n)));
}

IVarDataGuts* NewAnsiGutsLen(const char* text, std::uint32_t length) {
  return static_cast<IVarDataAnsi*>(AnsiGuts::Make(text, text != nullptr ? length : 0));
}

IVarDataGuts* NewUnicodeGuts(const wchar_t* text) {
  const wchar_t* t = text != nullptr ? text : L"";
  const std::size_t n = std::wcslen(t);
  if (n > 0x3FFFFFFEu) throw std::bad_alloc();
  return UnicodeGuts::Make(t, static_cast<std::uint32_t>(n));
}

IVarDataGuts* NewUnicodeGutsLen(const wchar_t* text, std::uint32_t length) {
  return UnicodeGuts::Make(text, text != nullptr ? length : 0);
}
