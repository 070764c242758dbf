#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kel/AutoBuffer.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "kel/fd/FlexData.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/ForeignGuts_test.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo_kel_test::CountOf;

// Releases a factory's guts at the end of a test.
struct Owned {
  IVarDataGuts* guts;
  explicit Owned(IVarDataGuts* g) : guts(g) {}
  ~Owned() { guts->Release(); }
};

const GUID* const kAllIds[] = {
    &IID_IUnknown,           &IID_IVarDataGuts,      &IID_IVarDataSequence,
    &IID_IVarDataAnsi,       &IID_IVarDataUnicode,   &IID_IVarDataRaw,
    &IID_IVarDataCell,       &IID_IAnsiGuts,         &IID_IVarDataSSTimeValue,
    &IID_IVarDataDictionary, &IID_IVarDataTGVariant, &IID_IVarDataFlexData};

// The identifiers an object answers, as a string of 0/1 in kAllIds order; a refusal must clear
// the output and leave the count, an answer must add one reference.
std::string Answers(IVarDataGuts* guts) {
  std::string out;
  for (const GUID* id : kAllIds) {
    void* itf = reinterpret_cast<void*>(0x1);
    const std::int32_t before = CountOf(guts);
    const std::int32_t rc = guts->QueryInterface(*id, &itf);
    if (rc == kGutsOk) {
      EXPECT_EQ(before + 1, CountOf(guts));
      // The text interface has no lifetime slots of its own; it releases through its owner.
      id == &IID_IAnsiGuts ? static_cast<IAnsiGuts*>(itf)->Release()
                           : static_cast<IUnknown*>(itf)->Release();
      out += '1';
    } else {
      EXPECT_EQ(kGutsNoInterface, rc);
      EXPECT_EQ(nullptr, itf);
      EXPECT_EQ(before, CountOf(guts));
      out += '0';
    }
  }
  return out;
}

TEST(Guts, EachClassAnswersExactlyItsIdentifiers) {
  const unsigned char tg[16] = {0xb2, 0xce, 0x3a, 0xb9, 0xe6, 0x26, 0x70, 0x49,
                                0xb2, 0x2c, 0x34, 0x94, 0xca, 0x78, 0x36, 0x12};
  const unsigned char unknown[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
  // The byte layout other modules use.
  EXPECT_EQ(0, std::memcmp(tg, &IID_IVarDataTGVariant, 16));
  EXPECT_EQ(0, std::memcmp(unknown, &IID_IUnknown, 16));
  const unsigned char byte = 7;
  const unsigned short word = 4;
  const struct {
    const char* name;
    Owned guts;
    // IUnknown, Guts, Sequence, Ansi, Unicode, Raw, Cell, IAnsiGuts, SSTime, Dictionary,
    // TGVariant, FlexData.
    const char* answers;
  } cases[] = {
      {"ansi", Owned(NewAnsiGuts("a")), "110100010000"},
      {"unicode", Owned(NewUnicodeGuts(L"u")), "110010000000"},
      {"raw", Owned(NewRawGuts(&byte, 1)), "110001000000"},
      {"cell", Owned(NewCellGuts(1, 2, VarData(3))), "110001100000"},  // raw too, as always
      {"vector", Owned(NewVectorGuts()), "111000000000"},
      {"dictionary", Owned(NewVarDataDictionary()), "110000000100"},
      {"time", Owned(NewVarDataSSTimeValue(zo::kel::AbsTime(5.0, 0.0))), "110000001000"},
      {"tg variant", Owned(NewVarDataTGVariant(&word, 1, &byte, 1)), "110000000010"},
      {"packet", Owned(NewVarDataFlexData(zo::kel::FlexData())), "110000000001"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.answers, Answers(c.guts.guts)) << c.name;
  EXPECT_EQ(nullptr, NewVarDataDAQBLOB());
}

// The text of an IAnsiGuts result, which the caller then releases.
std::string TextOf(IAnsiGuts* result) {
  const IVarDataAnsi* ansi = result->owner();
  std::string text(ansi->GetData(), ansi->GetLength());
  EXPECT_EQ(0, result->Release());
  return text;
}

IAnsiGuts* TextInterface(const Owned& owned) {
  void* itf = nullptr;
  EXPECT_EQ(kGutsOk, owned.guts->QueryInterface(IID_IAnsiGuts, &itf));
  return static_cast<IAnsiGuts*>(itf);
}

TEST(Guts, AnsiTextOperationsMakeNewObjects) {
  const Owned guts(NewAnsiGuts("hELLO wORLD-foo x2Y 3zZ"));
  IAnsiGuts* text = TextInterface(guts);
  const struct {
    IAnsiGuts* result;
    const char* text;
  } cases[] = {
      {text->Proper(), "Hello World-Foo X2Y 3Zz"},  // digits and blanks end a run of letters
      {text->ToLower(), "hello world-foo x2y 3zz"},
      {text->ToUpper(), "HELLO WORLD-FOO X2Y 3ZZ"},
      {text->Left(5), "hELLO"},
      {text->Right(3), "3zZ"},
      {text->Mid(6, 5), "wORLD"},
      {text->Left(100), "hELLO wORLD-foo x2Y 3zZ"},
      {text->Right(100), "hELLO wORLD-foo x2Y 3zZ"},
      {text->Mid(20, 100), "3zZ"},
      {text->Mid(23, 1), ""},
      {text->Concat("!"), "hELLO wORLD-foo x2Y 3zZ!"},
      {text->Concat(text), "hELLO wORLD-foo x2Y 3zZhELLO wORLD-foo x2Y 3zZ"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, TextOf(c.result));
  EXPECT_THROW(text->Mid(24, 1), zo::kel::exception::OutOfRange2);

  // Case-insensitive and exact orders, through both interfaces.
  const Owned upper(NewAnsiGuts("HELLO WORLD-FOO X2Y 3ZZ"));
  IAnsiGuts* u = TextInterface(upper);
  EXPECT_EQ(0, text->Compare(u));
  EXPECT_GT(text->ExactCompare(u), 0);  // 'h' sorts after 'H' exactly
  EXPECT_EQ(0, text->ExactCompare("hELLO wORLD-foo x2Y 3zZ"));
  u->Release();
  EXPECT_EQ(1, text->Release());
}

TEST(Guts, TruthAndNumberOfTexts) {
  const struct {
    const char* text;
    bool truth;
    double number;
  } rows[] = {
      {"yes", true, 1.0},      {"OFF", false, 0.0},  {"0", false, 0.0},
      {"12", true, 12.0},      {"-2.5", true, -2.5}, {"abc", false, 0.0},
      {"12:00:00", true, 0.5}, {" 12", true, 12.0},  {"1:30", true, 90.0 / 86400.0},
  };
  for (const auto& row : rows) {
    for (const VarData& v : {VarData(row.text), VarData(zo::kel::WString(row.text))}) {
      EXPECT_EQ(row.truth, static_cast<bool>(v)) << row.text;
      EXPECT_DOUBLE_EQ(row.number, static_cast<double>(v)) << row.text;
    }
  }
}

TEST(Guts, RawBlocksAndCells) {
  const unsigned char zeros[] = {0, 0}, abc[] = {'a', 'b', 'c'}, b[] = {'b'};
  EXPECT_TRUE(static_cast<bool>(VarData(zeros, 2)));
  EXPECT_EQ(0.0, static_cast<double>(VarData(zeros, 2)));
  EXPECT_LT(VarData(abc, 2).Compare(VarData(abc, 3)), 0);
  EXPECT_GT(VarData(b, 1).Compare(VarData(abc, 3)), 0);
  const VarData raw(abc, 3);
  const unsigned char* data = nullptr;
  std::uint32_t count = 0;
  static_cast<IVarDataRaw*>(raw.getGuts())->GetData(data, count);
  EXPECT_EQ("abc", std::string(reinterpret_cast<const char*>(data), count));
  EXPECT_NE(abc, data);  // an owned copy

  std::uint16_t row = 9, column = 9;
  VarData value(1.0);
  EXPECT_FALSE(VarData("text").GetCell(row, column, value));
  EXPECT_EQ(VarData(1.0), value);
  EXPECT_TRUE(VarData(0, 0, VarData()).GetCell(row, column, value));
  EXPECT_EQ(0u, row + column);
  EXPECT_EQ(VarData::kEmpty, value.getTypeWord());
  EXPECT_TRUE(VarData(3, 4, VarData("in a cell")).GetCell(row, column, value));
  EXPECT_EQ(3u, row);
  EXPECT_EQ(4u, column);
  EXPECT_EQ(VarData("in a cell"), value);
  // Row and column take no part in truth, number or order.
  EXPECT_EQ(0, VarData(1, 1, VarData(5)).Compare(VarData(7, 8, VarData(5))));
  EXPECT_LT(VarData(9, 9, VarData(4)).Compare(VarData(0, 1, VarData(5))), 0);
  EXPECT_EQ(5.0, static_cast<double>(VarData(1, 1, VarData(5))));
  EXPECT_FALSE(static_cast<bool>(VarData(1, 1, VarData(0))));
}

// Guts cross module boundaries both ways: the library uses guts that another module made from
// the interfaces' slot order (ForeignGuts_test.cpp), and that module calls the library's guts.

std::string Image(const VarData& v) {
  zo::kel::AutoBuffer buffer;
  v.SerializeWithSize(buffer);
  return std::string(reinterpret_cast<const char*>(buffer.Data()), buffer.Len());
}

// The numeric conversion's result.
double NumberOf(VarData v) {
  v.Convert_(VarData::kNumeric);
  double d = -1;
  EXPECT_TRUE(v.GetNumeric(d));
  return d;
}

TEST(ForeignGuts, LibraryUsesForeignGutsThroughTheirSlots) {
  const unsigned char bytes[] = {0x01, 0x02, 0x03};
  ForeignProbe raw, tg;
  {
    VarData foreignRaw, foreignTg;
    foreignRaw.adoptGuts(VarData::kRaw, static_cast<IVarDataGuts*>(MakeForeignRaw(raw, bytes, 3)));
    foreignTg.adoptGuts(VarData::kTGVariant,
                        static_cast<IVarDataGuts*>(MakeForeignTGVariant(tg, 0x0008, 0x2A)));
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
  EXPECT_EQ(1, CountOf(text.getGuts()));  // every reference taken was given back
}

}  // namespace
