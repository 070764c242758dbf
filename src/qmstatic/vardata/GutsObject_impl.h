// Reference counting and interface answers shared by the library's guts classes.
#ifndef ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
#define ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H

#include <cstdint>
#include <initializer_list>

#include "qmstatic/vardata/IVarDataGuts.h"

namespace zo {
namespace kel {
namespace detail {

/// True when iid is one of ids (compared byte by byte).
inline bool IsOneOf(const GUID& iid, std::initializer_list<const GUID*> ids) noexcept {
  for (const GUID* id : ids) {
    if (IsEqualGUID(iid, *id)) return true;
  }
  return false;
}

/// Hands out an interface with a new reference.
template <class Interface>
std::int32_t GrantInterface(Interface* itf, void** out) noexcept {
  itf->AddRef();
  *out = itf;
  return kGutsOk;
}

/// Refuses a query: null output, count untouched.
inline std::int32_t RefuseInterface(void** out) noexcept {
  *out = nullptr;
  return kGutsNoInterface;
}

/// AddRef and Release on the guts' own count (starting at 1); the object is destroyed when the
/// count reaches 0.
template <class Interface>
class GutsObject : public Interface {
 public:
  std::int32_t AddRef() override { return this->addReference(); }
  std::int32_t Release() override { return this->dropReference(); }

 protected:
  GutsObject() = default;
  ~GutsObject() override = default;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
