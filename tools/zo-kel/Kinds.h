// Names of the value kinds and numeric qualifiers as zo-kel shows them and reads them back.
#ifndef ZO_KEL_TOOLS_KINDS_H
#define ZO_KEL_TOOLS_KINDS_H

#include <cstdint>
#include <string>

namespace zokel_tool {

/// The name of a kind code ("numeric", "ansi", ...), or null for a code without one (kind 0
/// and codes no value holds).
const char* KindName(std::uint16_t kind);
/// The kind code of a name; false for an unknown name.
bool KindFromName(const std::string& name, std::uint16_t& kind);
/// The native type a numeric qualifier records ("int32", "bit array", ...), or null above 8.
const char* QualifierName(std::uint16_t qualifier);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_KINDS_H
