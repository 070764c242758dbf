#include "qmstatic/vardata/VarData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "kel/StringBase.h"

namespace {

// The count of a guts object, read without changing it.
std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

TEST(VarData, HandleIsThreeWordsWithTypeWordFirst) {
  EXPECT_EQ(12u, sizeof(VarData));
  const VarData v = VarData::num(2.5, VarData::kInt16);
  std::uint32_t words[3];
  std::memcpy(words, &v, sizeof words);
  EXPECT_EQ(0x00020003u, words[0]);
  double d;
  std::memcpy(&d, &words[1], sizeof d);
  EXPECT_EQ(2.5, d);
}

TEST(VarData, ConstructionGivesKindsAndPayloads) {
  EXPECT_EQ(0x1u, VarData().getTypeWord());
  EXPECT_EQ(0x2u, VarData(true).getTypeWord());
  EXPECT_EQ(0x3u, VarData(7).getTypeWord());
  EXPECT_EQ(0x3u, VarData(7.25).getTypeWord());
  EXPECT_EQ(0x4u, VarData(5LL).getTypeWord());
  EXPECT_EQ(11u, VarData::pulse().getTypeWord());
  EXPECT_EQ(8u, VarData::brake().getTypeWord());
  EXPECT_EQ(0x00080003u, VarData::bitArray(5).getTypeWord());
  EXPECT_EQ(0x00070003u, VarData::num(1.0, 7).getTypeWord());

  // Empty texts and null pointers make the empty string: the kind with a null guts pointer.
  for (const VarData& v : {VarData(""), VarData(static_cast<const char*>(nullptr)),
                           VarData::ansi("abc", 0), VarData::ansi(nullptr, 3)}) {
    EXPECT_EQ(VarData::kAnsi, v.getTypeWord());
    EXPECT_EQ(nullptr, v.getGuts());
  }
  for (const VarData& v :
       {VarData(L""), VarData(static_cast<const wchar_t*>(nullptr)), VarData(zo::kel::WString())}) {
    EXPECT_EQ(VarData::kUnicode, v.getTypeWord());
    EXPECT_EQ(nullptr, v.getGuts());
  }
  const unsigned char bytes[] = {1, 2};
  EXPECT_EQ(nullptr, VarData(bytes, 0).getGuts());
  EXPECT_EQ(nullptr, VarData(static_cast<const unsigned char*>(nullptr), 2).getGuts());
  EXPECT_NE(nullptr, VarData(bytes, 2).getGuts());
  EXPECT_EQ(VarData::kCell, VarData(0, 0, VarData()).getTypeWord());
  EXPECT_EQ(nullptr, VarData(0, 0, VarData()).getGuts());
  EXPECT_NE(nullptr, VarData(0, 1, VarData()).getGuts());
  EXPECT_NE(nullptr, VarData(0, 0, VarData(1)).getGuts());

  // Strings made from StringBase keep their full length, embedded NULs included.
  const VarData embedded(zo::kel::AString("a\0b", 3));
  EXPECT_EQ(3u, embedded.getIAnsi()->GetLength());
  EXPECT_EQ(2u, VarData::ansi("abc", 2).getIAnsi()->GetLength());
  EXPECT_STREQ(L"ab", VarData::unicode(L"abc", 2).getIUnicode()->GetData());
}

TEST(VarData, TypedGettersAnswerOnlyTheirKind) {
  bool b = false;
  double d = -1;
  long long t = -1;
  unsigned long long ft = 0, id = 0;
  EXPECT_TRUE(VarData(true).GetLogical(b));
  EXPECT_TRUE(b);
  EXPECT_FALSE(VarData(1.0).GetLogical(b));
  EXPECT_TRUE(VarData::num(3.5, 5).GetNumeric(d));
  EXPECT_EQ(3.5, d);
  EXPECT_FALSE(VarData(true).GetNumeric(d));
  EXPECT_EQ(3.5, d);  // untouched by the failed call

  const VarData time(static_cast<long long>(0x0123456789ABCDEFLL));
  EXPECT_TRUE(time.GetTime(t));
  EXPECT_TRUE(time.GetFILETIME(ft));
  EXPECT_EQ(0x0123456789ABCDEFLL, t);
  EXPECT_EQ(0x0123456789ABCDEFULL, ft);
  EXPECT_FALSE(VarData(1.0).GetTime(t));
  EXPECT_FALSE(VarData(1.0).GetFILETIME(ft));

  VarData ident;
  ident.setID64(0xFEDCBA9876543210ULL);
  EXPECT_TRUE(ident.getID64(id));
  EXPECT_EQ(0xFEDCBA9876543210ULL, id);
  EXPECT_FALSE(time.getID64(id));
  EXPECT_TRUE(VarData::pulse().IsPulse());
  EXPECT_FALSE(VarData::brake().IsPulse());
}

TEST(VarData, WrongTypeAccessThrowsAndLeavesTheHandle) {
  const VarData v(1.5);
  try {
    v.getVoidPointer();
    FAIL() << "no TypeErrorException";
  } catch (const TypeErrorException& e) {
    EXPECT_STREQ("VarData type error", e.what());
  }
  EXPECT_EQ(1.5, static_cast<double>(v));
  EXPECT_THROW(v.throwIfWrongType(VarData::kAnsi), TypeErrorException);
  // The qualifier takes no part in the kind test.
  EXPECT_NO_THROW(VarData::num(1, 3).throwIfWrongType(VarData::kNumeric));
  EXPECT_STREQ("VarData key error", KeyErrorException().what());
  EXPECT_STREQ("VarData deserialization error", DeserializationErrorException().what());
}

TEST(VarData, VoidPointerSetterChangesOnlyThePointerOfAVoidPointer) {
  int a = 0, b = 0;
  VarData v("text");
  v.setVoidPointer(&a);
  EXPECT_EQ(VarData::kVoidPointer, v.getTypeWord());
  EXPECT_EQ(&a, v.getVoidPointer());
  v.setVoidPointer(&b);
  EXPECT_EQ(VarData::kVoidPointer, v.getTypeWord());
  EXPECT_EQ(&b, v.getVoidPointer());
  EXPECT_TRUE(static_cast<bool>(v));
  v.setVoidPointer(nullptr);
  EXPECT_FALSE(static_cast<bool>(v));
}

TEST(VarData, NotFlipsOnlyLogicals) {
  VarData v(true);
  v.Not();
  EXPECT_EQ(VarData(false), v);
  v.Not();
  EXPECT_EQ(VarData(true), v);
  VarData n(5.0);
  n.Not();
  EXPECT_EQ(0x3u, n.getTypeWord());
  EXPECT_EQ(5.0, static_cast<double>(n));
}

TEST(VarData, AssignmentsReplaceKindAndReleaseTheOldGuts) {
  VarData owner("held");
  IVarDataGuts* guts = owner.getGuts();
  VarData copy(owner);
  EXPECT_EQ(2, CountOf(guts));
  copy = 3;
  EXPECT_EQ(0x3u, copy.getTypeWord());
  EXPECT_EQ(1, CountOf(guts));
  copy = true;
  EXPECT_EQ(0x2u, copy.getTypeWord());
  copy = 9LL;
  EXPECT_EQ(0x4u, copy.getTypeWord());
  copy = "x";
  EXPECT_EQ(VarData::kAnsi, copy.getTypeWord());
  copy = L"y";
  EXPECT_EQ(VarData::kUnicode, copy.getTypeWord());
  const unsigned char bytes[] = {9};
  copy.SetRaw(bytes, 1);
  EXPECT_EQ(VarData::kRaw, copy.getTypeWord());
  copy.setBitArray32(6);
  EXPECT_EQ(0x00080003u, copy.getTypeWord());
  copy.Pulse();
  EXPECT_EQ(11u, copy.getTypeWord());
  copy.Break();
  EXPECT_EQ(8u, copy.getTypeWord());
  copy.Clear();
  EXPECT_EQ(1u, copy.getTypeWord());
  EXPECT_EQ(0u, copy.getPayloadBits());

  VarData a(1.0), b("two");
  a.swap(b);
  EXPECT_EQ(VarData::kAnsi, a.getTypeWord());
  EXPECT_EQ(1.0, static_cast<double>(b));

  VarData moved(std::move(a));
  EXPECT_EQ(VarData::kAnsi, moved.getTypeWord());
  EXPECT_EQ(VarData::kEmpty, a.getTypeWord());  // NOLINT(bugprone-use-after-move)
}

TEST(VarData, SelfAndOwnedAssignmentKeepTheSourceAlive) {
  VarData v("self");
  IVarDataGuts* guts = v.getGuts();
  VarData& same = v;
  v = same;
  EXPECT_EQ(1, CountOf(guts));
  v.assign(v);
  EXPECT_EQ(VarData("self"), v);

  // The element lives only inside the dictionary that the handle itself holds.
  VarData d = VarData::dict();
  d.setValue("k", VarData("only inside the dictionary"));
  d = d["k"];
  EXPECT_EQ(VarData::kAnsi, d.getTypeWord());
  EXPECT_STREQ("only inside the dictionary", d.getIAnsi()->GetData());
  EXPECT_EQ(1, CountOf(d.getGuts()));

  // The same through a move out of the dictionary's own slot.
  VarData e = VarData::dict();
  e.setValue(1, VarData(L"moved"));
  e = std::move(e[1]);
  EXPECT_STREQ(L"moved", e.getIUnicode()->GetData());
}

TEST(VarData, BitArraysClampBeforeFlooring) {
  std::uint32_t bits = 0;
  EXPECT_TRUE(VarData::bitArray(0xDEADBEEFu).getBitArray32(bits));
  EXPECT_EQ(0xDEADBEEFu, bits);
  EXPECT_FALSE(VarData(5.0).getBitArray32(bits));  // qualifier 0 is not a bit array
  EXPECT_EQ(0xDEADBEEFu, bits);
  EXPECT_EQ(0u, VarData(-1.0).getBitArray32Fast());
  EXPECT_EQ(0xFFFFFFFFu, VarData(std::nan("")).getBitArray32Fast());
  EXPECT_EQ(0xFFFFFFFFu, VarData(1e300).getBitArray32Fast());
  EXPECT_EQ(3u, VarData(3.9).getBitArray32Fast());
  EXPECT_EQ(4294967294u, VarData(4294967294.5).getBitArray32Fast());

  const VarData orred = VarData::bitArray(5) | VarData(2.7);
  EXPECT_EQ(0x00080003u, orred.getTypeWord());
  EXPECT_EQ(7u, orred.getBitArray32Fast());
  EXPECT_EQ(4u, (VarData::bitArray(6) & VarData::bitArray(12)).getBitArray32Fast());
  EXPECT_EQ(10u, (VarData::bitArray(6) ^ VarData::bitArray(12)).getBitArray32Fast());
  EXPECT_EQ(0xFFFFFFFAu, (~VarData::bitArray(5)).getBitArray32Fast());
  // Other kinds are coerced through their number: true is 1, "12" is 12.
  EXPECT_EQ(13u, (VarData(true) | VarData("12")).getBitArray32Fast());

  VarData v = VarData::bitArray(1);
  v |= VarData::bitArray(4);
  EXPECT_EQ(5u, v.getBitArray32Fast());
  v &= VarData::bitArray(4);
  EXPECT_EQ(4u, v.getBitArray32Fast());
  v ^= VarData::bitArray(6);
  EXPECT_EQ(2u, v.getBitArray32Fast());
  const VarData text("9");
  EXPECT_EQ(9u, text.getBitArrayUint32WithCoercion());
  EXPECT_EQ(VarData::kAnsi, text.getTypeWord());  // worked on a copy
}

TEST(VarData, CopiesShareGutsAndReleaseRestoresCounts) {
  const VarData original("shared text");
  IVarDataGuts* guts = original.getGuts();
  EXPECT_EQ(1, CountOf(guts));
  EXPECT_FALSE(IsShared(guts));
  {
    VarData a(original);
    VarData b;
    b = a;
    EXPECT_EQ(guts, b.getGuts());
    EXPECT_EQ(3, CountOf(guts));
    EXPECT_TRUE(IsShared(guts));
    b.Release();
    EXPECT_EQ(VarData::kAnsi, b.getTypeWord());  // the kind stays, the pointer goes
    EXPECT_EQ(nullptr, b.getGuts());
    EXPECT_EQ(2, CountOf(guts));
  }
  EXPECT_EQ(1, CountOf(guts));
  // Strings are immutable and stay shared through unshare.
  VarData c(original);
  c.unshare();
  EXPECT_EQ(guts, c.getGuts());
}

}  // namespace
