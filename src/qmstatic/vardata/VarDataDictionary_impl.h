// The dictionary guts: an ordered map from values to values.
#ifndef ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H
#define ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H

#include <map>
#include <utility>

#include "kel/SmallBlockAllocator_impl.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace zo {
namespace kel {
namespace detail {

/// Key order of dictionaries: ascending VarData::Compare, with one exception for NaN numbers.
/// Compare finds a NaN equal to every number, which no tree can keep as an order (1 and 2 would
/// both be the key NaN); among the keys a NaN is therefore one key of its own, after every other
/// number, which is still ascending by Compare.
struct VarDataKeyLess {
  bool operator()(const VarData& a, const VarData& b) const {
    const bool aNaN = IsNaNNumber(a);
    const bool bNaN = IsNaNNumber(b);
    if ((aNaN || bNaN) && a.getKind() == b.getKind()) return bNaN && !aNaN;
    return a.Compare(b) < 0;
  }
  static bool IsNaNNumber(const VarData& v) {
    if (v.getKind() != VarData::kNumeric) return false;
    const double d = static_cast<double>(v);
    return d != d;
  }
};

/// The pairs of a dictionary. Its nodes are small blocks: reading a dictionary makes one per pair.
using VarDataMap = std::map<VarData, VarData, VarDataKeyLess,
                            SmallBlockStdAllocator<std::pair<const VarData, VarData>>>;

/// Pairs in key order; keys unique by VarData::Compare (so "abc" and "ABC" are one key).
class VarDataDictionary final : public GutsObject<IVarDataDictionary> {
 public:
  VarDataDictionary() = default;
  explicit VarDataDictionary(VarDataMap pairs) : pairs_(std::move(pairs)) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override;
  /// True when not empty.
  operator bool() const override;
  /// The number of pairs.
  operator double() const override;
  /// -1 when these pairs are lexicographically less (by key, then value), 0 when equal,
  /// otherwise 1.
  std::int32_t Compare(const IVarDataGuts* other) const override;
  void setValue(const VarData& key, const VarData& value) override;
  VarData getValue(const VarData& key) const override;
  VarData& getValueReference(const VarData& key) override;
  IVarDataIterator* begin(const VarData& owner) const override;
  IVarDataIterator* end(const VarData& owner) const override;
  IVarDataIterator* find(const VarData& key, const VarData& owner) const override;
  void erase(const VarData& key) override;
  bool hasKey(const VarData& key) const override;
  IVarDataGuts* copy() const override;
  WString getString() const override;
  std::uint32_t size() const override;

  /// Direct access for the library's own codecs (the guts must not be shared while written).
  VarDataMap& pairs() noexcept { return pairs_; }
  const VarDataMap& pairs() const noexcept { return pairs_; }

 private:
  ~VarDataDictionary() override = default;

  // Iterators are handed out from const operations but may write values through
  // getValueReference, so the map itself is mutable.
  mutable VarDataMap pairs_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H
