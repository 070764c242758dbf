// zo-kel: shows the library's byte images as readable values and builds them back, and
// exercises the display formats, the text scanners and the clock.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <iterator>
#include <new>
#include <string>

#include "Cli.h"
#include "Commands.h"
#include "Output.h"
#include "zo_kel_basics/version.h"

namespace {

using zokel_tool::Command;

const Command* const kCommands[] = {&zokel_tool::kDecodeCommand, &zokel_tool::kEncodeCommand,
                                    &zokel_tool::kFormatCommand, &zokel_tool::kParseCommand,
                                    &zokel_tool::kNowCommand};

void PrintUsage(std::FILE* to) {
  std::fputs(
      "usage: zo-kel <command> [options] [arguments]\n"
      "       zo-kel --version\n"
      "\n"
      "commands:\n",
      to);
  for (const Command* c : kCommands) std::fprintf(to, "  %-8s %s\n", c->name, c->summary);
  std::fputs(
      "\n"
      "`zo-kel <command> --help` describes a command. Exit status: 0 done, 1 bad input,\n"
      "2 bad usage.\n",
      to);
}

// Whether `word` reads as a negative number ("-1.5", "-.5"): an argument, never an option.
bool LooksNumeric(const std::string& word) {
  return word.size() > 1 && word[0] == '-' &&
         (std::isdigit(static_cast<unsigned char>(word[1])) || word[1] == '.');
}

// CLI11's words left over on a subcommand: an option it does not know, or one argument too many.
void RefuseExtras(const CLI::App& app) {
  for (const std::string& word : app.remaining()) {
    if (word.size() > 1 && word[0] == '-' && !LooksNumeric(word)) {
      throw zokel_tool::UsageError("unknown option " + word + " (see --help)");
    }
    throw zokel_tool::UsageError("unexpected argument \"" + word + "\" (see --help)");
  }
}

// The words after "--" are arguments even when they look like options ("-x.bin"). CLI11 2.1
// hands them to the parent command when a subcommand's arguments are all optional, so the tool
// keeps them out of CLI11 and gives them to the subcommand's arguments itself, in order.
void AddArguments(CLI::App& app, const std::vector<std::string>& words) {
  auto next = words.begin();
  for (CLI::Option* argument :
       app.get_options([](const CLI::Option* o) { return o->get_positional(); })) {
    bool added = false;
    while (next != words.end() &&
           static_cast<int>(argument->count()) < argument->get_items_expected_max()) {
      argument->add_result(*next++);
      added = true;
    }
    if (added) argument->run_callback();
  }
  if (next != words.end()) {
    throw zokel_tool::UsageError("unexpected argument \"" + *next + "\" (see --help)");
  }
}

// CLI11's own usage message, first letter lowered to read after "zo-kel <command>: ".
std::string UsageText(const CLI::Error& e) {
  std::string text = e.what();
  if (!text.empty() && std::isupper(static_cast<unsigned char>(text[0])) &&
      (text.size() < 2 || std::islower(static_cast<unsigned char>(text[1])))) {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  }
  return text + " (see --help)";
}

int Run(const Command& command, const std::function<int()>& run, CLI::App& app,
        const std::vector<std::string>& afterDashes) {
  try {
    RefuseExtras(app);
    AddArguments(app, afterDashes);
    const int status = run();
    zokel_tool::FlushOutput();
    return status;
  } catch (const zokel_tool::UsageError& e) {
    std::fprintf(stderr, "zo-kel %s: %s\n", command.name, e.what());
    return 2;
  } catch (const CLI::ParseError& e) {
    std::fprintf(stderr, "zo-kel %s: %s\n", command.name, UsageText(e).c_str());
    return 2;
  } catch (const zokel_tool::ToolError& e) {
    std::fprintf(stderr, "zo-kel %s: %s\n", command.name, e.what());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zo-kel %s: out of memory\n", command.name);
  } catch (const std::exception& e) {
    // The library's own errors: their text, never their class.
    std::fprintf(stderr, "zo-kel %s: %s\n", command.name, zokel_tool::Reason(e).c_str());
  }
  return 1;
}

// The command line through CLI11: the commands as its subcommands, each with -h/--help, and
// --help and --version on the tool itself. Returns the exit status.
int Main(int argc, char** argv) {
  CLI::App app("zo-kel", "zo-kel");
  // Help is the tool's own text (usage, options, exit statuses), not CLI11's generated one.
  app.set_help_flag();
  bool help = false, version = false;
  app.add_flag("-h,--help", help);
  app.add_flag("-V,--version", version);
  app.add_subcommand("help")->group("");
  app.require_subcommand(0, 1);
  app.allow_extras();
  std::function<int()> runs[std::size(kCommands)];
  CLI::App* subcommands[std::size(kCommands)];
  for (std::size_t i = 0; i < std::size(kCommands); ++i) {
    subcommands[i] = app.add_subcommand(kCommands[i]->name, kCommands[i]->summary);
    subcommands[i]->set_help_flag("-h,--help");
    // Unknown options and surplus arguments are reported in the tool's words by RefuseExtras.
    subcommands[i]->allow_extras();
    runs[i] = kCommands[i]->define(*subcommands[i]);
  }
  const auto chosen = [&]() -> std::size_t {
    for (std::size_t i = 0; i < std::size(kCommands); ++i)
      if (subcommands[i]->parsed()) return i;
    return std::size(kCommands);
  };
  // Everything after the first "--" past the command's name (see AddArguments).
  int parsed = argc;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) {
      parsed = i;
      break;
    }
  }
  const std::vector<std::string> afterDashes(argv + std::min(parsed + 1, argc), argv + argc);
  try {
    app.parse(parsed, argv);
  } catch (const CLI::CallForHelp&) {
    const std::size_t i = chosen();
    if (i == std::size(kCommands)) {
      PrintUsage(stdout);
    } else {
      std::fputs(kCommands[i]->help, stdout);
    }
    return 0;
  } catch (const CLI::ParseError& e) {
    const std::size_t i = chosen();
    std::fprintf(stderr, "zo-kel%s%s: %s\n", i == std::size(kCommands) ? "" : " ",
                 i == std::size(kCommands) ? "" : kCommands[i]->name, UsageText(e).c_str());
    return 2;
  }
  // --version and --help before a command answer for the tool and run nothing.
  if (version) {
    // The library's version is the loaded shared object's, which may differ from the headers
    // the tool was built with.
    std::printf("zo-kel %s (zo_kel_basics %s, built with headers %s)\n", ZO_KEL_TOOL_VERSION,
                zo::kel::LibraryVersion(), ZO_KEL_BASICS_VERSION_STRING);
    return 0;
  }
  if (help || app.got_subcommand("help")) {
    PrintUsage(stdout);
    return 0;
  }
  const std::size_t i = chosen();
  if (i < std::size(kCommands)) return Run(*kCommands[i], runs[i], *subcommands[i], afterDashes);
  if (!app.remaining().empty()) {
    const std::string word = app.remaining().front();
    std::fprintf(stderr, "zo-kel: unknown %s \"%s\"\n", word[0] == '-' ? "option" : "command",
                 word.c_str());
  }
  PrintUsage(stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  // Calendar text and character conversions follow the user's locale, as on an operator display.
  std::setlocale(LC_ALL, "");
  // Numbers in JSON, hex and typed-in values keep one syntax whatever the locale.
  std::setlocale(LC_NUMERIC, "C");
  return Main(argc, argv);
}
