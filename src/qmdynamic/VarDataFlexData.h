// The bridge between VarData values and FlexData packets: packet values (kind 0x1013), the value
// a packet stands for and the packet a value becomes.
#ifndef ZO_KEL_QMDYNAMIC_VARDATAFLEXDATA_H
#define ZO_KEL_QMDYNAMIC_VARDATAFLEXDATA_H

#include "kel/fd/FlexData.h"
#include "qmstatic/vardata/IVarDataGuts.h"
#include "qmstatic/vardata/VarData.h"

/// The attribute that names a cluster member: an AString value. A cluster whose members all
/// carry it becomes a dictionary keyed by those names in convertToNativeTypeOrDictionary, and
/// a dictionary becomes such a cluster in NewVarDataFlexDataFromVarData.
inline constexpr char kFlexDataMemberName[] = "_ZO_NAME";

/// The guts of a packet value (kind 0x1013): one FlexData packet, immutable once made. Made by
/// NewVarDataFlexData, NewVarDataFlexDataFromVarData and DeserializeVarDataFlexData
/// (IVarDataGuts.h) and reached through VarData::getIFlexData(); the class itself stays inside
/// the library.
///
/// - QueryInterface answers IID_IUnknown, IID_IVarDataGuts and IID_IVarDataFlexData.
/// - serializationSize() and serialize() are the packet byte for byte; an empty packet is the
///   four bytes 00 00 00 00.
/// - Compare orders packets by their bytes (FlexData::compare): -1, 0 or 1.
/// - operator bool and operator double are those of convertToNativeType()'s value; a packet
///   that cannot be converted is false and 0.0, deliberately without an error.
///
/// convertToNativeType() gives the value a packet stands for:
/// - I8, I16, I32, UI8, UI16, UI32, F32, F64: a number whose qualifier records the type (1, 2,
///   3, 4, 5, 6, 7, 0); I64 and UI64: a number with qualifier 0, rounded to the nearest double
///   (UI64 as its unsigned value);
/// - Bool: a logical; AString (every 0x09xx code but the nested packet): an ANSI string; UTF16
///   (0x0Axx): a Unicode string; Time: an absolute time; Void and an empty packet: empty;
/// - a one-dimensional array of I8, I16, I32, UI8, UI16, UI32, F32, F64, Bool or AString: an
///   array (0x3007) of those values, with the qualifiers above; an array with other than one
///   dimension throws UnableToConvert (source "VarDataFlexData", line 216), a non-empty one of
///   any other element type UnableToConvert (line 269); an empty one is an empty array;
/// - a cluster: the array of its members' values; a waveform: the array {start time (absolute
///   time), interval in seconds (number), samples (array)}, its empty error cluster and
///   attribute packet left out;
/// - a nested packet: the value of the packet inside;
/// - any other type: UnableToConvert.
/// Attributes are not converted. convertToNativeTypeOrDictionary() is the same, except that a
/// cluster whose members all carry a kFlexDataMemberName attribute becomes a dictionary from
/// those names (ANSI strings) to the members' values, at every level; of members with equal
/// names (names compare ignoring case) the last one is kept.
///
/// NewVarDataFlexDataFromVarData gives the packet a value becomes:
/// - a number: the type of its qualifier (0 F64, 1 I8, 2 I16, 3 I32, 4 UI8, 5 UI16, 6 UI32,
///   7 F32, 8 UI32, any other F64), converted as FlexData::TransformArray converts from F64
///   (truncation toward zero, out-of-range integers as the array transform gives them);
/// - a logical: Bool; an ANSI string: AString; a Unicode string: UTF16; raw bytes: a
///   one-dimensional UI8 array; an absolute time or an inline time (kind 4): Time, the same
///   instant; a relative time: F64 seconds; an ID64: UI64;
/// - an array: a one-dimensional array when all its elements have the kind of element 0 and that
///   kind is logical (Bool), ANSI string (AString) or numeric (the type of element 0's
///   qualifier, 8 as UI32, above 8 Void; the other elements' qualifiers are not looked at);
///   otherwise, and for an empty array, Void;
/// - a dictionary: a cluster of its values' packets in key order, each named by its key's ANSI
///   text with kFlexDataMemberName; an empty one is Void, one of more than 65535 pairs throws
///   UnableToConvert;
/// - a packet: the same packet; a TG variant: the packet of the value it stands for (Void when it
///   cannot be decoded);
/// - every other kind (empty, break, pulse, void pointer, cell): Void.
/// Values nested deeper than zo::kel::kMaxNestingDepth throw UnableToConvert.
class VarDataFlexData;

#endif  // ZO_KEL_QMDYNAMIC_VARDATAFLEXDATA_H
