// The array guts: a growable sequence of values.
#ifndef ZO_KEL_VARDATA_VECTORGUTS_IMPL_H
#define ZO_KEL_VARDATA_VECTORGUTS_IMPL_H

#include <vector>

#include "kel/SmallBlockAllocator_impl.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace zo {
namespace kel {
namespace detail {

/// The elements of an array value, each owning its own reference.
class VectorGuts final : public GutsObject<IVarDataSequence> {
 public:
  /// The element storage: short arrays (up to ten elements) in small blocks, longer ones from
  /// malloc.
  using Elements = std::vector<VarData, SmallBlockStdAllocator<VarData>>;

  VectorGuts() = default;
  /// Takes `elements`; `noGuts` tells that none of them has guts (numbers, times, identifiers),
  /// which lets the destructor give the storage back without visiting every element.
  explicit VectorGuts(Elements elements, bool noGuts = false) noexcept
      : elements_(std::move(elements)), noGuts_(noGuts) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override;
  /// False when empty, otherwise the truth of element 0.
  operator bool() const override;
  /// 0.0 when empty, otherwise the number of element 0.
  operator double() const override;
  /// Element by element; trailing empty elements of the longer array are ignored.
  std::int32_t Compare(const IVarDataGuts* other) const override;
  VarData GetElement(std::uint32_t i) const override;
  void SetElement(std::uint32_t i, VarData value) override;
  std::uint32_t GetLength() const override;
  IVarDataGuts* Copy() const override;

  /// Direct access for the library's own codecs (the guts must not be shared while written).
  Elements& elements() noexcept {
    noGuts_ = false;  // the caller may store any value
    return elements_;
  }
  const Elements& elements() const noexcept { return elements_; }

 private:
  ~VectorGuts() override;

  Elements elements_;
  bool noGuts_ = false;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_VECTORGUTS_IMPL_H
