// The mark by which inline code recognises the library's own narrow text guts: their vtable
// pointer, read once from an object of the class when the library is loaded.
#include "qmstatic/vardata/StringGuts_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace zo {
namespace kel {
namespace detail {
namespace {

// The vtable pointer of AnsiGuts, or null when its count is not at kOwnTextCountOffset (a
// layout the inline counting would then misread: it is switched off instead).
const void* FindOwnTextVtable() noexcept {
  const AnsiGuts& probe = StaticProbe<AnsiGuts>(0u);
  const IVarDataGuts* guts = static_cast<const IVarDataAnsi*>(&probe);
  const char* start = reinterpret_cast<const char*>(guts);
  const char* count = reinterpret_cast<const char*>(&probe.referenceCount());
  if (count - start != static_cast<std::ptrdiff_t>(kOwnTextCountOffset)) return nullptr;
  return VtablePointerOf(guts);
}

}  // namespace

const void* const ownTextVtable = FindOwnTextVtable();

}  // namespace detail
}  // namespace kel
}  // namespace zo
