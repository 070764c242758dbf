#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <string>

#include "kel/StringBase.h"
#include "kel/exception.h"
#include "qmstatic/vardata/VarData.h"

namespace {

std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

// Releases a factory's guts at the end of a test.
struct Owned {
  IVarDataGuts* guts;
  explicit Owned(IVarDataGuts* g) : guts(g) {}
  ~Owned() {
    if (guts != nullptr) guts->Release();
  }
};

const GUID* const kAllIds[] = {
    &IID_IUnknown,           &IID_IVarDataGuts,      &IID_IVarDataSequence,
    &IID_IVarDataAnsi,       &IID_IVarDataUnicode,   &IID_IVarDataRaw,
    &IID_IVarDataCell,       &IID_IAnsiGuts,         &IID_IVarDataSSTimeValue,
    &IID_IVarDataDictionary, &IID_IVarDataTGVariant, &IID_IVarDataFlexData};

// The identifiers an object answers, as a string of 0/1 in kAllIds order.
std::string Answers(IVarDataGuts* guts) {
  std::string out;
  for (const GUID* id : kAllIds) {
    void* itf = reinterpret_cast<void*>(0x1);
    const std::int32_t before = CountOf(guts);
    const std::int32_t rc = guts->QueryInterface(*id, &itf);
    if (rc == kGutsOk) {
      EXPECT_NE(nullptr, itf);
      EXPECT_EQ(before + 1, CountOf(guts));
      // The text interface has no lifetime slots of its own; it releases through its owner.
      if (id == &IID_IAnsiGuts) {
        static_cast<IAnsiGuts*>(itf)->Release();
      } else {
        static_cast<IUnknown*>(itf)->Release();
      }
      out += '1';
    } else {
      EXPECT_EQ(static_cast<std::int32_t>(0x80004002u), rc);
      EXPECT_EQ(nullptr, itf);
      EXPECT_EQ(before, CountOf(guts));  // a refusal leaves the count alone
      out += '0';
    }
  }
  return out;
}

TEST(Guts, InterfaceIdentifiersHaveTheirByteLayout) {
  const unsigned char tg[16] = {0xb2, 0xce, 0x3a, 0xb9, 0xe6, 0x26, 0x70, 0x49,
                                0xb2, 0x2c, 0x34, 0x94, 0xca, 0x78, 0x36, 0x12};
  EXPECT_EQ(0, std::memcmp(tg, &IID_IVarDataTGVariant, 16));
  const unsigned char unknown[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
  EXPECT_EQ(0, std::memcmp(unknown, &IID_IUnknown, 16));
  EXPECT_EQ(0xCC498481u, IID_IVarDataSequence.Data1);
  EXPECT_EQ(0x11D2u, IID_IVarDataCell.Data3);
}

TEST(Guts, EachClassAnswersExactlyItsIdentifiers) {
  const unsigned char byte = 7;
  Owned ansi(NewAnsiGuts("a"));
  Owned unicode(NewUnicodeGuts(L"u"));
  Owned raw(NewRawGuts(&byte, 1));
  Owned cell(NewCellGuts(1, 2, VarData(3)));
  Owned vector(NewVectorGuts());
  Owned dictionary(NewVarDataDictionary());
  // Order: IUnknown, Guts, Sequence, Ansi, Unicode, Raw, Cell, IAnsiGuts, SSTime, Dictionary,
  // TGVariant, FlexData.
  EXPECT_EQ("110100010000", Answers(ansi.guts));
  EXPECT_EQ("110010000000", Answers(unicode.guts));
  EXPECT_EQ("110001000000", Answers(raw.guts));
  // A cell answers the raw-bytes identifier too, as it always has.
  EXPECT_EQ("110001100000", Answers(cell.guts));
  EXPECT_EQ("111000000000", Answers(vector.guts));
  EXPECT_EQ("110000000100", Answers(dictionary.guts));
  EXPECT_EQ(nullptr, NewVarDataDAQBLOB());
  DoLogObjectCreate();
  DoLogObjectDestroy();
}

TEST(Guts, AnsiGutsSecondInterfaceIsTheSameObject) {
  Owned ansi(NewAnsiGuts("Text"));
  void* itf = nullptr;
  ASSERT_EQ(kGutsOk, ansi.guts->QueryInterface(IID_IAnsiGuts, &itf));
  auto* text = static_cast<IAnsiGuts*>(itf);
  EXPECT_NE(static_cast<void*>(ansi.guts), itf);  // the second base sits after the first
  EXPECT_EQ(2, CountOf(ansi.guts));               // one count for both interfaces
  EXPECT_EQ(1, text->Release());
}

// The text of an IAnsiGuts result, which the caller then releases.
std::string TextOf(IAnsiGuts* result) {
  const IVarDataAnsi* ansi = result->owner();
  std::string text(ansi->GetData(), ansi->GetLength());
  EXPECT_EQ(0, result->Release());
  return text;
}

TEST(Guts, AnsiTextOperationsMakeNewObjects) {
  Owned guts(NewAnsiGuts("hELLO wORLD-foo"));
  void* itf = nullptr;
  ASSERT_EQ(kGutsOk, guts.guts->QueryInterface(IID_IAnsiGuts, &itf));
  auto* text = static_cast<IAnsiGuts*>(itf);
  EXPECT_EQ("Hello World-Foo", TextOf(text->Proper()));
  EXPECT_EQ("hello world-foo", TextOf(text->ToLower()));
  EXPECT_EQ("HELLO WORLD-FOO", TextOf(text->ToUpper()));
  EXPECT_EQ("hELLO", TextOf(text->Left(5)));
  EXPECT_EQ("foo", TextOf(text->Right(3)));
  EXPECT_EQ("wORLD", TextOf(text->Mid(6, 5)));
  EXPECT_EQ("hELLO wORLD-foo", TextOf(text->Left(100)));
  EXPECT_EQ("hELLO wORLD-foo", TextOf(text->Right(100)));
  EXPECT_EQ("foo", TextOf(text->Mid(12, 100)));
  EXPECT_EQ("", TextOf(text->Mid(15, 1)));
  EXPECT_THROW(text->Mid(16, 1), zo::kel::exception::OutOfRange2);
  EXPECT_EQ("hELLO wORLD-foo!", TextOf(text->Concat("!")));
  // Digits and blanks end a run of letters.
  Owned digits(NewAnsiGuts("x2Y 3zZ"));
  void* d = nullptr;
  ASSERT_EQ(kGutsOk, digits.guts->QueryInterface(IID_IAnsiGuts, &d));
  EXPECT_EQ("X2Y 3Zz", TextOf(static_cast<IAnsiGuts*>(d)->Proper()));
  static_cast<IAnsiGuts*>(d)->Release();
  IAnsiGuts* twice = text->Concat(text);
  EXPECT_EQ("hELLO wORLD-foohELLO wORLD-foo", TextOf(twice));
  text->Release();
}

TEST(Guts, AnsiComparisonsDifferOnlyInCase) {
  Owned a(NewAnsiGuts("abc"));
  Owned b(NewAnsiGuts("ABC"));
  void* ia = nullptr;
  void* ib = nullptr;
  a.guts->QueryInterface(IID_IAnsiGuts, &ia);
  b.guts->QueryInterface(IID_IAnsiGuts, &ib);
  auto* ta = static_cast<IAnsiGuts*>(ia);
  auto* tb = static_cast<IAnsiGuts*>(ib);
  EXPECT_EQ(0, ta->Compare(tb));
  EXPECT_NE(0, ta->ExactCompare(tb));
  EXPECT_GT(ta->ExactCompare(tb), 0);  // 'a' sorts after 'A' exactly
  EXPECT_EQ(0, ta->Compare("ABC"));
  EXPECT_LT(ta->Compare("abd"), 0);
  EXPECT_EQ(0, ta->ExactCompare("abc"));
  EXPECT_EQ(0, a.guts->Compare(b.guts));  // through the common interface, case-insensitive
  ta->Release();
  tb->Release();
}

TEST(Guts, TruthAndNumberOfTexts) {
  struct Row {
    const char* text;
    bool truth;
    double number;
  };
  const Row rows[] = {
      {"yes", true, 1.0},      {"OFF", false, 0.0},  {"0", false, 0.0},
      {"12", true, 12.0},      {"-2.5", true, -2.5}, {"abc", false, 0.0},
      {"12:00:00", true, 0.5}, {" 12", true, 12.0},  {"1:30", true, 90.0 / 86400.0},
  };
  for (const Row& row : rows) {
    const VarData narrow(row.text);
    EXPECT_EQ(row.truth, static_cast<bool>(narrow)) << row.text;
    EXPECT_DOUBLE_EQ(row.number, static_cast<double>(narrow)) << row.text;
    const VarData wide(zo::kel::WString(row.text));
    EXPECT_EQ(row.truth, static_cast<bool>(wide)) << row.text;
    EXPECT_DOUBLE_EQ(row.number, static_cast<double>(wide)) << row.text;
  }
}

TEST(Guts, RawBlocksAreTrueWhenNotEmptyAndOrderByBytes) {
  const unsigned char zeros[] = {0, 0};
  const unsigned char ab[] = {'a', 'b'};
  const unsigned char abc[] = {'a', 'b', 'c'};
  const unsigned char b[] = {'b'};
  EXPECT_TRUE(static_cast<bool>(VarData(zeros, 2)));
  EXPECT_EQ(0.0, static_cast<double>(VarData(zeros, 2)));
  EXPECT_FALSE(static_cast<bool>(VarData(zeros, 0)));
  EXPECT_LT(VarData(ab, 2).Compare(VarData(abc, 3)), 0);
  EXPECT_GT(VarData(b, 1).Compare(VarData(abc, 3)), 0);
  EXPECT_EQ(0, VarData(ab, 2).Compare(VarData(ab, 2)));

  const VarData raw(abc, 3);
  const unsigned char* data = nullptr;
  std::uint32_t count = 0;
  static_cast<IVarDataRaw*>(raw.getGuts())->GetData(data, count);
  EXPECT_EQ(3u, count);
  EXPECT_EQ(0, std::memcmp(data, "abc", 3));
  EXPECT_NE(abc, data);  // an owned copy
}

TEST(Guts, CellsReadBackAndCompareByTheirValue) {
  std::uint16_t row = 9, column = 9;
  VarData value(1.0);
  EXPECT_FALSE(VarData("text").GetCell(row, column, value));
  EXPECT_EQ(9u, row);
  EXPECT_EQ(VarData(1.0), value);

  EXPECT_TRUE(VarData(0, 0, VarData()).GetCell(row, column, value));
  EXPECT_EQ(0u, row);
  EXPECT_EQ(0u, column);
  EXPECT_EQ(VarData::kEmpty, value.getTypeWord());

  const VarData cell(3, 4, VarData("in a cell"));
  EXPECT_TRUE(cell.GetCell(row, column, value));
  EXPECT_EQ(3u, row);
  EXPECT_EQ(4u, column);
  EXPECT_EQ(VarData("in a cell"), value);
  // Row and column take no part in truth, number or order.
  EXPECT_EQ(0, VarData(1, 1, VarData(5)).Compare(VarData(7, 8, VarData(5))));
  EXPECT_LT(VarData(9, 9, VarData(4)).Compare(VarData(0, 1, VarData(5))), 0);
  EXPECT_EQ(5.0, static_cast<double>(VarData(1, 1, VarData(5))));
  EXPECT_FALSE(static_cast<bool>(VarData(1, 1, VarData(0))));
}

}  // namespace
