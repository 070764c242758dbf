// AsciiToNumber: the table-driven number scanner behind every typed-in number.
#include <cstdint>

#include "qmstatic/text/ScanStep_impl.h"
#include "qmstatic/text/TextScanner.h"

namespace {

// Character classes.
enum Class : std::uint8_t { kBlank, kZero, kDigit, kSign, kPoint, kExp, kX, kHexLetter, kClasses };

// What a transition does to the number before moving on.
enum Action : std::uint8_t {
  kNone,
  kMantissaSign,  // remember a '-' for the mantissa
  kInteger,       // mantissa = mantissa * 10 + digit
  kFraction,      // mantissa += digit * next place value (1/10, 1/100, ...)
  kExpSign,       // remember a '-' for the exponent
  kExpDigit,      // exponent = exponent * 10 + digit, a 16-bit count that wraps
  kHex,           // mantissa = mantissa * 16 + hexadecimal digit
};

using Step = zo::kel::detail::ScanStep<Action>;
using zo::kel::detail::Do;
using zo::kel::detail::Go;
constexpr Go F(zo::kel::detail::kScanFail);
// States: 0 start, 1 after a sign, 2 leading zeros, 3 integer digits, 4 point without digits
// yet, 5 fraction digits, 6 after "E", 7 after the exponent's sign, 8 exponent digits, 9 trailing
// blanks, 10 after "0x", 11 hexadecimal digits.
// Deliberate quirks, kept because stored operator input depends on them: state 2 takes no blank
// and no end after a point, so "0 " and "0." fail while "5 " and "5." pass; hexadecimal takes
// no sign and no trailing blank.
constexpr Step kTable[12][kClasses] = {
    //  blank     "0"                "1"-"9"            sign                    "."    "E" "x" hex
    //  letter
    {Go(0), Go(2), Do(kInteger, 3), Do(kMantissaSign, 1), Go(4), F, F, F},
    {F, Go(3), Do(kInteger, 3), F, Go(4), F, F, F},
    {F, Go(2), Do(kInteger, 3), F, Go(4), Go(6), Go(10), F},
    {Go(9), Do(kInteger, 3), Do(kInteger, 3), F, Go(5), Go(6), F, F},
    {F, Do(kFraction, 5), Do(kFraction, 5), F, F, F, F, F},
    {Go(9), Do(kFraction, 5), Do(kFraction, 5), F, F, Go(6), F, F},
    {F, Go(8), Do(kExpDigit, 8), Do(kExpSign, 7), F, F, F, F},
    {F, Go(8), Do(kExpDigit, 8), F, F, F, F, F},
    {Go(9), Do(kExpDigit, 8), Do(kExpDigit, 8), F, F, F, F, F},
    {Go(9), F, F, F, F, F, F, F},
    {F, Go(11), Do(kHex, 11), F, F, Do(kHex, 11), F, Do(kHex, 11)},
    {F, Do(kHex, 11), Do(kHex, 11), F, F, Do(kHex, 11), F, Do(kHex, 11)},
};

constexpr bool kAccepting[12] = {false, false, true, true, false, true,
                                 false, false, true, true, false, true};

// The class of every byte; kClasses for a character that fails at once (anything outside blank
// to 'x', and the characters in between that no class names).
struct ClassTable {
  Class of[256];
};

constexpr ClassTable MakeClassTable() {
  ClassTable t{};
  for (Class& c : t.of) c = kClasses;
  t.of[int{' '}] = kBlank;
  t.of[int{'0'}] = kZero;
  for (int c = '1'; c <= '9'; ++c) t.of[c] = kDigit;
  t.of[int{'+'}] = t.of[int{'-'}] = kSign;
  t.of[int{'.'}] = kPoint;
  t.of[int{'E'}] = t.of[int{'e'}] = kExp;
  t.of[int{'X'}] = t.of[int{'x'}] = kX;
  for (int c = 'A'; c <= 'D'; ++c) t.of[c] = t.of[c + ('a' - 'A')] = kHexLetter;
  t.of[int{'F'}] = t.of[int{'f'}] = kHexLetter;
  return t;
}

constexpr ClassTable kClassOf = MakeClassTable();

unsigned HexValue(unsigned char c) {
  if (c <= '9') return c - '0';
  return (c | 0x20u) - 'a' + 10u;
}

// 10^exponent (or 0.1^exponent) by binary powering: the base is squared for each further bit
// and multiplied in where the bit is set. Negative exponents therefore round through 0.1.
double PowerOfTen(std::uint16_t exponent, bool negative) {
  double base = negative ? 0.1 : 10.0;
  double power = 1.0;
  for (unsigned e = exponent; e != 0; e >>= 1) {
    if (e & 1u) power *= base;
    base *= base;
  }
  return power;
}

}  // namespace

bool AsciiToNumber(const char* text, double* value) {
  if (text == nullptr || value == nullptr) return false;
  double mantissa = 0.0;
  double place = 1.0;
  bool negative = false;
  bool negativeExponent = false;
  std::uint16_t exponent = 0;
  int state = 0;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0; ++p) {
    const Class cls = kClassOf.of[*p];
    if (cls == kClasses) return false;
    const Step step = kTable[state][cls];
    if (step.next == zo::kel::detail::kScanFail) return false;
    switch (step.action) {
      case kNone:
        break;
      case kMantissaSign:
        negative = *p == '-';
        break;
      case kInteger:
        mantissa = mantissa * 10.0 + (*p - '0');
        break;
      case kFraction:
        place /= 10.0;
        mantissa += (*p - '0') * place;
        break;
      case kExpSign:
        negativeExponent = *p == '-';
        break;
      case kExpDigit:
        exponent = static_cast<std::uint16_t>(exponent * 10u + unsigned(*p - '0'));
        break;
      case kHex:
        mantissa = mantissa * 16.0 + HexValue(*p);
        break;
    }
    state = step.next;
  }
  if (!kAccepting[state]) return false;
  const double result = mantissa * PowerOfTen(exponent, negativeExponent);
  *value = negative ? -result : result;
  return true;
}
