#include "kel/StringBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "kel/exception.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"
#include "support/ScopedLocale.h"

namespace {

using zo::kel::AsciiString;
using zo::kel::AString;
using zo::kel::npos;
using zo::kel::WString;
using zo::kel::exception::BoundExceeded2;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo::kel::exception::Exception;
using zo::kel::exception::InvalidSequence;
using zo::kel::exception::OutOfRange2;
using zo::kel::exception::SyntaxError;
using zo_kel_test::Hex;
using zo_kel_test::RefuseAllocationsFrom;
using zo_kel_test::ToHex;
using Sizes = std::vector<unsigned long long>;

// Allocations are recorded but none is refused.
constexpr unsigned long long kNoLimit = ~0ull;

constexpr std::int32_t kRangeCode = static_cast<std::int32_t>(0x8ABC7007u);
constexpr const char* kOutOfRange = "Out of range: String offset out of range";
constexpr const char* kTooLarge =
    "A request was made that would exceed the bounds: Resulting string too large";

// Text of character type C from ASCII, embedded NULs kept.
template <typename C>
std::basic_string<C> Txt(const char* ascii, std::size_t n) {
  return std::basic_string<C>(ascii, ascii + n);
}
template <typename C, std::size_t N>
std::basic_string<C> Txt(const char (&ascii)[N]) {
  return Txt<C>(ascii, N - 1);
}
template <typename S>
S Make(const std::basic_string<typename S::value_type>& text) {
  return S(text.data(), static_cast<unsigned>(text.size()));
}
template <typename S>
std::basic_string<typename S::value_type> Std(const S& s) {
  return std::basic_string<typename S::value_type>(s.begin(), s.end());
}

// The sizes of the allocations `op` asks for; those of `refuseFrom` bytes and more fail.
template <typename Op>
Sizes AllocationsOf(Op op, unsigned long long refuseFrom = kNoLimit) {
  RefuseAllocationsFrom log(refuseFrom);
  op();
  return log.Sizes();
}

template <typename S>
class StringTest : public ::testing::Test {};
using Instances = ::testing::Types<AsciiString, AString, WString>;
TYPED_TEST_SUITE(StringTest, Instances, );

TYPED_TEST(StringTest, ConstructorsCopyExactlyAndTerminate) {
  using S = TypeParam;
  using C = typename S::value_type;
  using O = std::conditional_t<std::is_same<C, char>::value, wchar_t, char>;
  EXPECT_TRUE(S(static_cast<const C*>(nullptr)).empty());
  EXPECT_TRUE(S(static_cast<const O*>(nullptr)).empty());

  const auto withNul = Txt<C>("a\0b\0", 4);
  const auto counted = [&withNul] {
    const S s(withNul.data(), 4u);
    EXPECT_EQ(withNul, Std(s));
    EXPECT_EQ(C(), s[4]);
    EXPECT_TRUE(s.hasEmbeddedNull());
    const S copy(s);
    EXPECT_EQ(withNul, Std(copy));
  };
  // Length + 1 for each, no spare room.
  EXPECT_EQ((Sizes{5u * sizeof(C), 5u * sizeof(C)}), AllocationsOf(counted));
  const S abc(Txt<C>("abc").c_str());
  EXPECT_FALSE(abc.hasEmbeddedNull());
  EXPECT_EQ(Txt<C>("a\0b", 3), Std(S(withNul.data(), withNul.data() + 3)));
  EXPECT_EQ(Txt<C>("xxx"), Std(S(3u, C('x'))));
  EXPECT_EQ(Txt<C>("b"), Std(S(abc, 1, 1)));
  EXPECT_EQ(Txt<C>("bc"), Std(S(abc, 1, 7)));
  EXPECT_EQ(Txt<C>("abca\0b\0", 7), Std(S(abc, Make<S>(withNul))));
  EXPECT_KEL_THROW(S(abc, 4), OutOfRange2, kRangeCode, kOutOfRange);
}

TYPED_TEST(StringTest, GrowsToTwiceTheNeedOrExactlyTheNeedWhenRefused) {
  using S = TypeParam;
  using C = typename S::value_type;
  const unsigned w = sizeof(C);
  S s(Txt<C>("0123456789").c_str());
  EXPECT_EQ((Sizes{23u * w}), AllocationsOf([&] { s += C('a'); }));  // 11 needed: capacity 22
  EXPECT_EQ(Sizes{}, AllocationsOf([&] { s.append(11u, C('b')); }));
  // Doubling refused: capacity 23, so the next character grows again.
  EXPECT_EQ((Sizes{47u * w, 24u * w}), AllocationsOf([&] { s += C('c'); }, 47u * w));
  EXPECT_EQ((Sizes{49u * w}), AllocationsOf([&] { s += C('d'); }));
  const C* block = s.c_str();
  AllocationsOf([&] { EXPECT_THROW(s.append(30u, C('z')), std::bad_alloc); }, 0);
  EXPECT_EQ(block, s.c_str());
  EXPECT_EQ(Txt<C>("0123456789abbbbbbbbbbbcd"), Std(s));
  // Swapping exchanges the room with the text.
  S other(Txt<C>("x").c_str());
  s.swap(other);
  EXPECT_EQ(Sizes{}, AllocationsOf([&] { other += C('e'); }));
  EXPECT_EQ((Sizes{5u * w}), AllocationsOf([&] { s += C('f'); }));  // 2 needed: capacity 4
  EXPECT_EQ(Txt<C>("xf"), Std(s));
}

TYPED_TEST(StringTest, AssignmentResizesExactlyAndToleratesItsOwnText) {
  using S = TypeParam;
  using C = typename S::value_type;
  const unsigned w = sizeof(C);
  S s(Txt<C>("abcdefgh").c_str());
  const C* block = s.c_str();
  const S four(Txt<C>("wxyz").c_str());
  const S nine(Txt<C>("ABCDEFGHI").c_str());
  const auto keepsTheBlock = [&] {
    S& alias = s;
    s = alias;
    s = s.c_str();
    s = four;  // half the capacity: block kept
  };
  EXPECT_EQ(Sizes{}, AllocationsOf(keepsTheBlock));
  EXPECT_EQ(block, s.c_str());
  EXPECT_EQ(Txt<C>("wxyz"), Std(s));
  const S three(Txt<C>("123").c_str());
  // Below half of 8: shrunk; then grown to exactly nine.
  EXPECT_EQ((Sizes{4u * w, 10u * w}), AllocationsOf([&] {
              s = three;
              s = nine;
            }));
  s = s.c_str() + 6;  // shrinking from its own text
  EXPECT_EQ(Txt<C>("GHI"), Std(s));
  AllocationsOf([&] { EXPECT_THROW(s = nine, std::bad_alloc); }, 0);
  EXPECT_EQ(Txt<C>("GHI"), Std(s));
  s.assign(Txt<C>("p\0q", 3).data(), 3u);
  EXPECT_EQ(Txt<C>("p\0q", 3), Std(s));
  s = static_cast<const C*>(nullptr);
  EXPECT_TRUE(s.empty());
}

TYPED_TEST(StringTest, AppendsEveryFormIncludingItsOwnText) {
  using S = TypeParam;
  using C = typename S::value_type;
  S s(Txt<C>("ab").c_str());
  s.append(S(Txt<C>("cd").c_str()));
  s.append(S(Txt<C>("xefx").c_str()), 1, 2);
  s.append(Txt<C>("gh").c_str());
  s.append(Txt<C>("ij\0k", 4).data(), 4u);
  s.append(2u, C('l'));
  s += C('m');
  s += Txt<C>("n").c_str();
  s += S(Txt<C>("o").c_str());
  EXPECT_EQ(Txt<C>("abcdefghij\0kllmno", 17), Std(s));

  const S x(Txt<C>("x").c_str());
  EXPECT_EQ(Txt<C>("xx"), Std(x + x));
  EXPECT_EQ(Txt<C>("xy"), Std(x + Txt<C>("y").c_str()));
  EXPECT_EQ(Txt<C>("yx"), Std(Txt<C>("y").c_str() + x));
  EXPECT_EQ(Txt<C>("xz"), Std(x + C('z')));

  // This grows the block while the source lies in the old one.
  S u(Txt<C>("0123456789").c_str());
  u.append(u, 5, 5);
  EXPECT_KEL_THROW(u.append(x, 2, 1), OutOfRange2, kRangeCode, kOutOfRange);
  EXPECT_EQ(Txt<C>("012345678956789"), Std(u));
}

TYPED_TEST(StringTest, OversizedResultsAreRefusedBeforeAnyAllocation) {
  using S = TypeParam;
  using C = typename S::value_type;
  // The longest string: its block, terminator included, must fit 4 GiB.
  const unsigned maxLength = sizeof(C) == 1 ? 0xFFFFFFFEu : 0x3FFFFFFEu;
  S s(Txt<C>("ab").c_str());
  RefuseAllocationsFrom log(kNoLimit);
  EXPECT_KEL_THROW(s.append(maxLength - 1u, C('x')), BoundExceeded2, kRangeCode, kTooLarge);
  EXPECT_KEL_THROW(s.append(npos, C('x')), BoundExceeded2, kRangeCode, kTooLarge);
  EXPECT_KEL_THROW(s.resize(npos), BoundExceeded2, kRangeCode, kTooLarge);
  EXPECT_KEL_THROW(S(maxLength + 1u, C('x')), BoundExceeded2, kRangeCode, kTooLarge);
  EXPECT_TRUE(log.Sizes().empty());
  EXPECT_EQ(Txt<C>("ab"), Std(s));
}

TYPED_TEST(StringTest, OrdersIgnoreCaseExceptExactCompare) {
  using S = TypeParam;
  using C = typename S::value_type;
  // {a, b, sign of compare, sign of exactCompare}; embedded NULs take part in every order.
  const struct {
    std::basic_string<C> a, b;
    int order, exact;
  } rows[] = {{Txt<C>("abc"), Txt<C>("ABC"), 0, 1},          {Txt<C>("abc"), Txt<C>("ABD"), -1, 1},
              {Txt<C>("ab"), Txt<C>("abc"), -1, -1},         {Txt<C>("abc"), Txt<C>("abc"), 0, 0},
              {Txt<C>("a\0b", 3), Txt<C>("a\0C", 3), -1, 1}, {Txt<C>("a\0b", 3), Txt<C>("a"), 1, 1},
              {Txt<C>("a\0b", 3), Txt<C>("a\0c", 3), -1, -1}};
  const auto sign = [](int v) { return (v > 0) - (v < 0); };
  for (const auto& row : rows) {
    const S a = Make<S>(row.a), b = Make<S>(row.b);
    SCOPED_TRACE(::testing::Message() << row.a.size() << " " << row.b.size() << " " << row.order);
    EXPECT_EQ(row.order, sign(a.compare(b)));
    EXPECT_EQ(row.exact, sign(a.exactCompare(b)));
    EXPECT_EQ(row.order == 0, a == b);
    EXPECT_EQ(row.order != 0, a != b);
    EXPECT_EQ(row.order < 0, a < b);
    EXPECT_EQ(row.order > 0, a > b);
  }
  const S text(Txt<C>("xxABCyy").c_str());
  EXPECT_EQ(0, text.compare(2, 3, Txt<C>("abc").c_str(), 3));
  EXPECT_LT(text.compare(2, 3, Txt<C>("abd").c_str(), 3), 0);
  EXPECT_KEL_THROW(text.compare(8, 1, text.c_str(), 3), OutOfRange2, kRangeCode, kOutOfRange);
}

TYPED_TEST(StringTest, SearchesMeanWhatTheStandardStringsMean) {
  using S = TypeParam;
  using C = typename S::value_type;
  using Ref = std::basic_string<C>;
  const Ref hay = Txt<C>("abcabcXa\0c", 10);
  const S s = Make<S>(hay);
  // The standard string is the reference; its npos is mapped onto the library's.
  const auto pos = [](std::size_t p) { return p == Ref::npos ? npos : static_cast<unsigned>(p); };
  const Ref needles[] = {Ref(),        Txt<C>("a"),  Txt<C>("bc"), Txt<C>("ca"), Txt<C>("\0c", 2),
                         Txt<C>("zz"), Txt<C>("cX"), hay,          hay + C('!')};
  const unsigned starts[] = {0u, 1u, 3u, 4u, 9u, 10u, 11u, npos};
  // The same six searches for a string needle and for a character needle.
  const auto check = [&](const auto& ref, const auto& needle, unsigned start) {
    EXPECT_EQ(pos(hay.find(ref, start)), s.find(needle, start)) << start;
    EXPECT_EQ(pos(hay.rfind(ref, start)), s.rfind(needle, start)) << start;
    EXPECT_EQ(pos(hay.find_first_of(ref, start)), s.find_first_of(needle, start)) << start;
    EXPECT_EQ(pos(hay.find_first_not_of(ref, start)), s.find_first_not_of(needle, start));
    EXPECT_EQ(pos(hay.find_last_of(ref, start)), s.find_last_of(needle, start)) << start;
    EXPECT_EQ(pos(hay.find_last_not_of(ref, start)), s.find_last_not_of(needle, start));
  };
  for (const unsigned start : starts) {
    for (const Ref& n : needles) check(n, Make<S>(n), start);
    for (const C ch : {C('a'), C('c'), C(), C('z')}) check(ch, ch, start);
  }
  EXPECT_EQ(npos, S().rfind(C('a')));
}

TYPED_TEST(StringTest, EditsAndRangeChecksLeaveFailuresUnchanged) {
  using S = TypeParam;
  using C = typename S::value_type;
  const S hello(Txt<C>("hello").c_str());
  EXPECT_EQ(Txt<C>("el"), Std(hello.substr(1, 2)));
  EXPECT_EQ(Txt<C>("llo"), Std(hello.substr(2, npos)));
  EXPECT_EQ(Txt<C>("lo"), Std(hello.substr(3, 0xFFFFFFFEu)));
  EXPECT_TRUE(hello.substr(6, 2).empty());  // deliberately no range error

  C buf[6];
  std::fill(buf, buf + 6, C('Z'));
  EXPECT_EQ(3u, hello.copy(buf, 3, 1));
  EXPECT_EQ(Txt<C>("ellZZZ"), std::basic_string<C>(buf, 6));
  EXPECT_EQ(2u, hello.copy(buf, 9, 3));
  EXPECT_EQ(0u, hello.copy(buf, 1, 5));
  EXPECT_KEL_THROW(hello.copy(buf, 1, 6), OutOfRange2, kRangeCode, kOutOfRange);

  S s(hello);
  s.erase(1, 2);
  EXPECT_EQ(s.begin() + 1, s.erase(s.begin() + 1, s.begin() + 2));
  EXPECT_EQ(Txt<C>("ho"), Std(s));
  EXPECT_EQ(C(), s.c_str()[2]);
  s.erase(1);
  EXPECT_KEL_THROW(s.erase(2, 1), OutOfRange2, kRangeCode, kOutOfRange);
  EXPECT_EQ(Txt<C>("h"), Std(s));

  s = hello;
  s.replace(1, 3, S(Txt<C>("ipp").c_str()));
  s.replace(5, 9, S(Txt<C>("!!").c_str()));
  EXPECT_EQ(Txt<C>("hippo!!"), Std(s));
  s.replace(1, 4, S(Txt<C>("abcdef").c_str()), 2, 9);
  EXPECT_EQ(Txt<C>("hcdef!!"), Std(s));
  s.replace(1, 0, s);  // from its own text, growing
  EXPECT_KEL_THROW(s.replace(15, 0, hello), OutOfRange2, kRangeCode, kOutOfRange);
  EXPECT_KEL_THROW(s.replace(0, 1, hello, 6, 1), OutOfRange2, kRangeCode, kOutOfRange);
  EXPECT_EQ(Txt<C>("hhcdef!!cdef!!"), Std(s));

  s = hello;
  s.resize(7, C('-'));
  EXPECT_EQ(Txt<C>("hello--"), Std(s));
  s.resize(7);
  s.resize(2);
  s.resize(3);
  EXPECT_EQ(Txt<C>("he\0", 3), Std(s));
  s.freeString();
  EXPECT_EQ(nullptr, s.c_str());
}

// Writes text, checks its image, the room check and the read back into a non-empty string.
template <typename S>
void CheckImage(const std::basic_string<typename S::value_type>& text, const char* image) {
  SCOPED_TRACE(image);
  const S s = Make<S>(text);
  std::vector<unsigned char> buf(s.serializationSize() + 1u, 0xEE);
  unsigned char* cursor = buf.data();
  s.serialize(cursor, buf.data() + buf.size());
  EXPECT_EQ(image, ToHex(buf.data(), cursor - buf.data()));
  EXPECT_EQ(s.serializationSize(), static_cast<unsigned>(cursor - buf.data()));

  S back = Make<S>(Txt<typename S::value_type>("previous"));
  const unsigned char* in = buf.data();
  back.deserialize(in, buf.data() + buf.size());
  EXPECT_EQ(text, Std(back));
  EXPECT_EQ(cursor, in);

  unsigned char* out = buf.data();
  EXPECT_KEL_THROW(s.serialize(out, buf.data() + s.serializationSize() - 1u), BufferOverflow,
                   0x8ABC7017u, "Buffer overflowed");
  EXPECT_EQ(buf.data(), out);
}

// Reads a malformed image into a string holding "keep": the error, and neither the string nor
// the cursor changed; a refused count or length allocates nothing.
template <typename S>
void CheckRefused(const char* image, bool badSequence = false) {
  SCOPED_TRACE(image);
  const auto bytes = Hex(image);
  S s(Txt<typename S::value_type>("keep").c_str());
  const unsigned char* cursor = bytes.data();
  RefuseAllocationsFrom log(kNoLimit);
  if (badSequence) {
    EXPECT_KEL_THROW(s.deserialize(cursor, bytes.data() + bytes.size()), InvalidSequence,
                     0x8ABC7030u, "Invalid UTF8 encoding sequence");
  } else {
    EXPECT_KEL_THROW(s.deserialize(cursor, bytes.data() + bytes.size()), DeserializationError,
                     0x8ABC7014u, "Failed to deserialize");
    EXPECT_TRUE(log.Sizes().empty());
  }
  EXPECT_EQ(bytes.data(), cursor);
  EXPECT_EQ(Txt<typename S::value_type>("keep"), Std(s));
}

template <typename S>
class NarrowStringTest : public ::testing::Test {};
using NarrowInstances = ::testing::Types<AsciiString, AString>;
TYPED_TEST_SUITE(NarrowStringTest, NarrowInstances, );

TYPED_TEST(NarrowStringTest, ByteImageCountsTheTerminatorAndRefusesMalformedOnes) {
  using S = TypeParam;
  CheckImage<S>("", "01 00 00 00 00");
  CheckImage<S>(std::string("a\0b", 3), "04 00 00 00 61 00 62 00");
  CheckRefused<S>("00 00 00 00 61");           // a count of 0 has no room for the terminator
  CheckRefused<S>("03 00 00 00 61 62 63");     // last counted byte is not 0
  CheckRefused<S>("05 00 00 00 61 62 63 00");  // shorter than its count
  CheckRefused<S>("02 00 00");                 // no complete count

  // A valid image when memory is exhausted: nothing changes either.
  const auto good = Hex("07 00 00 00 61 62 63 64 65 66 00");
  S s(Txt<char>("x").c_str());
  const unsigned char* cursor = good.data();
  AllocationsOf(
      [&] { EXPECT_THROW(s.deserialize(cursor, good.data() + good.size()), std::bad_alloc); }, 0);
  EXPECT_EQ(good.data(), cursor);
  EXPECT_EQ("x", Std(s));
  s.freeString();
  s.deserialize(cursor, good.data() + good.size());
  EXPECT_EQ("abcdef", Std(s));
}

TEST(WString, ByteImageIsCountedUtf8WithoutTerminator) {
  CheckImage<WString>(L"", "00 00 00 00");
  CheckImage<WString>(std::wstring(L"a\0b", 3), "03 00 00 00 61 00 62");
  CheckImage<WString>(L"\u00E9\u20AC\U0001F600", "09 00 00 00 C3 A9 E2 82 AC F0 9F 98 80");
  CheckRefused<WString>("02 00 00 00 C0 80", true);  // overlong form
  CheckRefused<WString>("02 00 00 00 E2 82", true);  // sequence runs past the count
  CheckRefused<WString>("04 00 00 00 61 62");        // shorter than its count
  CheckRefused<WString>("01 00");                    // no complete count
}

TEST(StringConversion, NarrowSideCodeSetFollowsTheInstance) {
  const zo_kel_test::ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  const char eAcute[] = "\xC3\xA9";
  // Locale text and bare narrow text are read in the locale's code set, ASCII text in US-ASCII.
  EXPECT_EQ(L"\u00E9", Std(WString(AString(eAcute))));
  EXPECT_EQ(L"\u00E9", Std(WString(eAcute, eAcute + 2)));
  EXPECT_EQ(L"??", Std(WString(AsciiString(eAcute))));

  const WString euro(L"\u00E9\u20AC");
  EXPECT_EQ("\xC3\xA9\xE2\x82\xAC", Std(AString(euro)));
  EXPECT_EQ("??", Std(AsciiString(euro)));
  EXPECT_EQ("\xC3\xA9", Std(AString(L"\u00E9", 1u)));

  // Between the two narrow instances the bytes are copied as they are.
  EXPECT_EQ(eAcute, Std(AString(AsciiString(eAcute))));

  AString assigned("x");
  assigned = L"\u20AC";
  EXPECT_EQ("\xE2\x82\xAC", Std(assigned));
  WString wide(L"x");
  wide = "\xE2\x82\xAC";
  EXPECT_EQ(L"\u20AC", Std(wide));
  EXPECT_EQ(std::wstring(L"a\0b", 3), Std(WString(AString("a\0b", 3u))));
}

TEST(Exception, BaseClassCodeAndMessage) {
  // Every other class is checked, class, code and text together, where the library throws it.
  const Exception& error = Exception("x", 1);
  EXPECT_EQ(-1, error.getErrorCode());
  EXPECT_STREQ("unspecified exception", error.what());
  // Callers catch by family.
  using namespace zo::kel::exception;
  static_assert(std::is_base_of<OutOfRange, OutOfRange2>::value, "");
  static_assert(std::is_base_of<BoundExceeded, BoundExceeded2>::value, "");
  static_assert(std::is_base_of<std::exception, InvalidLocale>::value, "");
}

TEST(Exception, SyntaxErrorDetailIsPrefixedAndWideDetailTakesTheLocaleCodeSet) {
  EXPECT_STREQ("SyntaxError", SyntaxError("fd", 1, L"").what());
  EXPECT_STREQ("SyntaxError: bad length", SyntaxError("fd", 1, "bad length").what());
  {
    const zo_kel_test::ScopedLocale utf8("C.UTF-8");
    EXPECT_STREQ("SyntaxError: name \xC3\xA9t\xC3\xA9 \xE2\x82\xAC",
                 SyntaxError("fd", 1, L"name \u00E9t\u00E9 \u20AC").what());
  }
  const zo_kel_test::ScopedLocale c("C");
  EXPECT_STREQ("SyntaxError: name ?t? ?",
               SyntaxError("fd", 1, L"name \u00E9t\u00E9 \u20AC").what());
}

TEST(Exception, RecordsPlaceAndSurvivesCopies) {
  const int line = __LINE__ + 2;
  try {
    throw SyntaxError(ZO_KEL_HERE, L"detail");
  } catch (const Exception& e) {
    // The base name of this file: no folders, no extension.
    EXPECT_STREQ("StringBase_test", e.getFile());
    EXPECT_EQ(line, e.getLine());
    const Exception& copy = SyntaxError(static_cast<const SyntaxError&>(e));
    EXPECT_STREQ("SyntaxError: detail", copy.what());
  }
}

}  // namespace
