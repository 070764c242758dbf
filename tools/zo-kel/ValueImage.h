// VarData byte images read byte by byte beside the library's reader. The tree and the JSON of
// `zo-kel decode` are written from the bytes as read, while walking them: every offset is one
// into the input, and the JSON keeps what the reader normalises away (the order of dictionary
// entries and repeated keys, logical bytes above 1, the high bits of a type word, trailing
// empty array elements), so that `zo-kel encode` gives back exactly the bytes.
#ifndef ZO_KEL_TOOLS_VALUEIMAGE_H
#define ZO_KEL_TOOLS_VALUEIMAGE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "Bytes.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

/// How a value is shown.
struct ShowOptions {
  bool json = false;
  /// Elements and entries shown of each array and dictionary; the rest is counted.
  std::uint64_t maxElements = ~std::uint64_t{0};
};

/// Where in an image reading failed: the element's place ("value.elements[2]"), the byte
/// offset of the element in the input and the reason.
struct ImageFailure {
  std::string path;
  std::uint64_t offset;
  std::string reason;
};

/// Writes the value whose image is [value, end) (compact or full) to standard output as a tree
/// (each line: offset, indentation `indent`, `label`, the description) or as JSON at nesting
/// `indent`. Offsets are `base` plus the place in the image. Returns the end of the value.
/// Throws ImageFailure for an image the walk cannot read; the caller reads it with the library
/// first, so that this is the place where the library's reader failed too.
const unsigned char* ShowValueImage(const unsigned char* value, const unsigned char* end,
                                    bool compact, std::uint64_t base, const ShowOptions& options,
                                    int indent, const std::string& label);

/// Finds where the image [value, end) stops reading without writing anything; the end of the
/// value when it reads.
const unsigned char* WalkValueImage(const unsigned char* value, const unsigned char* end,
                                    bool compact, std::uint64_t base);

/// Appends the image of the JSON value j (the form ShowValueImage writes, or a friendly one: a
/// string, number, boolean, null, array or object without "kind") to out, exactly as
/// described. ToolError naming `path` and what is wrong.
void EncodeValueImage(Bytes& out, const nlohmann::ordered_json& j, bool compact,
                      const std::string& path);

/// The compact image the library writes for v.
Bytes ValueToImage(const VarData& v);

/// Shortens a long place in an image from the middle so that an error stays one short line.
std::string ShortPath(const std::string& path);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_VALUEIMAGE_H
