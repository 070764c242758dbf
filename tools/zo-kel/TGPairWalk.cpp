// The pair walked as the codec reads it: the descriptor parsed into a list of types, then the data
// read against them, each refusal thrown with its word or byte.
#include "TGPairWalk.h"

#include <vector>

#include "ShowText.h"
#include "kel/Limits.h"
#include "kel/StringBase.h"
#include "qmstatic/tgvariant/TGVariant.h"

namespace zokel_tool {

namespace {

std::string Count(std::uint64_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

// The words of one descriptor: the pair's own, or a variant's nested one read from the data.
struct Descriptor {
  const unsigned short* words;
  std::size_t size;
  bool inData;
  std::uint64_t dataStart;  // where a nested descriptor's words lie in the data
};

// One parsed type; types are kept in pre-order, so a type's first inner type follows it.
struct Type {
  std::uint8_t code;
  bool labelled;
  std::uint16_t elements;  // of a cluster
  std::size_t word;        // its length word
  std::size_t labelWord;   // its label's first word
  std::size_t subtreeEnd;  // the type after this one and its inner types
  std::uint32_t minData;   // the fewest data bytes a value of it takes
};

struct Found {
  TGFailure failure;
};

std::string Quoted(const std::string& name) { return QuoteBytes(name.data(), name.size()); }

const char* TypeName(std::uint8_t code) {
  switch (code) {
    case bry::kTGInt8:
      return "a signed byte";
    case bry::kTGInt16:
      return "a signed 16-bit number";
    case bry::kTGInt32:
      return "a signed 32-bit number";
    case bry::kTGUInt8:
      return "an unsigned byte";
    case bry::kTGUInt16:
      return "an unsigned 16-bit number";
    case bry::kTGUInt32:
      return "an unsigned 32-bit number";
    case bry::kTGFloat:
      return "a single";
    case bry::kTGDouble:
      return "a double";
    case bry::kTGBoolean:
      return "a boolean";
    default:
      return "a timestamp";
  }
}

class Walk {
 public:
  Walk(const Bytes& data, bool variants, bool wide)
      : data_(data), variants_(variants), wide_(wide) {}

  // Parses the type at `pos` (ending by `limit`), moves pos past it and returns its index.
  std::size_t parse(const Descriptor& d, std::vector<Type>& types, std::size_t& pos,
                    std::size_t limit, std::uint32_t depth) {
    if (depth >= zo::kel::kMaxNestingDepth) {
      failWord(d, pos,
               "types nest deeper than " + std::to_string(zo::kel::kMaxNestingDepth) + " levels");
    }
    if (pos >= limit) failWord(d, pos, "the descriptor ends where a type's length word belongs");
    const std::uint16_t length = d.words[pos];
    const std::string bytes = "length " + std::to_string(length);
    if (length < 2) failWord(d, pos, bytes + " is below 2");
    if (length % 2 != 0) failWord(d, pos, bytes + " is odd");
    if (length / 2u > limit - pos) {
      failWord(d, pos,
               bytes + " runs past the " + (depth == 0 ? "descriptor" : "enclosing type") + " (" +
                   std::to_string(2 * (limit - pos)) + " bytes left)");
    }
    const std::size_t end = pos + length / 2u;
    std::size_t p = pos + 1;
    const auto need = [&](std::size_t n, const std::string& what) {
      if (n > end - p) failWord(d, p, "the type's " + bytes + " ends inside " + what);
    };
    need(1, "its type word");
    const std::uint16_t typeWord = d.words[p++];
    const auto code = static_cast<std::uint8_t>(typeWord & 0xFF);
    const std::size_t index = types.size();
    types.push_back(Type{code, (typeWord & 0x4000) != 0, 0, pos, 0, 0, 0});
    std::uint32_t minData = 0;
    const auto ffff = [&](const char* what) {
      need(2, std::string("the FFFF FFFF of ") + what);
      if (d.words[p] != 0xFFFF || d.words[p + 1] != 0xFFFF)
        failWord(d, p, std::string("expected FFFF FFFF in ") + what);
      p += 2;
    };
    switch (code) {
      case bry::kTGVoid:
        break;
      case bry::kTGInt8:
      case bry::kTGUInt8:
      case bry::kTGBoolean:
        minData = 1;
        break;
      case bry::kTGInt16:
      case bry::kTGUInt16:
        minData = 2;
        break;
      case bry::kTGInt32:
      case bry::kTGUInt32:
      case bry::kTGFloat:
        minData = 4;
        break;
      case bry::kTGDouble:
        minData = 8;
        break;
      case bry::kTGTimestamp:
        minData = 16;
        break;
      case bry::kTGString:
        ffff("a string type");
        minData = 4;
        break;
      case bry::kTGArray:
        need(1, "the array's dimension count");
        if (d.words[p] != 1) {
          failWord(d, p, "an array of " + std::to_string(d.words[p]) + " dimensions (one reads)");
        }
        ++p;
        ffff("an array type");
        parse(d, types, p, end, depth + 1);
        minData = 4;
        break;
      case bry::kTGCluster:
        if (variants_) failWord(d, p - 1, "a cluster, where dictionaries are read as variants");
        need(1, "the cluster's element count");
        types[index].elements = d.words[p++];
        for (std::uint16_t i = 0; i < types[index].elements; ++i)
          minData += types[parse(d, types, p, end, depth + 1)].minData;
        break;
      case bry::kTGVariant:
        if (!variants_) failWord(d, p - 1, "a variant, where dictionaries are read as clusters");
        minData = 8;
        break;
      default:
        failWord(d, p - 1, "unknown type code " + HexNumber(code, 2));
    }
    Type& type = types[index];
    type.minData = minData;
    if (type.labelled) {
      need(1, "its label");
      type.labelWord = p;
      const std::size_t labelWords = ((d.words[p] >> 8) + 2u) / 2u;
      need(labelWords, "its label of " + Count(d.words[p] >> 8, "byte", "bytes"));
      p += labelWords;
    }
    if (p != end) {
      failWord(d, p,
               Count(end - p, "word follows", "words follow") + " the type within its " + bytes);
    }
    type.subtreeEnd = types.size();
    pos = end;
    return index;
  }

  // What a value read against a type makes, as far as a variant cares.
  enum class Made { kVoid, kDictionary, kOther };

  Made read(const Descriptor& d, const std::vector<Type>& types, std::size_t index,
            std::uint32_t depth) {
    const Type& type = types[index];
    const std::string what =
        d.inData ? std::string("data") : "data for descriptor word " + std::to_string(type.word);
    if (type.minData == 0 && ++dataless_ > zo::kel::kMaxEmptyElements) {
      failData(what, at_,
               "more than " + std::to_string(zo::kel::kMaxEmptyElements) + " values without data");
    }
    switch (type.code) {
      case bry::kTGVoid:
        return Made::kVoid;
      case bry::kTGString:
        take(what, u32(what, "a string's byte count"), "a string");
        return Made::kOther;
      case bry::kTGArray:
        array(d, types, index, depth, what);
        return Made::kOther;
      case bry::kTGCluster:
        cluster(d, types, index, depth);
        return Made::kDictionary;
      case bry::kTGVariant: {
        const std::uint64_t start = at_;
        if (body(depth + 1) == Made::kOther)
          failData(what, start, "the variant holds a value that is not a dictionary");
        return Made::kDictionary;
      }
      default:
        take(what, type.minData, TypeName(type.code));
        return Made::kOther;
    }
  }

  // A variant body: its nested descriptor, its value, its attributes.
  Made body(std::uint32_t depth) {
    const std::string what = "data";
    if (depth >= zo::kel::kMaxNestingDepth) {
      failData(
          what, at_,
          "variants nest deeper than " + std::to_string(zo::kel::kMaxNestingDepth) + " levels");
    }
    const std::uint64_t start = at_;
    take(what, 2, "a variant's descriptor length");
    const auto length = static_cast<std::uint16_t>(data_[start] << 8 | data_[start + 1]);
    at_ = start;
    if (length < 2 || length % 2 != 0) {
      failData(what, start,
               "a variant's descriptor length " + std::to_string(length) +
                   (length < 2 ? " is below 2" : " is odd"));
    }
    take(what, length, "a variant's descriptor");
    std::vector<unsigned short> words(length / 2u);
    for (std::size_t i = 0; i < words.size(); ++i)
      words[i] = static_cast<unsigned short>(data_[start + 2 * i] << 8 | data_[start + 2 * i + 1]);
    const Descriptor nested{words.data(), words.size(), true, start};
    std::vector<Type> types;
    std::size_t p = 0;
    parse(nested, types, p, words.size(), depth);
    const Made value = read(nested, types, 0, depth);
    const std::uint64_t countAt = at_;
    const std::uint32_t count = u32(what, "a variant's attribute count");
    if (count == 0) return value;
    if (value != Made::kVoid) failData(what, countAt, "attributes beside a value that is not void");
    VarData names = VarData::dict();
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint64_t nameAt = at_;
      const std::uint32_t n = u32(what, "an attribute's name length");
      take(what, n, "an attribute's name");
      const std::string name(reinterpret_cast<const char*>(data_.data() + nameAt + 4), n);
      body(depth + 1);
      if (twice(names, name))
        failData(what, nameAt, "attribute " + Quoted(name) + " is given twice");
    }
    return Made::kDictionary;
  }

  bool atEnd() const { return at_ == data_.size(); }
  std::uint64_t at() const { return at_; }

  [[noreturn]] static void failWord(const Descriptor& d, std::size_t word,
                                    const std::string& reason) {
    TGFailure f;
    f.inData = d.inData;
    f.byte = d.dataStart + 2 * std::uint64_t{word};
    f.what = d.inData ? "data (word " + std::to_string(word) + " of a variant's descriptor)"
                      : "descriptor word " + std::to_string(word);
    f.reason = reason;
    throw Found{f};
  }
  [[noreturn]] static void failData(const std::string& what, std::uint64_t byte,
                                    const std::string& reason) {
    throw Found{TGFailure{true, byte, what, reason}};
  }

 private:
  void take(const std::string& what, std::uint64_t n, const std::string& of) {
    const std::uint64_t left = data_.size() - at_;
    if (n > left) {
      failData(what, at_,
               "the data ends inside " + of + " (" + std::to_string(left) + " of " +
                   Count(n, "byte", "bytes") + ")");
    }
    at_ += n;
  }
  std::uint32_t u32(const std::string& what, const char* of) {
    take(what, 4, of);
    const unsigned char* p = data_.data() + at_ - 4;
    return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1] << 16) |
           static_cast<std::uint32_t>(p[2] << 8 | p[3]);
  }

  void array(const Descriptor& d, const std::vector<Type>& types, std::size_t index,
             std::uint32_t depth, const std::string& what) {
    const std::uint64_t countAt = at_;
    const std::uint32_t n = u32(what, "an array's element count");
    const Type& element = types[index + 1];
    const std::uint64_t left = data_.size() - at_;
    if (element.minData > 0 && n > left / element.minData) {
      failData(what, countAt,
               Count(n, "element", "elements") + " of at least " +
                   Count(element.minData, "byte", "bytes") + " do not fit in the " +
                   Count(left, "byte", "bytes") + " left");
    }
    if (element.minData == 0 && dataless_ + std::uint64_t{n} * (element.subtreeEnd - index - 1) >
                                    zo::kel::kMaxEmptyElements) {
      failData(what, countAt,
               Count(n, "element", "elements") + " without data: more than " +
                   std::to_string(zo::kel::kMaxEmptyElements) + " values");
    }
    for (std::uint32_t i = 0; i < n; ++i) read(d, types, index + 1, depth + 1);
  }

  void cluster(const Descriptor& d, const std::vector<Type>& types, std::size_t index,
               std::uint32_t depth) {
    VarData labels = VarData::dict();
    std::size_t element = index + 1;
    for (std::uint16_t i = 0; i < types[index].elements; ++i) {
      const Type& type = types[element];
      // The label's length is the high byte of its first word, its bytes packed high byte first.
      std::string label;
      if (type.labelled) {
        const unsigned short* w = d.words + type.labelWord;
        const unsigned n = w[0] >> 8;
        for (unsigned k = 0; k < n; ++k) {
          const unsigned short word = w[(k + 1) / 2];
          label += static_cast<char>(static_cast<unsigned char>(k % 2 == 1 ? word >> 8 : word));
        }
      }
      if (label.empty()) failWord(d, type.word, "a cluster element without a label");
      read(d, types, element, depth + 1);
      if (twice(labels, label))
        failWord(d, type.labelWord, "label " + Quoted(label) + " is given twice");
      element = type.subtreeEnd;
    }
  }

  // Whether `seen` has the name already, as the library compares keys; adds it when not.
  bool twice(VarData& seen, const std::string& name) const {
    const zo::kel::AString text(name.data(), name.size());
    const VarData key = wide_ ? VarData(zo::kel::WString(text)) : VarData(text);
    if (seen.hasKey(key)) return true;
    seen.setValue(key, VarData());
    return false;
  }

  const Bytes& data_;
  bool variants_, wide_;
  std::uint64_t at_ = 0;
  std::uint64_t dataless_ = 0;
};

}  // namespace

bool FindTGFailure(const TGPair& pair, bool variants, bool wide, TGFailure& failure) {
  Walk walk(pair.data, variants, wide);
  const Descriptor d{pair.words.data(), pair.words.size(), false, 0};
  try {
    std::vector<Type> types;
    std::size_t p = 0;
    walk.parse(d, types, p, d.size, 0);
    if (p != d.size) {
      Walk::failWord(d, p, Count(d.size - p, "word follows", "words follow") + " the descriptor");
    }
    walk.read(d, types, 0, 0);
    if (!walk.atEnd()) {
      Walk::failData(
          "data", walk.at(),
          Count(pair.data.size() - walk.at(), "byte follows", "bytes follow") + " the value");
    }
  } catch (const Found& found) {
    failure = found.failure;
    return true;
  }
  return false;
}

}  // namespace zokel_tool
