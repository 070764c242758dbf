#include "kel/Vector.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "kel/StringBase.h"
#include "kel/exception.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"

// Every instance the library uses compiles completely.
template class zo::kel::Vector<unsigned char>;
template class zo::kel::Vector<unsigned short>;
template class zo::kel::Vector<signed char>;
template class zo::kel::Vector<short>;
template class zo::kel::Vector<std::int32_t>;
template class zo::kel::Vector<std::uint32_t>;
template class zo::kel::Vector<float>;
template class zo::kel::Vector<double>;
template class zo::kel::Vector<bool>;
template class zo::kel::Vector<zo::kel::AString>;

namespace {

using zo::kel::Vector;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::RefuseAllocationsFrom;
using zo_kel_test::ToHex;

template <typename T>
Vector<T> Of(std::initializer_list<T> values) {
  return Vector<T>(values.begin(), values.end());
}

// An element that counts its live instances and whose construction can be made to fail: when
// g_constructionsLeft reaches 0 the next construction (default or copy) throws.
int g_live = 0;
int g_constructionsLeft = -1;
struct Tracked {
  int value;
  Tracked() : value(0) { Born(); }
  explicit Tracked(int v) : value(v) { Born(); }
  Tracked(const Tracked& other) : value(other.value) { Born(); }
  Tracked& operator=(const Tracked&) = default;
  ~Tracked() { --g_live; }
  bool operator<(const Tracked& other) const { return value < other.value; }
  bool operator==(const Tracked& other) const { return value == other.value; }
  static void Born() {
    if (g_constructionsLeft == 0) throw std::runtime_error("construction refused");
    if (g_constructionsLeft > 0) --g_constructionsLeft;
    ++g_live;
  }
};

template <typename T>
std::vector<int> Values(const Vector<T>& v) {
  std::vector<int> out;
  for (const T& x : v) out.push_back(static_cast<int>(x.value));
  return out;
}

template <typename T>
class VectorOfNumbers : public testing::Test {};
using NumberTypes = testing::Types<unsigned char, unsigned short, signed char, short, std::int32_t,
                                   std::uint32_t, float, double, bool>;
TYPED_TEST_SUITE(VectorOfNumbers, NumberTypes, );

TYPED_TEST(VectorOfNumbers, ExactCapacities) {
  using T = TypeParam;
  EXPECT_EQ(nullptr, Vector<T>(0u).begin());

  {  // leave non-zero bytes where the next block is likely to come from
    Vector<T> dirty(3);
    std::memset(static_cast<void*>(dirty.begin()), 0x01, 3 * sizeof(T));
  }
  const Vector<T> zeros(3);
  EXPECT_EQ(3u, zeros.capacity());
  for (const T& x : zeros) EXPECT_EQ(T(), x);

  Vector<T> v = Of<T>({T(1), T(0), T(1)});
  EXPECT_EQ(3u, v.capacity());
  v.resize(5, T(7));
  EXPECT_EQ(5u, v.capacity());
  EXPECT_TRUE(v == Of<T>({T(1), T(0), T(1), T(7), T(7)}));
  v.resize(2);
  v.resize(2);
  EXPECT_EQ(5u, v.capacity());  // the block is kept
  EXPECT_TRUE(v == Of<T>({T(1), T(0)}));
}

TEST(Vector, LexicographicOrderAndEquality) {
  using V = Vector<unsigned short>;
  const struct {
    V a, b;
    bool less, greater;
  } rows[] = {
      {Of<unsigned short>({1, 2}), Of<unsigned short>({1, 2, 0}), true, false},
      {Of<unsigned short>({1, 3}), Of<unsigned short>({1, 2, 9}), false, true},
      {Of<unsigned short>({4, 5}), Of<unsigned short>({4, 5}), false, false},
      {Of<unsigned short>({4, 5}), Of<unsigned short>({4, 6}), true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.a.size() << " " << row.b.size() << " " << row.less);
    EXPECT_EQ(row.less, row.a < row.b);
    EXPECT_EQ(row.greater, row.b < row.a);
    EXPECT_EQ(!row.less && !row.greater, row.a == row.b);
  }
  // Elements compare by their own order: locale strings ignore case.
  using zo::kel::AString;
  EXPECT_TRUE(Of<AString>({AString("ABC")}) == Of<AString>({AString("abc")}));
  EXPECT_TRUE(Of<AString>({AString("abc")}) < Of<AString>({AString("ABD")}));
}

TEST(Vector, CopiesAreDeepAndExactMovesTakeTheStorage) {
  Vector<unsigned char> a = Of<unsigned char>({1, 2, 3, 4, 5});
  a.resize(2);
  Vector<unsigned char> b(a);
  EXPECT_NE(a.begin(), b.begin());
  EXPECT_EQ(2u, b.capacity());
  Vector<unsigned char> c;
  c = a;
  const Vector<unsigned char>& self = c;
  c = self;
  EXPECT_TRUE(c == a);

  const unsigned char* const block = a.begin();
  Vector<unsigned char> d(std::move(a));
  EXPECT_EQ(block, d.begin());
  EXPECT_EQ(5u, d.capacity());
  EXPECT_EQ(nullptr, a.begin());  // NOLINT: moved-from state is documented
  c = std::move(d);
  EXPECT_EQ(block, c.begin());
  EXPECT_EQ(0u, d.size());  // NOLINT
}

TEST(Vector, PushBackGrowsByExactlyOneElement) {
  {
    Vector<Tracked> v;
    for (int i = 1; i <= 3; ++i) {
      v.push_back(Tracked(i));
      EXPECT_EQ(static_cast<std::uint32_t>(i), v.capacity());
    }
    v.push_back(v[0]);  // an element of the vector itself
    EXPECT_EQ((std::vector<int>{1, 2, 3, 1}), Values(v));
    v.resize(2);
    v.push_back(Tracked(8));  // room left: no new block
    EXPECT_EQ(4u, v.capacity());
    EXPECT_EQ((std::vector<int>{1, 2, 8}), Values(v));
    EXPECT_EQ(3, g_live);
  }
  EXPECT_EQ(0, g_live);

  // Elements that move without throwing are moved into the new block.
  Vector<std::string> s;
  s.push_back(std::string(100, 'x'));
  s.push_back(s[0]);
  EXPECT_EQ(std::string(100, 'x'), s[1]);
  EXPECT_EQ(s[0], s[1]);
}

TEST(Vector, FailedConstructionLeavesTheVectorUnchanged) {
  {
    Vector<Tracked> v;
    for (int i = 1; i <= 3; ++i) v.push_back(Tracked(i));
    const Tracked* const block = v.begin();
    // Fails copying the new element, then copying the second old one.
    for (int left : {0, 2}) {
      g_constructionsLeft = left;
      EXPECT_THROW(v.push_back(Tracked(-1)), std::runtime_error);
      g_constructionsLeft = -1;
      EXPECT_EQ(block, v.begin());
      EXPECT_EQ((std::vector<int>{1, 2, 3}), Values(v));
      EXPECT_EQ(3, g_live);
    }
    {
      RefuseAllocationsFrom hook(0);
      EXPECT_THROW(v.push_back(Tracked(-1)), std::bad_alloc);
      EXPECT_THROW(v.resize(9), std::bad_alloc);
    }
    g_constructionsLeft = 5;  // the fill value and 3 copies of it, then 1 of 3 old elements
    EXPECT_THROW(v.resize(6, Tracked(5)), std::runtime_error);
    g_constructionsLeft = -1;
    Vector<Tracked> target = Of<Tracked>({Tracked(9)});
    g_constructionsLeft = 1;
    EXPECT_THROW(target = v, std::runtime_error);
    EXPECT_EQ((std::vector<int>{9}), Values(target));
    g_constructionsLeft = 2;
    EXPECT_THROW(Vector<Tracked>(4), std::runtime_error);
    g_constructionsLeft = -1;
    EXPECT_EQ(block, v.begin());
    EXPECT_EQ((std::vector<int>{1, 2, 3}), Values(v));
    EXPECT_EQ(4, g_live);
  }
  EXPECT_EQ(0, g_live);
  // Locale strings are copied when the block grows: a refused copy leaves them as they were.
  Vector<zo::kel::AString> strings;
  strings.push_back(zo::kel::AString(5000u, 'L'));
  {
    RefuseAllocationsFrom hook(4000);
    EXPECT_THROW(strings.push_back(zo::kel::AString("d")), std::bad_alloc);
  }
  EXPECT_EQ(5000u, strings[0].size());
}

TEST(Vector, SerializedBytes) {
  const auto image = [](const auto& v) {
    Bytes out(v.serializationSize() + 1, 0xEE);
    unsigned char* pos = out.data();
    v.serialize(pos, out.data() + out.size());
    EXPECT_EQ(v.serializationSize(), static_cast<std::uint32_t>(pos - out.data()));
    return out;
  };
  EXPECT_EQ("00 00 00 00 EE", ToHex(image(Vector<unsigned char>())));
  EXPECT_EQ("02 00 00 00 34 12 CD AB EE", ToHex(image(Of<unsigned short>({0x1234, 0xABCD}))));

  // One byte too few: the cursor primitive's error, nothing written.
  Bytes out(7, 0xEE);
  unsigned char* pos = out.data();
  EXPECT_KEL_THROW_AT(Of<unsigned short>({1, 2}).serialize(pos, out.data() + 7), BufferOverflow,
                      -1967362025, "Buffer overflowed", "little_endian", 111);
  EXPECT_EQ(out.data(), pos);
  EXPECT_EQ("EE EE EE EE EE EE EE", ToHex(out));

  const Bytes in = Hex("02 00 00 00 34 12 CD AB  00 00 00 00");
  const unsigned char* cursor = in.data();
  Vector<unsigned short> read = Of<unsigned short>({7});
  read.deserialize(cursor, in.data() + in.size());
  EXPECT_TRUE(read == Of<unsigned short>({0x1234, 0xABCD}));
  EXPECT_EQ(2u, read.capacity());
  read.deserialize(cursor, in.data() + in.size());
  EXPECT_EQ(0u, read.size());
  EXPECT_EQ(in.data() + in.size(), cursor);
}

TEST(Vector, ShortOrHostileInputIsRejectedBeforeAllocating) {
  const char* const images[] = {
      "03 00 00 00 01 00 02 00 03",  // the third element is cut short
      "01 00",                       // the count itself is cut short
  };
  Vector<unsigned short> v = Of<unsigned short>({5, 6});
  const unsigned short* const block = v.begin();
  for (const char* text : images) {
    SCOPED_TRACE(text);
    const Bytes in = Hex(text);
    const unsigned char* pos = in.data();
    RefuseAllocationsFrom hook(~0ull);
    EXPECT_KEL_THROW_AT(v.deserialize(pos, in.data() + in.size()), DeserializationError,
                        -1967362028, "Failed to deserialize", "little_endian", 124);
    EXPECT_EQ(0, hook.Requests());
    EXPECT_EQ(in.data(), pos);
    EXPECT_EQ(block, v.begin());
    EXPECT_TRUE(v == Of<unsigned short>({5, 6}));
  }
  // A valid image when memory is exhausted: nothing changes either.
  const Bytes valid = Hex("01 00 00 00 09 00");
  const unsigned char* pos = valid.data();
  {
    RefuseAllocationsFrom hook(0);
    EXPECT_THROW(v.deserialize(pos, valid.data() + valid.size()), std::bad_alloc);
  }
  EXPECT_EQ(valid.data(), pos);
  EXPECT_EQ(block, v.begin());
}

TEST(Vector, SizesBeyondFourGibibytesAreRefusedBeforeAllocating) {
  RefuseAllocationsFrom hook(0);
  EXPECT_THROW(Vector<double>(0x20000000u), std::bad_alloc);  // 4 GiB
  EXPECT_THROW(Vector<unsigned char>(0xFFFFFFFFu), std::bad_alloc);
  Vector<unsigned short> v;
  EXPECT_THROW(v.resize(0x80000000u), std::bad_alloc);
  EXPECT_EQ(0, hook.Requests());
  // The largest block whose serialized form still fits 32 bits is asked for.
  EXPECT_THROW(Vector<unsigned char>(0xFFFFFFFBu), std::bad_alloc);
  EXPECT_EQ(1, hook.Requests());
  EXPECT_EQ(0xFFFFFFFBull, hook.LastRequest());
}

}  // namespace
