// The TG variant writer: a VarData flattened into descriptor words and big-endian data bytes,
// and the sizing of both.
#include <algorithm>
#include <cstring>
#include <vector>

#include "kel/Limits.h"
#include "kel/exception.h"
#include "kel/fd/NumericConversion.h"
#include "kel/osdep/StringCaseCompare.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"

namespace bry {
namespace {

using zo::kel::AString;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::UnableToConvert;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t kLabelFlag = 0x4000;
// The descriptor length word counts bytes in 16 bits, and is always even.
constexpr std::size_t kMaxDescriptorWords = 0xFFFE / 2;
constexpr std::size_t kMaxLabelBytes = 255;
constexpr std::uint64_t kMaxDataBytes = 0xFFFFFFFFu;

// Where the data goes: into the caller's buffer, every write checked first, or nowhere, only
// counted (for the sizing pass).
class DataSink {
 public:
  DataSink() = default;
  DataSink(unsigned char* begin, unsigned char* end) : pos_(begin), end_(end), writing_(true) {}

  void put(const void* bytes, std::size_t n) {
    if (kMaxDataBytes - count_ < n) throw UnableToConvert(ZO_KEL_HERE);
    if (writing_) {
      if (n > static_cast<std::size_t>(end_ - pos_)) throw BufferOverflow(ZO_KEL_HERE);
      if (n != 0) std::memcpy(pos_, bytes, n);
      pos_ += n;
    }
    count_ += n;
  }
  void putU8(std::uint8_t v) { put(&v, 1); }
  void putU16(std::uint16_t v) {
    const unsigned char b[2] = {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
    put(b, 2);
  }
  void putU32(std::uint32_t v) {
    putU16(static_cast<std::uint16_t>(v >> 16));
    putU16(static_cast<std::uint16_t>(v));
  }
  void putU64(std::uint64_t v) {
    putU32(static_cast<std::uint32_t>(v >> 32));
    putU32(static_cast<std::uint32_t>(v));
  }
  std::uint64_t count() const { return count_; }

 private:
  unsigned char* pos_ = nullptr;
  unsigned char* end_ = nullptr;
  bool writing_ = false;
  std::uint64_t count_ = 0;
};

// A number converted to a TG number type as the library converts numbers into packet elements:
// truncation toward zero keeping the low bits (300 as a signed byte is 0x2C), the processor's
// integer-indefinite value beyond the range, rounding to nearest for single precision. Defined
// for every double, NaN and infinities included.
template <typename To>
To AsPacketElement(double d) {
  To out{};
  zo::kel::fd::copyEltsHelper<double, To>(1, zo::kel::fd::TAEndian::Host, &d,
                                          zo::kel::fd::TAEndian::Host, &out);
  return out;
}

std::uint16_t NumericCode(std::uint16_t qualifier) {
  static constexpr std::uint16_t kCodes[] = {kTGDouble, kTGInt8,   kTGInt16, kTGInt32, kTGUInt8,
                                             kTGUInt16, kTGUInt32, kTGFloat, kTGUInt32};
  if (qualifier >= sizeof kCodes / sizeof kCodes[0]) throw UnableToConvert(ZO_KEL_HERE);
  return kCodes[qualifier];
}

// The narrow text of a string key, or UnableToConvert for a key of another kind.
AString KeyText(const VarData& key) {
  switch (key.getKind()) {
    case VarData::kAnsi:
      return key.getAnsiString();
    case VarData::kUnicode:
      return AString(key.getUnicodeString());
    default:
      throw UnableToConvert(ZO_KEL_HERE);
  }
}

struct Entry {
  AString key;
  const VarData* value;
};

// The entries of a dictionary with their key texts, in the dictionary's order. Refuses two keys
// whose texts the reader's dictionary would take for one: narrow keys of one dictionary are
// already distinct ignoring case, but a wide key narrowed may meet a narrow one (or another).
std::vector<Entry> Entries(const VarData& dict) {
  std::vector<Entry> entries;
  bool anyWide = false;
  entries.reserve(dict.size());
  for (auto it = dict.begin(); it != dict.end(); ++it) {
    anyWide = anyWide || it.key().getKind() == VarData::kUnicode;
    entries.push_back(Entry{KeyText(it.key()), &it.value()});
  }
  if (anyWide) {
    std::vector<const AString*> keys;
    keys.reserve(entries.size());
    for (const Entry& e : entries) keys.push_back(&e.key);
    std::sort(keys.begin(), keys.end(),
              [](const AString* a, const AString* b) { return a->compare(*b) < 0; });
    for (std::size_t i = 1; i < keys.size(); ++i) {
      if (keys[i - 1]->compare(*keys[i]) == 0) throw UnableToConvert(ZO_KEL_HERE);
    }
  }
  return entries;
}

// Cluster order: the exact (case-sensitive) order of the key texts.
std::vector<Entry> ClusterEntries(const VarData& dict) {
  std::vector<Entry> entries = Entries(dict);
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.key.exactCompare(b.key) < 0; });
  return entries;
}

void CheckDepth(std::uint32_t depth) {
  if (depth >= zo::kel::kMaxNestingDepth) throw UnableToConvert(ZO_KEL_HERE);
}

class Writer {
 public:
  explicit Writer(DictionaryConversion mode) : mode_(mode) {}

  // Appends the descriptor of `value` labelled `name` to `words`.
  void describe(const VarData& value, const AString& name, Words& words, std::uint32_t depth) const;
  // Writes the data of `value`.
  void writeData(const VarData& value, DataSink& sink, std::uint32_t depth) const;

 private:
  std::uint16_t describeType(const VarData& value, Words& words, std::uint32_t depth) const;
  void describeArray(const VarData& array, Words& words, std::uint32_t depth) const;
  void writeText(const VarData& value, DataSink& sink) const;
  void writeVariantBody(const VarData& value, DataSink& sink, std::uint32_t depth) const;

  DictionaryConversion mode_;
};

void Writer::describe(const VarData& value, const AString& name, Words& words,
                      std::uint32_t depth) const {
  CheckDepth(depth);
  if (name.size() > kMaxLabelBytes) throw UnableToConvert(ZO_KEL_HERE);
  const std::size_t start = words.size();
  words.push_back(0);  // the length, known at the end
  words.push_back(0);
  std::uint16_t type = describeType(value, words, depth);
  if (!name.empty()) {
    type |= kLabelFlag;
    // (length << 8 | byte 0), (byte 1 << 8 | byte 2), ...; an odd last byte leaves the low half 0.
    const auto* bytes = reinterpret_cast<const unsigned char*>(name.c_str());
    const std::size_t n = name.size();
    words.push_back(static_cast<std::uint16_t>((n << 8) | bytes[0]));
    for (std::size_t i = 1; i < n; i += 2) {
      words.push_back(static_cast<std::uint16_t>((bytes[i] << 8) | (i + 1 < n ? bytes[i + 1] : 0)));
    }
  }
  const std::size_t length = words.size() - start;
  if (length > kMaxDescriptorWords) throw UnableToConvert(ZO_KEL_HERE);
  words[start] = static_cast<std::uint16_t>(length * 2);
  words[start + 1] = type;
}

std::uint16_t Writer::describeType(const VarData& value, Words& words, std::uint32_t depth) const {
  switch (value.getKind()) {
    case VarData::kEmpty:
      return kTGVoid;
    case VarData::kLogical:
      return kTGBoolean;
    case VarData::kNumeric:
      return NumericCode(value.getQualifier());
    case VarData::kAnsi:
    case VarData::kUnicode:
    case VarData::kRaw:
      words.push_back(0xFFFF);
      words.push_back(0xFFFF);
      return kTGString;
    case VarData::kArray:
      describeArray(value, words, depth);
      return kTGArray;
    case VarData::kDictionary:
      if (mode_ == kDictionaryAsVariant) return kTGVariant;
      if (mode_ != kDictionaryAsCluster) throw UnableToConvert(ZO_KEL_HERE);
      {
        const std::vector<Entry> entries = ClusterEntries(value);
        if (entries.size() > 0xFFFF) throw UnableToConvert(ZO_KEL_HERE);
        words.push_back(static_cast<std::uint16_t>(entries.size()));
        for (std::size_t i = 0; i < entries.size(); ++i) {
          // The reader takes an unlabelled element for an error, and equal labels for one key.
          if (entries[i].key.empty()) throw UnableToConvert(ZO_KEL_HERE);
          if (i > 0 && entries[i - 1].key.exactCompare(entries[i].key) == 0) {
            throw UnableToConvert(ZO_KEL_HERE);
          }
          describe(*entries[i].value, entries[i].key, words, depth + 1);
        }
      }
      return kTGCluster;
    case VarData::kAbsTime:
      return kTGTimestamp;
    default:
      throw UnableToConvert(ZO_KEL_HERE);
  }
}

// An array is described by element 0; every other element must flatten to the same words, or
// the reader would read its data against the wrong type.
void Writer::describeArray(const VarData& array, Words& words, std::uint32_t depth) const {
  const std::uint32_t n = array.GetLength();
  if (n == 0) throw UnableToConvert(ZO_KEL_HERE);
  words.push_back(1);  // dimensions
  words.push_back(0xFFFF);
  words.push_back(0xFFFF);
  const std::size_t first = words.size();
  const AString noName;
  describe(array.GetElement(0), noName, words, depth + 1);
  Words other;
  for (std::uint32_t i = 1; i < n; ++i) {
    other.clear();
    describe(array.GetElement(i), noName, other, depth + 1);
    if (other.size() != words.size() - first ||
        !std::equal(other.begin(), other.end(), words.begin() + first)) {
      throw UnableToConvert(ZO_KEL_HERE);
    }
  }
}

void Writer::writeData(const VarData& value, DataSink& sink, std::uint32_t depth) const {
  CheckDepth(depth);
  switch (value.getKind()) {
    case VarData::kEmpty:
      return;
    case VarData::kLogical:
      sink.putU8(static_cast<bool>(value) ? 1 : 0);
      return;
    case VarData::kNumeric: {
      const double d = static_cast<double>(value);
      std::uint64_t bits = 0;
      switch (value.getQualifier()) {
        case VarData::kDouble:
          std::memcpy(&bits, &d, sizeof bits);
          return sink.putU64(bits);
        case VarData::kInt8:
          return sink.putU8(static_cast<std::uint8_t>(AsPacketElement<signed char>(d)));
        case VarData::kInt16:
          return sink.putU16(static_cast<std::uint16_t>(AsPacketElement<short>(d)));
        case VarData::kInt32:
          return sink.putU32(static_cast<std::uint32_t>(AsPacketElement<std::int32_t>(d)));
        case VarData::kUInt8:
          return sink.putU8(AsPacketElement<unsigned char>(d));
        case VarData::kUInt16:
          return sink.putU16(AsPacketElement<unsigned short>(d));
        case VarData::kUInt32:
          return sink.putU32(AsPacketElement<std::uint32_t>(d));
        case VarData::kFloat: {
          const float f = AsPacketElement<float>(d);
          std::uint32_t fbits = 0;
          std::memcpy(&fbits, &f, sizeof fbits);
          return sink.putU32(fbits);
        }
        case VarData::kBitArray:
          return sink.putU32(value.getBitArray32Fast());
        default:
          throw UnableToConvert(ZO_KEL_HERE);
      }
    }
    case VarData::kAnsi:
    case VarData::kUnicode:
    case VarData::kRaw:
      return writeText(value, sink);
    case VarData::kArray: {
      const std::uint32_t n = value.GetLength();
      sink.putU32(n);
      for (std::uint32_t i = 0; i < n; ++i) writeData(value.GetElement(i), sink, depth + 1);
      return;
    }
    case VarData::kDictionary:
      if (mode_ == kDictionaryAsCluster) {
        for (const Entry& e : ClusterEntries(value)) writeData(*e.value, sink, depth + 1);
        return;
      }
      {
        // The variant body of a dictionary: an empty nested value, then the entries as
        // attributes.
        CheckDepth(depth + 1);  // the reader's level of the body
        const std::vector<Entry> entries = Entries(value);
        sink.putU16(4);
        sink.putU16(kTGVoid);
        sink.putU32(static_cast<std::uint32_t>(entries.size()));
        for (const Entry& e : entries) {
          sink.putU32(e.key.size());
          sink.put(e.key.c_str(), e.key.size());
          writeVariantBody(*e.value, sink, depth + 2);
        }
      }
      return;
    case VarData::kAbsTime: {
      zo::kel::AbsTime time;
      if (!value.getAbsTime(time)) time = zo::kel::AbsTime();
      std::uint32_t w[4];
      time.value().Get(w[0], w[1], w[2], w[3]);
      for (std::uint32_t word : w) sink.putU32(word);
      return;
    }
    default:
      throw UnableToConvert(ZO_KEL_HERE);
  }
}

void Writer::writeText(const VarData& value, DataSink& sink) const {
  if (value.getKind() == VarData::kUnicode) {
    const AString text(value.getUnicodeString());
    sink.putU32(text.size());
    return sink.put(text.c_str(), text.size());
  }
  const void* bytes = nullptr;
  std::uint32_t n = 0;
  if (value.getGuts() != nullptr) {
    if (value.getKind() == VarData::kAnsi) {
      bytes = value.getIAnsi()->GetData();
      n = value.getIAnsi()->GetLength();
    } else {
      const unsigned char* raw = nullptr;
      static_cast<const IVarDataRaw*>(value.getGuts())->GetData(raw, n);
      bytes = raw;
    }
  }
  sink.putU32(n);
  sink.put(bytes, n);
}

// A value as the body of a variant with no attributes: its descriptor as big-endian words in the
// data stream, its data, and an attribute count of 0.
void Writer::writeVariantBody(const VarData& value, DataSink& sink, std::uint32_t depth) const {
  Words words;
  describe(value, AString(), words, depth);
  for (std::uint16_t w : words) sink.putU16(w);
  writeData(value, sink, depth);
  sink.putU32(0);
}

}  // namespace

void VarDataToTGVariantLength(const VarData& value, const AString& name, DictionaryConversion mode,
                              std::uint32_t& descriptorWords, std::uint32_t& dataBytes) {
  const Writer writer(mode);
  Words words;
  writer.describe(value, name, words, 0);
  DataSink counter;
  writer.writeData(value, counter, 0);
  descriptorWords = static_cast<std::uint32_t>(words.size());
  dataBytes = static_cast<std::uint32_t>(counter.count());
}

void VarDataToTGVariant(const VarData& value, const AString& name, DictionaryConversion mode,
                        unsigned short* descriptorBegin, unsigned short* descriptorEnd,
                        unsigned char* dataBegin, unsigned char* dataEnd) {
  const Writer writer(mode);
  Words words;
  writer.describe(value, name, words, 0);
  if (words.size() > static_cast<std::size_t>(descriptorEnd - descriptorBegin)) {
    throw BufferOverflow(ZO_KEL_HERE);
  }
  std::copy(words.begin(), words.end(), descriptorBegin);
  DataSink sink(dataBegin, dataEnd);
  writer.writeData(value, sink, 0);
}

}  // namespace bry
