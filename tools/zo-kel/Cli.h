// Command-line plumbing of zo-kel: the errors every subcommand reports (status 1 for bad input,
// 2 for bad usage), and a
// small argument reader for "--flag", "--option VALUE" / "--option=VALUE" and positionals.
#ifndef ZO_KEL_TOOLS_CLI_H
#define ZO_KEL_TOOLS_CLI_H

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

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

/// The arguments of one subcommand. Options are taken out as the subcommand asks for them;
/// finish() then refuses whatever option is left and returns the positionals in order.
/// Words that read as numbers ("-1.5") are positionals, not options; "--" ends the options.
class Args {
 public:
  Args(int argc, char** argv, int first);

  /// True when `name` (spelt in full: "--json") was given; takes it out.
  bool flag(const std::string& name);
  /// The value of `name VALUE` or `name=VALUE` ("--as 36", "-o out.bin"), if given; ToolError when
  /// the value is missing or the option is given twice.
  std::optional<std::string> option(const std::string& name);
  /// Every value of an option that may repeat, in order.
  std::vector<std::string> options(const std::string& name);
  /// The positionals; ToolError for an unknown option or when their count is outside
  /// [minCount, maxCount].
  std::vector<std::string> finish(std::size_t minCount, std::size_t maxCount);

 private:
  struct Word {
    std::string text;
    bool afterDashes;  // after "--": always a positional
    bool taken;
  };
  bool isOption(const Word& w) const;
  std::vector<Word> words_;
};

/// The text of a library error without the name of its class ("SyntaxError: the packet ends"
/// reads "the packet ends").
std::string Reason(const std::exception& e);

/// Parses an unsigned decimal number no larger than max, or throws ToolError naming `what`.
unsigned ParseUnsigned(const std::string& text, unsigned max, const char* what);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_CLI_H
