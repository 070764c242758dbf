// A VarData image read by the library beside zo-kel's own walk: whether it reads, where it ends
// and where the library's own image of it would differ, without holding a second copy of a large
// value.
#ifndef ZO_KEL_TOOLS_VALUECHECK_H
#define ZO_KEL_TOOLS_VALUECHECK_H

#include <cstdint>
#include <string>

namespace zokel_tool {

/// The offset ValueCheck::normalFrom holds for an image already in the library's normal form.
constexpr std::uint64_t kNormalForm = ~std::uint64_t{0};

/// What the library makes of one value image.
struct ValueCheck {
  const unsigned char* end;  ///< the end of the value as the library reads it
  /// The input offset of the first byte where the library's image of the value differs from
  /// the input; kNormalForm when it does not.
  std::uint64_t normalFrom;
};

/// Reads the one value at [value, end) (compact or full) with the library; offsets are `base`
/// plus the place in the image. A value of at most a megabyte is read and written back whole;
/// arrays, dictionaries and cells beyond that are read element by element, so that memory stays
/// at the input plus the largest element read at once. A dictionary whose keys are not in the
/// library's order is read whole (it needs the library's sort). Throws ToolError
/// "<form>: <element> at byte <offset>: <reason>" for an image the library refuses.
ValueCheck CheckValueImage(const unsigned char* value, const unsigned char* end, bool compact,
                           std::uint64_t base, const std::string& form);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_VALUECHECK_H
