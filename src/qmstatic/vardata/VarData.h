// VarData: the one value type of the library. A 12-byte handle holding a scalar inline or a
// reference to a shared guts object (text, bytes, cell, array, dictionary, time, ...).
#ifndef ZO_KEL_VARDATA_VARDATA_H
#define ZO_KEL_VARDATA_VARDATA_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>

#include "kel/export.h"
#include "kel/osdep/AtomicInt.h"
#include "qmstatic/vardata/IVarDataGuts.h"

namespace zo {
namespace kel {
class AutoBuffer;
using AsciiString = StringBase<char, wchar_t, char>;
using AString = StringBase<char, wchar_t, wchar_t>;
using WString = StringBase<wchar_t, char, wchar_t>;
namespace detail {
/// The vtable pointer of the library's own narrow text guts, so that inline code can tell them
/// from guts of other modules with one comparison; null (every guts counted through its virtual
/// functions) until the library has been initialised, or if their count is not where
/// kOwnTextCountOffset says.
extern ZO_KEL_API const void* const ownTextVtable;
/// Where the reference count of the library's own narrow text guts lies, in bytes from the
/// object's start: after its two interface pointers.
constexpr std::size_t kOwnTextCountOffset = 2 * sizeof(void*);
/// True when guts (not null) are the library's own narrow text: their first word, the vtable
/// pointer every guts object starts with, is ownTextVtable.
inline bool IsOwnTextGuts(const IVarDataGuts* guts) noexcept {
  const void* vtable;
  std::memcpy(&vtable, static_cast<const void*>(guts), sizeof vtable);  // the object's first word
  return vtable == ownTextVtable;
}
}  // namespace detail
}  // namespace kel
}  // namespace zo

/// Thrown by throwIfWrongType and the typed getters: "VarData type error".
class ZO_KEL_API TypeErrorException : public std::exception {
 public:
  /// "VarData type error".
  const char* what() const noexcept override;
};

/// Thrown by a dictionary lookup of a missing key: "VarData key error".
class ZO_KEL_API KeyErrorException : public std::exception {
 public:
  /// "VarData key error".
  const char* what() const noexcept override;
};

/// Thrown by DeserializeWithoutSize on any failure: "VarData deserialization error".
class ZO_KEL_API DeserializationErrorException : public std::exception {
 public:
  /// "VarData deserialization error".
  const char* what() const noexcept override;
};

/// A value of one of the library's kinds.
///
/// The handle is three 32-bit words: the type word (kind code in bits 0-15, numeric qualifier in
/// bits 16-31) and an 8-byte payload. Kinds with bit 0x1000 keep a pointer to a guts object in
/// the payload and own one reference to it; copies share the guts. Arrays and dictionaries are
/// copied before a write when shared (copy on write); every other guts is immutable.
///
/// A handle is not synchronized: one handle is used by one thread at a time. Handles that share
/// guts may live in different threads.
class ZO_KEL_API VarData {
 public:
  /// Kind codes (type word bits 0-15). Held inline: empty, logical, numeric (a double), time (a
  /// nanosecond count), the break and pulse events, void pointer (not owned) and ID64. With guts
  /// (kGutsBit set): narrow text, wide text, raw bytes, cell and dictionary.
  ///@{
  static constexpr std::uint16_t kEmpty = 1;
  static constexpr std::uint16_t kLogical = 2;
  static constexpr std::uint16_t kNumeric = 3;
  static constexpr std::uint16_t kTime = 4;
  static constexpr std::uint16_t kBreak = 8;
  static constexpr std::uint16_t kPulse = 11;
  static constexpr std::uint16_t kVoidPointer = 13;
  static constexpr std::uint16_t kID64 = 17;
  static constexpr std::uint16_t kAnsi = 0x1005;
  static constexpr std::uint16_t kUnicode = 0x1006;
  static constexpr std::uint16_t kRaw = 0x1009;
  static constexpr std::uint16_t kCell = 0x100A;
  static constexpr std::uint16_t kDictionary = 0x100C;
  ///@}
  /// Never produced; discarded as empty when read from a foreign stream.
  static constexpr std::uint16_t kObsolete = 0x100E;
  /// Kind codes with guts: absolute time, relative time, TG variant, packet, and array (which
  /// also has kArrayBit set).
  ///@{
  static constexpr std::uint16_t kAbsTime = 0x100F;
  static constexpr std::uint16_t kRelTime = 0x1010;
  static constexpr std::uint16_t kTGVariant = 0x1012;
  static constexpr std::uint16_t kFlexData = 0x1013;
  static constexpr std::uint16_t kArray = 0x3007;
  ///@}
  /// Kind bit: the payload points to a guts object.
  static constexpr std::uint16_t kGutsBit = 0x1000;
  /// Kind bit: the guts object is an array.
  static constexpr std::uint16_t kArrayBit = 0x2000;

  /// Numeric qualifiers (type word bits 16-31 of a numeric): the native type a number came from.
  /// The number itself is always held as a double.
  ///@{
  static constexpr std::uint16_t kDouble = 0;
  static constexpr std::uint16_t kInt8 = 1;
  static constexpr std::uint16_t kInt16 = 2;
  static constexpr std::uint16_t kInt32 = 3;
  static constexpr std::uint16_t kUInt8 = 4;
  static constexpr std::uint16_t kUInt16 = 5;
  static constexpr std::uint16_t kUInt32 = 6;
  static constexpr std::uint16_t kFloat = 7;
  ///@}
  /// An unsigned 32-bit set of bits, held as a double.
  static constexpr std::uint16_t kBitArray = 8;

  class const_iterator;

  // ---- Construction -------------------------------------------------------------------------
  /// Empty (kind 1).
  VarData() noexcept : type_(kEmpty), payload_{0, 0} {}
  /// Copies the words and takes a reference.
  VarData(const VarData& other) noexcept : type_(other.type_) {
    // The payload is copied as the one 8-byte word that guts() reads back: a copy written as
    // two 4-byte stores and read at once as one word stalls the processor's store forwarding.
    std::memcpy(payload_, other.payload_, sizeof payload_);
    AddRef();
  }
  /// Takes the other's value; the other becomes empty.
  VarData(VarData&& other) noexcept
      : type_(other.type_), payload_{other.payload_[0], other.payload_[1]} {
    other.type_ = kEmpty;
    other.payload_[0] = other.payload_[1] = 0;
  }
  /// Drops the guts reference, if any.
  ~VarData() {
    // The pointer dies with the handle, so unlike Release it is not nulled first.
    if (hasGuts()) DropReference(guts());
  }

  /// Logical.
  VarData(bool value) noexcept;  // NOLINT(google-explicit-constructor)
  /// Numeric, qualifier 0.
  VarData(int value) noexcept;  // NOLINT(google-explicit-constructor)
  /// Numeric, qualifier 0.
  VarData(double value) noexcept;  // NOLINT(google-explicit-constructor)
  /// Time (kind 4): a nanosecond count.
  VarData(long long nanoseconds) noexcept;  // NOLINT(google-explicit-constructor)
  /// ANSI string; a null or empty text gives the empty string (null guts).
  VarData(const char* text);  // NOLINT(google-explicit-constructor)
  /// Unicode string; a null or empty text gives the empty string (null guts).
  VarData(const wchar_t* text);  // NOLINT(google-explicit-constructor)
  /// ANSI string of the string's full length (embedded NULs kept); null guts when empty.
  ///@{
  VarData(const zo::kel::AString& text);      // NOLINT(google-explicit-constructor)
  VarData(const zo::kel::AsciiString& text);  // NOLINT(google-explicit-constructor)
  ///@}
  /// Unicode string of the string's full length; null guts when empty.
  VarData(const zo::kel::WString& text);  // NOLINT(google-explicit-constructor)
  /// Raw bytes (a copy); null guts when bytes is null or count is 0.
  VarData(const unsigned char* bytes, std::uint32_t count);
  /// Cell; null guts when row and column are 0 and the value is empty.
  VarData(std::uint16_t row, std::uint16_t column, const VarData& value);
  /// Absolute time (kind 0x100F).
  VarData(const zo::kel::AbsTime& time);  // NOLINT(google-explicit-constructor)
  /// Relative time (kind 0x1010).
  VarData(const zo::kel::RelTime& time);  // NOLINT(google-explicit-constructor)
  /// Packet (kind 0x1013) holding the packet, its bytes shared (kel/fd/FlexData.h).
  VarData(const zo::kel::FlexData& packet);  // NOLINT(google-explicit-constructor)

  /// Pulse event (kind 11).
  static VarData pulse() noexcept;
  /// Break event (kind 8); the name is spelt so on purpose (`break` is a keyword).
  static VarData brake() noexcept;
  /// Numeric with qualifier 8 holding the bits as a double.
  static VarData bitArray(std::uint32_t bits) noexcept;
  /// Numeric with the given qualifier.
  static VarData num(double value, std::uint16_t qualifier) noexcept;
  /// ANSI string of exactly length characters; null guts when text is null or length is 0.
  static VarData ansi(const char* text, std::uint32_t length);
  /// Unicode string of exactly length characters; null guts when text is null or length is 0.
  static VarData unicode(const wchar_t* text, std::uint32_t length);
  /// A new, empty dictionary.
  static VarData dict();
  /// A TG variant (kind 0x1012) holding copies of the descriptor words and data bytes.
  static VarData tgvar(const unsigned short* words, std::uint32_t wordCount,
                       const unsigned char* data, std::uint32_t byteCount);
  /// The same from the ranges [wordsBegin, wordsEnd) and [dataBegin, dataEnd).
  static VarData tgvar(const unsigned short* wordsBegin, const unsigned short* wordsEnd,
                       const unsigned char* dataBegin, const unsigned char* dataEnd);
  /// Packet (kind 0x1013) from the bytes of one complete packet; SyntaxError when they are not.
  static VarData flexData(const unsigned char* begin, const unsigned char* end);

  // ---- Assignment ---------------------------------------------------------------------------
  /// Copies the other value. Safe when the other value is owned by this handle's own guts (an
  /// element of this dictionary or array): it is kept alive until the copy is complete.
  VarData& operator=(const VarData& other) noexcept;
  /// Takes the other's value; the other becomes empty. Safe in the same way as copy assignment.
  VarData& operator=(VarData&& other) noexcept;
  /// The same as copy assignment.
  VarData& assign(const VarData& other) noexcept { return *this = other; }
  /// Releases the old value; then a logical, or a numeric with qualifier 0.
  ///@{
  VarData& operator=(bool value) noexcept;
  VarData& operator=(int value) noexcept;
  VarData& operator=(double value) noexcept;
  ///@}
  /// Time (kind 4).
  VarData& operator=(long long nanoseconds) noexcept;
  /// ANSI or Unicode string, made as the constructor makes it before the old value is released:
  /// on failure (std::bad_alloc) the value is unchanged.
  ///@{
  VarData& operator=(const char* text);
  VarData& operator=(const wchar_t* text);
  ///@}
  /// Raw bytes; the new guts is made before the old value is released.
  void SetRaw(const unsigned char* bytes, std::uint32_t count);
  /// ID64 (kind 17).
  void setID64(unsigned long long id) noexcept;
  /// Void pointer (kind 13), not owned. On a handle that already holds one only the pointer
  /// changes.
  void setVoidPointer(void* pointer) noexcept;
  /// Numeric with qualifier 8.
  void setBitArray32(std::uint32_t bits) noexcept;
  /// Releases the old value; the handle becomes a pulse event (kind 11).
  void Pulse() noexcept;
  /// Releases the old value; the handle becomes a break event (kind 8).
  void Break() noexcept;
  /// Releases the guts reference (if any); the handle becomes empty.
  void Clear() noexcept {
    Release();
    type_ = kEmpty;
    payload_[0] = payload_[1] = 0;
  }
  /// Exchanges the three words; no reference changes.
  void swap(VarData& other) noexcept {
    std::swap(type_, other.type_);
    std::swap(payload_[0], other.payload_[0]);
    std::swap(payload_[1], other.payload_[1]);
  }

  // ---- Queries ------------------------------------------------------------------------------
  /// The whole type word: kind code and qualifier.
  std::uint32_t getTypeWord() const noexcept { return type_; }
  /// The kind code (type word bits 0-15).
  std::uint16_t getKind() const noexcept { return static_cast<std::uint16_t>(type_); }
  /// The numeric qualifier (type word bits 16-31).
  std::uint16_t getQualifier() const noexcept { return static_cast<std::uint16_t>(type_ >> 16); }
  /// True when the kind is empty (1).
  bool IsEmpty() const noexcept { return getKind() == kEmpty; }
  /// True when the kind is a pulse event (11).
  bool IsPulse() const noexcept { return getKind() == kPulse; }
  /// The logical, or the number whatever its qualifier. Each Get returns false and leaves the
  /// output untouched unless the kind matches.
  ///@{
  bool GetLogical(bool& value) const noexcept;
  bool GetNumeric(double& value) const noexcept;
  ///@}
  /// The inline time count (type word exactly 4), unchanged.
  bool GetTime(long long& nanoseconds) const noexcept;
  /// The same bits as GetTime.
  bool GetFILETIME(unsigned long long& value) const noexcept;
  /// The identifier of an ID64 (kind 17).
  bool getID64(unsigned long long& id) const noexcept;
  /// Throws TypeErrorException unless the kind is 13.
  void* getVoidPointer() const;
  /// Throws TypeErrorException unless the kind code equals `kind`.
  void throwIfWrongType(std::uint32_t kind) const;
  /// Flips a logical; every other kind is left unchanged.
  void Not() noexcept;

  /// The text of an ANSI string, or of the value converted to an ANSI string.
  zo::kel::AString getAnsiString() const;
  /// The text of a Unicode string, or of the value converted to a Unicode string.
  zo::kel::WString getUnicodeString() const;

  /// The guts of a dictionary, a time, a TG variant, a packet, a narrow text and a wide text
  /// (null when the value holds none). No type check and no new reference: callers test the kind
  /// first, and the pointer is valid while the value holds the guts.
  ///@{
  IVarDataDictionary* getIDict() const noexcept { return static_cast<IVarDataDictionary*>(guts()); }
  IVarDataSSTimeValue* getISSTimeValue() const noexcept {
    return static_cast<IVarDataSSTimeValue*>(guts());
  }
  IVarDataTGVariant* getITGVariant() const noexcept {
    return static_cast<IVarDataTGVariant*>(guts());
  }
  IVarDataFlexData* getIFlexData() const noexcept { return static_cast<IVarDataFlexData*>(guts()); }
  IVarDataAnsi* getIAnsi() const noexcept { return static_cast<IVarDataAnsi*>(guts()); }
  IVarDataUnicode* getIUnicode() const noexcept { return static_cast<IVarDataUnicode*>(guts()); }
  ///@}
  /// Hands out the descriptor words and data bytes of a TG variant (no copy; valid while the
  /// value lives unchanged). Throws TypeErrorException unless the kind is 0x1012.
  void getTGVariant(const unsigned short*& words, std::uint32_t& wordCount,
                    const unsigned char*& data, std::uint32_t& byteCount) const;
  /// The packet of a packet value (empty for null guts); TypeErrorException for other kinds.
  zo::kel::FlexData getFlexData() const;
  /// The guts pointer of a guts kind (may be null), with no new reference.
  IVarDataGuts* getGuts() const noexcept { return (type_ & kGutsBit) != 0 ? guts() : nullptr; }

  // ---- Bit arrays ---------------------------------------------------------------------------
  // A bit array is read by clamping its double: NaN and values >= 4294967295 give 0xFFFFFFFF,
  // values <= 0 give 0, others are floored (3.9 gives 3).

  /// False unless the kind is numeric with qualifier 8.
  bool getBitArray32(std::uint32_t& bits) const noexcept;
  /// The bits of the stored double, with no check of the kind.
  std::uint32_t getBitArray32Fast() const noexcept;
  /// The bits of any value: a copy is converted to numeric when it is not numeric.
  std::uint32_t getBitArrayUint32WithCoercion() const;
  /// Or, and, exclusive or and complement of the operands' bits as getBitArrayUint32WithCoercion
  /// reads them; the result is a bit array (numeric, qualifier 8).
  ///@{
  VarData operator|(const VarData& other) const;
  VarData operator&(const VarData& other) const;
  VarData operator^(const VarData& other) const;
  VarData operator~() const;
  ///@}
  /// The same, with the result stored in this handle.
  ///@{
  VarData& operator|=(const VarData& other);
  VarData& operator&=(const VarData& other);
  VarData& operator^=(const VarData& other);
  ///@}

  // ---- References and copy on write ---------------------------------------------------------
  /// Adds a reference to the guts, if there are guts.
  void AddRef() const noexcept {
    if (!hasGuts()) return;
    if (zo::kel::osdep::AtomicInt* count = OwnTextCount(guts())) {
      count->increment();
    } else {
      guts()->AddRef();
    }
  }
  /// Drops the guts reference, if any, and nulls the pointer (the kind stays).
  void Release() noexcept {
    // Inline, as AddRef is: every copy is destroyed again, so this is half of the cost of one.
    if (hasGuts()) {
      IVarDataGuts* old = guts();
      setGutsPointer(nullptr);
      DropReference(old);
    }
  }
  /// Gives an array or dictionary its own guts when they are shared.
  void unshare();
  /// The same as unshare. A failed copy (std::bad_alloc) leaves the handle as it was.
  void copyIfShared();

  // ---- Arrays and cells ---------------------------------------------------------------------
  /// A copy of element i of an array; an empty value past the end or for any other kind.
  VarData GetElement(std::uint32_t i) const;
  /// Element j of row i of a two-dimensional array.
  VarData GetElement(std::uint32_t i, std::uint32_t j) const;
  /// Stores element i. A value that is not an array first becomes an array whose element 0 is
  /// the former value (deliberately: a scalar that receives an element is promoted).
  void SetElement(std::uint32_t i, VarData value);
  /// Stores element j of row i; an equal value is never written, so a shared array stays shared.
  void SetElement(std::uint32_t i, std::uint32_t j, VarData value);
  /// The number of elements of an array; 0 for any other kind.
  std::uint32_t GetLength() const noexcept;
  /// False (outputs untouched) unless the kind is a cell.
  bool GetCell(std::uint16_t& row, std::uint16_t& column, VarData& value) const;

  // ---- Dictionaries -------------------------------------------------------------------------
  // Each throws TypeErrorException on a value that is not a dictionary; the writing ones copy a
  // shared dictionary first.

  /// Stores a copy of value under key, replacing the value of an equal key.
  void setValue(const VarData& key, const VarData& value);
  /// Throws KeyErrorException for a missing key.
  VarData getValue(const VarData& key) const;
  /// Inserts a missing key with an empty value.
  VarData& operator[](const VarData& key);
  /// Throws KeyErrorException for a missing key.
  VarData operator[](const VarData& key) const;
  // Text keys: without these, d["key"] would be ambiguous with the built-in subscript of the
  // text by the handle's number.
  /// The same with a text key: the non-const forms insert a missing key with an empty value,
  /// the const forms throw KeyErrorException for it.
  ///@{
  VarData& operator[](const char* key) { return (*this)[VarData(key)]; }
  VarData operator[](const char* key) const { return (*this)[VarData(key)]; }
  VarData& operator[](const wchar_t* key) { return (*this)[VarData(key)]; }
  VarData operator[](const wchar_t* key) const { return (*this)[VarData(key)]; }
  ///@}
  /// An iterator at key's pair, or one equal to end() when the key is missing.
  const_iterator find(const VarData& key) const;
  /// Iterators at the first pair and past the last pair, in key order. An iterator keeps the
  /// pairs it walks alive: a write through this handle during the walk gives the handle a new
  /// dictionary and the walk goes on over the old pairs; every past-the-last iterator is equal.
  ///@{
  const_iterator begin() const;
  const_iterator end() const;
  ///@}
  /// A missing key is not an error.
  void erase(const VarData& key);
  /// Erases in place, deliberately without copy on write: every handle sharing the dictionary
  /// sees the change. Use it only on dictionaries you alone hold or deliberately share.
  void eraseWithoutCopyOnWrite(const VarData& key);
  /// True when the dictionary has a pair with the key.
  bool hasKey(const VarData& key) const;
  /// The number of pairs.
  std::uint32_t size() const;

  // ---- Conversion and comparison ------------------------------------------------------------
  /// Negative, zero or positive: by kind code across kinds, by each kind's own order within one.
  std::int32_t Compare(const VarData& other) const;
  /// The value's truth and number. Truth: a logical as it is; a number unless 0 (NaN is true);
  /// a time, void pointer or ID64 unless all its bits are 0. Number: 1 or 0 for a logical; a time
  /// in days; an ID64 as a signed count. Guts kinds answer through their guts (false and 0
  /// without guts); every other kind is false and 0.
  ///@{
  operator bool() const;    // NOLINT(google-explicit-constructor)
  operator double() const;  // NOLINT(google-explicit-constructor)
  ///@}
  /// operator double truncated toward zero; out of range gives the most negative int.
  operator int() const;  // NOLINT(google-explicit-constructor)
  /// operator double truncated to 16 bits, low 8 bits kept.
  operator char() const;  // NOLINT(google-explicit-constructor)
  /// operator double truncated toward zero and clamped to 0 .. 4294967295 (NaN gives 0).
  operator unsigned int() const;  // NOLINT(google-explicit-constructor)
  /// The same 32-bit value as operator unsigned int, on every platform.
  operator unsigned long() const;  // NOLINT(google-explicit-constructor)
  /// Changes the value in place to the given kind; never throws for a kind pair (allocation
  /// failures propagate, leaving the value unchanged). To and from the TG variant kind the
  /// value goes through the TG variant codec (qmstatic/tgvariant/TGVariant.h) with dictionaries
  /// as variants (bry::kDictionaryAsVariant); a value the codec cannot flatten becomes the empty
  /// TG variant value, one it cannot read back an empty value, and a TG variant converted to a
  /// TG variant stays as it is.
  void Convert_(std::uint16_t kind);

  // ---- Time values --------------------------------------------------------------------------
  /// Absolute time (kind 0x100F) or relative time (kind 0x1010). The new guts are made before the
  /// old value is released: on failure (std::bad_alloc) the value is unchanged.
  ///@{
  void setAbsTime(const zo::kel::AbsTime& time);
  void setRelTime(const zo::kel::RelTime& time);
  ///@}
  /// Stores `type` as the type word with a new time-value guts; does not release the old value
  /// (callers clear first).
  void setISSTimeValue(std::uint32_t type, const nZOSS100::tSSTimeValue& value);
  /// False (argument untouched) unless the type word is exactly 0x100F.
  bool getAbsTime(zo::kel::AbsTime& time) const;
  /// False (argument untouched) unless the type word is exactly 0x1010.
  bool getRelTime(zo::kel::RelTime& time) const;

  // ---- Serialized form ----------------------------------------------------------------------
  // A serialized value is its 32-bit type word followed by a payload chosen by the kind; arrays,
  // dictionaries and cells nest further values. `compact` chooses the compact form (no payload
  // for empty and event kinds, 4 bytes for a void pointer) over the full form (their 8-byte
  // slot). All integers are little-endian. Sizes saturate at 0xFFFFFFFF, which no buffer holds.

  /// Bytes of the payload.
  std::uint32_t valueSerializationSizeImpl(bool compact) const;
  /// Bytes of the payload + 8: room for the type word and a size prefix.
  std::uint32_t serializationSizeImpl(bool compact) const;
  /// Writes type word and payload at cursor and advances it. BufferOverflow, with nothing
  /// written, when they do not fit before limit. A kind the form does not know is written as an
  /// empty value.
  void serializeImpl(unsigned char*& cursor, const unsigned char* limit, bool compact) const;
  /// Reads one value into this handle and advances cursor past it. On failure
  /// (DeserializationError for a short stream, an unknown kind or nesting deeper than
  /// zo::kel::kMaxNestingDepth; std::bad_alloc) the handle and the cursor are unchanged.
  void deserializeImpl(const unsigned char*& cursor, const unsigned char* limit, bool compact);
  /// Appends type word and payload to the buffer; on failure the buffer keeps its old length.
  void SerializeWithoutSize(zo::kel::AutoBuffer& buffer, bool compact) const;
  /// Reads one value from [data, data + length); `consumed` receives the bytes used. Any failure
  /// of the stream sets consumed to 0 and throws DeserializationErrorException (std::bad_alloc
  /// propagates as it is, also with consumed 0).
  static VarData DeserializeWithoutSize(const unsigned char* data, std::uint32_t length,
                                        std::uint32_t& consumed, bool compact);
  /// Writes the 32-bit prefix (size - 4) and then the value; `size` is serializationSizeImpl.
  /// BufferOverflow, with nothing written, when size bytes do not fit.
  void serializeWithSizeImpl(unsigned char*& cursor, const unsigned char* limit, std::uint32_t size,
                             bool compact) const;
  /// Appends the size-prefixed compact form; on failure the buffer keeps its old length.
  void SerializeWithSize(zo::kel::AutoBuffer& buffer) const;
  /// Reads a size-prefixed value and moves the cursor past the whole record, whatever the value
  /// itself used, so that a longer record from a later writer is skipped whole. On failure the
  /// handle and the cursor are unchanged.
  void deserializeWithSizeImpl(const unsigned char*& cursor, const unsigned char* limit,
                               bool compact);
  /// Returns the size-prefixed compact value in the next `length` bytes, tolerating damage: when
  /// the record cannot be read the library's error is swallowed, the cursor skips the record as
  /// far as its prefix says (never past cursor + length; not at all when fewer than 4 bytes
  /// remain) and an empty value is returned. std::bad_alloc propagates, cursor unchanged.
  static VarData DeserializeWithSize(const unsigned char*& cursor, std::uint32_t length);

  /// Inline access to the payload, for the library's own codecs.
  std::uint64_t getPayloadBits() const noexcept {
    std::uint64_t bits;
    std::memcpy(&bits, payload_, sizeof bits);
    return bits;
  }
  /// Sets the whole type word and payload of a value without guts (the handle must hold none).
  void setScalarWords(std::uint32_t type, std::uint64_t payload) noexcept {
    type_ = type;
    std::memcpy(payload_, &payload, sizeof payload);
  }
  /// Tag of the constructor from raw words.
  struct ScalarWords {};
  /// A value of a kind without guts made from its type word and payload, for the library's own
  /// codecs.
  VarData(ScalarWords, std::uint32_t type, std::uint64_t payload) noexcept : type_(type) {
    std::memcpy(payload_, &payload, sizeof payload);
  }
  /// Takes over a guts object with its reference (the handle must hold no guts). The guts may
  /// come from another module when they implement the interface of the kind; arrays and
  /// dictionaries must be the library's own (NewVectorGuts, NewVarDataDictionary), as the
  /// library writes and reads them in place.
  void adoptGuts(std::uint32_t type, IVarDataGuts* guts) noexcept {
    type_ = type;
    setGutsPointer(guts);
  }

 private:
  IVarDataGuts* guts() const noexcept {
    IVarDataGuts* p;
    std::memcpy(&p, payload_, sizeof p);
    return p;
  }
  void setGutsPointer(IVarDataGuts* p) noexcept {
    payload_[0] = payload_[1] = 0;
    std::memcpy(payload_, &p, sizeof p);
  }
  double number() const noexcept {
    double d;
    std::memcpy(&d, payload_, sizeof d);
    return d;
  }
  void setNumber(std::uint32_t type, double d) noexcept {
    type_ = type;
    std::memcpy(payload_, &d, sizeof d);
  }
  bool hasGuts() const noexcept { return (type_ & kGutsBit) != 0 && guts() != nullptr; }
  // The count of the library's own narrow text guts, the commonest guts of all, so that a copy
  // of a text changes it without a call; null for every other guts, which count through their
  // virtual AddRef and Release. The guts are recognised by their vtable pointer, the first word
  // of every guts object, so a foreign object is never read past it; the count then lies after
  // the object's two interface pointers.
  static zo::kel::osdep::AtomicInt* OwnTextCount(IVarDataGuts* guts) noexcept {
    if (!zo::kel::detail::IsOwnTextGuts(guts)) return nullptr;
    return reinterpret_cast<zo::kel::osdep::AtomicInt*>(reinterpret_cast<char*>(guts) +
                                                        zo::kel::detail::kOwnTextCountOffset);
  }
  // Drops one reference to guts: inline for the library's own text unless it is the last one,
  // which the guts' Release ends.
  static void DropReference(IVarDataGuts* guts) noexcept {
    zo::kel::osdep::AtomicInt* count = OwnTextCount(guts);
    if (count == nullptr || !count->decrementUnlessLast()) guts->Release();
  }
  // Release's former out-of-line half, kept for programs built against earlier headers.
  void releaseGuts() noexcept;
  IVarDataDictionary* writableDict();
  const IVarDataDictionary* readableDict() const;
  void convertTo(std::uint16_t target);

  std::uint32_t type_;
  // Accessed through memcpy so that the handle needs only 4-byte alignment: 12 bytes on i386
  // and on x86-64 alike.
  std::uint32_t payload_[2];
};

static_assert(sizeof(VarData) == 12, "a VarData is three 32-bit words on every platform");

/// Equality and order by VarData::Compare.
inline bool operator==(const VarData& a, const VarData& b) { return a.Compare(b) == 0; }
inline bool operator!=(const VarData& a, const VarData& b) { return a.Compare(b) != 0; }
inline bool operator<(const VarData& a, const VarData& b) { return a.Compare(b) < 0; }

/// True when guts has more than one reference: read from the count of the library's own array
/// and dictionary guts, asked through AddRef and Release of any other.
ZO_KEL_API bool IsShared(IVarDataGuts* guts);

/// The text of a value as the dictionary text form writes it: strings between double quotes
/// (no escaping), every other value converted to a Unicode string.
ZO_KEL_API zo::kel::WString PrintValue(const VarData& value);

/// A position in a dictionary. Holds one iterator reference; copying copies the position.
/// The iterator keeps the dictionary it walks alive.
class ZO_KEL_API VarData::const_iterator {
 public:
  /// The pair an iterator stands at: key and value.
  using value_type = std::pair<const VarData, VarData>;
  /// The pair's reference and pointer types.
  ///@{
  using reference = const value_type&;
  using pointer = const value_type*;
  ///@}

  /// A singular iterator: it equals only another singular iterator and may not be used otherwise.
  const_iterator() noexcept : it_(nullptr) {}
  /// Adopts the iterator's reference.
  explicit const_iterator(IVarDataIterator* it) noexcept : it_(it) {}
  /// A new iterator at the other's position (singular when the other is).
  const_iterator(const const_iterator& other);
  /// Takes the other's iterator; the other becomes singular.
  const_iterator(const_iterator&& other) noexcept : it_(other.it_) { other.it_ = nullptr; }
  /// Moves to the other's position with a new iterator, then releases the old one; on failure
  /// the iterator is unchanged.
  const_iterator& operator=(const const_iterator& other);
  /// Releases the old iterator and takes the other's; the other becomes singular.
  const_iterator& operator=(const_iterator&& other) noexcept;
  ~const_iterator();

  /// The current pair's key and value (the iterator must stand at a pair).
  ///@{
  const VarData& key() const { return it_->key(); }
  const VarData& value() const { return it_->value(); }
  ///@}
  /// The current pair; TypeErrorException when the dictionary's iterator is not the library's
  /// own (key() and value() serve every iterator).
  reference operator*() const;
  /// The current pair, as operator* gives it.
  pointer operator->() const { return &**this; }
  /// Moves to the next pair (the iterator must stand at a pair); the postfix form returns the old
  /// position.
  ///@{
  const_iterator& operator++() {
    it_->increment();
    return *this;
  }
  const_iterator operator++(int) {
    const_iterator old(*this);
    it_->increment();
    return old;
  }
  ///@}
  /// Moves to the previous pair (the iterator must stand after the first pair); the postfix form
  /// returns the old position.
  ///@{
  const_iterator& operator--() {
    it_->decrement();
    return *this;
  }
  const_iterator operator--(int) {
    const_iterator old(*this);
    it_->decrement();
    return old;
  }
  ///@}
  /// Whether both stand at the same position, as IVarDataIterator::compare tells; singular
  /// iterators equal only each other.
  ///@{
  bool operator==(const const_iterator& other) const;
  bool operator!=(const const_iterator& other) const { return !(*this == other); }
  ///@}

 private:
  IVarDataIterator* it_;
};

#endif  // ZO_KEL_VARDATA_VARDATA_H
