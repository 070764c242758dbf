// Finding the element of a VarData byte image that the library refuses: zo-kel walks the
// arrays, dictionaries and cells itself and lets the library read every other value, so that
// it can name the byte offset of the innermost element at fault.
#ifndef ZO_KEL_TOOLS_IMAGELOCATE_H
#define ZO_KEL_TOOLS_IMAGELOCATE_H

#include <cstdint>
#include <string>

namespace zokel_tool {

/// For an image the library could not read as one value at `value` (compact or full form, read
/// against `limit`), the place of the failure: "array at offset 0, element 2 at offset 20:
/// unknown kind code 0x0005". Offsets count from `begin` plus `base`. An empty string when the
/// walk finds nothing wrong (the caller then reports the library's own error).
std::string LocateFailure(const unsigned char* begin, const unsigned char* value,
                          const unsigned char* limit, bool compact, std::uint64_t base);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_IMAGELOCATE_H
