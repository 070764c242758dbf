// The subcommands of zo-kel. Each declares its options and arguments on a CLI11 subcommand; once
// the command line is parsed, the function it returned writes the result to standard output and
// returns the exit status. Failures are thrown as ToolError (status 1) or UsageError (status 2).
#ifndef ZO_KEL_TOOLS_COMMANDS_H
#define ZO_KEL_TOOLS_COMMANDS_H

#include <functional>

#include "Cli.h"

namespace CLI {
class App;
}  // namespace CLI

namespace zokel_tool {

struct Command {
  const char* name;
  const char* summary;
  const char* help;  // what --help prints: usage, options, exit statuses
  // Declares the command's options and arguments on `app`; the returned function runs the command
  // with what `app` parsed.
  std::function<int()> (*define)(CLI::App& app);
};

extern const Command kDecodeCommand;
extern const Command kEncodeCommand;
extern const Command kFormatCommand;
extern const Command kParseCommand;
extern const Command kNowCommand;

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_COMMANDS_H
