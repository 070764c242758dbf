// VarData values as readable trees: one element per line, each with its byte offset in the
// image it was read from.
#ifndef ZO_KEL_TOOLS_VALUETREE_H
#define ZO_KEL_TOOLS_VALUETREE_H

#include <cstdint>
#include <string>

#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

/// Appends v to out, starting at nesting `indent` with `label` before its description. The
/// offsets are those of v written at `offset` in the compact (or full) form; kNoOffset shows
/// none, for values that were not read from such an image.
void AppendValueTree(std::string& out, const VarData& v, bool compact, std::uint64_t offset,
                     int indent, const std::string& label);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_VALUETREE_H
