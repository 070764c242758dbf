// Standard output of zo-kel, written as it is produced through one fixed buffer.
#ifndef ZO_KEL_TOOLS_OUTPUT_H
#define ZO_KEL_TOOLS_OUTPUT_H

#include <cstddef>
#include <string>

namespace zokel_tool {

/// Appends text to standard output.
void Put(const char* text, std::size_t n);
inline void Put(const std::string& text) { Put(text.data(), text.size()); }
/// Appends bytes as hex ("05 10 00 00"), a bounded piece at a time, so that a large block is
/// never held as text.
void PutHex(const unsigned char* data, std::size_t n);
/// Hands what is buffered to the system; ToolError when standard output cannot be written.
void FlushOutput();

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_OUTPUT_H
