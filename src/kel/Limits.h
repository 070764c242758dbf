// Limits that every reader of untrusted byte images applies, shared so that the value model, the
// packet readers and the flattened-variant reader refuse hostile input in the same way.
#ifndef ZO_KEL_LIMITS_H
#define ZO_KEL_LIMITS_H

#include <cstdint>

namespace zo {
namespace kel {

/// Deepest nesting a recursive reader follows: arrays of clusters of arrays, values inside
/// values, packets inside packets. Each level costs a stack frame, so a few bytes of input that
/// open levels without closing them would otherwise overflow the stack. 256 levels are far more
/// than any real record needs and, at a few hundred bytes of stack per level, stay well inside
/// the smallest thread stack the library meets (including under AddressSanitizer).
constexpr std::uint32_t kMaxNestingDepth = 256;

/// Most elements a reader builds without consuming input: elements whose type occupies no bytes
/// (void, empty clusters) are counted from dimension sizes, not walked, and a few header bytes
/// could announce billions of them. 1,048,576 empty elements cost a reader that materialises
/// them a few tens of megabytes at most, and no real array of empty elements comes near it.
constexpr std::uint32_t kMaxEmptyElements = 1048576;

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_LIMITS_H
