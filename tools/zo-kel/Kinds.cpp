// The kind and qualifier name tables.
#include "Kinds.h"

#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

struct KindEntry {
  std::uint16_t code;
  const char* name;
};

constexpr KindEntry kKinds[] = {
    {VarData::kEmpty, "empty"},
    {VarData::kLogical, "logical"},
    {VarData::kNumeric, "numeric"},
    {VarData::kTime, "time"},
    {VarData::kBreak, "break"},
    {VarData::kPulse, "pulse"},
    {VarData::kVoidPointer, "pointer"},
    {VarData::kID64, "id64"},
    {VarData::kAnsi, "ansi"},
    {VarData::kUnicode, "unicode"},
    {VarData::kRaw, "raw"},
    {VarData::kCell, "cell"},
    {VarData::kDictionary, "dictionary"},
    {VarData::kAbsTime, "abstime"},
    {VarData::kRelTime, "reltime"},
    {VarData::kTGVariant, "tgvariant"},
    {VarData::kFlexData, "packet"},
    {VarData::kArray, "array"},
};

constexpr const char* kQualifiers[] = {"double", "int8",   "int16",  "int32",    "uint8",
                                       "uint16", "uint32", "single", "bit array"};

}  // namespace

const char* KindName(std::uint16_t kind) {
  for (const KindEntry& e : kKinds) {
    if (e.code == kind) return e.name;
  }
  return nullptr;
}

bool KindFromName(const std::string& name, std::uint16_t& kind) {
  for (const KindEntry& e : kKinds) {
    if (name == e.name) {
      kind = e.code;
      return true;
    }
  }
  return false;
}

const char* QualifierName(std::uint16_t qualifier) {
  return qualifier < sizeof kQualifiers / sizeof kQualifiers[0] ? kQualifiers[qualifier] : nullptr;
}

}  // namespace zokel_tool
