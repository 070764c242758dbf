#include "kel/exception.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "support/ScopedLocale.h"

namespace {

using namespace zo::kel::exception;

TEST(Exception, BaseClassCodeAndMessage) {
  // Every other class is checked, class, code and text together, where the library throws it.
  const Exception& error = Exception("x", 1);
  EXPECT_EQ(-1, error.getErrorCode());
  EXPECT_STREQ("unspecified exception", error.what());
}

// Callers catch by family.
static_assert(std::is_base_of<OutOfRange, OutOfRange2>::value, "");
static_assert(std::is_base_of<BoundExceeded, BoundExceeded2>::value, "");
static_assert(std::is_base_of<std::exception, InvalidLocale>::value, "");

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
    EXPECT_STREQ("exception_test", e.getFile());
    EXPECT_EQ(line, e.getLine());
    const Exception& copy = SyntaxError(static_cast<const SyntaxError&>(e));
    EXPECT_STREQ("SyntaxError: detail", copy.what());
  }
}

}  // namespace
