// The TG variant guts: a flattened value (descriptor words and data bytes) kept as it is, and the
// handle's TG variant members.
#include "kel/Vector.h"
#include "kel/exception.h"
#include "kel/little_endian.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

// A TG variant pair read back (name discarded, strings narrow); the reader's errors propagate.
VarData Decode(const IVarDataTGVariant& variant, bry::DictionaryConversion mode) {
  const unsigned short* words = nullptr;
  const unsigned char* data = nullptr;
  std::uint32_t wordCount = 0;
  std::uint32_t byteCount = 0;
  variant.get(words, wordCount, data, byteCount);
  zo::kel::AString name;
  return bry::TGVariantToVarData(words, words + wordCount, data, data + byteCount, mode, name,
                                 false);
}

// The order of two views of words or bytes: lexicographic, a prefix first.
template <class T>
int OrderOf(const T* a, std::uint32_t na, const T* b, std::uint32_t nb) {
  const std::uint32_t common = na < nb ? na : nb;
  for (std::uint32_t i = 0; i < common; ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  if (na == nb) return 0;
  return na < nb ? -1 : 1;
}

using zo::kel::Vector;
using zo::kel::detail::GrantInterface;
using zo::kel::detail::GutsObject;
using zo::kel::detail::IsOneOf;
using zo::kel::detail::RefuseInterface;

/// Holds copies of the descriptor words and data bytes; immutable after construction.
class VarDataTGVariant final : public GutsObject<IVarDataTGVariant> {
 public:
  VarDataTGVariant(Vector<unsigned short> words, Vector<unsigned char> data)
      : words_(std::move(words)), data_(std::move(data)) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataTGVariant})) {
      return GrantInterface(static_cast<IVarDataTGVariant*>(this), out);
    }
    return RefuseInterface(out);
  }
  // Truth and number decode the pair without dictionaries; a pair that cannot be decoded is
  // false and 0.0, deliberately without an error.
  operator bool() const override {
    try {
      return static_cast<bool>(Decode(*this, bry::kDictionaryNotConvertible));
    } catch (...) {
      return false;
    }
  }
  operator double() const override {
    try {
      return static_cast<double>(Decode(*this, bry::kDictionaryNotConvertible));
    } catch (...) {
      return 0.0;
    }
  }
  // Descriptor first, then data, each in vector order; the other pair is read through its
  // interface, as it may come from another module.
  std::int32_t Compare(const IVarDataGuts* other) const override {
    const auto* that = static_cast<const IVarDataTGVariant*>(other);
    if (that == this) return 0;
    const unsigned short* words = nullptr;
    const unsigned char* data = nullptr;
    std::uint32_t wordCount = 0;
    std::uint32_t byteCount = 0;
    that->get(words, wordCount, data, byteCount);
    const int order = OrderOf(words_.begin(), words_.size(), words, wordCount);
    return order != 0 ? order : OrderOf(data_.begin(), data_.size(), data, byteCount);
  }
  void get(const unsigned short*& words, std::uint32_t& wordCount, const unsigned char*& data,
           std::uint32_t& byteCount) const override {
    words = words_.begin();
    wordCount = words_.size();
    data = data_.begin();
    byteCount = data_.size();
  }
  std::uint32_t serializationSize() const override {
    return words_.serializationSize() + data_.serializationSize();
  }
  void serialize(unsigned char*& cursor, const unsigned char* limit) const override {
    zo::kel::little_endian::CheckSerializationSize(serializationSize(), cursor, limit);
    words_.serialize(cursor, limit);
    data_.serialize(cursor, limit);
  }

 private:
  ~VarDataTGVariant() override = default;

  Vector<unsigned short> words_;
  Vector<unsigned char> data_;
};

}  // namespace

// Dictionaries are read as variants, the form Convert_ writes them in, so that a value converted
// to a TG variant and back keeps its dictionaries. Built on get() alone, so any TG variant guts
// converts.
VarData IVarDataTGVariant::convertToNativeType() const {
  return Decode(*this, bry::kDictionaryAsVariant);
}

IVarDataGuts* NewVarDataTGVariant(const unsigned short* words, std::uint32_t wordCount,
                                  const unsigned char* data, std::uint32_t byteCount) {
  return new VarDataTGVariant(Vector<unsigned short>(words, words + wordCount),
                              Vector<unsigned char>(data, data + byteCount));
}

IVarDataGuts* DeserializeVarDataTGVariant(const unsigned char*& cursor,
                                          const unsigned char* limit) {
  const unsigned char* pos = cursor;
  Vector<unsigned short> words;
  Vector<unsigned char> data;
  words.deserialize(pos, limit);
  data.deserialize(pos, limit);
  IVarDataGuts* made = new VarDataTGVariant(std::move(words), std::move(data));
  cursor = pos;
  return made;
}

VarData VarData::tgvar(const unsigned short* words, std::uint32_t wordCount,
                       const unsigned char* data, std::uint32_t byteCount) {
  VarData v;
  v.adoptGuts(kTGVariant, NewVarDataTGVariant(words, wordCount, data, byteCount));
  return v;
}

VarData VarData::tgvar(const unsigned short* wordsBegin, const unsigned short* wordsEnd,
                       const unsigned char* dataBegin, const unsigned char* dataEnd) {
  return tgvar(wordsBegin, static_cast<std::uint32_t>(wordsEnd - wordsBegin), dataBegin,
               static_cast<std::uint32_t>(dataEnd - dataBegin));
}

void VarData::getTGVariant(const unsigned short*& words, std::uint32_t& wordCount,
                           const unsigned char*& data, std::uint32_t& byteCount) const {
  throwIfWrongType(kTGVariant);
  if (guts() == nullptr) {
    words = nullptr;
    data = nullptr;
    wordCount = byteCount = 0;
    return;
  }
  getITGVariant()->get(words, wordCount, data, byteCount);
}
