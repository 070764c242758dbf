// Standard output through stdio's buffer; write errors are reported once, at a flush.
#include "Output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Bytes.h"
#include "Cli.h"

namespace zokel_tool {

void Put(const char* text, std::size_t n) {
  if (n != 0) std::fwrite(text, 1, n, stdout);
}

void PutHex(const unsigned char* data, std::size_t n) {
  constexpr std::size_t kPiece = std::size_t{1} << 14;
  for (std::size_t at = 0; at < n; at += kPiece) {
    if (at != 0) Put(" ", 1);
    Put(ToHex(data + at, std::min(kPiece, n - at)));
  }
}

void FlushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw ToolError(std::string("cannot write standard output: ") + std::strerror(errno));
  }
}

}  // namespace zokel_tool
