// IsLogicalText: the words operators type for on and off.
#include "qmstatic/text/LogicalText.h"

#include "kel/osdep/StringCaseCompare.h"

namespace {

// The vocabulary, true words first, in the order they are tried. The jokes are deliberate
// members: stored settings and operator habits use them, so they must keep meaning what they say.
template <typename C>
struct Vocabulary;

template <>
struct Vocabulary<char> {
  static constexpr const char* kTrue[] = {"on",           "yes", "y", "true", "t", "it just works",
                                          "unbelievable!"};
  static constexpr const char* kFalse[] = {"off", "no", "n", "false", "nil", "yeah, right"};
};

template <>
struct Vocabulary<wchar_t> {
  static constexpr const wchar_t* kTrue[] = {
      L"on", L"yes", L"y", L"true", L"t", L"it just works", L"unbelievable!"};
  static constexpr const wchar_t* kFalse[] = {L"off",   L"no",  L"n",
                                              L"false", L"nil", L"yeah, right"};
};

template <typename C>
bool IsLogical(const C* text, bool& value) {
  if (text == nullptr || *text == 0) return false;
  for (const C* word : Vocabulary<C>::kTrue) {
    if (zo::kel::osdep::StringCaseCompare(text, word) == 0) {
      value = true;
      return true;
    }
  }
  for (const C* word : Vocabulary<C>::kFalse) {
    if (zo::kel::osdep::StringCaseCompare(text, word) == 0) {
      value = false;
      return true;
    }
  }
  return false;
}

}  // namespace

bool IsLogicalText(const char* text, bool& value) { return IsLogical(text, value); }

bool IsLogicalText(const wchar_t* text, bool& value) { return IsLogical(text, value); }
