// The dictionary guts, its iterator, its text form and the handle's dictionary operations.
#include <algorithm>
#include <type_traits>
#include <utility>

#include "kel/StringBase.h"
#include "qmstatic/vardata/VarDataDictionary_impl.h"

namespace zo {
namespace kel {
namespace detail {

namespace {

// The first pair whose key is not less than k, and whether that key is equal to k by the map's
// own order (which keeps NaN apart from the numbers). A text key that the search itself found
// equal is not compared again. Forced inline into each search: as one call shared by lookup and
// insertion it cost a twentieth of a lookup's instructions.
template <class Key>
[[gnu::always_inline]] inline std::pair<VarDataMap::iterator, bool> LowerBound(VarDataMap& pairs,
                                                                               const Key& k) {
  const auto position = pairs.lower_bound(k);
  if (position == pairs.end()) return {position, false};
  if constexpr (std::is_same<Key, OwnTextKey>::value) {
    if (k.equal == &position->first) return {position, true};
  }
  return {position, !pairs.key_comp()(k, position->first)};
}

}  // namespace

/// A position in a dictionary; keeps a copy of the owning handle, so that the dictionary lives
/// as long as the iterator.
///
/// That copy shares the dictionary's body, so a write through the handle during a walk gives the
/// handle a new body (copy on write) while the iterator stays on the old one: the walk sees the
/// pairs it started on. Iterators of different bodies never stand at the same pair, but every
/// iterator past the last pair equals every other one, so `it != d.end()` still ends a loop
/// whose body writes d.
class VarDataDictionaryIterator final : public IVarDataIterator {
 public:
  VarDataDictionaryIterator(const VarData& owner, const VarDataMap& pairs,
                            VarDataMap::iterator position)
      : owner_(owner), pairs_(&pairs), position_(position) {}

  const std::pair<const VarData, VarData>& current() const { return *position_; }
  const VarData& value() const override { return position_->second; }
  const VarData& key() const override { return position_->first; }
  VarData& getValueReference() override { return position_->second; }
  void increment() override { ++position_; }
  void decrement() override { --position_; }
  bool compare(const IVarDataIterator* other) const override {
    const auto* that = dynamic_cast<const VarDataDictionaryIterator*>(other);
    if (that == nullptr) return false;  // another module's iterator: never our position
    const bool atEnd = position_ == pairs_->end();
    if (that->pairs_ != pairs_) return atEnd && that->position_ == that->pairs_->end();
    return position_ == that->position_;
  }
  IVarDataIterator* copy() const override { return new VarDataDictionaryIterator(*this); }
  void Release() override { delete this; }

 private:
  VarDataDictionaryIterator(const VarDataDictionaryIterator&) = default;
  ~VarDataDictionaryIterator() = default;

  VarData owner_;
  const VarDataMap* pairs_;
  VarDataMap::iterator position_;
};

std::int32_t VarDataDictionary::QueryInterface(const GUID& iid, void** out) {
  if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataDictionary})) {
    return GrantInterface(static_cast<IVarDataDictionary*>(this), out);
  }
  return RefuseInterface(out);
}

VarDataDictionary::operator bool() const { return !pairs_.empty(); }

VarDataDictionary::operator double() const { return static_cast<double>(pairs_.size()); }

// One pass, comparing each key and each value once: a comparison that asked "less" both ways
// and then "equal" would compare nested dictionaries a number of times exponential in their depth.
std::int32_t VarDataDictionary::Compare(const IVarDataGuts* other) const {
  const VarDataMap& theirs = static_cast<const VarDataDictionary*>(other)->pairs_;
  auto mine = pairs_.begin();
  auto their = theirs.begin();
  for (; mine != pairs_.end() && their != theirs.end(); ++mine, ++their) {
    std::int32_t order = mine->first.Compare(their->first);
    if (order == 0) order = mine->second.Compare(their->second);
    if (order != 0) return order < 0 ? -1 : 1;
  }
  if (mine != pairs_.end()) return 1;
  return their != theirs.end() ? -1 : 0;
}

void VarDataDictionary::setValue(const VarData& key, const VarData& value) { slot(key) = value; }

VarData VarDataDictionary::getValue(const VarData& key) const {
  const auto position = findKey(key);
  if (position == pairs_.end()) throw KeyErrorException();
  return position->second;
}

VarData& VarDataDictionary::getValueReference(const VarData& key) { return slot(key); }

VarData& VarDataDictionary::slot(const VarData& key) {
  return SearchKey(key, [&](const auto& k) -> VarData& {
    auto found = LowerBound(pairs_, k);
    if (!found.second) found.first = pairs_.emplace_hint(found.first, key, VarData());
    return found.first->second;
  });
}

VarDataMap::iterator VarDataDictionary::findKey(const VarData& key) const {
  return SearchKey(key, [this](const auto& k) {
    const auto found = LowerBound(pairs_, k);
    return found.second ? found.first : pairs_.end();
  });
}

IVarDataIterator* VarDataDictionary::begin(const VarData& owner) const {
  return new VarDataDictionaryIterator(owner, pairs_, pairs_.begin());
}

IVarDataIterator* VarDataDictionary::end(const VarData& owner) const {
  return new VarDataDictionaryIterator(owner, pairs_, pairs_.end());
}

IVarDataIterator* VarDataDictionary::find(const VarData& key, const VarData& owner) const {
  return new VarDataDictionaryIterator(owner, pairs_, findKey(key));
}

void VarDataDictionary::erase(const VarData& key) {
  const auto position = findKey(key);
  if (position != pairs_.end()) pairs_.erase(position);
}

bool VarDataDictionary::hasKey(const VarData& key) const { return findKey(key) != pairs_.end(); }

IVarDataGuts* VarDataDictionary::copy() const { return new VarDataDictionary(pairs_); }

WString VarDataDictionary::getString() const {
  WString text(L"{");
  bool first = true;
  for (const auto& pair : pairs_) {
    if (!first) text += L',';
    first = false;
    text += PrintValue(pair.first);
    text += L':';
    text += PrintValue(pair.second);
  }
  text += L'}';
  return text;
}

std::uint32_t VarDataDictionary::size() const { return static_cast<std::uint32_t>(pairs_.size()); }

}  // namespace detail
}  // namespace kel
}  // namespace zo

IVarDataGuts* NewVarDataDictionary() { return new zo::kel::detail::VarDataDictionary(); }

zo::kel::WString PrintValue(const VarData& value) {
  const std::uint16_t kind = value.getKind();
  if (kind == VarData::kAnsi || kind == VarData::kUnicode) {
    zo::kel::WString text(L"\"");
    text += value.getUnicodeString();
    text += L'"';
    return text;
  }
  return value.getUnicodeString();
}

// ---- The handle's dictionary operations -----------------------------------------------------

namespace {

// A dictionary handle whose guts were dropped (Release) reads as an empty dictionary.
const IVarDataDictionary* EmptyDictionary() {
  static const VarData empty = VarData::dict();
  return empty.getIDict();
}

}  // namespace

IVarDataDictionary* VarData::writableDict() {
  throwIfWrongType(kDictionary);
  if (guts() == nullptr) {
    setGutsPointer(NewVarDataDictionary());
  } else {
    copyIfShared();
  }
  return getIDict();
}

const IVarDataDictionary* VarData::readableDict() const {
  throwIfWrongType(kDictionary);
  return guts() == nullptr ? EmptyDictionary() : getIDict();
}

void VarData::setValue(const VarData& key, const VarData& value) {
  writableDict()->setValue(key, value);
}

VarData VarData::getValue(const VarData& key) const { return readableDict()->getValue(key); }

VarData& VarData::operator[](const VarData& key) { return writableDict()->getValueReference(key); }

VarData VarData::operator[](const VarData& key) const { return readableDict()->getValue(key); }

VarData::const_iterator VarData::find(const VarData& key) const {
  return const_iterator(readableDict()->find(key, *this));
}

VarData::const_iterator VarData::begin() const {
  return const_iterator(readableDict()->begin(*this));
}

VarData::const_iterator VarData::end() const { return const_iterator(readableDict()->end(*this)); }

void VarData::erase(const VarData& key) { writableDict()->erase(key); }

void VarData::eraseWithoutCopyOnWrite(const VarData& key) {
  throwIfWrongType(kDictionary);
  if (guts() != nullptr) getIDict()->erase(key);
}

bool VarData::hasKey(const VarData& key) const { return readableDict()->hasKey(key); }

std::uint32_t VarData::size() const { return readableDict()->size(); }

VarData::const_iterator::const_iterator(const const_iterator& other)
    : it_(other.it_ == nullptr ? nullptr : other.it_->copy()) {}

VarData::const_iterator& VarData::const_iterator::operator=(const const_iterator& other) {
  if (this != &other) {
    IVarDataIterator* copied = other.it_ == nullptr ? nullptr : other.it_->copy();
    if (it_ != nullptr) it_->Release();
    it_ = copied;
  }
  return *this;
}

VarData::const_iterator& VarData::const_iterator::operator=(const_iterator&& other) noexcept {
  if (this != &other) {
    if (it_ != nullptr) it_->Release();
    it_ = other.it_;
    other.it_ = nullptr;
  }
  return *this;
}

VarData::const_iterator::~const_iterator() {
  if (it_ != nullptr) it_->Release();
}

const std::pair<const VarData, VarData>* IVarDataIterator::pair() const noexcept {
  const auto* own = dynamic_cast<const zo::kel::detail::VarDataDictionaryIterator*>(this);
  return own == nullptr ? nullptr : &own->current();
}

VarData::const_iterator::reference VarData::const_iterator::operator*() const {
  const value_type* current = it_->pair();
  if (current == nullptr) throw TypeErrorException();
  return *current;
}

bool VarData::const_iterator::operator==(const const_iterator& other) const {
  if (it_ == nullptr || other.it_ == nullptr) return it_ == other.it_;
  return it_->compare(other.it_);
}
