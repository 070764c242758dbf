#include <gtest/gtest.h>

#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo_kel_test::ArrayOf;
using zo_kel_test::CountOf;

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

}  // namespace
