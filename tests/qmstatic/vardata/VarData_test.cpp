#include "qmstatic/vardata/VarData.h"

#include <gtest/gtest.h>

#include <cmath>

#include "kel/StringBase.h"
#include "kel/time/AbsTime.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::RelTime;
using zo_kel_test::ArrayOf;
using zo_kel_test::CountOf;

TEST(VarData, EmptyTextsBlocksAndCellsHaveNoGuts) {
  const unsigned char bytes[] = {1, 2};
  struct Row {
    const char* name;
    VarData value;
    std::uint32_t type;
    bool guts;
  } rows[] = {
      {"null text", VarData(static_cast<const char*>(nullptr)), VarData::kAnsi, false},
      {"null counted text", VarData::ansi(nullptr, 3), VarData::kAnsi, false},
      {"null wide", VarData(static_cast<const wchar_t*>(nullptr)), VarData::kUnicode, false},
      {"empty WString", VarData(zo::kel::WString()), VarData::kUnicode, false},
      {"null block", VarData(static_cast<const unsigned char*>(nullptr), 2), VarData::kRaw, false},
      {"block", VarData(bytes, 2), VarData::kRaw, true},
      {"empty cell", VarData(0, 0, VarData()), VarData::kCell, false},
      {"cell at 0,1", VarData(0, 1, VarData()), VarData::kCell, true},
      {"cell of 1", VarData(0, 0, VarData(1)), VarData::kCell, true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.type, row.value.getTypeWord()) << row.name;
    EXPECT_EQ(row.guts, row.value.getGuts() != nullptr) << row.name;
  }
  // Counted strings keep their length, embedded NULs included.
  EXPECT_EQ(3u, VarData(zo::kel::AString("a\0b", 3)).getIAnsi()->GetLength());
  EXPECT_EQ(2u, VarData::ansi("abc", 2).getIAnsi()->GetLength());
  EXPECT_STREQ(L"ab", VarData::unicode(L"abc", 2).getIUnicode()->GetData());
}

TEST(VarData, TypedGettersAnswerOnlyTheirKindAndLeaveTheOutputOtherwise) {
  bool b = false;
  double d = -1;
  long long t = -1;
  unsigned long long ft = 0, id = 0;
  EXPECT_TRUE(VarData(true).GetLogical(b) && b);
  EXPECT_FALSE(VarData(1.0).GetLogical(b));
  EXPECT_TRUE(VarData::num(3.5, 5).GetNumeric(d));
  EXPECT_FALSE(VarData(true).GetNumeric(d));
  EXPECT_EQ(3.5, d);
  const VarData time(static_cast<long long>(0xF123456789ABCDEFULL));
  EXPECT_TRUE(time.GetTime(t) && time.GetFILETIME(ft));
  EXPECT_EQ(static_cast<long long>(0xF123456789ABCDEFULL), t);
  EXPECT_EQ(0xF123456789ABCDEFULL, ft);
  EXPECT_FALSE(VarData(1.0).GetTime(t) || VarData(1.0).GetFILETIME(ft));
  EXPECT_TRUE(zo_kel_test::Id(0xFEDCBA9876543210ULL).getID64(id));
  EXPECT_EQ(0xFEDCBA9876543210ULL, id);
  EXPECT_FALSE(time.getID64(id));
  EXPECT_TRUE(VarData::pulse().IsPulse());
  EXPECT_FALSE(VarData::brake().IsPulse());

  const VarData v(1.5);
  EXPECT_THROW(v.getVoidPointer(), TypeErrorException);
  EXPECT_THROW(v.throwIfWrongType(VarData::kAnsi), TypeErrorException);
  EXPECT_NO_THROW(VarData::num(1, 3).throwIfWrongType(VarData::kNumeric));  // qualifier ignored
  EXPECT_STREQ("VarData type error", TypeErrorException().what());
  EXPECT_STREQ("VarData key error", KeyErrorException().what());
  EXPECT_STREQ("VarData deserialization error", DeserializationErrorException().what());
}

TEST(VarData, SettersReplaceKindAndReleaseTheOldGuts) {
  static int target = 0;
  static unsigned char byte = 9;
  struct Step {
    const char* name;
    void (*set)(VarData&);
    std::uint32_t type;
  } steps[] = {
      {"= 3", [](VarData& v) { v = 3; }, 0x3},
      {"= true", [](VarData& v) { v = true; }, 0x2},
      {"= 9LL", [](VarData& v) { v = 9LL; }, 0x4},
      {"= text", [](VarData& v) { v = "x"; }, VarData::kAnsi},
      {"= wide", [](VarData& v) { v = L"y"; }, VarData::kUnicode},
      {"SetRaw", [](VarData& v) { v.SetRaw(&byte, 1); }, VarData::kRaw},
      {"setBitArray32", [](VarData& v) { v.setBitArray32(6); }, 0x00080003},
      {"Pulse", [](VarData& v) { v.Pulse(); }, 11},
      {"Break", [](VarData& v) { v.Break(); }, 8},
      {"setVoidPointer", [](VarData& v) { v.setVoidPointer(&target); }, VarData::kVoidPointer},
      {"Clear", [](VarData& v) { v.Clear(); }, 0x1},
  };
  for (const Step& step : steps) {
    const VarData owner("held");
    VarData v(owner);
    step.set(v);
    EXPECT_EQ(step.type, v.getTypeWord()) << step.name;
    EXPECT_EQ(1, CountOf(owner.getGuts())) << step.name;
  }
  VarData p;
  p.setVoidPointer(&target);
  EXPECT_EQ(&target, p.getVoidPointer());
  p.setVoidPointer(nullptr);  // a pointer already: only the payload changes
  EXPECT_EQ(nullptr, p.getVoidPointer());

  VarData a("two");
  VarData moved(std::move(a));
  EXPECT_EQ(VarData("two"), moved);
  EXPECT_EQ(VarData::kEmpty, a.getTypeWord());  // NOLINT(bugprone-use-after-move)

  VarData logical(true), number(5.0);
  logical.Not();
  number.Not();  // only logicals flip
  EXPECT_EQ(VarData(false), logical);
  EXPECT_EQ(VarData(5.0), number);
}

TEST(VarData, SelfAndOwnedAssignmentKeepTheSourceAlive) {
  VarData v("self");
  VarData& same = v;
  v = same;
  v.assign(v);
  EXPECT_EQ(1, CountOf(v.getGuts()));
  EXPECT_EQ(VarData("self"), v);
  // The element lives only inside the dictionary that the handle itself holds.
  VarData d = zo_kel_test::DictOf({{"k", VarData("only inside")}});
  d = d["k"];
  EXPECT_STREQ("only inside", d.getIAnsi()->GetData());
  EXPECT_EQ(1, CountOf(d.getGuts()));
  VarData e = zo_kel_test::DictOf({{1, VarData(L"moved")}});
  e = std::move(e[1]);
  EXPECT_STREQ(L"moved", e.getIUnicode()->GetData());
}

TEST(VarData, BitArraysClampBeforeFlooring) {
  std::uint32_t bits = 0;
  EXPECT_TRUE(VarData::bitArray(0xDEADBEEFu).getBitArray32(bits));
  EXPECT_FALSE(VarData(5.0).getBitArray32(bits));  // qualifier 0 is not a bit array
  EXPECT_EQ(0xDEADBEEFu, bits);
  const struct {
    double value;
    std::uint32_t bits;
  } clamps[] = {{-1.0, 0},
                {std::nan(""), 0xFFFFFFFFu},
                {1e300, 0xFFFFFFFFu},
                {3.9, 3},
                {4294967294.5, 4294967294u}};
  for (const auto& c : clamps) EXPECT_EQ(c.bits, VarData(c.value).getBitArray32Fast()) << c.value;

  const VarData orred = VarData::bitArray(5) | VarData(2.7);
  EXPECT_EQ(0x00080003u, orred.getTypeWord());
  EXPECT_EQ(7u, orred.getBitArray32Fast());
  EXPECT_EQ(0xFFFFFFFAu, (~VarData::bitArray(5)).getBitArray32Fast());
  EXPECT_EQ(13u, (VarData(true) | VarData("12")).getBitArray32Fast());  // through their numbers
  VarData v = VarData::bitArray(1);  // the compound forms through the plain ones: 5, 4, 2
  v |= VarData::bitArray(4);
  v &= VarData::bitArray(12);
  v ^= VarData::bitArray(6);
  EXPECT_EQ(2u, v.getBitArray32Fast());
  const VarData text("9");
  EXPECT_EQ(9u, text.getBitArrayUint32WithCoercion());
  EXPECT_EQ(VarData::kAnsi, text.getTypeWord());  // worked on a copy
}

TEST(VarData, CopiesShareGutsAndReleaseRestoresCounts) {
  const VarData original("shared text");
  IVarDataGuts* guts = original.getGuts();
  EXPECT_TRUE(zo::kel::detail::IsOwnTextGuts(guts));  // copies count it inline
  {
    VarData a(original);
    VarData b;
    b = a;
    EXPECT_EQ(3, CountOf(guts));
    b.Release();
    EXPECT_EQ(VarData::kAnsi, b.getTypeWord());  // the kind stays, the pointer goes
    EXPECT_EQ(nullptr, b.getGuts());
    EXPECT_EQ(2, CountOf(guts));
  }
  EXPECT_EQ(1, CountOf(guts));
  VarData c(original);
  c.unshare();  // strings are immutable and stay shared
  EXPECT_EQ(guts, c.getGuts());
}

TEST(Array, ElementsAreSetGrownPromotedAndReadOutsideAsEmpty) {
  VarData a;
  a.SetElement(3, VarData("x"));
  EXPECT_EQ(4u, a.GetLength());
  EXPECT_EQ(0, a.Compare(ArrayOf({VarData(), VarData(), VarData(), "x"})));
  EXPECT_EQ(VarData::kEmpty, a.GetElement(10).getTypeWord());
  EXPECT_EQ(VarData::kEmpty, a.GetElement(3, 0).getTypeWord());  // a text is no row

  VarData b;
  b.SetElement(3, VarData());  // an empty value past the end is not stored
  EXPECT_EQ(VarData::kArray, b.getTypeWord());
  EXPECT_EQ(0u, b.GetLength());
  b.SetElement(0, VarData(1));
  b.SetElement(0, VarData());  // inside the array it is
  EXPECT_EQ(1u, b.GetLength());
  EXPECT_EQ(VarData::kEmpty, b.GetElement(0).getTypeWord());

  // A scalar that receives an element becomes element 0, unless element 0 replaces it.
  VarData v(5.0);
  v.SetElement(2, VarData("x"));
  EXPECT_EQ(0, v.Compare(ArrayOf({5.0, VarData(), "x"})));
  VarData s("text");
  s.SetElement(0, VarData(1));
  EXPECT_EQ(0, s.Compare(ArrayOf({1})));
  EXPECT_EQ(VarData::kEmpty, VarData(5.0).GetElement(0).getTypeWord());
  EXPECT_EQ(0u, VarData(5.0).GetLength());
}

TEST(Array, OrderIsByElementsWithTrailingEmptiesIgnored) {
  VarData padded = ArrayOf({1, 2});
  padded.SetElement(3, VarData(1));
  padded.SetElement(3, VarData());
  ASSERT_EQ(4u, padded.GetLength());
  const struct {
    VarData a, b;
    int sign;
  } cases[] = {
      {ArrayOf({1, 2}), padded, 0},
      {ArrayOf({1, 2}), ArrayOf({1, 2, 3}), -1},
      {ArrayOf({1, 2}), ArrayOf({1, 3}), -1},
      {ArrayOf({2}), ArrayOf({1, 9}), 1},  // elements decide before length
  };
  for (const auto& c : cases) {
    const std::int32_t ab = c.a.Compare(c.b);
    EXPECT_EQ(c.sign, (ab > 0) - (ab < 0)) << c.a.GetLength() << " " << c.b.GetLength();
  }
  // Truth and number come from element 0.
  EXPECT_FALSE(static_cast<bool>(ArrayOf({})));
  EXPECT_TRUE(static_cast<bool>(ArrayOf({3, 0})));
  EXPECT_FALSE(static_cast<bool>(ArrayOf({0, 3})));
  EXPECT_EQ(3.0, static_cast<double>(ArrayOf({3, 4})));
}

TEST(Array, TwoDimensionalWritesSkipEqualValuesAndAvoidRowCopies) {
  VarData grid;
  grid.SetElement(1, 2, VarData(7));
  EXPECT_EQ(2u, grid.GetLength());
  EXPECT_EQ(3u, grid.GetElement(1).GetLength());
  // Writing an equal value keeps a shared array shared.
  const VarData other = grid;
  grid.SetElement(1, 2, VarData(7.0));
  EXPECT_EQ(grid.getGuts(), other.getGuts());
  grid.SetElement(1, 2, VarData(8));
  EXPECT_EQ(VarData(7), other.GetElement(1, 2));
  EXPECT_EQ(VarData(8), grid.GetElement(1, 2));
  // The row held by an unshared grid is changed in place, not copied.
  IVarDataGuts* row = grid.GetElement(1).getGuts();
  grid.SetElement(1, 0, VarData(5));
  const VarData held = grid.GetElement(1);
  EXPECT_EQ(row, held.getGuts());
  EXPECT_EQ(2, CountOf(row));  // the grid's reference and `held`
  EXPECT_EQ(VarData(5), held.GetElement(0));
}

TEST(TimeValue, ExactValuesRoundTripAndNeverConvertBetweenTheTwoKinds) {
  const AbsTime when(123456789.0, 0.125);
  AbsTime abs(7.0, 0.0);
  RelTime rel;
  const VarData duration(RelTime(-2.0, 0.5));
  EXPECT_FALSE(duration.getAbsTime(abs));
  EXPECT_TRUE(abs == AbsTime(7.0, 0.0));
  ASSERT_TRUE(duration.getRelTime(rel));
  EXPECT_EQ(-1.5, static_cast<double>(rel.value()));
  EXPECT_EQ(-1.5, static_cast<double>(duration));

  VarData v(1.0);
  v.setAbsTime(when);
  EXPECT_FALSE(v.getRelTime(rel));
  ASSERT_TRUE(v.getAbsTime(abs));
  EXPECT_TRUE(abs == when);
  v.setRelTime(RelTime(3.0, 0.0));
  EXPECT_EQ(0x1010u, v.getTypeWord());
  EXPECT_EQ(1, CountOf(v.getGuts()));
  long long ns = 0;
  EXPECT_FALSE(v.GetTime(ns));  // not an inline time
}

TEST(TimeValue, TruthOrderAndInterfaces) {
  EXPECT_FALSE(static_cast<bool>(VarData(RelTime())));
  // -2^-64 s, the smallest step below zero, is true.
  EXPECT_TRUE(static_cast<bool>(VarData(RelTime(nZOSS100::tSignedFixedPoint128::FromWords(
      0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu)))));
  EXPECT_EQ(-1, VarData(AbsTime(1.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));
  EXPECT_EQ(1, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(1.0, 0.0))));
  EXPECT_EQ(0, VarData(AbsTime(2.0, 0.0)).Compare(VarData(AbsTime(2.0, 0.0))));

  const VarData t(AbsTime(5.0, 0.0));
  void* itf = nullptr;
  ASSERT_EQ(kGutsOk, t.getGuts()->QueryInterface(IID_IVarDataSSTimeValue, &itf));
  auto* value = static_cast<IVarDataSSTimeValue*>(itf);
  EXPECT_TRUE(value->getTimeValue() == AbsTime(5.0, 0.0));
  EXPECT_TRUE(value->getRelTime().value() == value->getAbsTime().value());
  value->Release();
}

}  // namespace
