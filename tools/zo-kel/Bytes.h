// Bytes in and out of zo-kel: files or standard input, binary or hex text.
#ifndef ZO_KEL_TOOLS_BYTES_H
#define ZO_KEL_TOOLS_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zokel_tool {

using Bytes = std::vector<unsigned char>;

/// The whole content of the file at path, or of standard input for "-". ToolError when the
/// file cannot be read.
Bytes ReadInput(const std::string& path);

/// The bytes of hex text: pairs of hex digits, blanks and line breaks ignored anywhere.
/// ToolError naming `what` and the character offset of the first character that is not a hex
/// digit, or of an unpaired last digit.
Bytes ParseHex(const std::string& text, const std::string& what);

/// "05 10 00 00": upper-case pairs separated by blanks.
std::string ToHex(const unsigned char* data, std::size_t n);
inline std::string ToHex(const Bytes& b) { return ToHex(b.data(), b.size()); }

/// A 0x-prefixed upper-case hex number ("0x1F").
std::string HexNumber(std::uint64_t value, int minDigits = 1);

/// "1 byte follows" or "3 bytes follow".
std::string BytesFollow(std::uint64_t n);

/// Writes the bytes to the file at path, or to standard output for "-"; ToolError on failure.
void WriteOutput(const std::string& path, const Bytes& bytes);
void WriteOutput(const std::string& path, const std::string& text);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_BYTES_H
