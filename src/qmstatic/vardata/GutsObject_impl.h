// Reference counting and interface answers shared by the library's guts classes.
#ifndef ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
#define ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H

#include <cstdint>
#include <initializer_list>

#include "kel/osdep/AtomicInt.h"
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

/// An atomic count starting at 1 and the object's destruction when it reaches 0.
template <class Interface>
class GutsObject : public Interface {
 public:
  std::int32_t AddRef() override { return count_.increment(); }
  std::int32_t Release() override {
    const std::int32_t n = count_.decrement();
    if (n == 0) delete this;
    return n;
  }

 protected:
  GutsObject() = default;
  ~GutsObject() override = default;

 private:
  osdep::AtomicInt count_{1};
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
