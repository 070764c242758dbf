// Reference counting and interface answers shared by the library's guts classes.
#ifndef ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
#define ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>

#include "kel/SmallBlockAllocator_impl.h"
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

/// An object of the guts class Guts in static storage, never destroyed, from which the library
/// reads the marks of its own guts (vtable pointer, where the count lies) when it is loaded:
/// that must not allocate, since the allocator or a preloaded malloc may not be ready yet.
template <class Guts, class... Args>
const Guts& StaticProbe(Args... args) noexcept {
  alignas(Guts) static unsigned char storage[sizeof(Guts)];
  return *::new (static_cast<void*>(storage)) Guts(args...);
}

/// The first word of a guts object: the vtable pointer of its first interface, which tells the
/// library's own guts classes apart from each other and from other modules' guts.
inline const void* VtablePointerOf(const void* guts) noexcept {
  const void* vtable;
  std::memcpy(&vtable, guts, sizeof vtable);
  return vtable;
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
/// deleting destructor when the count reaches 0. Guts live in the library's small-block
/// allocator: values are made and dropped in bulk (reading an image makes one guts per text),
/// often by different threads, and malloc's per-call cost dominated that work.
template <class Interface, class... More>
class GutsObject : public Interface, public More... {
 public:
  std::int32_t AddRef() override { return count_.increment(); }
  std::int32_t Release() override {
    const std::int32_t n = count_.decrement();
    if (n == 0) delete this;
    return n;
  }

  /// The reference count, for code that counts the library's own guts inline.
  const osdep::AtomicInt& referenceCount() const noexcept { return count_; }

  /// Storage for a guts object of `bytes` bytes (the most derived class's size).
  static void* operator new(std::size_t bytes) { return SmallBlockAllocate(bytes); }
  /// Gives back storage from operator new; `bytes` is the most derived class's size again.
  static void operator delete(void* p, std::size_t bytes) noexcept { SmallBlockFree(p, bytes); }

 protected:
  GutsObject() noexcept : count_(1) {}
  ~GutsObject() override = default;

  /// Drops one reference and returns the new count, for a class that frees itself (one whose
  /// storage is larger than the class, so that operator delete cannot know its size).
  std::int32_t DropReference() noexcept { return count_.decrement(); }

 private:
  osdep::AtomicInt count_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_GUTSOBJECT_IMPL_H
