// zo-kel format and zo-kel parse: numbers and day counts through the display formats, and
// typed-in text through the text scanners.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "Bytes.h"
#include "Commands.h"
#include "ShowText.h"
#include "qmstatic/text/DisplayFormat.h"
#include "qmstatic/text/LogicalText.h"
#include "qmstatic/text/NumberToText.h"
#include "qmstatic/text/TextScanner.h"

namespace zokel_tool {

namespace {

constexpr unsigned kFormatCount = 74;
// Room for the longest text a number format writes ("%0.8f" of 1e308 is 318 characters).
constexpr unsigned kTextRoom = 512;

const char kFormatHelp[] =
    "usage: zo-kel format VALUE [--as FORMAT]\n"
    "\n"
    "Shows VALUE in a display format. VALUE is a number (\"0.0625\", \"-1e3\", \"0x1F\"), or\n"
    "typed-in text that reads as a duration or a date (\"1:30:00\", \"12/25/2024 10:30\",\n"
    "\"2024-12-25\"; dates month/day/year or year-month-day);\n"
    "times and durations are day counts (day 1 is 1900-01-01, the fraction is the time of day).\n"
    "\n"
    "  --as FORMAT  a format name (\"HH:MM:SS\", \"0.00\", \"mm/dd/yyyy hh:mm\") or number "
    "(0-73);\n"
    "               names are matched first, so \"0\" and \"00\" are the names of 1 and 19.\n"
    "               Without --as, VALUE is shown in every format.\n"
    "\n"
    "A value a format cannot show comes out as the overflow text \"***************\".\n"
    "\n"
    "Exit status: 0 done, 1 VALUE is not a number, duration or date or FORMAT is unknown,\n"
    "2 bad usage.\n";

const char kParseHelp[] =
    "usage: zo-kel parse TEXT [--as FORMAT]\n"
    "\n"
    "Runs typed-in TEXT through each text scanner (number, duration, time of day, date,\n"
    "logical word) and prints what each reads, then the value the operator displays take\n"
    "(the first of number, duration and date that reads it) with its calendar fields.\n"
    "\n"
    "  --as FORMAT  the display format whose date order applies (\"dd/mm/yyyy\", 67, ...);\n"
    "               month/day/year when absent.\n"
    "\n"
    "Exit status: 0 done, 1 no scanner reads TEXT or FORMAT is unknown, 2 bad usage.\n";

unsigned FormatNumber(const std::string& text) {
  short index = 0;
  if (IsFormat0(text.c_str(), &index)) return static_cast<unsigned>(index);
  try {
    return ParseUnsigned(text, kFormatCount - 1, "a display format number");
  } catch (const ToolError&) {
    throw ToolError("unknown display format \"" + text +
                    "\": give a name such as \"HH:MM:SS\" or a number from 0 to 73");
  }
}

std::string FormatName(unsigned format) {
  char name[32];
  GetFormatText0(format, name, sizeof name);
  return name;
}

// A whole number text in the C locale's syntax (the tool keeps LC_NUMERIC at "C").
bool ReadNumber(const std::string& text, double& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const double d = std::strtod(text.c_str(), &end);
  if (*end != '\0' || end == text.c_str()) return false;
  value = d;
  return true;
}

std::string Shown(double value, unsigned format, bool& fits) {
  char text[kTextRoom];
  const int n = NumberToText0(value, format, text, sizeof text);
  fits = n >= 0;
  return text;
}

std::string Calendar(double days) {
  static const char* const kWeekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
  unsigned short f[kDateFieldCount];
  GetDate0(&days, f);
  char text[128];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u, %s, day %u of %u",
                f[kDateYear], f[kDateMonth], f[kDateDayOfMonth], f[kDateHour], f[kDateMinute],
                f[kDateSecond], f[kDateMillisecond], kWeekdays[(f[kDateDayOfWeek] + 6) % 7],
                f[kDateDayOfYear], f[kDateDaysInYear]);
  return text;
}

int RunFormat(const std::string& text, const std::optional<std::string>& as) {
  const unsigned chosen = as ? FormatNumber(*as) : 0;
  double value = 0;
  // Dates are read month/day/year ("12/25/2024") or year-month-day ("2024-12-25"), whatever
  // the format they are shown in.
  if (!ReadNumber(text, value) && !TextToNumber0(text.c_str(), &value, 0)) {
    throw ToolError("\"" + text + "\" is not a number, a duration or a date");
  }
  bool fits = true;
  if (as) {
    WriteOutput("-", Shown(value, chosen, fits) + "\n");
    if (!fits) std::fprintf(stderr, "zo-kel format: the value does not fit format %u\n", chosen);
    return 0;
  }
  std::string out;
  for (unsigned f = 0; f < kFormatCount; ++f) {
    char line[kTextRoom + 64];
    std::snprintf(line, sizeof line, "%2u  %-20s %s\n", f, FormatName(f).c_str(),
                  Shown(value, f, fits).c_str());
    out += line;
  }
  WriteOutput("-", out);
  return 0;
}

int RunParse(const std::string& text, const std::optional<std::string>& as) {
  const int format = as ? static_cast<int>(FormatNumber(*as)) : 0;
  const char* c = text.c_str();
  std::string out = "text            " + QuoteBytes(c, text.size()) + "\n";
  const auto row = [&out](const char* scanner, bool ok, const std::string& what) {
    char head[32];
    std::snprintf(head, sizeof head, "%-16s", scanner);
    out += head + (ok ? what : std::string("no")) + "\n";
  };
  double number = 0, days = 0, timeOfDay = 0, date = 0;
  const bool isNumber = AsciiToNumber(c, &number);
  const bool isDuration = AsciiToDays(c, &days);
  const bool isTime = AsciiToTime(c, &timeOfDay);
  const bool isDate = AsciiToDateTime(c, &date, format);
  bool logical = false;
  const bool isLogical = IsLogicalText(c, logical);
  row("number", isNumber, ShowDouble(number));
  row("duration", isDuration, ShowDouble(days) + " days (" + ShowDouble(days * 86400.0) + " s)");
  row("time of day", isTime,
      ShowDouble(timeOfDay) + " days (" + ShowDouble(timeOfDay * 24.0) + " h)");
  row("date", isDate, ShowDouble(date) + " days (" + Calendar(date) + ")");
  row("logical", isLogical, logical ? "true" : "false");
  double typed = 0;
  if (TextToNumber0(c, &typed, format)) {
    const char* how = isNumber ? "number" : isDuration ? "duration" : "date";
    row("typed-in value", true, ShowDouble(typed) + " (" + how + ")");
    // A duration is no point in time; a number and a date are day counts.
    if (!isDuration || isNumber) row("calendar", true, Calendar(typed));
  } else if (!isLogical && !isTime) {
    throw ToolError(QuoteBytes(c, text.size()) +
                    " is not a number, duration, time of day, date or logical word");
  }
  WriteOutput("-", out);
  return 0;
}

// VALUE or TEXT and --as FORMAT, the arguments of both commands; `run` is RunFormat or RunParse.
std::function<int()> DefineTextCommand(CLI::App& app, const char* argument,
                                       int (*run)(const std::string&,
                                                  const std::optional<std::string>&)) {
  struct TextArgs {
    std::string text, as;
    const CLI::Option* textGiven = nullptr;
    const CLI::Option* asGiven = nullptr;
  };
  auto args = std::make_shared<TextArgs>();
  // Checked when the command runs, not by CLI11: the argument may follow "--".
  args->textGiven = app.add_option(argument, args->text);
  args->asGiven = app.add_option("--as", args->as);
  return [args, run, argument] {
    if (args->textGiven->count() == 0) {
      throw UsageError(std::string("missing argument ") + argument + " (see --help)");
    }
    return run(args->text,
               args->asGiven->count() > 0 ? std::optional<std::string>(args->as) : std::nullopt);
  };
}

std::function<int()> DefineFormat(CLI::App& app) {
  return DefineTextCommand(app, "VALUE", RunFormat);
}
std::function<int()> DefineParse(CLI::App& app) { return DefineTextCommand(app, "TEXT", RunParse); }

}  // namespace

const Command kFormatCommand = {"format", "show a number or day count in a display format",
                                kFormatHelp, DefineFormat};
const Command kParseCommand = {"parse", "read typed-in text through the text scanners", kParseHelp,
                               DefineParse};

}  // namespace zokel_tool
