// zo-kel: shows the library's byte images as readable values and builds them back, and
// exercises the display formats, the text scanners and the clock.
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

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

int Run(const Command& command, int argc, char** argv) {
  try {
    zokel_tool::Args args(argc, argv, 2);
    if (args.flag("--help") || args.flag("-h")) {
      std::fputs(command.help, stdout);
      return 0;
    }
    const int status = command.run(args);
    zokel_tool::FlushOutput();
    return status;
  } catch (const zokel_tool::UsageError& e) {
    std::fprintf(stderr, "zo-kel %s: %s\n", command.name, e.what());
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

}  // namespace

int main(int argc, char** argv) {
  // Calendar text and character conversions follow the user's locale, as on an operator display.
  std::setlocale(LC_ALL, "");
  // Numbers in JSON, hex and typed-in values keep one syntax whatever the locale.
  std::setlocale(LC_NUMERIC, "C");
  if (argc < 2) {
    PrintUsage(stderr);
    return 2;
  }
  const char* name = argv[1];
  if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "-h") == 0 ||
      std::strcmp(name, "help") == 0) {
    PrintUsage(stdout);
    return 0;
  }
  if (std::strcmp(name, "--version") == 0 || std::strcmp(name, "-V") == 0) {
    // The library's version is the loaded shared object's, which may differ from the headers
    // the tool was built with.
    std::printf("zo-kel %s (zo_kel_basics %s, built with headers %s)\n", ZO_KEL_TOOL_VERSION,
                zo::kel::LibraryVersion(), ZO_KEL_BASICS_VERSION_STRING);
    return 0;
  }
  for (const Command* c : kCommands) {
    if (std::strcmp(name, c->name) == 0) return Run(*c, argc, argv);
  }
  std::fprintf(stderr, "zo-kel: unknown command \"%s\"\n", name);
  PrintUsage(stderr);
  return 2;
}
