// Ordering, truth, number and kind conversion of VarData values.
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <vector>

#include "kel/StringBase.h"
#include "kel/exception.h"
#include "kel/osdep/AbsTimeToString.h"
#include "kel/time/AbsTime.h"
#include "kel/time/TimeConversions.h"
#include "qmstatic/text/NumberToText.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::AString;
using zo::kel::WString;

// Seconds from 1899-12-30 (the epoch of inline times) to 1904-01-01 (the epoch of absolute
// times): 1462 days.
constexpr std::int32_t kInlineEpochToAbsEpochSeconds = 1462 * 86400;

std::int32_t Sign(bool less, bool greater) { return less ? -1 : (greater ? 1 : 0); }

// Order of two guts pointers when exactly one is null: by address, as the handle always has.
// On 64-bit platforms the sign of the full difference keeps the order strict.
std::int32_t PointerOrder(const void* a, const void* b) {
  const auto pa = reinterpret_cast<std::uintptr_t>(a);
  const auto pb = reinterpret_cast<std::uintptr_t>(b);
  if (sizeof(void*) == 4) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(pa - pb)) >> 2;
  }
  return Sign(pa<pb, pa> pb);
}

// Truncation toward zero to a signed width; out of range (NaN included) gives the most negative
// value of the width, as the processor's conversion does.
std::int32_t TruncateToInt32(double d) {
  if (d > -2147483649.0 && d < 2147483648.0) return static_cast<std::int32_t>(d);
  return std::numeric_limits<std::int32_t>::min();
}

std::int16_t TruncateToInt16(double d) {
  if (d > -32769.0 && d < 32768.0) return static_cast<std::int16_t>(d);
  return std::numeric_limits<std::int16_t>::min();
}

// The text of a number in display format 0 ("General"), formatted into 32 characters.
AString GeneralText(double value) {
  char buffer[32];
  const int n = NumberToText0(value, 0, buffer, sizeof buffer);
  if (n <= 0) return AString(n < 0 ? buffer : "");
  return AString(buffer, static_cast<unsigned>(n < 32 ? n : 31));
}

// Bit arrays and identifiers are shown as upper-case hexadecimal of their full width with a
// "0x" prefix: 0x000000FF, 0x0123456789ABCDEF.
AString HexText(std::uint32_t bits) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%08" PRIX32, bits);
  return AString(buffer);
}

AString HexText(std::uint64_t id) {
  char buffer[24];
  std::snprintf(buffer, sizeof buffer, "0x%016" PRIX64, id);
  return AString(buffer);
}

// The text of an absolute time as displays show it: the system's date and time formats, three
// fraction digits, local time, date first.
WString AbsTimeText(const VarData& value) {
  try {
    zo::kel::AbsTime time;
    if (!value.getAbsTime(time)) return WString();
    return zo::kel::osdep::AbsTimeToString(time, nullptr, nullptr, 3,
                                           zo::kel::osdep::kTimeStringLocal, false, nullptr);
  } catch (const zo::kel::exception::Exception&) {
    return WString(L"Unable to display time value");
  }
}

// The text of kinds whose text is the same in narrow and wide form (ASCII), or null when the
// kind has its own narrow/wide rule.
bool AsciiText(const VarData& value, AString& text) {
  switch (value.getKind()) {
    case VarData::kLogical: {
      bool b = false;
      value.GetLogical(b);
      // Deliberately these two words: the displays' wording for logicals.
      text = b ? "on" : "off";
      return true;
    }
    case VarData::kNumeric: {
      const double d = static_cast<double>(value);
      // A bit array shows the bits it reads as (NaN as all bits set), so text and bits agree.
      text = value.getQualifier() == VarData::kBitArray ? HexText(value.getBitArray32Fast())
                                                        : GeneralText(d);
      return true;
    }
    case VarData::kID64: {
      unsigned long long id = 0;
      value.getID64(id);
      text = HexText(static_cast<std::uint64_t>(id));
      return true;
    }
    case VarData::kRelTime:
      text = GeneralText(static_cast<double>(value));
      return true;
    case VarData::kAnsi:
    case VarData::kUnicode:
    case VarData::kRaw:
    case VarData::kDictionary:
    case VarData::kAbsTime:
      return false;
    default:
      // Empty, time, break, pulse, void pointer, cell, array: no text.
      text = AString();
      return true;
  }
}

AString RawText(const VarData& value) {
  const auto* raw = static_cast<const IVarDataRaw*>(value.getGuts());
  if (raw == nullptr) return AString();
  const unsigned char* data = nullptr;
  std::uint32_t count = 0;
  raw->GetData(data, count);
  return AString(reinterpret_cast<const char*>(data), count);
}

AString NarrowText(const VarData& value) {
  AString text;
  if (AsciiText(value, text)) return text;
  switch (value.getKind()) {
    case VarData::kAnsi:
      return value.getAnsiString();
    case VarData::kUnicode:
      return AString(value.getUnicodeString());
    case VarData::kRaw:
      return RawText(value);
    case VarData::kDictionary:
      return AString(value.getIDict() == nullptr ? WString(L"{}") : value.getIDict()->getString());
    default:  // absolute time
      return AString(AbsTimeText(value));
  }
}

WString WideText(const VarData& value) {
  AString text;
  if (AsciiText(value, text)) return WString(text);
  switch (value.getKind()) {
    case VarData::kAnsi:
      return WString(value.getAnsiString());
    case VarData::kUnicode:
      return value.getUnicodeString();
    case VarData::kRaw:
      return WString(RawText(value));
    case VarData::kDictionary:
      return value.getIDict() == nullptr ? WString(L"{}") : value.getIDict()->getString();
    default:  // absolute time
      return AbsTimeText(value);
  }
}

// The exact instant of an inline time (nanoseconds since 1899-12-30) as an absolute time.
zo::kel::AbsTime AbsTimeOfInlineTime(const VarData& value) {
  unsigned long long ns = 0;
  value.GetFILETIME(ns);
  nZOSS100::tSignedFixedPoint128 seconds(static_cast<long double>(ns));
  seconds /= nZOSS100::tSignedFixedPoint128(static_cast<std::int32_t>(1000000000));
  seconds -= nZOSS100::tSignedFixedPoint128(kInlineEpochToAbsEpochSeconds);
  return zo::kel::AbsTime(seconds);
}

// The value flattened into a TG variant, dictionaries as variants (they keep any text key and
// nest freely). A value the codec cannot flatten becomes the empty TG variant value, so that the
// conversion never throws for a kind pair.
VarData FlattenedValue(const VarData& value) {
  try {
    const AString noName;
    std::uint32_t wordCount = 0, byteCount = 0;
    bry::VarDataToTGVariantLength(value, noName, bry::kDictionaryAsVariant, wordCount, byteCount);
    std::vector<unsigned short> words(wordCount);
    std::vector<unsigned char> data(byteCount);
    bry::VarDataToTGVariant(value, noName, bry::kDictionaryAsVariant, words.data(),
                            words.data() + wordCount, data.data(), data.data() + byteCount);
    return VarData::tgvar(words.data(), wordCount, data.data(), byteCount);
  } catch (const zo::kel::exception::Exception&) {
    VarData empty;
    empty.adoptGuts(VarData::kTGVariant, nullptr);
    return empty;
  }
}

}  // namespace

std::int32_t VarData::Compare(const VarData& other) const {
  const std::uint16_t kind = getKind();
  const std::uint16_t otherKind = other.getKind();
  if (kind != otherKind) return static_cast<std::int32_t>(kind) - otherKind;
  if ((kind & kGutsBit) != 0) {
    IVarDataGuts* mine = guts();
    IVarDataGuts* theirs = other.guts();
    if (mine == theirs) return 0;
    if (mine == nullptr || theirs == nullptr) return PointerOrder(mine, theirs);
    return mine->Compare(theirs);
  }
  switch (kind) {
    case kLogical:
      return static_cast<std::int32_t>(payload_[0] & 0xFFu) -
             static_cast<std::int32_t>(other.payload_[0] & 0xFFu);
    case kNumeric: {
      // A NaN difference is neither below nor above 0, so a NaN equals every number,
      // deliberately.
      const double difference = number() - other.number();
      return Sign(difference<0.0, difference> 0.0);
    }
    case kTime:
    case kID64: {
      // Time counts compare unsigned, deliberately, like identifiers.
      const std::uint64_t a = getPayloadBits();
      const std::uint64_t b = other.getPayloadBits();
      return Sign(a<b, a> b);
    }
    case kVoidPointer: {
      // The sign of the difference on every platform: the 32-bit difference itself overflows
      // for pointers more than 2 GiB apart and then orders nothing.
      const auto a = reinterpret_cast<std::uintptr_t>(getVoidPointer());
      const auto b = reinterpret_cast<std::uintptr_t>(other.getVoidPointer());
      return Sign(a < b, a > b);
    }
    default:  // empty, break, pulse and the other payload-less kinds
      return 0;
  }
}

VarData::operator bool() const {
  const std::uint16_t kind = getKind();
  if ((kind & kGutsBit) != 0) return guts() != nullptr && static_cast<bool>(*guts());
  switch (kind) {
    case kLogical:
      return (payload_[0] & 0xFFu) != 0;
    case kNumeric:
      return !(number() == 0.0);  // a NaN is true
    case kTime:
    case kVoidPointer:
    case kID64:
      return getPayloadBits() != 0;
    default:
      return false;
  }
}

VarData::operator double() const {
  const std::uint16_t kind = getKind();
  if ((kind & kGutsBit) != 0) return guts() == nullptr ? 0.0 : static_cast<double>(*guts());
  switch (kind) {
    case kLogical:
      return (payload_[0] & 0xFFu) != 0 ? 1.0 : 0.0;
    case kNumeric:
      return number();
    case kTime:
      return zo::kel::NanosecsToDays(getPayloadBits());
    case kID64:
      // Read as a signed count: identifiers of 2^63 and above come out negative, deliberately.
      return static_cast<double>(static_cast<std::int64_t>(getPayloadBits()));
    default:
      return 0.0;
  }
}

VarData::operator int() const { return TruncateToInt32(static_cast<double>(*this)); }

VarData::operator char() const {
  return static_cast<char>(static_cast<signed char>(
      static_cast<std::uint8_t>(TruncateToInt16(static_cast<double>(*this)))));
}

VarData::operator unsigned int() const {
  const double d = static_cast<double>(*this);
  if (!(d > 0.0)) return 0;  // negative numbers and NaN
  if (d >= 4294967295.0) return 0xFFFFFFFFu;
  return static_cast<unsigned int>(d);
}

VarData::operator unsigned long() const { return static_cast<unsigned int>(*this); }

void VarData::Convert_(std::uint16_t kind) {
  const std::uint16_t source = getKind();
  // A packet converted to a packet stays as it is, deliberately: going through its native value
  // would drop attributes and widen or lose what has no native kind.
  if (source == kFlexData && kind == kFlexData) return;
  // So does a TG variant converted to a TG variant: its label and form stay as they came.
  if (source == kTGVariant && kind == kTGVariant) return;
  if (source == kTGVariant || source == kFlexData) {
    // These kinds first become the value they stand for; one that cannot be decoded stands
    // for an empty value, so that the conversion still never throws.
    VarData native;
    if (guts() != nullptr) {
      try {
        native = source == kTGVariant ? getITGVariant()->convertToNativeType()
                                      : getIFlexData()->convertToNativeType();
      } catch (const zo::kel::exception::Exception&) {
        native.Clear();
      }
    }
    swap(native);
    if (getKind() == kind) return;
  }
  convertTo(kind);
}

void VarData::convertTo(std::uint16_t target) {
  VarData result;
  switch (target) {
    case kLogical:
      result = static_cast<bool>(*this);
      break;
    case kNumeric:
      result = static_cast<double>(*this);
      break;
    case kAnsi:
      result = VarData(NarrowText(*this));
      break;
    case kUnicode:
      result = VarData(WideText(*this));
      break;
    case kRaw: {
      const std::uint16_t source = getKind();
      if (source == kAnsi || source == kUnicode) {
        const AString text = source == kAnsi ? getAnsiString() : AString(getUnicodeString());
        result.SetRaw(reinterpret_cast<const unsigned char*>(text.c_str()), text.size());
      } else {
        result.adoptGuts(kRaw, nullptr);
      }
      break;
    }
    case kDictionary:
      result = dict();
      break;
    case kAbsTime:
      // Numbers are seconds since the absolute times' epoch (the number an absolute time
      // reads as); an inline time converts to the same instant.
      if (getKind() == kTime) {
        result = VarData(AbsTimeOfInlineTime(*this));
      } else {
        result =
            VarData(zo::kel::AbsTime(nZOSS100::tSignedFixedPoint128(static_cast<double>(*this))));
      }
      break;
    case kRelTime:
      result =
          VarData(zo::kel::RelTime(nZOSS100::tSignedFixedPoint128(static_cast<double>(*this))));
      break;
    case kTGVariant:
      result = FlattenedValue(*this);
      break;
    case kFlexData: {
      // A value the library cannot pack becomes an empty packet value, so that the conversion
      // never throws for a kind pair.
      IVarDataGuts* packet = nullptr;
      try {
        packet = NewVarDataFlexDataFromVarData(*this);
      } catch (const zo::kel::exception::Exception&) {
      }
      result.adoptGuts(kFlexData, packet);
      break;
    }
    default:
      // Every other target, the value kinds among them, becomes an empty value of that kind:
      // an all-zero payload (a null guts pointer for guts kinds).
      result.type_ = target;
      break;
  }
  swap(result);
}
