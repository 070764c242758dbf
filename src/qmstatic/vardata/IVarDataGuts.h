// The reference-counted interfaces of every heap-held value of a VarData, and the exported
// factories that make the simple guts objects.
//
// Guts follow component-object rules: QueryInterface answers 0 and stores the interface with a
// new reference, or kGutsNoInterface and stores null; every interface handed out carries a
// reference that the receiver releases; factories return objects with a count of 1.
//
// These interfaces are a binary contract: guts objects cross shared-library boundaries, so a
// plug-in may hand the library guts of its own making and the other way round. Every interface is
// pure (no data) and its virtual functions are declared in their slot order; the destructor pair
// (complete, deleting) of each concrete guts interface comes after its own operations, so the
// common bases declare protected non-virtual destructors. The library reaches a guts object only
// through these virtual functions; the non-virtual helpers declared here are built on them (or on
// a checked downcast with a fallback through them) and take no vtable slot. Each guts object
// begins with its interface pointer (narrow text: two pointers, the IAnsiGuts one second), then
// its reference count, then its fields.
#ifndef ZO_KEL_VARDATA_IVARDATAGUTS_H
#define ZO_KEL_VARDATA_IVARDATAGUTS_H

#include <cstdint>
#include <utility>

#include "kel/export.h"
#include "qmstatic/vardata/Guid.h"

class VarData;
class IVarDataIterator;
namespace zo {
namespace kel {
template <class C, class OtherC, class WideC>
class StringBase;
class FlexData;
class AbsTime;
class RelTime;
}  // namespace kel
}  // namespace zo
namespace nZOSS100 {
class tSSTimeValue;
}  // namespace nZOSS100

/// QueryInterface's answer when the object does not implement the identifier.
constexpr std::int32_t kGutsNoInterface = static_cast<std::int32_t>(0x80004002u);
/// QueryInterface's answer on success.
constexpr std::int32_t kGutsOk = 0;

/// Identity and lifetime of every guts interface.
class ZO_KEL_API IUnknown {
 public:
  /// Stores the interface for iid with a new reference and returns kGutsOk; otherwise stores
  /// null and returns kGutsNoInterface without touching the count.
  virtual std::int32_t QueryInterface(const GUID& iid, void** out) = 0;
  /// Adds a reference; returns the new count.
  virtual std::int32_t AddRef() = 0;
  /// Drops a reference, destroying the object when none is left; returns the new count.
  virtual std::int32_t Release() = 0;

 protected:
  // Objects destroy themselves in Release; nobody deletes through an interface, and a virtual
  // destructor here would take slots before the guts operations.
  ~IUnknown() = default;
};

/// The common interface of every guts object.
class ZO_KEL_API IVarDataGuts : public IUnknown {
 public:
  /// The value's truth.
  virtual operator bool() const = 0;
  /// The value's number.
  virtual operator double() const = 0;
  /// Negative, zero or positive. `other` is always an object of the same class: values are
  /// compared by their guts only when their kinds are equal.
  virtual std::int32_t Compare(const IVarDataGuts* other) const = 0;

 protected:
  ~IVarDataGuts() = default;
};

/// Narrow text (IID_IVarDataAnsi).
class ZO_KEL_API IVarDataAnsi : public IVarDataGuts {
 public:
  /// The zero-terminated text; may contain embedded NULs before GetLength().
  virtual const char* GetData() const = 0;
  /// The number of characters.
  virtual std::uint32_t GetLength() const = 0;

 protected:
  virtual ~IVarDataAnsi() = default;
};

/// The text operations of narrow-text guts (IID_IAnsiGuts): the second interface of the same
/// object, one pointer after its IVarDataAnsi interface. It has no lifetime operations of its
/// own; its AddRef and Release go to the owning guts. Each text operation returns a new object
/// with a count of 1, owned by the caller.
class ZO_KEL_API IAnsiGuts {
 public:
  /// Case-insensitive order of the two texts.
  virtual std::int32_t Compare(const IAnsiGuts* other) const = 0;
  /// Exact (case-sensitive) order of the two texts.
  virtual std::int32_t ExactCompare(const IAnsiGuts* other) const = 0;
  /// Case-insensitive order of this text and a zero-terminated text (null reads as empty).
  virtual std::int32_t Compare(const char* other) const = 0;
  /// Exact order of this text and a zero-terminated text (null reads as empty).
  virtual std::int32_t ExactCompare(const char* other) const = 0;
  /// A copy with each letter in lower case (std::tolower); other characters unchanged.
  virtual IAnsiGuts* ToLower() const = 0;
  /// A copy with each letter in upper case (std::toupper); other characters unchanged.
  virtual IAnsiGuts* ToUpper() const = 0;
  /// This text followed by the other; std::bad_alloc when the sum exceeds 32 bits.
  virtual IAnsiGuts* Concat(const IAnsiGuts* other) const = 0;
  /// This text followed by a zero-terminated text (null reads as empty); std::bad_alloc when the
  /// sum exceeds 32 bits.
  virtual IAnsiGuts* Concat(const char* other) const = 0;
  /// The first n characters (all of them when n exceeds the length).
  virtual IAnsiGuts* Left(std::uint32_t n) const = 0;
  /// The last n characters (all of them when n exceeds the length).
  virtual IAnsiGuts* Right(std::uint32_t n) const = 0;
  /// count characters from start; throws OutOfRange2 when start exceeds the length.
  virtual IAnsiGuts* Mid(std::uint32_t start, std::uint32_t count) const = 0;
  /// Each run of letters capitalised: first letter upper case, the rest lower case.
  virtual IAnsiGuts* Proper() const = 0;

  /// The narrow-text guts this interface belongs to (the same object, as its first interface).
  IVarDataAnsi* owner() noexcept;
  /// The narrow-text guts this interface belongs to.
  const IVarDataAnsi* owner() const noexcept;
  /// Adds a reference to the owning guts; returns the new count.
  std::int32_t AddRef() { return static_cast<IVarDataGuts*>(owner())->AddRef(); }
  /// Drops a reference to the owning guts; returns the new count.
  std::int32_t Release() { return static_cast<IVarDataGuts*>(owner())->Release(); }

 protected:
  ~IAnsiGuts() = default;
};

// The most derived object of a narrow-text guts starts with its IVarDataAnsi interface, and the
// offset to it is in every vtable, so the owner is found without knowing the class.
inline IVarDataAnsi* IAnsiGuts::owner() noexcept {
  return static_cast<IVarDataAnsi*>(dynamic_cast<void*>(this));
}
inline const IVarDataAnsi* IAnsiGuts::owner() const noexcept {
  return static_cast<const IVarDataAnsi*>(dynamic_cast<const void*>(this));
}

/// Wide text (IID_IVarDataUnicode).
class ZO_KEL_API IVarDataUnicode : public IVarDataGuts {
 public:
  /// The zero-terminated text; may contain embedded NULs before GetLength().
  virtual const wchar_t* GetData() const = 0;
  /// The number of characters.
  virtual std::uint32_t GetLength() const = 0;

 protected:
  virtual ~IVarDataUnicode() = default;
};

/// A block of bytes (IID_IVarDataRaw).
class ZO_KEL_API IVarDataRaw : public IVarDataGuts {
 public:
  /// Hands out the bytes (valid while the object lives) and their count.
  virtual void GetData(const unsigned char*& data, std::uint32_t& count) const = 0;

 protected:
  virtual ~IVarDataRaw() = default;
};

/// A table cell: row, column and one value (IID_IVarDataCell).
class ZO_KEL_API IVarDataCell : public IVarDataGuts {
 public:
  /// Writes row and column and assigns the held value to *value.
  virtual void GetCell(std::uint16_t* row, std::uint16_t* column, VarData* value) const = 0;

 protected:
  virtual ~IVarDataCell() = default;
};

/// An array of values (IID_IVarDataSequence).
class ZO_KEL_API IVarDataSequence : public IVarDataGuts {
 public:
  /// A copy of element i, or an empty value when i is not below the length.
  virtual VarData GetElement(std::uint32_t i) const = 0;
  /// Assigns element i; past the end the array grows (filled with empty values), except that an
  /// empty value stored past the end changes nothing.
  virtual void SetElement(std::uint32_t i, VarData value) = 0;
  /// The number of elements.
  virtual std::uint32_t GetLength() const = 0;
  /// A new array (count 1) whose elements are copies of these.
  virtual IVarDataGuts* Copy() const = 0;

 protected:
  virtual ~IVarDataSequence() = default;
};

/// A position in a dictionary. An iterator of the library's dictionaries walks the pairs the
/// dictionary had when it was made (it keeps that body alive), and every iterator past the last
/// pair equals every other one, so a loop that writes the dictionary it walks ends.
class ZO_KEL_API IVarDataIterator {
 public:
  /// The current pair's value.
  virtual const VarData& value() const = 0;
  /// The current pair's key.
  virtual const VarData& key() const = 0;
  /// The current pair's value, writable in place.
  virtual VarData& getValueReference() = 0;
  /// Moves to the next pair (the iterator must stand at a pair).
  virtual void increment() = 0;
  /// Moves to the previous pair (the iterator must stand after the first pair).
  virtual void decrement() = 0;
  /// True when both iterators stand at the same position.
  virtual bool compare(const IVarDataIterator* other) const = 0;
  /// A new iterator (count 1) at the same position.
  virtual IVarDataIterator* copy() const = 0;
  /// Destroys the iterator.
  virtual void Release() = 0;

  /// The current pair, or null when the iterator is not one of the library's own (then only key()
  /// and value() reach the pair).
  const std::pair<const VarData, VarData>* pair() const noexcept;

 protected:
  ~IVarDataIterator() = default;
};

/// A map from values to values in the order of VarData::Compare (IID_IVarDataDictionary).
class ZO_KEL_API IVarDataDictionary : public IVarDataGuts {
 public:
  /// Stores a copy of value under key, replacing the value of an equal key.
  virtual void setValue(const VarData& key, const VarData& value) = 0;
  /// A copy of the key's value; throws KeyErrorException when the key is missing.
  virtual VarData getValue(const VarData& key) const = 0;
  /// The stored value, inserting the key with an empty value when it is missing.
  virtual VarData& getValueReference(const VarData& key) = 0;
  /// New iterators (count 1, released by the caller) at the first pair, past the last pair, and
  /// at key's pair (past the last when the key is missing); `owner` is the handle that holds this
  /// dictionary.
  ///@{
  virtual IVarDataIterator* begin(const VarData& owner) const = 0;
  virtual IVarDataIterator* end(const VarData& owner) const = 0;
  virtual IVarDataIterator* find(const VarData& key, const VarData& owner) const = 0;
  ///@}
  /// Removes the key's pair; a missing key is not an error.
  virtual void erase(const VarData& key) = 0;
  /// True when a pair has the key.
  virtual bool hasKey(const VarData& key) const = 0;
  /// A new dictionary (count 1) with copies of all pairs.
  virtual IVarDataGuts* copy() const = 0;
  /// The text form: {key:value,...} in key order.
  virtual zo::kel::StringBase<wchar_t, char, wchar_t> getString() const = 0;
  /// The number of pairs.
  virtual std::uint32_t size() const = 0;

 protected:
  virtual ~IVarDataDictionary() = default;
};

/// An exact absolute or relative time (IID_IVarDataSSTimeValue). The VarData kind tells which.
class ZO_KEL_API IVarDataSSTimeValue : public IVarDataGuts {
 public:
  /// The held time read as an absolute time, as a relative time, and as the exact value itself;
  /// all three hold the same count of seconds.
  ///@{
  virtual zo::kel::AbsTime getAbsTime() const = 0;
  virtual zo::kel::RelTime getRelTime() const = 0;
  virtual nZOSS100::tSSTimeValue getTimeValue() const = 0;
  ///@}

 protected:
  virtual ~IVarDataSSTimeValue() = default;
};

/// A value in the TG variant form (a flattened pair exchanged with TG programs): type descriptor
/// words and data bytes, kept as they are (IID_IVarDataTGVariant).
class ZO_KEL_API IVarDataTGVariant : public IVarDataGuts {
 public:
  /// Hands out the descriptor words and data bytes (valid while the object lives).
  virtual void get(const unsigned short*& words, std::uint32_t& wordCount,
                   const unsigned char*& data, std::uint32_t& byteCount) const = 0;
  /// Bytes that serialize writes.
  virtual std::uint32_t serializationSize() const = 0;
  /// Writes the descriptor and data vectors at cursor; BufferOverflow (nothing written) when
  /// they do not fit before limit.
  virtual void serialize(unsigned char*& cursor, const unsigned char* limit) const = 0;

  /// The value decoded into the VarData kind it stands for (through get(), so for any TG variant
  /// guts).
  VarData convertToNativeType() const;

 protected:
  virtual ~IVarDataTGVariant() = default;
};

/// A FlexData packet (IID_IVarDataFlexData).
class ZO_KEL_API IVarDataFlexData : public IVarDataGuts {
 public:
  /// Writes the packet byte for byte at cursor; BufferOverflow (nothing written) when it does not
  /// fit before limit.
  virtual void serialize(unsigned char*& cursor, const unsigned char* limit) const = 0;
  /// Bytes that serialize writes: the packet's size.
  virtual std::uint32_t serializationSize() const = 0;
  /// The packet as the VarData kind it stands for.
  virtual VarData convertToNativeType() const = 0;
  /// As convertToNativeType, but a packet with named members becomes a dictionary.
  virtual VarData convertToNativeTypeOrDictionary() const = 0;

  /// The packet (its bytes shared with the guts when they are the library's own; read back from
  /// serialize() otherwise, where a malformed packet raises SyntaxError).
  zo::kel::FlexData getFlexData() const;

 protected:
  virtual ~IVarDataFlexData() = default;
};

// Factories with plain C names (each returns a new object with a count of 1).
/// New narrow-text guts (count 1) with a copy of the zero-terminated text.
ZO_KEL_C_API IVarDataGuts* NewAnsiGuts(const char* text);
/// New narrow-text guts (count 1) with a copy of exactly `length` characters of text (embedded
/// NULs included).
ZO_KEL_C_API IVarDataGuts* NewAnsiGutsLen(const char* text, std::uint32_t length);
/// New wide-text guts (count 1) with a copy of the zero-terminated text.
ZO_KEL_C_API IVarDataGuts* NewUnicodeGuts(const wchar_t* text);
/// New wide-text guts (count 1) with a copy of exactly `length` characters of text.
ZO_KEL_C_API IVarDataGuts* NewUnicodeGutsLen(const wchar_t* text, std::uint32_t length);
/// New byte-block guts (count 1) with a copy of the `count` bytes at data.
ZO_KEL_C_API IVarDataGuts* NewRawGuts(const unsigned char* data, std::uint32_t count);
/// New cell guts (count 1): row, column and a copy of the value (sharing its guts).
ZO_KEL_C_API IVarDataGuts* NewCellGuts(std::uint16_t row, std::uint16_t column,
                                       const VarData& value);
/// New empty array guts (count 1).
ZO_KEL_C_API IVarDataGuts* NewVectorGuts();
/// New empty dictionary guts (count 1).
ZO_KEL_C_API IVarDataGuts* NewVarDataDictionary();
/// New time-value guts (count 1) holding a copy of the exact time value.
ZO_KEL_C_API IVarDataGuts* NewVarDataSSTimeValue(const nZOSS100::tSSTimeValue& value);
/// New TG variant guts (count 1) holding copies of the descriptor words and data bytes.
ZO_KEL_C_API IVarDataGuts* NewVarDataTGVariant(const unsigned short* words, std::uint32_t wordCount,
                                               const unsigned char* data, std::uint32_t byteCount);
/// New TG variant guts (count 1) read from a serialized stream at cursor, which advances past
/// them; the stream's errors propagate with the cursor unchanged.
ZO_KEL_C_API IVarDataGuts* DeserializeVarDataTGVariant(const unsigned char*& cursor,
                                                       const unsigned char* limit);
/// New packet guts (count 1) holding the packet (its bytes shared, see FlexData).
ZO_KEL_C_API IVarDataGuts* NewVarDataFlexData(const zo::kel::FlexData& packet);
/// New packet guts (count 1) holding the packet the value becomes (qmdynamic/VarDataFlexData.h).
ZO_KEL_C_API IVarDataGuts* NewVarDataFlexDataFromVarData(const VarData& value);
/// New packet guts (count 1) read from a serialized stream at cursor, which advances past them:
/// a packet, or 00 00 00 00 for an empty one. A stream that ends inside the packet raises
/// DeserializationError, a malformed packet SyntaxError; the cursor is then unchanged.
ZO_KEL_C_API IVarDataGuts* DeserializeVarDataFlexData(const unsigned char*& cursor,
                                                      const unsigned char* limit);
/// The kind is reserved and not supported: always null.
ZO_KEL_C_API IVarDataGuts* NewVarDataDAQBLOB();
/// Hooks for object-lifetime logging; they do nothing.
ZO_KEL_C_API void DoLogObjectCreate();
ZO_KEL_C_API void DoLogObjectDestroy();

#endif  // ZO_KEL_VARDATA_IVARDATAGUTS_H
