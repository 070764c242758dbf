// FlexData packets as readable trees: zo-kel walks the size, the metadata (attribute sections,
// the type element) and the data of a packet itself, so that it can name the byte offset of
// the element that is malformed.
#ifndef ZO_KEL_TOOLS_PACKETTREE_H
#define ZO_KEL_TOOLS_PACKETTREE_H

#include <cstdint>
#include <string>

#include "kel/fd/FlexData.h"

namespace zokel_tool {

/// Most tree lines one packet is shown with, and the elements an array shows unless told
/// otherwise: both keep the walk short for a small packet whose arrays repeat a large type many
/// times. Asked for more elements, the walk shows every line.
constexpr std::uint32_t kMaxPacketLines = 20000;
constexpr std::uint32_t kShownElements = 16;

/// Appends the packet at [packet, end) to out (when out is not null), one element per line,
/// each line starting with its byte offset: `base` plus the element's place in [packet, end).
/// `indent` is the nesting of the first line, `label` is put before its description; an array
/// shows its first `maxElements` elements and counts the rest.
/// Throws ToolError naming the element and offset of the first malformed part.
void WalkPacket(std::string* out, const unsigned char* packet, const unsigned char* end,
                std::uint64_t base, int indent, const std::string& label,
                std::uint64_t maxElements = kShownElements);

/// The packet image [begin, end) (four zero bytes: no packet), checked completely by the
/// library. ToolError naming `form`, the offset of the first malformed element and what is
/// wrong, also for bytes after the packet.
zo::kel::FlexData ReadPacketImage(const unsigned char* begin, const unsigned char* end,
                                  const std::string& form);

/// The name of a FlexData type code ("I32", "cluster", "type 0x0305").
std::string FlexTypeName(std::uint16_t code);

/// One line of a tree: offset column (blank when offset is kNoOffset), indentation, text.
constexpr std::uint64_t kNoOffset = ~std::uint64_t{0};
void AppendLine(std::string& out, std::uint64_t offset, int indent, const std::string& text);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_PACKETTREE_H
