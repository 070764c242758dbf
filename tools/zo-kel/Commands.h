// The subcommands of zo-kel. Each reads its arguments, writes its result to standard output and
// returns the exit status; failures are thrown as ToolError (exit status 2).
#ifndef ZO_KEL_TOOLS_COMMANDS_H
#define ZO_KEL_TOOLS_COMMANDS_H

#include "Cli.h"

namespace zokel_tool {

struct Command {
  const char* name;
  const char* summary;
  const char* help;
  int (*run)(Args& args);
};

extern const Command kDecodeCommand;
extern const Command kEncodeCommand;
extern const Command kFormatCommand;
extern const Command kParseCommand;
extern const Command kNowCommand;

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_COMMANDS_H
