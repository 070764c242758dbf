// The array guts: a growable sequence of values.
#ifndef ZO_KEL_VARDATA_VECTORGUTS_IMPL_H
#define ZO_KEL_VARDATA_VECTORGUTS_IMPL_H

#include <vector>

#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace zo {
namespace kel {
namespace detail {

/// The elements of an array value, each owning its own reference.
class VectorGuts final : public GutsObject<IVarDataSequence> {
 public:
  VectorGuts() = default;
  explicit VectorGuts(std::vector<VarData> elements) : elements_(std::move(elements)) {}

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
  std::vector<VarData>& elements() noexcept { return elements_; }
  const std::vector<VarData>& elements() const noexcept { return elements_; }

 private:
  ~VectorGuts() override = default;

  std::vector<VarData> elements_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_VECTORGUTS_IMPL_H
