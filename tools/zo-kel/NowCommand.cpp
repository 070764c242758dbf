// zo-kel now: the clock in the system's date and time formats.
#include <langinfo.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

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
    "  --time-first  the time of day before the date\n"
    "\n"
    "Exit status: 0 done, 2 bad usage.\n";

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

int Run(bool utc, bool timeFirst, const std::string& digits) {
  const unsigned n = ParseUnsigned(digits, 3, "--digits");
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

std::function<int()> Define(CLI::App& app) {
  struct NowArgs {
    bool utc = false, timeFirst = false;
    std::string digits = "3";
  };
  auto args = std::make_shared<NowArgs>();
  app.add_flag("--utc", args->utc);
  app.add_flag("--time-first", args->timeFirst);
  app.add_option("--digits", args->digits);
  return [args] { return Run(args->utc, args->timeFirst, args->digits); };
}

}  // namespace

const Command kNowCommand = {"now", "the current time in the system's date and time formats", kHelp,
                             Define};

}  // namespace zokel_tool
