// Dictionaries keyed by narrow text from another module: the dictionary compares the library's
// own texts itself, and must leave every other text's order to that text's own Compare.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "kel/osdep/StringCaseCompare.h"
#include "qmstatic/vardata/VarData.h"

namespace {

// Narrow text made by another module, ordered case-insensitively, forwards or backwards.
class OtherText final : public IVarDataAnsi {
 public:
  OtherText(const char* text, bool backwards) : text_(text), backwards_(backwards) {}

  std::int32_t QueryInterface(const GUID&, void** out) override {
    *out = nullptr;
    return kGutsNoInterface;
  }
  std::int32_t AddRef() override { return ++count_; }
  std::int32_t Release() override {
    const std::int32_t n = --count_;
    if (n == 0) delete this;
    return n;
  }
  operator bool() const override { return !text_.empty(); }
  operator double() const override { return 0.0; }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    const auto* that = static_cast<const IVarDataAnsi*>(other);
    const char* theirs = that->GetData();
    const int order = zo::kel::osdep::StringCaseCompare(text_.data(), text_.data() + text_.size(),
                                                        theirs, theirs + that->GetLength());
    return backwards_ ? -order : order;
  }
  const char* GetData() const override { return text_.c_str(); }
  std::uint32_t GetLength() const override { return static_cast<std::uint32_t>(text_.size()); }

 private:
  ~OtherText() = default;

  std::string text_;
  bool backwards_;
  std::int32_t count_ = 1;
};

VarData Other(const char* text, bool backwards = false) {
  VarData v;
  v.adoptGuts(VarData::kAnsi, new OtherText(text, backwards));
  return v;
}

std::string Keys(const VarData& dict) {
  std::string keys;
  for (const auto& pair : dict) keys += pair.first.getAnsiString().c_str() + std::string(" ");
  return keys;
}

// Texts ordered backwards by their own Compare: a dictionary that ordered them itself would put
// them forwards.
TEST(DictionaryTextKeys, OtherModulesTextsKeepTheirOwnOrder) {
  // Keys longer than a machine word, equal but for case up to their last word.
  const char* const texts[] = {"channel.alpha.b", "CHANNEL.ALPHA.c", "Channel.Alpha.a"};
  VarData dict = VarData::dict();
  for (const char* text : texts) dict.setValue(Other(text, true), VarData(1));
  EXPECT_EQ("CHANNEL.ALPHA.c channel.alpha.b Channel.Alpha.a ", Keys(dict));
  for (const char* text : texts) EXPECT_TRUE(dict.hasKey(Other(text, true))) << text;
}

TEST(DictionaryTextKeys, OwnAndOtherTextsFindEachOther) {
  VarData own = VarData::dict();
  VarData other = VarData::dict();
  const char* const texts[] = {"tag.0000002.value", "tag.0000010.value", "tag.0000001.value", "T",
                               "tag.0000001.valuE."};
  double n = 0;
  for (const char* text : texts) {
    own.setValue(VarData(text), VarData(++n));
    other.setValue(Other(text), VarData(n));
  }
  n = 0;
  for (const char* text : texts) {
    ++n;
    std::string upper(text);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(n, static_cast<double>(own.getValue(Other(upper.c_str())))) << text;
    EXPECT_EQ(n, static_cast<double>(other.getValue(VarData(upper.c_str())))) << text;
  }
  EXPECT_FALSE(own.hasKey(Other("tag.0000003.value")));
  EXPECT_FALSE(other.hasKey(VarData("tag.0000003.value")));
  EXPECT_EQ(Keys(own), Keys(other));
}

}  // namespace
