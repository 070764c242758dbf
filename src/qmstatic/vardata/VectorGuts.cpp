// The array guts: element access, growth, order and copies.
#include <memory>
#include <new>

#include "qmstatic/vardata/VectorGuts_impl.h"

namespace zo {
namespace kel {
namespace detail {

std::int32_t VectorGuts::QueryInterface(const GUID& iid, void** out) {
  if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataSequence})) {
    return GrantInterface(static_cast<IVarDataSequence*>(this), out);
  }
  return RefuseInterface(out);
}

VectorGuts::~VectorGuts() {
  if (!noGuts_) return;
  // Elements without guts own nothing, and their destructors would only read each one to learn
  // that: a pass over the whole array that, for a large array of numbers, took a third of the
  // time of reading it. The storage goes back as it is, and an empty vector takes the old one's
  // place for the member's own destructor, ending the elements' lifetimes without running theirs.
  VarData* const data = elements_.data();
  const std::size_t capacity = elements_.capacity();
  Elements::allocator_type allocator = elements_.get_allocator();
  ::new (static_cast<void*>(&elements_)) Elements();
  std::allocator_traits<Elements::allocator_type>::deallocate(allocator, data, capacity);
}

VectorGuts::operator bool() const {
  return !elements_.empty() && static_cast<bool>(elements_.front());
}

VectorGuts::operator double() const {
  return elements_.empty() ? 0.0 : static_cast<double>(elements_.front());
}

std::int32_t VectorGuts::Compare(const IVarDataGuts* other) const {
  const Elements& mine = elements_;
  const Elements& theirs = static_cast<const VectorGuts*>(other)->elements_;
  const std::size_t common = mine.size() < theirs.size() ? mine.size() : theirs.size();
  for (std::size_t i = 0; i < common; ++i) {
    const std::int32_t order = mine[i].Compare(theirs[i]);
    if (order != 0) return order;
  }
  // Trailing empty elements are ignored, deliberately: (1, 2) equals (1, 2, empty).
  const Elements& longer = mine.size() > common ? mine : theirs;
  for (std::size_t i = common; i < longer.size(); ++i) {
    if (longer[i].getKind() != VarData::kEmpty) return &longer == &mine ? 1 : -1;
  }
  return 0;
}

VarData VectorGuts::GetElement(std::uint32_t i) const {
  return i < elements_.size() ? elements_[i] : VarData();
}

void VectorGuts::SetElement(std::uint32_t i, VarData value) {
  noGuts_ = false;
  if (i < elements_.size()) {
    elements_[i] = std::move(value);
    return;
  }
  if (value.getKind() == VarData::kEmpty) return;
  // i + 1 would wrap on a 32-bit platform; no array can hold that many elements anyway.
  if (i >= elements_.max_size()) throw std::bad_alloc();
  elements_.resize(static_cast<std::size_t>(i) + 1);
  elements_[i] = std::move(value);
}

std::uint32_t VectorGuts::GetLength() const { return static_cast<std::uint32_t>(elements_.size()); }

IVarDataGuts* VectorGuts::Copy() const { return new VectorGuts(elements_, noGuts_); }

}  // namespace detail
}  // namespace kel
}  // namespace zo

IVarDataGuts* NewVectorGuts() { return new zo::kel::detail::VectorGuts(); }
