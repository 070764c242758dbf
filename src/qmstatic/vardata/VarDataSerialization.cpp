// The serialized form of VarData: sizes, writer, reader and the two framings.
#include <new>
#include <vector>

#include "kel/AutoBuffer.h"
#include "kel/Limits.h"
#include "kel/exception.h"
#include "kel/little_endian.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/StringGuts_impl.h"
#include "qmstatic/vardata/VarData.h"
#include "qmstatic/vardata/VarDataDictionary_impl.h"
#include "qmstatic/vardata/VectorGuts_impl.h"

namespace {

using zo::kel::exception::DeserializationError;
using zo::kel::little_endian::CheckDeserializationSize;
using zo::kel::little_endian::CheckSerializationSize;
using zo::kel::little_endian::DeserializeRaw;
using zo::kel::little_endian::SerializeRaw;

constexpr std::uint64_t kMaxSize = 0xFFFFFFFFu;

// The kinds the form knows. Any other kind is written as an empty value and refused on reading.
bool IsWrittenAsItself(std::uint16_t kind) {
  switch (kind) {
    case 0:
    case VarData::kEmpty:
    case VarData::kLogical:
    case VarData::kNumeric:
    case VarData::kTime:
    case VarData::kBreak:
    case VarData::kPulse:
    case VarData::kVoidPointer:
    case VarData::kID64:
    case VarData::kAnsi:
    case VarData::kUnicode:
    case VarData::kRaw:
    case VarData::kCell:
    case VarData::kDictionary:
    case VarData::kAbsTime:
    case VarData::kRelTime:
    case VarData::kTGVariant:
    case VarData::kFlexData:
    case VarData::kArray:
      return true;
    default:
      return false;
  }
}

template <class Interface>
const Interface* GutsAs(const VarData& v) {
  return static_cast<const Interface*>(v.getGuts());
}

std::uint64_t ValueSize(const VarData& v, bool compact);

// True for the kinds whose handle, three little-endian words, is byte for byte their serialized
// form in both forms.
inline bool IsImageInMemory(std::uint16_t kind) noexcept {
  return kind == VarData::kNumeric || kind == VarData::kTime || kind == VarData::kID64;
}
static_assert(sizeof(VarData) == 12, "a handle is a type word and an 8-byte payload");

constexpr std::ptrdiff_t kRunChunk = 512;

inline std::uint32_t IsImageInMemoryBit(const VarData& v) noexcept {
  const std::uint32_t kind = v.getKind();
  return static_cast<std::uint32_t>(kind - VarData::kNumeric <= 1u) |
         static_cast<std::uint32_t>(kind == VarData::kID64);
}

// The end of the run of such kinds that starts at `p`. Blocks are tested without branching on
// each handle, since large arrays of numbers are the common case.
inline const VarData* EndOfImageRun(const VarData* p, const VarData* end) noexcept {
  if (p == end || IsImageInMemoryBit(*p) == 0) return p;
  constexpr std::ptrdiff_t kBlock = 32;
  while (end - p >= kBlock) {
    std::uint32_t plain = 0;
    for (std::ptrdiff_t i = 0; i < kBlock; ++i) plain += IsImageInMemoryBit(p[i]);
    if (plain != kBlock) break;
    p += kBlock;
  }
  while (p != end && IsImageInMemoryBit(*p) != 0) ++p;
  return p;
}

// Bytes of a whole value (type word and payload) of the kinds without guts, the bulk of large
// arrays; 0 for guts kinds, which are sized by walking them.
inline std::uint32_t ScalarValueSize(std::uint16_t kind, bool compact) noexcept {
  switch (kind) {
    case VarData::kNumeric:
    case VarData::kTime:
    case VarData::kID64:
      return 12;
    case VarData::kLogical:
      return 5;
    case VarData::kVoidPointer:
      return compact ? 8 : 12;
    default:
      return (kind & VarData::kGutsBit) != 0 ? 0 : (compact ? 4 : 12);
  }
}

// Narrow text's characters and their count: read straight from the library's own text guts,
// through the interface from any other's; null guts are the empty text.
struct AnsiChars {
  const char* data;
  std::uint32_t length;
};
inline AnsiChars CharsOf(const IVarDataAnsi* text) {
  if (const auto* own = zo::kel::detail::AnsiGuts::Own(text)) return {own->text(), own->length()};
  if (text == nullptr) return {nullptr, 0};
  const std::uint32_t n = text->GetLength();
  return {n == 0 ? nullptr : text->GetData(), n};
}

inline std::uint32_t AnsiLength(const VarData& v) {
  return CharsOf(GutsAs<IVarDataAnsi>(v)).length;
}

// Bytes of an element of an array or dictionary, with the scalar kinds and narrow text (the
// usual keys and the bulk of text arrays) sized inline.
inline std::uint64_t ElementSize(const VarData& v, bool compact) {
  const std::uint16_t kind = v.getKind();
  const std::uint32_t scalar = ScalarValueSize(kind, compact);
  if (scalar != 0) return scalar;
  if (kind == VarData::kAnsi) return 8 + static_cast<std::uint64_t>(AnsiLength(v));
  return ValueSize(v, compact);
}

// Payload bytes of one value, in 64 bits so that sums over huge values cannot wrap.
std::uint64_t PayloadSize(const VarData& v, bool compact) {
  const std::uint16_t kind = v.getKind();
  switch (kind) {
    case VarData::kLogical:
      return 1;
    case VarData::kNumeric:
    case VarData::kTime:
    case VarData::kID64:
      return 8;
    case VarData::kVoidPointer:
      return compact ? 4 : 8;
    case VarData::kAnsi:
      return 4 + static_cast<std::uint64_t>(AnsiLength(v));
    case VarData::kUnicode: {
      const auto* text = GutsAs<IVarDataUnicode>(v);
      return 4 + 2 * static_cast<std::uint64_t>(text == nullptr ? 0 : text->GetLength());
    }
    case VarData::kRaw: {
      const auto* raw = GutsAs<IVarDataRaw>(v);
      if (raw == nullptr) return 4;
      const unsigned char* data;
      std::uint32_t count;
      raw->GetData(data, count);
      return 4 + static_cast<std::uint64_t>(count);
    }
    case VarData::kCell: {
      std::uint16_t row, column;
      VarData value;
      v.GetCell(row, column, value);
      return 4 + ValueSize(value, compact);
    }
    case VarData::kDictionary: {
      std::uint64_t size = 4;
      if (v.getGuts() != nullptr) {
        for (const auto& pair :
             static_cast<const zo::kel::detail::VarDataDictionary*>(v.getIDict())->pairs()) {
          size += ElementSize(pair.first, compact) + ElementSize(pair.second, compact);
        }
      }
      return size;
    }
    case VarData::kAbsTime:
    case VarData::kRelTime:
      return 16;
    case VarData::kTGVariant: {
      const auto* tg = GutsAs<IVarDataTGVariant>(v);
      return tg == nullptr ? 8 : tg->serializationSize();  // null: two empty vectors
    }
    case VarData::kFlexData: {
      const auto* packet = GutsAs<IVarDataFlexData>(v);
      return packet == nullptr ? 4 : packet->serializationSize();  // null: an empty packet
    }
    case VarData::kArray: {
      std::uint64_t size = 4;
      if (v.getGuts() != nullptr) {
        const auto& elements =
            static_cast<const zo::kel::detail::VectorGuts*>(v.getGuts())->elements();
        const VarData* element = elements.data();
        const VarData* const end = element + elements.size();
        while (element != end) {
          if (IsImageInMemory(element->getKind())) {
            const VarData* run = EndOfImageRun(element, end);
            size += 12 * static_cast<std::uint64_t>(run - element);
            element = run;
          } else {
            size += ElementSize(*element++, compact);
          }
        }
      }
      return size;
    }
    default:  // empty, events, and every kind written as an empty value
      return compact ? 0 : 8;
  }
}

std::uint64_t ValueSize(const VarData& v, bool compact) { return 4 + PayloadSize(v, compact); }

std::uint32_t Saturate(std::uint64_t size) {
  return size > kMaxSize ? static_cast<std::uint32_t>(kMaxSize) : static_cast<std::uint32_t>(size);
}

// Writes values at a cursor; every field is bounds-checked, so that a value that changed size
// between sizing and writing still cannot write past the limit.
class Writer {
 public:
  Writer(unsigned char*& pos, const unsigned char* limit, bool compact)
      : out_(pos), pos_(pos), limit_(limit), compact_(compact) {}

  // Writes the value and advances the caller's cursor past it (not at all after a failure).
  void write(const VarData& v) {
    value(v);
    out_ = pos_;
  }

  // Numbers, times and identifiers, the bulk of large arrays, are written with one room check.
  void value(const VarData& v) {
    const std::uint16_t kind = v.getKind();
    if (kind == VarData::kNumeric || kind == VarData::kTime || kind == VarData::kID64) {
      unsigned char* next = CheckSerializationSize(12, pos_, limit_);
      const std::uint32_t type = v.getTypeWord();
      const std::uint64_t payload = v.getPayloadBits();
      std::memcpy(pos_, &type, 4);
      std::memcpy(pos_ + 4, &payload, 8);
      pos_ = next;
      return;
    }
    if (kind == VarData::kAnsi) {
      text(GutsAs<IVarDataAnsi>(v));
      return;
    }
    other(v, kind);
  }

 private:
  void other(const VarData& v, std::uint16_t kind) {
    if (!IsWrittenAsItself(kind)) {
      // A kind the form does not know travels as an empty value.
      SerializeRaw<std::uint32_t>(VarData::kEmpty, pos_, limit_);
      slot(v);
      return;
    }
    // Qualifiers travel with numbers only; guts kinds carry their bare kind code.
    SerializeRaw<std::uint32_t>((kind & VarData::kGutsBit) != 0 ? kind : v.getTypeWord(), pos_,
                                limit_);
    payload(v, kind);
  }

  void slot(const VarData& v) {
    if (!compact_) SerializeRaw<std::uint64_t>(v.getPayloadBits(), pos_, limit_);
  }

  void bytes(const void* data, std::uint32_t n) {
    unsigned char* next = CheckSerializationSize(n, pos_, limit_);
    if (n != 0) std::memcpy(pos_, data, n);
    pos_ = next;
  }

  void payload(const VarData& v, std::uint16_t kind) {
    switch (kind) {
      case VarData::kLogical: {
        bool b = false;
        v.GetLogical(b);
        SerializeRaw<std::uint8_t>(b ? 1 : 0, pos_, limit_);
        return;
      }
      case VarData::kNumeric:
      case VarData::kTime:
      case VarData::kID64:
        SerializeRaw<std::uint64_t>(v.getPayloadBits(), pos_, limit_);
        return;
      case VarData::kVoidPointer:
        // A pointer means nothing outside its process; the compact form keeps its low 32 bits.
        if (compact_) {
          SerializeRaw<std::uint32_t>(static_cast<std::uint32_t>(v.getPayloadBits()), pos_, limit_);
        } else {
          SerializeRaw<std::uint64_t>(v.getPayloadBits(), pos_, limit_);
        }
        return;
      case VarData::kAnsi:
        ansi(GutsAs<IVarDataAnsi>(v));
        return;
      case VarData::kUnicode:
        unicode(GutsAs<IVarDataUnicode>(v));
        return;
      case VarData::kRaw:
        raw(GutsAs<IVarDataRaw>(v));
        return;
      case VarData::kCell:
        cell(v);
        return;
      case VarData::kDictionary:
        dictionary(v);
        return;
      case VarData::kAbsTime:
      case VarData::kRelTime:
        time(v);
        return;
      case VarData::kTGVariant:
        if (v.getGuts() == nullptr) {
          SerializeRaw<std::uint64_t>(0, pos_, limit_);
        } else {
          GutsAs<IVarDataTGVariant>(v)->serialize(pos_, limit_);
        }
        return;
      case VarData::kFlexData:
        if (v.getGuts() == nullptr) {
          SerializeRaw<std::uint32_t>(0, pos_, limit_);
        } else {
          GutsAs<IVarDataFlexData>(v)->serialize(pos_, limit_);
        }
        return;
      case VarData::kArray:
        array(v);
        return;
      default:  // 0, empty, break, pulse
        slot(v);
        return;
    }
  }

  void ansi(const IVarDataAnsi* text) {
    const AnsiChars chars = CharsOf(text);
    SerializeRaw<std::uint32_t>(chars.length, pos_, limit_);
    if (chars.length != 0) bytes(chars.data, chars.length);
  }

  // A whole narrow text value (type word, length, characters) with one room check: keys and
  // text arrays are made of these.
  void text(const IVarDataAnsi* text) {
    const AnsiChars chars = CharsOf(text);
    const std::uint32_t n = chars.length;
    const std::size_t size = n <= kMaxSize - 8 ? std::size_t{n} + 8 : ~std::size_t{0};
    unsigned char* next = CheckSerializationSize(size, pos_, limit_);
    PutText(pos_, chars.data, n);
    pos_ = next;
  }

  // Type word, length and characters of a narrow text at `to`, which has room for them.
  static void PutText(unsigned char* to, const char* chars, std::uint32_t n) noexcept {
    const std::uint32_t header[2] = {
        zo::kel::little_endian::ToLittleEndian<std::uint32_t>(VarData::kAnsi),
        zo::kel::little_endian::ToLittleEndian(n)};
    std::memcpy(to, header, 8);
    zo::kel::detail::CopyTextBytes(to + 8, chars, n);
  }

  // Wide text travels as UCS-2: each character's low 16 bits, deliberately (characters above
  // U+FFFF lose their upper bits).
  void unicode(const IVarDataUnicode* text) {
    const std::uint32_t n = text == nullptr ? 0 : text->GetLength();
    SerializeRaw<std::uint32_t>(n, pos_, limit_);
    if (n == 0) return;
    unsigned char* next = CheckSerializationSize(2 * static_cast<std::size_t>(n), pos_, limit_);
    const wchar_t* chars = text->GetData();
    for (std::uint32_t i = 0; i < n; ++i) {
      const auto unit = static_cast<std::uint16_t>(chars[i]);
      pos_[2 * i] = static_cast<unsigned char>(unit);
      pos_[2 * i + 1] = static_cast<unsigned char>(unit >> 8);
    }
    pos_ = next;
  }

  void raw(const IVarDataRaw* block) {
    const unsigned char* data = nullptr;
    std::uint32_t n = 0;
    if (block != nullptr) block->GetData(data, n);
    SerializeRaw<std::uint32_t>(n, pos_, limit_);
    bytes(data, n);
  }

  void cell(const VarData& v) {
    std::uint16_t row = 0, column = 0;
    VarData held;
    v.GetCell(row, column, held);
    SerializeRaw<std::uint16_t>(row, pos_, limit_);
    SerializeRaw<std::uint16_t>(column, pos_, limit_);
    value(held);
  }

  void dictionary(const VarData& v) {
    if (v.getGuts() == nullptr) {
      SerializeRaw<std::uint32_t>(0, pos_, limit_);
      return;
    }
    const auto& pairs =
        static_cast<const zo::kel::detail::VarDataDictionary*>(v.getIDict())->pairs();
    SerializeRaw<std::uint32_t>(static_cast<std::uint32_t>(pairs.size()), pos_, limit_);
    for (const auto& pair : pairs) {
      value(pair.first);
      value(pair.second);
    }
  }

  void time(const VarData& v) {
    std::uint32_t w3 = 0, w2 = 0, w1 = 0, w0 = 0;
    if (v.getGuts() != nullptr) v.getISSTimeValue()->getTimeValue().value().Get(w3, w2, w1, w0);
    // Least significant word first.
    SerializeRaw<std::uint32_t>(w0, pos_, limit_);
    SerializeRaw<std::uint32_t>(w1, pos_, limit_);
    SerializeRaw<std::uint32_t>(w2, pos_, limit_);
    SerializeRaw<std::uint32_t>(w3, pos_, limit_);
  }

  void array(const VarData& v) {
    if (v.getGuts() == nullptr) {
      SerializeRaw<std::uint32_t>(0, pos_, limit_);
      return;
    }
    const auto& elements = static_cast<const zo::kel::detail::VectorGuts*>(v.getGuts())->elements();
    SerializeRaw<std::uint32_t>(static_cast<std::uint32_t>(elements.size()), pos_, limit_);
    const VarData* element = elements.data();
    const VarData* const end = element + elements.size();
    while (element != end) {
      if (!IsImageInMemory(element->getKind())) {
        const VarData* texts = ownTexts(element, end);
        if (texts == element) {
          value(*element);
          ++texts;
        }
        element = texts;
        continue;
      }
      // A run of numbers, times and identifiers is copied as it lies in memory: the handle's
      // three words are those values' serialized form, type word first, little-endian.
      // Runs are taken a few kilobytes at a time, so that the copy finds them still in cache.
      const VarData* run =
          EndOfImageRun(element, end - element > kRunChunk ? element + kRunChunk : end);
      bytes(element, static_cast<std::uint32_t>(sizeof(VarData) * (run - element)));
      element = run;
    }
  }

  // Writes the run of narrow texts with the library's own guts that starts at `element`, and
  // returns its end. The cursor and limit stay in registers: a store of characters could change
  // the members as far as the compiler knows. A text that does not fit ends the run, so that
  // value() raises the error.
  const VarData* ownTexts(const VarData* element, const VarData* end) {
    unsigned char* pos = pos_;
    for (; element != end && element->getKind() == VarData::kAnsi; ++element) {
      const auto* own = zo::kel::detail::AnsiGuts::Own(GutsAs<IVarDataAnsi>(*element));
      if (own == nullptr) break;
      const std::uint32_t n = own->length();
      const auto room = static_cast<std::size_t>(limit_ - pos);
      if (room < 8 || n > room - 8) break;
      PutText(pos, own->text(), n);
      pos += 8 + std::size_t{n};
    }
    pos_ = pos;
    return element;
  }

  // The cursor is kept by value while writing, so that stores of output bytes do not force
  // the compiler to reload it; write() hands it back.
  unsigned char*& out_;
  unsigned char* pos_;
  const unsigned char* limit_;
  bool compact_;
};

// Reads values from a cursor. Every length and count is checked against the bytes its elements
// need at least before anything is reserved, and nesting is limited, so hostile input fails
// quickly with DeserializationError and allocates at most a small multiple of its own size.
class Reader {
 public:
  Reader(const unsigned char* pos, const unsigned char* limit, bool compact)
      : pos_(pos), limit_(limit), compact_(compact) {}

  const unsigned char* position() const noexcept { return pos_; }

  VarData value(std::uint32_t depth) {
    std::uint32_t type = 0;
    DeserializeRaw(type, pos_, limit_);
    const auto kind = static_cast<std::uint16_t>(type);
    VarData v;
    if ((kind & VarData::kGutsBit) == 0) {
      scalar(v, type, kind);
      return v;
    }
    if (depth >= zo::kel::kMaxNestingDepth) throw DeserializationError(ZO_KEL_HERE);
    switch (kind) {
      case VarData::kAnsi:
        ansi(v);
        break;
      case VarData::kUnicode:
        unicode(v);
        break;
      case VarData::kRaw:
        raw(v);
        break;
      case VarData::kCell:
        cell(v, depth);
        break;
      case VarData::kDictionary:
        dictionary(v, depth);
        break;
      case VarData::kObsolete:
        obsolete();
        break;
      case VarData::kAbsTime:
      case VarData::kRelTime:
        time(v, kind);
        break;
      case VarData::kTGVariant:
        v.adoptGuts(VarData::kTGVariant, DeserializeVarDataTGVariant(pos_, limit_));
        break;
      case VarData::kFlexData:
        v.adoptGuts(VarData::kFlexData, DeserializeVarDataFlexData(pos_, limit_));
        break;
      case VarData::kArray:
        array(v, depth);
        break;
      default:
        throw DeserializationError(ZO_KEL_HERE);
    }
    return v;
  }

 private:
  std::size_t remaining() const noexcept { return static_cast<std::size_t>(limit_ - pos_); }

  std::uint32_t count() {
    std::uint32_t n = 0;
    DeserializeRaw(n, pos_, limit_);
    return n;
  }

  // Refuses a count whose elements, each at least `minBytes` long, cannot lie in the input.
  void checkCount(std::uint32_t n, std::size_t minBytes) const {
    if (n > remaining() / minBytes) throw DeserializationError(ZO_KEL_HERE);
  }

  void scalar(VarData& v, std::uint32_t type, std::uint16_t kind) {
    std::uint64_t payload = 0;
    switch (kind) {
      case 0:
      case VarData::kEmpty:
      case VarData::kBreak:
      case VarData::kPulse:
        if (!compact_) DeserializeRaw(payload, pos_, limit_);
        break;
      case VarData::kLogical: {
        std::uint8_t b = 0;
        DeserializeRaw(b, pos_, limit_);
        payload = b != 0 ? 1 : 0;  // any non-zero byte is true
        break;
      }
      case VarData::kNumeric:
      case VarData::kTime:
      case VarData::kID64:
        DeserializeRaw(payload, pos_, limit_);
        break;
      case VarData::kVoidPointer:
        if (compact_) {
          std::uint32_t low = 0;
          DeserializeRaw(low, pos_, limit_);
          payload = low;
        } else {
          DeserializeRaw(payload, pos_, limit_);
        }
        break;
      default:
        throw DeserializationError(ZO_KEL_HERE);
    }
    // The whole type word, qualifier included, is kept for the kinds without guts.
    v.setScalarWords(type, payload);
  }

  void ansi(VarData& v) { v.adoptGuts(VarData::kAnsi, ansiGuts()); }

  // The guts of the narrow text whose length and characters follow at the cursor.
  IVarDataGuts* ansiGuts() {
    const std::uint32_t n = count();
    const unsigned char* text = pos_;
    pos_ = CheckDeserializationSize(n, pos_, limit_);
    return AnsiGutsOf(text, n);
  }

  // New guts holding n characters: null for the empty text, as VarData::ansi makes it. Made
  // directly, without a handle to move.
  static IVarDataGuts* AnsiGutsOf(const unsigned char* text, std::uint32_t n) {
    if (n == 0) return nullptr;
    return static_cast<IVarDataAnsi*>(
        zo::kel::detail::AnsiGuts::Make(reinterpret_cast<const char*>(text), n));
  }

  // Reads the narrow text (type word, length, characters) at `pos` into `v`, empty, as value()
  // would, and returns the position after it; null, with nothing read, when `pos` is not at a
  // whole narrow-text header (value() then raises the error).
  const unsigned char* textAt(const unsigned char* pos, VarData& v) const {
    if (static_cast<std::size_t>(limit_ - pos) < 8) return nullptr;
    std::uint32_t header[2];
    std::memcpy(header, pos, 8);
    if (static_cast<std::uint16_t>(header[0]) != VarData::kAnsi) return nullptr;
    const std::uint32_t n = zo::kel::little_endian::FromLittleEndian(header[1]);
    const unsigned char* text = pos + 8;
    const unsigned char* end = CheckDeserializationSize(n, text, limit_);
    v.adoptGuts(VarData::kAnsi, AnsiGutsOf(text, n));
    return end;
  }

  // Appends the narrow texts that follow at the cursor, at most `most`, and returns how many.
  // The cursor stays in a register meanwhile.
  std::uint32_t texts(zo::kel::detail::VectorGuts::Elements& elements, std::uint32_t most) {
    const unsigned char* pos = pos_;
    std::uint32_t read = 0;
    for (; read < most; ++read) {
      elements.emplace_back();
      const unsigned char* next = textAt(pos, elements.back());
      if (next == nullptr) {
        elements.pop_back();
        break;
      }
      pos = next;
    }
    pos_ = pos;
    return read;
  }

  // An element of a dictionary at `depth`: text keys and values, the common case, are read in
  // place without a call through value().
  VarData element(std::uint32_t depth) {
    VarData v;
    if (depth + 1 < zo::kel::kMaxNestingDepth) {
      if (const unsigned char* next = textAt(pos_, v)) {
        pos_ = next;
        return v;
      }
    }
    return value(depth + 1);
  }

  void unicode(VarData& v) {
    const std::uint32_t n = count();
    checkCount(n, 2);
    std::vector<wchar_t> text(n);
    for (std::uint32_t i = 0; i < n; ++i) {
      text[i] = static_cast<wchar_t>(pos_[2 * i] | (pos_[2 * i + 1] << 8));
    }
    pos_ += 2 * static_cast<std::size_t>(n);
    v = VarData::unicode(text.data(), n);
  }

  void raw(VarData& v) {
    const std::uint32_t n = count();
    const unsigned char* data = pos_;
    pos_ = CheckDeserializationSize(n, pos_, limit_);
    v.SetRaw(data, n);
  }

  void cell(VarData& v, std::uint32_t depth) {
    std::uint16_t row = 0, column = 0;
    DeserializeRaw(row, pos_, limit_);
    DeserializeRaw(column, pos_, limit_);
    const VarData held = value(depth + 1);
    v = VarData(row, column, held);
  }

  void dictionary(VarData& v, std::uint32_t depth) {
    const std::uint32_t n = count();
    checkCount(n, 8);  // a key and a value of at least a type word each
    VarData made = VarData::dict();
    auto& pairs = static_cast<zo::kel::detail::VarDataDictionary*>(made.getIDict())->pairs();
    for (std::uint32_t i = 0; i < n; ++i) {
      VarData key = element(depth);
      VarData item = element(depth);
      // Pairs arrive in key order from the library's writers: the hint at the end places each
      // with one comparison with the last key, instead of a search from the root. The pair goes
      // in with an empty value and takes the item after, so that a key equal to one already
      // read (keys equal but for case) keeps the first key and takes the later value, as
      // inserting pair by pair does (the value replaced leaves with `item`).
      pairs.emplace_hint(pairs.end(), std::move(key), VarData())->second.swap(item);
    }
    v.swap(made);
  }

  // A kind no writer produces any more: three counts whose product in bytes follows, skipped.
  void obsolete() {
    std::uint64_t bytes = 1;
    for (int i = 0; i < 3; ++i) {
      const std::uint32_t n = count();
      // Multiply only while the product still fits the input; beyond it the record cannot fit.
      if (bytes != 0 && n != 0 && bytes > remaining() / n)
        bytes = ~std::uint64_t{0};
      else
        bytes *= n;
    }
    if (bytes > remaining()) throw DeserializationError(ZO_KEL_HERE);
    pos_ += static_cast<std::size_t>(bytes);
  }

  void time(VarData& v, std::uint16_t kind) {
    std::uint32_t w[4];
    for (std::uint32_t& word : w) DeserializeRaw(word, pos_, limit_);
    v.setISSTimeValue(kind, nZOSS100::tSSTimeValue(
                                nZOSS100::tSignedFixedPoint128::FromWords(w[3], w[2], w[1], w[0])));
  }

  // Builds the array in one step with the result of storing each element at its index: trailing
  // empty elements are not stored, except that element 0 always exists once the count is not 0,
  // and a count of 0 leaves an array without guts.
  void array(VarData& v, std::uint32_t depth) {
    const std::uint32_t n = count();
    checkCount(n, 4);  // each element is at least its type word
    v.adoptGuts(VarData::kArray, nullptr);
    if (n == 0) return;
    zo::kel::detail::VectorGuts::Elements elements;
    elements.reserve(n);
    std::size_t used = 1;
    bool noGuts = true;  // until an element with guts is read
    const bool textsInline = depth + 1 < zo::kel::kMaxNestingDepth;
    for (std::uint32_t i = 0; i < n;) {
      // Numbers, times and identifiers, the bulk of large arrays, are read in one tight loop.
      std::size_t most = remaining() / 12;
      if (most > n - i) most = n - i;
      const unsigned char* p = pos_;
      const unsigned char* const stop = p + 12 * most;
      for (; p != stop; p += 12) {
        std::uint32_t type;
        std::memcpy(&type, p, 4);
        if (!IsImageInMemory(static_cast<std::uint16_t>(type))) break;
        std::uint64_t payload;
        std::memcpy(&payload, p + 4, 8);
        elements.emplace_back(VarData::ScalarWords(), type, payload);
      }
      if (p != pos_) {
        i += static_cast<std::uint32_t>((p - pos_) / 12);
        pos_ = p;
        used = elements.size();
        continue;
      }
      // Narrow texts, the bulk of text arrays, likewise (at a depth where value() reads them).
      if (textsInline) {
        const std::uint32_t read = texts(elements, n - i);
        if (read != 0) {
          noGuts = false;
          i += read;
          used = elements.size();
          continue;
        }
      }
      ++i;
      elements.push_back(value(depth + 1));
      if (elements.back().getKind() != VarData::kEmpty) used = elements.size();
      if (elements.back().getGuts() != nullptr) noGuts = false;
    }
    elements.resize(used);
    VarData made;
    made.adoptGuts(VarData::kArray, new zo::kel::detail::VectorGuts(std::move(elements), noGuts));
    v.swap(made);
  }

  const unsigned char* pos_;
  const unsigned char* limit_;
  bool compact_;
};

}  // namespace

std::uint32_t VarData::valueSerializationSizeImpl(bool compact) const {
  return Saturate(PayloadSize(*this, compact));
}

std::uint32_t VarData::serializationSizeImpl(bool compact) const {
  return Saturate(PayloadSize(*this, compact) + 8);
}

void VarData::serializeImpl(unsigned char*& cursor, const unsigned char* limit,
                            bool compact) const {
  const std::uint64_t size = ValueSize(*this, compact);
  CheckSerializationSize(size > kMaxSize ? ~std::size_t{0} : static_cast<std::size_t>(size), cursor,
                         limit);
  unsigned char* pos = cursor;
  Writer(pos, limit, compact).write(*this);
  cursor = pos;
}

void VarData::deserializeImpl(const unsigned char*& cursor, const unsigned char* limit,
                              bool compact) {
  Reader reader(cursor, limit, compact);
  VarData read = reader.value(0);
  swap(read);
  cursor = reader.position();
}

namespace {

// Makes `room` bytes at the end of the buffer, writes `v` into them and keeps only the bytes
// written; after any failure the buffer has its old length again.
void AppendWritten(const VarData& v, zo::kel::AutoBuffer& buffer, std::uint32_t room,
                   bool compact) {
  const std::uint32_t old = buffer.Len();
  buffer.Skip(room);
  unsigned char* const start = buffer.Data() + old;
  unsigned char* cursor = start;
  try {
    Writer(cursor, start + room, compact).write(v);
  } catch (...) {
    buffer.UnAppend(room);
    throw;
  }
  buffer.UnAppend(room - static_cast<std::uint32_t>(cursor - start));
}

// Arrays and dictionaries are sized by walking every element, which costs about as much as
// writing them; a buffer that is reused (the common case when values are sent one after the
// other) usually has the room already. Such a value is first written straight into the spare
// room and sized only when it does not fit there. Smaller spare room is not tried, so that a
// buffer which keeps being a little too short does not pay for a failed attempt each time.
constexpr std::uint32_t kMinSpareForOnePass = 256;

}  // namespace

void VarData::SerializeWithoutSize(zo::kel::AutoBuffer& buffer, bool compact) const {
  const std::uint16_t kind = getKind();
  const std::uint32_t spare = buffer.MemUsage() - buffer.Len();
  if ((kind == kArray || kind == kDictionary) && spare >= kMinSpareForOnePass) {
    try {
      AppendWritten(*this, buffer, spare, compact);  // no reallocation unless the body is shared
      return;
    } catch (const zo::kel::exception::BufferOverflow&) {
      // Did not fit: sized and written below.
    }
  }
  const std::uint64_t size = ValueSize(*this, compact);
  if (size > kMaxSize - buffer.Len()) throw std::bad_alloc();
  // The room is made for exactly this size: written without sizing the value again.
  AppendWritten(*this, buffer, static_cast<std::uint32_t>(size), compact);
}

VarData VarData::DeserializeWithoutSize(const unsigned char* data, std::uint32_t length,
                                        std::uint32_t& consumed, bool compact) {
  consumed = 0;
  const unsigned char* cursor = data;
  VarData v;
  try {
    v.deserializeImpl(cursor, data + length, compact);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    throw DeserializationErrorException();
  }
  consumed = static_cast<std::uint32_t>(cursor - data);
  return v;
}

void VarData::serializeWithSizeImpl(unsigned char*& cursor, const unsigned char* limit,
                                    std::uint32_t size, bool compact) const {
  CheckSerializationSize(size, cursor, limit);
  unsigned char* pos = cursor;
  SerializeRaw<std::uint32_t>(size - 4, pos, limit);
  serializeImpl(pos, limit, compact);
  cursor = pos;
}

void VarData::SerializeWithSize(zo::kel::AutoBuffer& buffer) const {
  const std::uint64_t size = ValueSize(*this, true) + 4;
  if (size > kMaxSize - buffer.Len()) throw std::bad_alloc();
  const std::uint32_t old = buffer.Len();
  buffer.Skip(static_cast<std::uint32_t>(size));
  try {
    unsigned char* cursor = buffer.Data() + old;
    const unsigned char* limit = buffer.Data() + buffer.Len();
    SerializeRaw<std::uint32_t>(static_cast<std::uint32_t>(size - 4), cursor, limit);
    Writer(cursor, limit, true).write(*this);
  } catch (...) {
    buffer.UnAppend(buffer.Len() - old);
    throw;
  }
}

void VarData::deserializeWithSizeImpl(const unsigned char*& cursor, const unsigned char* limit,
                                      bool compact) {
  const unsigned char* pos = cursor;
  std::uint32_t size = 0;
  DeserializeRaw(size, pos, limit);
  const unsigned char* recordEnd = CheckDeserializationSize(size, pos, limit);
  // The value is read against the outer limit, and the cursor then set past the whole record
  // whatever the value used, deliberately: a longer record from a later writer is skipped whole.
  deserializeImpl(pos, limit, compact);
  cursor = recordEnd;
}

VarData VarData::DeserializeWithSize(const unsigned char*& cursor, std::uint32_t length) {
  const unsigned char* const start = cursor;
  const unsigned char* const limit = start + length;
  VarData v;
  try {
    v.deserializeWithSizeImpl(cursor, limit, true);
    return v;
  } catch (const zo::kel::exception::Exception&) {
  } catch (const DeserializationErrorException&) {
  }
  // A damaged record is skipped as far as its prefix says, never past the limit.
  if (length >= 4) {
    std::uint32_t size = 0;
    std::memcpy(&size, start, sizeof size);
    size = zo::kel::little_endian::FromLittleEndian(size);
    const std::size_t room = length - 4;
    cursor = start + 4 + (size < room ? size : room);
  }
  return VarData();
}
