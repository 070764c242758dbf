// Interface identifiers of the guts objects behind heap-held values.
#ifndef ZO_KEL_VARDATA_GUID_H
#define ZO_KEL_VARDATA_GUID_H

#include <cstdint>
#include <cstring>

#include "kel/export.h"

/// A 16-byte interface identifier in the usual little-endian field layout.
struct GUID {
  /// The first field (32 bits).
  std::uint32_t Data1;
  /// The second and third fields (16 bits each).
  ///@{
  std::uint16_t Data2;
  std::uint16_t Data3;
  ///@}
  /// The last eight bytes, in order.
  std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "a GUID is 16 bytes");

/// Byte-by-byte equality of two identifiers.
inline bool IsEqualGUID(const GUID& a, const GUID& b) noexcept {
  return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

ZO_KEL_API extern const GUID IID_IUnknown;
ZO_KEL_API extern const GUID IID_IVarDataGuts;
ZO_KEL_API extern const GUID IID_IVarDataSequence;
ZO_KEL_API extern const GUID IID_IVarDataAnsi;
ZO_KEL_API extern const GUID IID_IVarDataUnicode;
ZO_KEL_API extern const GUID IID_IVarDataRaw;
ZO_KEL_API extern const GUID IID_IVarDataCell;
ZO_KEL_API extern const GUID IID_IAnsiGuts;
ZO_KEL_API extern const GUID IID_IVarDataSSTimeValue;
ZO_KEL_API extern const GUID IID_IVarDataDictionary;
ZO_KEL_API extern const GUID IID_IVarDataTGVariant;
ZO_KEL_API extern const GUID IID_IVarDataFlexData;

#endif  // ZO_KEL_VARDATA_GUID_H
