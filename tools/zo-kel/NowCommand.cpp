// zo-kel now: the clock in the system's date format and a 24-hour time with a fraction.
#include "Bytes.h"
#include "Commands.h"
#include "kel/osdep/AbsTimeToString.h"

namespace zokel_tool {

namespace {

const char kHelp[] =
    "usage: zo-kel now [--utc] [--digits N] [--time-first]\n"
    "\n"
    "Prints the current time in the system's date format (that of the locale in\n"
    "LC_TIME / LANG) and as HH:MM:SS with fraction digits, local time unless --utc.\n"
    "\n"
    "  --digits N    fraction digits after the seconds, 0 to 3 (default 3)\n"
    "  --time-first  the time of day before the date\n";

int Run(Args& args) {
  const bool utc = args.flag("--utc");
  const bool timeFirst = args.flag("--time-first");
  const std::optional<std::string> digits = args.option("--digits");
  args.finish(0, 0);
  const unsigned n = digits ? ParseUnsigned(*digits, 3, "--digits") : 3;
  namespace osdep = zo::kel::osdep;
  // The system time format is the locale's "%X", which has no seconds field for a fraction to
  // follow; the time of day is therefore written out.
  const zo::kel::WString text = osdep::AbsTimeToString(
      osdep::GetCurrentAbsTime(), nullptr, L"%H:%M:%S", n,
      utc ? osdep::kTimeStringUTC : osdep::kTimeStringLocal, timeFirst, nullptr);
  // The locale's own characters, as the terminal expects them.
  const zo::kel::AString narrow(text);
  WriteOutput("-", std::string(narrow.c_str(), narrow.size()) + "\n");
  return 0;
}

}  // namespace

const Command kNowCommand = {"now", "the current time in the system's date format, to the fraction",
                             kHelp, Run};

}  // namespace zokel_tool
