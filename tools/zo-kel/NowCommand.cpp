// zo-kel now: the clock in the system's date and time formats.
#include <langinfo.h>

#include <cstdio>

#include "Bytes.h"
#include "Cli.h"
#include "Commands.h"
#include "ShowText.h"
#include "kel/exception.h"
#include "kel/osdep/AbsTimeToString.h"

namespace zokel_tool {

namespace {

const char kHelp[] =
    "usage: zo-kel now [--utc] [--digits N] [--time-first]\n"
    "\n"
    "Prints the current time in the system's date and time formats (those of the locale\n"
    "in LC_TIME / LANG), local time unless --utc.\n"
    "\n"
    "  --digits N    fraction digits after the seconds, 0 to 3 (default 3)\n"
    "  --time-first  the time of day before the date\n";

// The locale's time format with its seconds spelt out ("%T" is "%H:%M:%S"), so that the
// fraction has a seconds field to follow in every locale.
zo::kel::WString TimeFormat() {
  const char* format = nl_langinfo(T_FMT);
  std::string spelt;
  for (const char* c = format != nullptr ? format : ""; *c != '\0'; ++c) {
    if (c[0] == '%' && c[1] == 'T') {
      spelt += "%H:%M:%S";
      ++c;
    } else if (c[0] == '%' && c[1] == 'r') {
      spelt += "%I:%M:%S %p";
      ++c;
    } else {
      if (c[0] == '%' && c[1] != '\0') spelt += *c++;
      spelt += *c;
    }
  }
  if (spelt.find("%S") == std::string::npos) spelt = "%H:%M:%S";
  return zo::kel::WString(zo::kel::AString(spelt.c_str()));
}

int Run(Args& args) {
  const bool utc = args.flag("--utc");
  const bool timeFirst = args.flag("--time-first");
  const std::optional<std::string> digits = args.option("--digits");
  args.finish(0, 0);
  const unsigned n = digits ? ParseUnsigned(*digits, 3, "--digits") : 3;
  namespace osdep = zo::kel::osdep;
  const zo::kel::AbsTime now = osdep::GetCurrentAbsTime();
  try {
    const zo::kel::WString text = osdep::AbsTimeToString(
        now, L"%x", TimeFormat().c_str(), n, utc ? osdep::kTimeStringUTC : osdep::kTimeStringLocal,
        timeFirst, nullptr);
    // The locale's own characters, as the terminal expects them.
    const zo::kel::AString narrow(text);
    WriteOutput("-", std::string(narrow.c_str(), narrow.size()) + "\n");
  } catch (const zo::kel::exception::Exception&) {
    // Past the reach of the system's calendar functions (a 32-bit clock ends in 2038): the
    // instant itself, from its 128-bit value.
    std::fputs(
        "zo-kel now: note: the system's calendar cannot show this instant; shown as ISO 8601 UTC\n",
        stderr);
    WriteOutput("-", IsoAbsTime(now) + "\n");
  }
  return 0;
}

}  // namespace

const Command kNowCommand = {"now", "the current time in the system's date and time formats", kHelp,
                             Run};

}  // namespace zokel_tool
