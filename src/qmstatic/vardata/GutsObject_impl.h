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

/// The base of every guts class of the library: the interfaces (in the order given, so the
/// object starts with their pointers), then the reference count, then the class's fields.
/// AddRef and Release work on that count (1 at creation); the object destroys itself through its
/// deleting destructor when the count reaches 0. This is the one place that creates and destroys
/// the library's guts, so an allocator for them belongs here.
template <class Interface, class... More>
class GutsObject : public Interface, public More... {
 public:
  std::int32_t AddRef() override { return count_.increment(); }
  std::int32_t Release() override {
    const std::int32_t n = count_.decrement();
    if (n == 0) delete this;
    return n;
  }

 protected:
  GutsObject() noexcept : count_(1) {}
  ~GutsObject() override = default;

 private:
  osdep::AtomicInt count_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
