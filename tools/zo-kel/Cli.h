// Command-line plumbing of zo-kel shared by the subcommands: the errors they report (status 1 for
// bad input, 2 for bad usage) and the checks CLI11 leaves to them. CLI11 reads the command line.
#ifndef ZO_KEL_TOOLS_CLI_H
#define ZO_KEL_TOOLS_CLI_H

#include <stdexcept>
#include <string>

namespace zokel_tool {

/// A failure the tool reports to the user: the message goes to standard error after the
/// subcommand's name, and the process exits with status 1 (bad input).
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A command line the tool cannot follow: reported like ToolError, with exit status 2.
class UsageError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// The text of a library error without the name of its class ("SyntaxError: the packet ends"
/// reads "the packet ends").
std::string Reason(const std::exception& e);

/// Parses an unsigned decimal number no larger than max, or throws ToolError naming `what`.
unsigned ParseUnsigned(const std::string& text, unsigned max, const char* what);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_CLI_H
