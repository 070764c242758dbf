// The text guts: narrow (AnsiGuts, with its text operations) and wide (UnicodeGuts).
#include <cctype>
#include <cwchar>

#include "kel/StringBase.h"
#include "qmstatic/text/LogicalText.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::AString;
using zo::kel::WString;
using zo::kel::detail::GrantInterface;
using zo::kel::detail::GutsObject;
using zo::kel::detail::IsOneOf;
using zo::kel::detail::RefuseInterface;

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

class AnsiGuts final : public GutsObject<IVarDataAnsi>, public IAnsiGuts {
 public:
  explicit AnsiGuts(AString text) : text_(std::move(text)) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataAnsi})) {
      return GrantInterface(static_cast<IVarDataAnsi*>(this), out);
    }
    if (IsEqualGUID(iid, IID_IAnsiGuts)) return GrantInterface(static_cast<IAnsiGuts*>(this), out);
    return RefuseInterface(out);
  }
  std::int32_t AddRef() override { return GutsObject<IVarDataAnsi>::AddRef(); }
  std::int32_t Release() override { return GutsObject<IVarDataAnsi>::Release(); }

  operator bool() const override { return TruthOfText(text_.c_str()); }
  operator double() const override {
    bool recognised = false;
    return NumberOfText(text_.c_str(), recognised);
  }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    return text_.compare(
        static_cast<const AnsiGuts*>(static_cast<const IVarDataAnsi*>(other))->text_);
  }

  const char* GetData() const override { return text_.c_str(); }
  std::uint32_t GetLength() const override { return text_.size(); }

  std::int32_t Compare(const IAnsiGuts* other) const override {
    return text_.compare(TextOf(other));
  }
  std::int32_t ExactCompare(const IAnsiGuts* other) const override {
    return text_.exactCompare(TextOf(other));
  }
  std::int32_t Compare(const char* other) const override { return text_.compare(AString(other)); }
  std::int32_t ExactCompare(const char* other) const override {
    return text_.exactCompare(AString(other));
  }
  IAnsiGuts* ToLower() const override {
    return Mapped([](int c, bool) { return std::tolower(c); });
  }
  IAnsiGuts* ToUpper() const override {
    return Mapped([](int c, bool) { return std::toupper(c); });
  }
  // The first letter of each run of letters in upper case, the rest of the run in lower case.
  IAnsiGuts* Proper() const override {
    return Mapped([](int c, bool inWord) { return inWord ? std::tolower(c) : std::toupper(c); });
  }
  IAnsiGuts* Concat(const IAnsiGuts* other) const override {
    return Make(AString(text_, TextOf(other)));
  }
  IAnsiGuts* Concat(const char* other) const override {
    return Make(AString(text_, AString(other)));
  }
  IAnsiGuts* Left(std::uint32_t n) const override { return Make(AString(text_, 0, n)); }
  IAnsiGuts* Right(std::uint32_t n) const override {
    const std::uint32_t length = text_.size();
    return Make(AString(text_, n < length ? length - n : 0, n));
  }
  IAnsiGuts* Mid(std::uint32_t start, std::uint32_t count) const override {
    return Make(AString(text_, start, count));
  }

 private:
  ~AnsiGuts() override = default;

  static const AString& TextOf(const IAnsiGuts* other) {
    return dynamic_cast<const AnsiGuts&>(*other).text_;
  }
  static IAnsiGuts* Make(AString text) { return new AnsiGuts(std::move(text)); }

  // Maps every letter with map(character, inWord), where inWord tells whether a letter came
  // right before it; other characters are copied. Character classes are the locale's.
  template <class Map>
  IAnsiGuts* Mapped(Map map) const {
    AString out(text_);
    bool inWord = false;
    for (char& ch : out) {
      const int c = static_cast<unsigned char>(ch);
      if (std::isalpha(c)) {
        ch = static_cast<char>(map(c, inWord));
        inWord = true;
      } else {
        inWord = false;
      }
    }
    return Make(std::move(out));
  }

  AString text_;
};

class UnicodeGuts final : public GutsObject<IVarDataUnicode> {
 public:
  explicit UnicodeGuts(WString text) : text_(std::move(text)) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataUnicode})) {
      return GrantInterface(static_cast<IVarDataUnicode*>(this), out);
    }
    return RefuseInterface(out);
  }
  operator bool() const override { return TruthOfText(text_.c_str()); }
  operator double() const override {
    bool recognised = false;
    return NumberOfText(text_.c_str(), recognised);
  }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    return text_.compare(static_cast<const UnicodeGuts*>(other)->text_);
  }
  const wchar_t* GetData() const override { return text_.c_str(); }
  std::uint32_t GetLength() const override { return text_.size(); }

 private:
  ~UnicodeGuts() override = default;

  WString text_;
};

}  // namespace

IVarDataGuts* NewAnsiGuts(const char* text) {
  return static_cast<IVarDataAnsi*>(new AnsiGuts(AString(text)));
}

IVarDataGuts* NewAnsiGutsLen(const char* text, std::uint32_t length) {
  return static_cast<IVarDataAnsi*>(new AnsiGuts(AString(text, length)));
}

IVarDataGuts* NewUnicodeGuts(const wchar_t* text) { return new UnicodeGuts(WString(text)); }

IVarDataGuts* NewUnicodeGutsLen(const wchar_t* text, std::uint32_t length) {
  return new UnicodeGuts(WString(text, length));
}
