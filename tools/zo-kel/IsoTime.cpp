// Civil dates from day counts and back, on the proleptic Gregorian calendar.
#include "IsoTime.h"

#include <cstdio>

namespace zokel_tool {

namespace {

// Days since 1970-01-01 of a civil date, and the reverse (eras of 400 years).
std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void CivilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
}

bool Digits(const std::string& s, std::size_t& i, std::size_t n, std::int64_t& value) {
  value = 0;
  for (std::size_t k = 0; k < n; ++k, ++i) {
    if (i >= s.size() || s[i] < '0' || s[i] > '9') return false;
    value = value * 10 + (s[i] - '0');
  }
  return true;
}

bool Expect(const std::string& s, std::size_t& i, char c) {
  if (i >= s.size() || s[i] != c) return false;
  ++i;
  return true;
}

}  // namespace

std::int64_t ShiftedSeconds(std::int64_t seconds, std::int64_t epochUnix) {
  if (epochUnix < 0 && seconds < INT64_MIN - epochUnix) return INT64_MIN;
  if (epochUnix > 0 && seconds > INT64_MAX - epochUnix) return INT64_MAX;
  return seconds + epochUnix;
}

std::uint32_t FractionToNanoseconds(std::uint64_t fraction) {
  // floor(fraction * 1e9 / 2^64) in 64-bit steps: the high and low halves apart.
  const std::uint64_t high = (fraction >> 32) * 1000000000u;
  const std::uint64_t low = ((fraction & 0xFFFFFFFFu) * 1000000000u) >> 32;
  return static_cast<std::uint32_t>((high + low) >> 32);
}

std::uint64_t NanosecondsToFraction(std::uint32_t ns) {
  const std::uint64_t shifted = static_cast<std::uint64_t>(ns) << 32;
  const std::uint64_t q1 = shifted / 1000000000u, r1 = shifted % 1000000000u;
  return q1 << 32 | (r1 << 32) / 1000000000u;
}

std::string IsoText(std::int64_t unixSeconds, std::uint64_t fraction) {
  std::int64_t days = unixSeconds / 86400, rest = unixSeconds % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  std::int64_t year = 0;
  unsigned month = 0, day = 0;
  CivilFromDays(days, year, month, day);
  char buf[80];
  const char* format = year >= 0 && year <= 9999 ? "%04lld-%02u-%02uT%02u:%02u:%02u"
                                                 : "%+05lld-%02u-%02uT%02u:%02u:%02u";
  std::snprintf(buf, sizeof buf, format, static_cast<long long>(year), month, day,
                static_cast<unsigned>(rest / 3600), static_cast<unsigned>(rest / 60 % 60),
                static_cast<unsigned>(rest % 60));
  std::string text = buf;
  if (const std::uint32_t ns = FractionToNanoseconds(fraction)) {
    std::snprintf(buf, sizeof buf, ".%09u", static_cast<unsigned>(ns));
    std::string digits = buf;
    while (digits.back() == '0') digits.pop_back();
    text += digits;
  }
  return text + "Z";
}

bool ParseIsoText(const std::string& s, std::int64_t& unixSeconds, std::uint64_t& fraction) {
  std::size_t i = 0;
  const bool negative = !s.empty() && s[0] == '-';
  if (!s.empty() && (s[0] == '-' || s[0] == '+')) ++i;
  std::size_t yearDigits = 0;
  while (i + yearDigits < s.size() && s[i + yearDigits] >= '0' && s[i + yearDigits] <= '9')
    ++yearDigits;
  std::int64_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (yearDigits < 4 || yearDigits > 11 || !Digits(s, i, yearDigits, year) || !Expect(s, i, '-') ||
      !Digits(s, i, 2, month) || !Expect(s, i, '-') || !Digits(s, i, 2, day)) {
    return false;
  }
  if (i >= s.size() || (s[i] != 'T' && s[i] != ' ')) return false;
  ++i;
  if (!Digits(s, i, 2, hour) || !Expect(s, i, ':') || !Digits(s, i, 2, minute) ||
      !Expect(s, i, ':') || !Digits(s, i, 2, second)) {
    return false;
  }
  std::uint32_t ns = 0;
  if (i < s.size() && s[i] == '.') {
    ++i;
    std::uint32_t scale = 100000000;
    const std::size_t first = i;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i, scale /= 10)
      ns += static_cast<std::uint32_t>(s[i] - '0') * scale;
    if (i == first) return false;
  }
  const std::string zone = s.substr(i);
  if (zone != "Z" && zone != "+00:00") return false;
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
    return false;
  if (negative) year = -year;
  unixSeconds =
      DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400 +
      hour * 3600 + minute * 60 + second;
  fraction = NanosecondsToFraction(ns);
  return true;
}

}  // namespace zokel_tool
