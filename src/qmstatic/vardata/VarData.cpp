// The VarData handle: construction, assignment, lifetime, sharing, bit arrays and cells.
#include "qmstatic/vardata/VarData.h"

#include <cmath>
#include <cwchar>

#include "kel/StringBase.h"
#include "qmstatic/vardata/VarDataDictionary_impl.h"
#include "qmstatic/vardata/VectorGuts_impl.h"

const char* TypeErrorException::what() const noexcept { return "VarData type error"; }
const char* KeyErrorException::what() const noexcept { return "VarData key error"; }
const char* DeserializationErrorException::what() const noexcept {
  return "VarData deserialization error";
}

namespace {

std::uint32_t NumericType(std::uint16_t qualifier) {
  return (static_cast<std::uint32_t>(qualifier) << 16) | VarData::kNumeric;
}

// Clamps a bit array's double: the NaN test comes first through the negated comparison, so NaN
// reads as all bits set and every negative number as 0; the order is deliberate.
std::uint32_t BitsOf(double d) noexcept {
  if (!(d < 4294967295.0))
    d = 4294967295.0;
  else if (d <= 0.0)
    d = 0.0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::floor(d)));
}

IVarDataGuts* AnsiGutsOrNull(const char* text, std::uint32_t length) {
  return (text == nullptr || length == 0) ? nullptr : NewAnsiGutsLen(text, length);
}

IVarDataGuts* UnicodeGutsOrNull(const wchar_t* text, std::uint32_t length) {
  return (text == nullptr || length == 0) ? nullptr : NewUnicodeGutsLen(text, length);
}

}  // namespace

// ---- Construction ---------------------------------------------------------------------------

VarData::VarData(bool value) noexcept : type_(kLogical), payload_{value ? 1u : 0u, 0} {}

VarData::VarData(int value) noexcept : VarData(static_cast<double>(value)) {}

VarData::VarData(double value) noexcept : type_(kNumeric), payload_{0, 0} {
  setNumber(kNumeric, value);
}

VarData::VarData(long long nanoseconds) noexcept : type_(kTime), payload_{0, 0} {
  std::memcpy(payload_, &nanoseconds, sizeof nanoseconds);
}

VarData::VarData(const char* text) : type_(kAnsi), payload_{0, 0} {
  setGutsPointer((text == nullptr || *text == '\0') ? nullptr : NewAnsiGuts(text));
}

VarData::VarData(const wchar_t* text) : type_(kUnicode), payload_{0, 0} {
  setGutsPointer((text == nullptr || *text == L'\0') ? nullptr : NewUnicodeGuts(text));
}

VarData::VarData(const zo::kel::AString& text) : type_(kAnsi), payload_{0, 0} {
  setGutsPointer(AnsiGutsOrNull(text.c_str(), text.size()));
}

VarData::VarData(const zo::kel::AsciiString& text) : type_(kAnsi), payload_{0, 0} {
  setGutsPointer(AnsiGutsOrNull(text.c_str(), text.size()));
}

VarData::VarData(const zo::kel::WString& text) : type_(kUnicode), payload_{0, 0} {
  setGutsPointer(UnicodeGutsOrNull(text.c_str(), text.size()));
}

VarData::VarData(const unsigned char* bytes, std::uint32_t count) : type_(kRaw), payload_{0, 0} {
  setGutsPointer((bytes == nullptr || count == 0) ? nullptr : NewRawGuts(bytes, count));
}

VarData::VarData(std::uint16_t row, std::uint16_t column, const VarData& value)
    : type_(kCell), payload_{0, 0} {
  const bool blank = row == 0 && column == 0 && value.getKind() == kEmpty;
  setGutsPointer(blank ? nullptr : NewCellGuts(row, column, value));
}

VarData VarData::pulse() noexcept {
  VarData v;
  v.type_ = kPulse;
  return v;
}

VarData VarData::brake() noexcept {
  VarData v;
  v.type_ = kBreak;
  return v;
}

VarData VarData::bitArray(std::uint32_t bits) noexcept {
  VarData v;
  v.setNumber(NumericType(kBitArray), static_cast<double>(bits));
  return v;
}

VarData VarData::num(double value, std::uint16_t qualifier) noexcept {
  VarData v;
  v.setNumber(NumericType(qualifier), value);
  return v;
}

VarData VarData::ansi(const char* text, std::uint32_t length) {
  VarData v;
  v.adoptGuts(kAnsi, AnsiGutsOrNull(text, length));
  return v;
}

VarData VarData::unicode(const wchar_t* text, std::uint32_t length) {
  VarData v;
  v.adoptGuts(kUnicode, UnicodeGutsOrNull(text, length));
  return v;
}

VarData VarData::dict() {
  VarData v;
  v.adoptGuts(kDictionary, NewVarDataDictionary());
  return v;
}

// ---- Assignment -----------------------------------------------------------------------------

VarData& VarData::operator=(const VarData& other) noexcept {
  if (this == &other) return *this;
  if ((type_ & kGutsBit) != 0) {
    // The source may live inside this handle's own guts (an element of this dictionary): hold a
    // reference to it through a temporary until the old guts are released.
    VarData keep(other);
    swap(keep);
  } else {
    type_ = other.type_;
    payload_[0] = other.payload_[0];
    payload_[1] = other.payload_[1];
    AddRef();
  }
  return *this;
}

VarData& VarData::operator=(VarData&& other) noexcept {
  if (this != &other) {
    // Moved out before the old guts go, for the same reason as in copy assignment.
    VarData taken(std::move(other));
    swap(taken);
  }
  return *this;
}

VarData& VarData::operator=(bool value) noexcept {
  Clear();
  type_ = kLogical;
  payload_[0] = value ? 1u : 0u;
  return *this;
}

VarData& VarData::operator=(int value) noexcept { return *this = static_cast<double>(value); }

VarData& VarData::operator=(double value) noexcept {
  Clear();
  setNumber(kNumeric, value);
  return *this;
}

VarData& VarData::operator=(long long nanoseconds) noexcept {
  Clear();
  type_ = kTime;
  std::memcpy(payload_, &nanoseconds, sizeof nanoseconds);
  return *this;
}

VarData& VarData::operator=(const char* text) {
  VarData made(text);
  swap(made);
  return *this;
}

VarData& VarData::operator=(const wchar_t* text) {
  VarData made(text);
  swap(made);
  return *this;
}

void VarData::SetRaw(const unsigned char* bytes, std::uint32_t count) {
  VarData made(bytes, count);
  swap(made);
}

void VarData::setID64(unsigned long long id) noexcept {
  Clear();
  type_ = kID64;
  std::memcpy(payload_, &id, sizeof id);
}

void VarData::setVoidPointer(void* pointer) noexcept {
  if (getKind() != kVoidPointer) {
    Clear();
    type_ = kVoidPointer;
  }
  payload_[0] = payload_[1] = 0;
  std::memcpy(payload_, &pointer, sizeof pointer);
}

void VarData::setBitArray32(std::uint32_t bits) noexcept {
  Clear();
  setNumber(NumericType(kBitArray), static_cast<double>(bits));
}

void VarData::Pulse() noexcept {
  Clear();
  type_ = kPulse;
}

void VarData::Break() noexcept {
  Clear();
  type_ = kBreak;
}

// ---- Queries --------------------------------------------------------------------------------

bool VarData::GetLogical(bool& value) const noexcept {
  if (getKind() != kLogical) return false;
  value = (payload_[0] & 0xFFu) != 0;
  return true;
}

bool VarData::GetNumeric(double& value) const noexcept {
  if (getKind() != kNumeric) return false;
  value = number();
  return true;
}

bool VarData::GetTime(long long& nanoseconds) const noexcept {
  if (type_ != kTime) return false;
  std::memcpy(&nanoseconds, payload_, sizeof nanoseconds);
  return true;
}

bool VarData::GetFILETIME(unsigned long long& value) const noexcept {
  if (type_ != kTime) return false;
  std::memcpy(&value, payload_, sizeof value);
  return true;
}

bool VarData::getID64(unsigned long long& id) const noexcept {
  if (getKind() != kID64) return false;
  std::memcpy(&id, payload_, sizeof id);
  return true;
}

void* VarData::getVoidPointer() const {
  throwIfWrongType(kVoidPointer);
  void* pointer;
  std::memcpy(&pointer, payload_, sizeof pointer);
  return pointer;
}

void VarData::throwIfWrongType(std::uint32_t kind) const {
  if (getKind() != (kind & 0xFFFFu)) throw TypeErrorException();
}

void VarData::Not() noexcept {
  if (getKind() == kLogical) payload_[0] = (payload_[0] & 0xFFu) != 0 ? 0u : 1u;
}

zo::kel::AString VarData::getAnsiString() const {
  if (getKind() == kAnsi) {
    const IVarDataAnsi* text = getIAnsi();
    return text == nullptr ? zo::kel::AString()
                           : zo::kel::AString(text->GetData(), text->GetLength());
  }
  VarData copy(*this);
  copy.Convert_(kAnsi);
  return copy.getAnsiString();
}

zo::kel::WString VarData::getUnicodeString() const {
  if (getKind() == kUnicode) {
    const IVarDataUnicode* text = getIUnicode();
    return text == nullptr ? zo::kel::WString()
                           : zo::kel::WString(text->GetData(), text->GetLength());
  }
  VarData copy(*this);
  copy.Convert_(kUnicode);
  return copy.getUnicodeString();
}

// ---- Bit arrays -----------------------------------------------------------------------------

bool VarData::getBitArray32(std::uint32_t& bits) const noexcept {
  if (getKind() != kNumeric || ((type_ >> 16) & 0xFu) != kBitArray) return false;
  bits = BitsOf(number());
  return true;
}

std::uint32_t VarData::getBitArray32Fast() const noexcept { return BitsOf(number()); }

std::uint32_t VarData::getBitArrayUint32WithCoercion() const {
  if (getKind() == kNumeric) return BitsOf(number());
  VarData copy(*this);
  copy.Convert_(kNumeric);
  return BitsOf(copy.number());
}

VarData VarData::operator|(const VarData& other) const {
  return bitArray(getBitArrayUint32WithCoercion() | other.getBitArrayUint32WithCoercion());
}

VarData VarData::operator&(const VarData& other) const {
  return bitArray(getBitArrayUint32WithCoercion() & other.getBitArrayUint32WithCoercion());
}

VarData VarData::operator^(const VarData& other) const {
  return bitArray(getBitArrayUint32WithCoercion() ^ other.getBitArrayUint32WithCoercion());
}

VarData VarData::operator~() const { return bitArray(~getBitArrayUint32WithCoercion()); }

VarData& VarData::operator|=(const VarData& other) { return *this = *this | other; }
VarData& VarData::operator&=(const VarData& other) { return *this = *this & other; }
VarData& VarData::operator^=(const VarData& other) { return *this = *this ^ other; }

// ---- References and copy on write ---------------------------------------------------------

void VarData::releaseGuts() noexcept {
  IVarDataGuts* old = guts();
  setGutsPointer(nullptr);
  old->Release();
}

namespace {

using zo::kel::detail::StaticProbe;
using zo::kel::detail::VarDataDictionary;
using zo::kel::detail::VectorGuts;
using zo::kel::detail::VtablePointerOf;

// The marks of the library's own array and dictionary guts, the ones a write asks about. Null
// until the library's static data are set up; every guts is then asked through AddRef and
// Release.
const void* const ownArrayVtable = VtablePointerOf(&StaticProbe<VectorGuts>());
const void* const ownDictionaryVtable = VtablePointerOf(&StaticProbe<VarDataDictionary>());

}  // namespace

// The library's own arrays and dictionaries are asked with one load of their count. AddRef and
// Release would be two calls, and two locked instructions once the process runs threads. A count
// of 1 read with acquire order also means that every other former owner's last use of the guts
// happened before this write.
bool IsShared(IVarDataGuts* guts) {
  const void* vtable = VtablePointerOf(guts);
  if (vtable == ownDictionaryVtable) {
    return static_cast<VarDataDictionary*>(static_cast<IVarDataDictionary*>(guts))
               ->referenceCount() > 1;
  }
  if (vtable == ownArrayVtable) {
    return static_cast<VectorGuts*>(static_cast<IVarDataSequence*>(guts))->referenceCount() > 1;
  }
  guts->AddRef();
  return guts->Release() > 1;
}

void VarData::unshare() {
  if ((type_ & kGutsBit) != 0) copyIfShared();
}

void VarData::copyIfShared() {
  if (!hasGuts() || !IsShared(guts())) return;
  IVarDataGuts* copy;
  if ((type_ & kArrayBit) != 0) {
    copy = static_cast<IVarDataSequence*>(guts())->Copy();
  } else if (type_ == kDictionary) {
    copy = getIDict()->copy();
  } else {
    // Every other guts is immutable once built and stays shared.
    return;
  }
  IVarDataGuts* old = guts();
  setGutsPointer(copy);
  old->Release();
}

// ---- Arrays and cells -----------------------------------------------------------------------

VarData VarData::GetElement(std::uint32_t i) const {
  if ((type_ & kArrayBit) == 0 || !hasGuts()) return VarData();
  return static_cast<const IVarDataSequence*>(guts())->GetElement(i);
}

VarData VarData::GetElement(std::uint32_t i, std::uint32_t j) const {
  return GetElement(i).GetElement(j);
}

std::uint32_t VarData::GetLength() const noexcept {
  if ((type_ & kArrayBit) == 0 || !hasGuts()) return 0;
  return static_cast<const IVarDataSequence*>(guts())->GetLength();
}

void VarData::SetElement(std::uint32_t i, VarData value) {
  if ((type_ & kArrayBit) == 0 || !hasGuts()) {
    // Deliberate promotion: the former value becomes element 0 (an empty one leaves the array
    // empty).
    VarData array;
    array.adoptGuts(kArray, NewVectorGuts());
    static_cast<IVarDataSequence*>(array.guts())->SetElement(0, *this);
    swap(array);
  }
  copyIfShared();
  static_cast<IVarDataSequence*>(guts())->SetElement(i, std::move(value));
}

void VarData::SetElement(std::uint32_t i, std::uint32_t j, VarData value) {
  VarData row = GetElement(i);
  if (row.GetElement(j).Compare(value) == 0) return;
  // Dropping the outer array's reference first usually leaves the row unshared, so that it is
  // changed in place rather than copied.
  SetElement(i, VarData());
  row.SetElement(j, std::move(value));
  SetElement(i, std::move(row));
}

bool VarData::GetCell(std::uint16_t& row, std::uint16_t& column, VarData& value) const {
  if (getKind() != kCell) return false;
  if (guts() == nullptr) {
    row = 0;
    column = 0;
    value.Clear();
    return true;
  }
  void* itf = nullptr;
  if (guts()->QueryInterface(IID_IVarDataCell, &itf) != kGutsOk) return false;
  IVarDataCell* cell = static_cast<IVarDataCell*>(itf);
  try {
    cell->GetCell(&row, &column, &value);
  } catch (...) {
    cell->Release();
    throw;
  }
  cell->Release();
  return true;
}
