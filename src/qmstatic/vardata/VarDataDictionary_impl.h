// The dictionary guts: an ordered map from values to values.
#ifndef ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H
#define ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H

#include <cstddef>
#include <map>
#include <utility>

#include "kel/SmallBlockAllocator_impl.h"
#include "kel/osdep/StringCaseCompare_impl.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/StringGuts_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace zo {
namespace kel {
namespace detail {

/// The characters of a text key.
struct NarrowText {
  const char* data;
  std::size_t length;
};

/// The guts of v when it is narrow text with guts (of any module), otherwise null.
inline const IVarDataAnsi* NarrowTextGuts(const VarData& v) noexcept {
  return v.getKind() == VarData::kAnsi ? v.getIAnsi() : nullptr;
}

/// The guts of v when it is the library's own narrow text, otherwise null. Their Compare is
/// known to be the case-insensitive order of their characters, so a comparison can be made here
/// without going through it; they are recognised by their vtable, without a call.
inline const AnsiGuts* OwnNarrowText(const VarData& v) noexcept {
  const IVarDataAnsi* text = NarrowTextGuts(v);
  if (text == nullptr || !IsOwnTextGuts(text)) return nullptr;
  return static_cast<const AnsiGuts*>(text);
}

/// The characters of the library's own narrow text, read in place.
inline NarrowText CharactersOf(const AnsiGuts& text) noexcept {
  return NarrowText{text.text(), text.length()};
}

/// The characters of narrow text guts of any module: in place for the library's own, otherwise
/// through the interface.
inline NarrowText CharactersOf(const IVarDataAnsi& text) {
  if (IsOwnTextGuts(&text)) return CharactersOf(static_cast<const AnsiGuts&>(text));
  return NarrowText{text.GetData(), text.GetLength()};
}

/// A key that is narrow text of the library's own (OwnNarrowText), with its characters read
/// once, so that a search compares characters directly at every node. The search also notes the
/// stored key it found equal, if any, so that a lookup need not compare the key it stops at a
/// second time (keys are unique: at most one is equal).
struct OwnTextKey {
  const VarData& key;
  NarrowText text;
  mutable const VarData* equal = nullptr;
};

/// Key order of dictionaries: ascending VarData::Compare, with one exception for NaN numbers.
/// Compare finds a NaN equal to every number, which no tree can keep as an order (1 and 2 would
/// both be the key NaN); among the keys a NaN is therefore one key of its own, after every other
/// number, which is still ascending by Compare.
///
/// Text keys, the common case, are compared here when the left one is the library's own: the
/// order is Compare's, reached without its chain of calls. A search with an OwnTextKey (see
/// SearchKey) also skips reading the searched key at every node.
struct VarDataKeyLess {
  using is_transparent = void;

  bool operator()(const VarData& a, const VarData& b) const {
    const AnsiGuts* x = OwnNarrowText(a);
    const IVarDataAnsi* y = x != nullptr ? NarrowTextGuts(b) : nullptr;
    if (y != nullptr) return Less(CharactersOf(*x), CharactersOf(*y));
    const bool aNaN = IsNaNNumber(a);
    const bool bNaN = IsNaNNumber(b);
    if ((aNaN || bNaN) && a.getKind() == b.getKind()) return bNaN && !aNaN;
    return a.Compare(b) < 0;
  }
  bool operator()(const OwnTextKey& a, const VarData& b) const {
    const IVarDataAnsi* y = NarrowTextGuts(b);
    return y != nullptr ? Less(a.text, CharactersOf(*y)) : (*this)(a.key, b);
  }
  bool operator()(const VarData& a, const OwnTextKey& b) const {
    const AnsiGuts* x = OwnNarrowText(a);
    if (x == nullptr) return (*this)(a, b.key);
    const NarrowText text = CharactersOf(*x);
    const int order =
        osdep::detail::CaseCompareNarrow(text.data, text.length, b.text.data, b.text.length);
    if (order == 0) b.equal = &a;
    return order < 0;
  }

  static bool Less(NarrowText a, NarrowText b) noexcept {
    return osdep::detail::CaseCompareNarrow(a.data, a.length, b.data, b.length) < 0;
  }
  static bool IsNaNNumber(const VarData& v) {
    if (v.getKind() != VarData::kNumeric) return false;
    const double d = static_cast<double>(v);
    return d != d;
  }
};

/// Calls search(k) with the fastest key equivalent to `key` for the map's order: an OwnTextKey
/// for the library's own narrow text, otherwise the key itself.
template <class Search>
decltype(auto) SearchKey(const VarData& key, Search search) {
  if (const AnsiGuts* text = OwnNarrowText(key))
    return search(OwnTextKey{key, CharactersOf(*text)});
  return search(key);
}

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

  // The pair of an equal key, or end(), searched with SearchKey.
  VarDataMap::iterator findKey(const VarData& key) const;
  // The value stored under key, inserted empty when the key is new.
  VarData& slot(const VarData& key);

  // Iterators are handed out from const operations but may write values through
  // getValueReference, so the map itself is mutable.
  mutable VarDataMap pairs_;
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VARDATA_VARDATADICTIONARY_IMPL_H
