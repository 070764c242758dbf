// Guts cross module boundaries both ways: the library uses guts that another module made from
// the interfaces' slot order (ForeignGuts_test.cpp), and that module calls the library's guts.
#include <gtest/gtest.h>

#include <string>

#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/ForeignGuts_test.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

std::string Image(const VarData& v) {
  zo::kel::AutoBuffer buffer;
  v.SerializeWithSize(buffer);
  return std::string(reinterpret_cast<const char*>(buffer.Data()), buffer.Len());
}

VarData Holding(std::uint16_t kind, void* guts) {
  VarData v;
  v.adoptGuts(kind, static_cast<IVarDataGuts*>(guts));
  return v;
}

// The numeric conversion's result, or "error" when it throws.
std::string NumberOf(const VarData& v) {
  VarData copy(v);
  try {
    copy.Convert_(VarData::kNumeric);
  } catch (...) {
    return "error";
  }
  double d = 0;
  copy.GetNumeric(d);
  return std::to_string(d);
}

TEST(ForeignGuts, LibraryUsesForeignGutsThroughTheirSlots) {
  const unsigned char bytes[] = {0x01, 0x02, 0x03};
  ForeignProbe raw, tg;
  {
    VarData foreignRaw = Holding(VarData::kRaw, MakeForeignRaw(raw, bytes, 3));
    VarData foreignTg = Holding(VarData::kTGVariant, MakeForeignTGVariant(tg, 0x0008, 0x2A));
    const VarData ownRaw(bytes, 3);
    const unsigned short word = 0x0008;
    const unsigned char byte = 0x2A;
    const VarData ownTg = VarData::tgvar(&word, 1, &byte, 1);
    struct Case {
      const char* name;
      VarData& foreign;
      const VarData& own;
      ForeignProbe& probe;
    } cases[] = {{"raw", foreignRaw, ownRaw, raw}, {"tg", foreignTg, ownTg, tg}};
    for (Case& c : cases) {
      SCOPED_TRACE(c.name);
      {
        const VarData copy(c.foreign);
        EXPECT_EQ(2, c.probe.count);
        EXPECT_EQ(0, copy.Compare(c.own));
        EXPECT_EQ(0, c.own.Compare(copy));
      }
      EXPECT_EQ(1, c.probe.count);
      EXPECT_TRUE(static_cast<bool>(c.foreign));
      EXPECT_EQ(Image(c.own), Image(c.foreign));
      EXPECT_EQ(NumberOf(c.own), NumberOf(c.foreign));
      EXPECT_EQ(1, c.probe.count);
    }
    // Serialized and read back, the value is the library's own with the same bytes.
    const std::string image = Image(foreignRaw);
    const unsigned char* cursor = reinterpret_cast<const unsigned char*>(image.data());
    EXPECT_EQ(0, VarData::DeserializeWithSize(cursor, static_cast<std::uint32_t>(image.size()))
                     .Compare(ownRaw));
  }
  EXPECT_EQ(0, raw.live);
  EXPECT_EQ(0, tg.live);
}

TEST(ForeignGuts, ForeignModuleCallsLibraryGutsThroughItsDeclarations) {
  VarData text("Ab c");
  void* ansi = text.getGuts();
  bool secondAfterFirst = false;
  EXPECT_EQ("AB C", ForeignView::upperThroughSecondInterface(ansi, secondAfterFirst));
  EXPECT_TRUE(secondAfterFirst);
  EXPECT_EQ(1, zo_kel_test::CountOf(text.getGuts()));  // every reference taken was given back
}

}  // namespace
