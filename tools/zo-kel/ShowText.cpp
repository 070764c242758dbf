// Escaped strings, exact numbers and calendar text for the readable output.
#include "ShowText.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "IsoTime.h"
#include "kel/exception.h"
#include "kel/osdep/AbsTimeToString.h"

namespace zokel_tool {

namespace {

void Escape(std::string& out, std::uint32_t c, bool wide) {
  char buf[12];
  if (c == '"' || c == '\\') {
    out += '\\';
    out += static_cast<char>(c);
  } else if (c == '\n') {
    out += "\\n";
  } else if (c == '\t') {
    out += "\\t";
  } else if (c >= 0x20 && c < 0x7F) {
    out += static_cast<char>(c);
  } else {
    std::snprintf(buf, sizeof buf, wide ? "\\u%04X" : "\\x%02X", static_cast<unsigned>(c));
    out += buf;
  }
}

template <class Unit>
std::string Quote(const Unit* data, std::size_t n, bool wide) {
  std::string out = "\"";
  for (std::size_t i = 0; i < n && i < kShownTextLimit; ++i) {
    Escape(out, static_cast<std::uint32_t>(data[i]), wide);
  }
  out += n > kShownTextLimit ? "...\"" : "\"";
  return out;
}

}  // namespace

std::string QuoteBytes(const char* data, std::size_t n) {
  return Quote(reinterpret_cast<const unsigned char*>(data), n, false);
}

std::string QuoteUnits(const std::uint16_t* units, std::size_t n) { return Quote(units, n, true); }

std::string ShowDouble(double d) {
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d < 0 ? "-inf" : "inf";
  char buf[40];
  if (d == std::floor(d) && std::fabs(d) < 1e15) {  // whole numbers without an exponent
    std::snprintf(buf, sizeof buf, "%.0f", d);
    return buf;
  }
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, d);
    if (std::strtod(buf, nullptr) == d) break;
  }
  return buf;
}

std::string ShowSeconds(const nZOSS100::tSSTimeValue& t) {
  return ShowDouble(static_cast<double>(t.value())) + " s";
}

std::string IsoAbsTime(const zo::kel::AbsTime& t) {
  std::uint32_t w3 = 0, w2 = 0, w1 = 0, w0 = 0;
  t.value().Get(w3, w2, w1, w0);
  const auto seconds = static_cast<std::int64_t>(static_cast<std::uint64_t>(w3) << 32 | w2);
  return IsoText(ShiftedSeconds(seconds, kAbsTimeEpochUnix),
                 static_cast<std::uint64_t>(w1) << 32 | w0);
}

std::string ShowAbsTime(const zo::kel::AbsTime& t) {
  std::string out = ShowSeconds(t) + " since 1904";
  try {
    const zo::kel::WString text = zo::kel::osdep::AbsTimeToString(
        t, L"%Y-%m-%d", L"%H:%M:%S", 3, zo::kel::osdep::kTimeStringUTC, false, L"UTC");
    std::string narrow;
    for (const wchar_t* c = text.c_str(); *c != 0; ++c) narrow += static_cast<char>(*c);
    if (!narrow.empty()) out = narrow + " (" + out + ")";
  } catch (const zo::kel::exception::Exception&) {
    // Outside the calendar conversion's range: the instant from its own value.
    out = IsoAbsTime(t) + " (" + out + ")";
  }
  return out;
}

}  // namespace zokel_tool
