// The TG variant reader: descriptor words parsed into a type tree first, then the data stream
// read against it into a VarData. Every read is bounds-checked; hostile input raises an error.
#include <cstring>
#include <vector>

#include "kel/Limits.h"
#include "kel/exception.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VectorGuts_impl.h"

namespace bry {
namespace {

using zo::kel::AString;
using zo::kel::WString;
using zo::kel::exception::SyntaxError;
using zo::kel::exception::UnableToConvert;

constexpr char kDescriptorEnds[] = "descriptor ends inside a type";
constexpr char kDataEnds[] = "data ends inside a value";
constexpr char kTooManyEmpty[] = "too many elements without data";

// One type of a parsed descriptor. Nodes are stored in pre-order, so a node's subtree is the run
// [index, subtreeEnd) and its first child is index + 1.
struct TypeNode {
  std::uint8_t code;
  bool hasLabel;
  std::uint8_t labelLength;
  std::uint16_t childCount;
  std::uint32_t labelWord;   // index of the label's first word in the descriptor
  std::uint32_t subtreeEnd;  // index of the node after this subtree
  std::uint32_t minData;     // fewest data bytes a value of this type occupies
};

// A descriptor and its parsed tree.
struct TypeTree {
  const std::uint16_t* words = nullptr;
  std::vector<TypeNode> nodes;
};

void Need(std::size_t n, const std::uint16_t* pos, const std::uint16_t* end) {
  if (n > static_cast<std::size_t>(end - pos)) throw SyntaxError(ZO_KEL_HERE, kDescriptorEnds);
}

void CheckDepth(std::uint32_t depth) {
  if (depth >= zo::kel::kMaxNestingDepth) {
    throw SyntaxError(ZO_KEL_HERE, "nesting deeper than 256 levels");
  }
}

class Parser {
 public:
  Parser(TypeTree& tree, DictionaryConversion mode) : tree_(tree), mode_(mode) {}

  // Parses the descriptor at pos (which must end by `limit`) and moves pos past it.
  std::uint32_t parse(const std::uint16_t*& pos, const std::uint16_t* limit, std::uint32_t depth);

 private:
  void expectFFFF(const std::uint16_t*& p, const std::uint16_t* end) const {
    Need(2, p, end);
    if (p[0] != 0xFFFF || p[1] != 0xFFFF) throw UnableToConvert(ZO_KEL_HERE);
    p += 2;
  }

  TypeTree& tree_;
  DictionaryConversion mode_;
};

std::uint32_t Parser::parse(const std::uint16_t*& pos, const std::uint16_t* limit,
                            std::uint32_t depth) {
  CheckDepth(depth);
  Need(1, pos, limit);
  const std::uint16_t length = pos[0];
  if (length < 2) throw SyntaxError(ZO_KEL_HERE, "descriptor length below 2");
  if (length % 2 != 0) throw SyntaxError(ZO_KEL_HERE, "descriptor length is odd");
  Need(length / 2, pos, limit);
  const std::uint16_t* end = pos + length / 2;
  const std::uint16_t* p = pos + 1;
  Need(1, p, end);
  const std::uint16_t type = *p++;
  const auto code = static_cast<std::uint8_t>(type & 0xFF);
  if (code > kTGTimestamp) throw UnableToConvert(ZO_KEL_HERE);

  const auto index = static_cast<std::uint32_t>(tree_.nodes.size());
  tree_.nodes.push_back(TypeNode{code, (type & 0x4000) != 0, 0, 0, 0, 0, 0});
  std::uint32_t minData = 0;
  switch (code) {
    case kTGVoid:
      break;
    case kTGInt8:
    case kTGUInt8:
    case kTGBoolean:
      minData = 1;
      break;
    case kTGInt16:
    case kTGUInt16:
      minData = 2;
      break;
    case kTGInt32:
    case kTGUInt32:
    case kTGFloat:
      minData = 4;
      break;
    case kTGDouble:
      minData = 8;
      break;
    case kTGTimestamp:
      minData = 16;
      break;
    case kTGString:
      expectFFFF(p, end);
      minData = 4;
      break;
    case kTGArray:
      Need(1, p, end);
      if (*p++ != 1) throw UnableToConvert(ZO_KEL_HERE);
      expectFFFF(p, end);
      parse(p, end, depth + 1);
      minData = 4;
      break;
    case kTGCluster: {
      if (mode_ != kDictionaryAsCluster) throw UnableToConvert(ZO_KEL_HERE);
      Need(1, p, end);
      const std::uint16_t count = *p++;
      tree_.nodes[index].childCount = count;
      for (std::uint16_t i = 0; i < count; ++i) {
        // At most 16 bytes a word of descriptor: no sum of them overflows.
        minData += tree_.nodes[parse(p, end, depth + 1)].minData;
      }
      break;
    }
    case kTGVariant:
      if (mode_ != kDictionaryAsVariant) throw UnableToConvert(ZO_KEL_HERE);
      minData = 8;  // the nested descriptor's two words and the attribute count
      break;
    default:
      throw UnableToConvert(ZO_KEL_HERE);
  }
  TypeNode& node = tree_.nodes[index];
  node.minData = minData;
  if (node.hasLabel) {
    Need(1, p, end);
    node.labelLength = static_cast<std::uint8_t>(*p >> 8);
    node.labelWord = static_cast<std::uint32_t>(p - tree_.words);
    const std::size_t labelWords = (node.labelLength + 2u) / 2u;
    Need(labelWords, p, end);
    p += labelWords;
  }
  if (p != end) throw SyntaxError(ZO_KEL_HERE, "descriptor length does not match its words");
  node.subtreeEnd = static_cast<std::uint32_t>(tree_.nodes.size());
  pos = end;
  return index;
}

// The label bytes of a node: the length in the high half of the first word, then the bytes
// packed big-endian.
AString Label(const TypeTree& tree, const TypeNode& node) {
  if (!node.hasLabel) return AString();
  char bytes[256];
  const std::uint16_t* w = tree.words + node.labelWord;
  bytes[0] = static_cast<char>(w[0] & 0xFF);
  for (unsigned i = 1; i < node.labelLength; i += 2) {
    const std::uint16_t word = w[(i + 1) / 2];
    bytes[i] = static_cast<char>(word >> 8);
    bytes[i + 1] = static_cast<char>(word & 0xFF);
  }
  return AString(bytes, node.labelLength);
}

class Reader {
 public:
  Reader(const unsigned char* begin, const unsigned char* end, DictionaryConversion mode, bool wide)
      : pos_(begin), end_(end), mode_(mode), wide_(wide) {}

  VarData read(const TypeTree& tree, std::uint32_t index, std::uint32_t depth);
  bool atEnd() const { return pos_ == end_; }

 private:
  const unsigned char* take(std::size_t n) {
    if (n > static_cast<std::size_t>(end_ - pos_)) throw SyntaxError(ZO_KEL_HERE, kDataEnds);
    const unsigned char* p = pos_;
    pos_ += n;
    return p;
  }
  std::uint16_t u16() {
    const unsigned char* p = take(2);
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
  }
  std::uint32_t u32() {
    const std::uint32_t high = u16();
    return (high << 16) | u16();
  }
  std::uint64_t u64() {
    const std::uint64_t high = u32();
    return (high << 32) | u32();
  }
  AString bytesText() {
    const std::uint32_t n = u32();
    return n == 0 ? AString() : AString(reinterpret_cast<const char*>(take(n)), n);
  }
  VarData text(const AString& s) const { return wide_ ? VarData(WString(s)) : VarData(s); }
  VarData readArray(const TypeTree& tree, std::uint32_t index, std::uint32_t depth);
  VarData readCluster(const TypeTree& tree, std::uint32_t index, std::uint32_t depth);
  VarData readVariantBody(std::uint32_t depth);

  const unsigned char* pos_;
  const unsigned char* end_;
  DictionaryConversion mode_;
  bool wide_;
  std::uint64_t dataless_ = 0;  // values built so far from elements that occupy no data
};

VarData Reader::read(const TypeTree& tree, std::uint32_t index, std::uint32_t depth) {
  // Values of types without data cost no input, wherever they stand: their number is bounded.
  if (tree.nodes[index].minData == 0 && ++dataless_ > zo::kel::kMaxEmptyElements) {
    throw SyntaxError(ZO_KEL_HERE, kTooManyEmpty);
  }
  switch (tree.nodes[index].code) {
    case kTGVoid:
      return VarData();
    case kTGInt8:
      return VarData::num(static_cast<std::int8_t>(*take(1)), VarData::kInt8);
    case kTGInt16:
      return VarData::num(static_cast<std::int16_t>(u16()), VarData::kInt16);
    case kTGInt32:
      return VarData::num(static_cast<std::int32_t>(u32()), VarData::kInt32);
    case kTGUInt8:
      return VarData::num(*take(1), VarData::kUInt8);
    case kTGUInt16:
      return VarData::num(u16(), VarData::kUInt16);
    case kTGUInt32:
      return VarData::num(u32(), VarData::kUInt32);
    case kTGFloat: {
      const std::uint32_t bits = u32();
      float f;
      std::memcpy(&f, &bits, sizeof f);
      return VarData::num(f, VarData::kFloat);
    }
    case kTGDouble: {
      const std::uint64_t bits = u64();
      double d;
      std::memcpy(&d, &bits, sizeof d);
      return VarData::num(d, VarData::kDouble);
    }
    case kTGBoolean:
      return VarData(*take(1) != 0);
    case kTGString:
      return text(bytesText());
    case kTGTimestamp: {
      std::uint32_t w[4];
      for (std::uint32_t& word : w) word = u32();
      return VarData(
          zo::kel::AbsTime(nZOSS100::tSignedFixedPoint128::FromWords(w[0], w[1], w[2], w[3])));
    }
    case kTGArray:
      return readArray(tree, index, depth);
    case kTGCluster:
      return readCluster(tree, index, depth);
    default: {  // variant: it must stand for a dictionary
      VarData v = readVariantBody(depth + 1);
      if (v.getKind() == VarData::kEmpty) return VarData::dict();
      if (v.getKind() != VarData::kDictionary) throw UnableToConvert(ZO_KEL_HERE);
      return v;
    }
  }
}

VarData Reader::readArray(const TypeTree& tree, std::uint32_t index, std::uint32_t depth) {
  const std::uint32_t n = u32();
  const std::uint32_t element = index + 1;
  const TypeNode& type = tree.nodes[element];
  if (type.minData > 0) {
    if (n > static_cast<std::size_t>(end_ - pos_) / type.minData) {
      throw SyntaxError(ZO_KEL_HERE, kDataEnds);
    }
  } else if (dataless_ + std::uint64_t{n} * (type.subtreeEnd - element) >
             zo::kel::kMaxEmptyElements) {
    // Refused before anything is reserved; read() counts them as they are built.
    throw SyntaxError(ZO_KEL_HERE, kTooManyEmpty);
  }
  VarData array;
  array.adoptGuts(VarData::kArray, NewVectorGuts());
  // The new guts are not shared yet: fill them directly, keeping empty elements too.
  auto& elements = static_cast<zo::kel::detail::VectorGuts*>(array.getGuts())->elements();
  elements.reserve(n);
  for (std::uint32_t i = 0; i < n; ++i) elements.push_back(read(tree, element, depth + 1));
  return array;
}

VarData Reader::readCluster(const TypeTree& tree, std::uint32_t index, std::uint32_t depth) {
  VarData dict = VarData::dict();
  std::uint32_t element = index + 1;
  for (std::uint16_t i = 0; i < tree.nodes[index].childCount; ++i) {
    const TypeNode& node = tree.nodes[element];
    const AString label = Label(tree, node);
    if (label.empty()) throw UnableToConvert(ZO_KEL_HERE);
    const VarData key = text(label);
    VarData value = read(tree, element, depth + 1);
    if (dict.hasKey(key)) throw UnableToConvert(ZO_KEL_HERE);
    dict.setValue(key, value);
    element = node.subtreeEnd;
  }
  return dict;
}

VarData Reader::readVariantBody(std::uint32_t depth) {
  CheckDepth(depth);
  // The nested descriptor, written big-endian into the data stream, delimits itself by its first
  // word.
  const unsigned char* start = pos_;
  const std::uint16_t length = u16();
  pos_ = start;
  if (length < 2) throw SyntaxError(ZO_KEL_HERE, "descriptor length below 2");
  if (length % 2 != 0) throw SyntaxError(ZO_KEL_HERE, "descriptor length is odd");
  take(length);
  std::vector<std::uint16_t> words(length / 2);
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = static_cast<std::uint16_t>((start[2 * i] << 8) | start[2 * i + 1]);
  }
  TypeTree tree;
  tree.words = words.data();
  const std::uint16_t* p = words.data();
  Parser(tree, mode_).parse(p, words.data() + words.size(), depth);
  VarData value = read(tree, 0, depth);

  const std::uint32_t count = u32();
  if (count == 0) return value;
  // Attributes name the entries of a dictionary; a value beside them has no place in one.
  if (value.getKind() != VarData::kEmpty) throw UnableToConvert(ZO_KEL_HERE);
  VarData dict = VarData::dict();
  for (std::uint32_t i = 0; i < count; ++i) {
    const VarData key = text(bytesText());
    VarData entry = readVariantBody(depth + 1);
    if (dict.hasKey(key)) throw UnableToConvert(ZO_KEL_HERE);
    dict.setValue(key, entry);
  }
  return dict;
}

}  // namespace

VarData TGVariantToVarData(const unsigned short* descriptorBegin,
                           const unsigned short* descriptorEnd, const unsigned char* dataBegin,
                           const unsigned char* dataEnd, DictionaryConversion mode,
                           AString& nameOut, bool wide) {
  TypeTree tree;
  tree.words = descriptorBegin;
  const std::uint16_t* p = descriptorBegin;
  Parser(tree, mode).parse(p, descriptorEnd, 0);
  if (p != descriptorEnd) throw SyntaxError(ZO_KEL_HERE, "words follow the descriptor");
  Reader reader(dataBegin, dataEnd, mode, wide);
  VarData value = reader.read(tree, 0, 0);
  if (!reader.atEnd()) throw SyntaxError(ZO_KEL_HERE, "bytes follow the data");
  nameOut = Label(tree, tree.nodes[0]);
  return value;
}

}  // namespace bry
