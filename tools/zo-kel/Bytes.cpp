// Reading and writing files, standard streams and hex text.
#include "Bytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Cli.h"

namespace zokel_tool {

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Printable(char c) {
  const auto u = static_cast<unsigned char>(c);
  if (u >= 0x20 && u < 0x7F) return std::string("'") + c + "'";
  return "byte " + HexNumber(u, 2);
}

void WriteAll(const std::string& path, const void* data, std::size_t n) {
  const bool toStdout = path == "-";
  std::FILE* f = toStdout ? stdout : std::fopen(path.c_str(), "wb");
  if (f == nullptr) throw ToolError("cannot write " + path + ": " + std::strerror(errno));
  const bool ok = (n == 0 || std::fwrite(data, 1, n, f) == n) && std::fflush(f) == 0;
  const int error = errno;
  if (!toStdout) std::fclose(f);
  if (!ok) throw ToolError("cannot write " + path + ": " + std::strerror(error));
}

}  // namespace

Bytes ReadInput(const std::string& path) {
  const bool fromStdin = path == "-";
  std::FILE* f = fromStdin ? stdin : std::fopen(path.c_str(), "rb");
  if (f == nullptr) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
  Bytes bytes;
  unsigned char chunk[65536];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
    bytes.insert(bytes.end(), chunk, chunk + n);
  const bool failed = std::ferror(f) != 0;
  const int error = errno;
  if (!fromStdin) std::fclose(f);
  if (failed)
    throw ToolError("cannot read " + (fromStdin ? std::string("standard input") : path) + ": " +
                    std::strerror(error));
  return bytes;
}

Bytes ParseHex(const std::string& text, const std::string& what) {
  Bytes out;
  out.reserve(text.size() / 2);
  int high = -1;
  std::size_t highAt = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    const int v = HexDigit(c);
    if (v < 0) {
      throw ToolError(what + ": " + Printable(c) + " at character " + std::to_string(i) +
                      " is not a hex digit");
    }
    if (high < 0) {
      high = v;
      highAt = i;
    } else {
      out.push_back(static_cast<unsigned char>(high * 16 + v));
      high = -1;
    }
  }
  if (high >= 0) {
    throw ToolError(what + ": the hex digit at character " + std::to_string(highAt) +
                    " has no second digit");
  }
  return out;
}

std::string ToHex(const unsigned char* data, std::size_t n) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(n * 3);
  for (std::size_t i = 0; i < n; ++i) {
    if (i != 0) out += ' ';
    out += kDigits[data[i] >> 4];
    out += kDigits[data[i] & 15];
  }
  return out;
}

std::string HexNumber(std::uint64_t value, int minDigits) {
  char buf[24];
  std::snprintf(buf, sizeof buf, "0x%0*llX", minDigits, static_cast<unsigned long long>(value));
  return buf;
}

std::string BytesFollow(std::uint64_t n) {
  return std::to_string(n) + (n == 1 ? " byte follows" : " bytes follow");
}

void WriteOutput(const std::string& path, const Bytes& bytes) {
  WriteAll(path, bytes.data(), bytes.size());
}

void WriteOutput(const std::string& path, const std::string& text) {
  WriteAll(path, text.data(), text.size());
}

}  // namespace zokel_tool
