// Standard output through stdio's buffer; write errors are reported once, at a flush.
#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Cli.h"

namespace zokel_tool {

void Put(const char* text, std::size_t n) {
  if (n != 0) std::fwrite(text, 1, n, stdout);
}

void FlushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw ToolError(std::string("cannot write standard output: ") + std::strerror(errno));
  }
}

}  // namespace zokel_tool
