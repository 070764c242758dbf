// The TG variant guts: a flattened value (descriptor words and data bytes) kept as it is, and the
// handle's TG variant members.
#include "kel/Vector.h"
#include "kel/exception.h"
#include "kel/little_endian.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

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
      return static_cast<bool>(decode(bry::kDictionaryNotConvertible));
    } catch (...) {
      return false;
    }
  }
  operator double() const override {
    try {
      return static_cast<double>(decode(bry::kDictionaryNotConvertible));
    } catch (...) {
      return 0.0;
    }
  }
  // Descriptor first, then data, each in vector order.
  std::int32_t Compare(const IVarDataGuts* other) const override {
    const auto* that = static_cast<const VarDataTGVariant*>(other);
    if (that == this) return 0;
    if (words_ < that->words_) return -1;
    if (!(words_ == that->words_)) return 1;
    if (data_ < that->data_) return -1;
    return data_ == that->data_ ? 0 : 1;
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
  // Dictionaries are read as variants, the form Convert_ writes them in, so that a value
  // converted to a TG variant and back keeps its dictionaries.
  VarData convertToNativeType() const override { return decode(bry::kDictionaryAsVariant); }

 private:
  // The held pair read back (name discarded, strings narrow); the reader's errors propagate.
  VarData decode(bry::DictionaryConversion mode) const {
    zo::kel::AString name;
    return bry::TGVariantToVarData(words_.begin(), words_.end(), data_.begin(), data_.end(), mode,
                                   name, false);
  }

  ~VarDataTGVariant() override = default;

  Vector<unsigned short> words_;
  Vector<unsigned char> data_;
};

}  // namespace

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
