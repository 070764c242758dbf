// The zo_kel Python module: values to and from byte images and packets, display text, and the
// library's errors as Python exceptions. Only VarData's public API and the guts interfaces'
// documented operations are used, so the module is independent of the guts classes.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "zo_kel_basics.h"

namespace py = pybind11;

namespace {

// Python objects nest as deeply as the caller builds them; the library's readers refuse more than
// this, so the writer does too, before the C stack runs out.
constexpr std::uint32_t kMaxDepth = zo::kel::kMaxNestingDepth;

// ---- Names of kinds and numeric qualifiers ------------------------------------------------------

struct Name {
  std::uint16_t code;
  const char* name;
};

constexpr Name kKindNames[] = {
    {VarData::kEmpty, "empty"},
    {VarData::kLogical, "logical"},
    {VarData::kNumeric, "numeric"},
    {VarData::kTime, "time"},
    {VarData::kBreak, "break"},
    {VarData::kPulse, "pulse"},
    {VarData::kVoidPointer, "void_pointer"},
    {VarData::kID64, "id64"},
    {VarData::kAnsi, "ansi"},
    {VarData::kUnicode, "unicode"},
    {VarData::kRaw, "raw"},
    {VarData::kCell, "cell"},
    {VarData::kDictionary, "dictionary"},
    {VarData::kAbsTime, "abstime"},
    {VarData::kRelTime, "reltime"},
    {VarData::kTGVariant, "tgvariant"},
    {VarData::kFlexData, "flexdata"},
    {VarData::kArray, "array"},
};

constexpr Name kQualifierNames[] = {
    {VarData::kDouble, "double"}, {VarData::kInt8, "int8"},   {VarData::kInt16, "int16"},
    {VarData::kInt32, "int32"},   {VarData::kUInt8, "uint8"}, {VarData::kUInt16, "uint16"},
    {VarData::kUInt32, "uint32"}, {VarData::kFloat, "float"}, {VarData::kBitArray, "bitarray"},
};

template <std::size_t N>
std::uint16_t CodeOf(const Name (&table)[N], const py::handle& what, const char* role) {
  if (py::isinstance<py::int_>(what)) {
    const long code = what.cast<long>();
    if (code < 0 || code > 0xFFFF) throw py::value_error(std::string("no such ") + role);
    return static_cast<std::uint16_t>(code);
  }
  const std::string name = py::str(what);
  for (const Name& n : table)
    if (name == n.name) return n.code;
  throw py::value_error(std::string("unknown ") + role + " \"" + name + "\"");
}

template <std::size_t N>
py::object NameOf(const Name (&table)[N], std::uint16_t code) {
  for (const Name& n : table)
    if (n.code == code) return py::str(n.name);
  return py::int_(code);
}

// ---- Python to VarData --------------------------------------------------------------------------

// zo_kel.Value, the datetime classes and 1904-01-01 UTC: strong references taken once when the
// module loads and deliberately never dropped, since a static py::object would release its
// reference after the interpreter has finalised.
py::handle g_value_class, g_datetime, g_timedelta, g_epoch;

VarData ToVar(const py::handle& obj, std::uint32_t depth);

VarData TextValue(const std::string& utf8, bool wide) {
  if (!wide) return VarData::ansi(utf8.data(), static_cast<std::uint32_t>(utf8.size()));
  const std::wstring w = py::str(utf8).cast<std::wstring>();
  // A wide text's byte image keeps 16 bits per character: refuse what it would silently cut.
  for (wchar_t c : w)
    if (static_cast<std::uint32_t>(c) > 0xFFFF)
      throw py::value_error("wide text holds characters up to U+FFFF only");
  return VarData::unicode(w.data(), static_cast<std::uint32_t>(w.size()));
}

bool IsAscii(const std::string& s) {
  for (unsigned char c : s)
    if (c > 127) return false;
  return true;
}

// The narrowest integer qualifier that holds `v` exactly: signed first, then unsigned.
VarData IntValue(const py::int_& obj) {
  long long v = 0;
  try {
    v = obj.cast<long long>();
  } catch (const py::cast_error&) {
    throw py::value_error("integer out of the 32-bit range of numbers (use float or id64)");
  }
  static const struct {
    long long lo, hi;
    std::uint16_t q;
  } kRanges[] = {{-128, 127, VarData::kInt8},
                 {0, 255, VarData::kUInt8},
                 {-32768, 32767, VarData::kInt16},
                 {0, 65535, VarData::kUInt16},
                 {INT32_MIN, INT32_MAX, VarData::kInt32},
                 {0, UINT32_MAX, VarData::kUInt32}};
  for (const auto& r : kRanges)
    if (v >= r.lo && v <= r.hi) return VarData::num(static_cast<double>(v), r.q);
  throw py::value_error("integer out of the 32-bit range of numbers (use float or id64)");
}

// Seconds and fraction of a timedelta, exact: whole seconds as an integer, microseconds apart.
std::pair<double, double> SecondsOf(const py::handle& delta) {
  const long long days = delta.attr("days").cast<long long>();
  const long long secs = delta.attr("seconds").cast<long long>();
  const long long micros = delta.attr("microseconds").cast<long long>();
  return {static_cast<double>(days * 86400 + secs), static_cast<double>(micros) / 1e6};
}

VarData FromValue(const py::handle& value, std::uint32_t depth) {
  const std::uint16_t kind = CodeOf(kKindNames, value.attr("kind"), "kind");
  const py::object payload = value.attr("payload");
  const py::object qualifier = value.attr("qualifier");
  switch (kind) {
    case VarData::kEmpty:
      return VarData();
    case VarData::kPulse:
      return VarData::pulse();
    case VarData::kBreak:
      return VarData::brake();
    case VarData::kLogical:
      return VarData(payload.cast<bool>());
    case VarData::kNumeric: {
      const std::uint16_t q =
          qualifier.is_none() ? VarData::kDouble : CodeOf(kQualifierNames, qualifier, "qualifier");
      return VarData::num(payload.cast<double>(), q);
    }
    case VarData::kTime:
      return VarData(payload.cast<long long>());
    case VarData::kID64: {
      VarData v;
      v.setID64(payload.cast<unsigned long long>());
      return v;
    }
    case VarData::kVoidPointer: {
      VarData v;
      v.setVoidPointer(reinterpret_cast<void*>(payload.cast<std::uintptr_t>()));
      return v;
    }
    case VarData::kAnsi: {
      // Narrow text keeps its bytes: a str is taken as Latin-1, bytes as they are.
      const std::string bytes = py::isinstance<py::bytes>(payload)
                                    ? payload.cast<std::string>()
                                    : payload.attr("encode")("latin-1").cast<std::string>();
      return VarData::ansi(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    case VarData::kUnicode:
      return TextValue(payload.cast<std::string>(), true);
    case VarData::kCell: {
      const auto cell = payload.cast<py::tuple>();
      if (cell.size() != 3) throw py::value_error("a cell is (row, column, value)");
      return VarData(cell[0].cast<std::uint16_t>(), cell[1].cast<std::uint16_t>(),
                     ToVar(cell[2], depth + 1));
    }
    case VarData::kAbsTime:
    case VarData::kRelTime: {
      const auto t = payload.cast<py::tuple>();
      if (t.size() != 2) throw py::value_error("a time payload is (seconds, fraction)");
      const double s = t[0].cast<double>(), f = t[1].cast<double>();
      return kind == VarData::kAbsTime ? VarData(zo::kel::AbsTime(s, f))
                                       : VarData(zo::kel::RelTime(s, f));
    }
    case VarData::kTGVariant: {
      const auto pair = payload.cast<py::tuple>();
      if (pair.size() != 2) throw py::value_error("a TG variant is (descriptor words, data)");
      const auto words = pair[0].cast<std::vector<unsigned short>>();
      const std::string data = pair[1].cast<std::string>();
      return VarData::tgvar(words.data(), static_cast<std::uint32_t>(words.size()),
                            reinterpret_cast<const unsigned char*>(data.data()),
                            static_cast<std::uint32_t>(data.size()));
    }
    case VarData::kFlexData: {
      const std::string packet = payload.cast<std::string>();
      const auto* p = reinterpret_cast<const unsigned char*>(packet.data());
      return VarData::flexData(p, p + packet.size());
    }
    default:
      return ToVar(payload, depth);  // raw, array, dictionary: their Python twins
  }
}

// ---- Numeric arrays (array.array, numpy.ndarray) as packet arrays, converted in one pass ----

using zo::kel::fd::FlexType;

struct ArrayType {
  FlexType type;
  char code;          // array.array type code
  const char* dtype;  // numpy dtype name
  py::ssize_t size;
};

constexpr ArrayType kArrayTypes[] = {
    {FlexType::I8, 'b', "int8", 1},     {FlexType::UI8, 'B', "uint8", 1},
    {FlexType::I16, 'h', "int16", 2},   {FlexType::UI16, 'H', "uint16", 2},
    {FlexType::I32, 'i', "int32", 4},   {FlexType::UI32, 'I', "uint32", 4},
    {FlexType::I64, 'q', "int64", 8},   {FlexType::UI64, 'Q', "uint64", 8},
    {FlexType::F32, 'f', "float32", 4}, {FlexType::F64, 'd', "float64", 8},
};

// The packet type of a buffer's elements, from its struct format letter and item size.
const ArrayType& TypeOfBuffer(const py::buffer_info& info) {
  const char letter = info.format.empty() ? '?' : info.format.back();
  const bool isFloat = letter == 'f' || letter == 'd';
  const bool isInteger = std::string("bBhHiIlLqQnN").find(letter) != std::string::npos;
  const bool isUnsigned = letter >= 'A' && letter <= 'Z';
  for (const ArrayType& t : kArrayTypes) {
    const bool tFloat = t.type == FlexType::F32 || t.type == FlexType::F64;
    const bool tUnsigned = t.code >= 'A' && t.code <= 'Z';
    if (t.size == info.itemsize &&
        ((isFloat && tFloat) || (isInteger && !tFloat && tUnsigned == isUnsigned)))
      return t;
  }
  throw py::type_error("no packet array for elements of format \"" + info.format + "\"");
}

VarData NumericArrayValue(const py::handle& obj) {
  const py::buffer_info info = py::reinterpret_borrow<py::buffer>(obj).request();
  const ArrayType& type = TypeOfBuffer(info);
  py::ssize_t stride = info.itemsize;
  for (py::ssize_t d = info.ndim; d-- > 0;) {
    if (info.shape[d] > INT32_MAX) throw py::value_error("array dimension over 2^31 - 1");
    if (info.shape[d] > 1 && info.strides[d] != stride)
      throw py::value_error("array must be C-contiguous");
    stride *= info.shape[d];
  }
  if (info.ndim > 0xFFFF) throw py::value_error("too many array dimensions");
  std::vector<std::int32_t> dims(info.shape.begin(), info.shape.end());
  zo::kel::FlexData packet;
  packet.setScalarArray(type.type, dims.data(), static_cast<std::uint16_t>(dims.size()), type.type,
                        info.ptr);
  return VarData(packet);
}

// A one-type numeric packet array as numpy.ndarray (shaped) when numpy imports, else as a flat
// array.array; the elements are converted in one call, not one Python object each.
py::object NumericArrayObject(const zo::kel::FlexData& packet) {
  const FlexType element = packet.getElementType();
  const ArrayType* type = nullptr;
  for (const ArrayType& t : kArrayTypes)
    if (t.type == element) type = &t;
  if (type == nullptr) return py::none();
  py::object out;
  try {
    py::module_ numpy = py::module_::import("numpy");
    const zo::kel::Vector<std::int32_t> dims = packet.getDims();
    out = numpy.attr("empty")(
        py::tuple(py::cast(std::vector<std::int32_t>(dims.begin(), dims.end()))),
        py::arg("dtype") = type->dtype);
  } catch (const py::error_already_set&) {
    // The packet was checked whole when it was read: its elements' bytes are all there, so the
    // element count times the item size is bounded by the input's size.
    const std::uint64_t count = packet.getElementCount();
    out = py::module_::import("array").attr("array")(std::string(1, type->code));
    out.attr("frombytes")(py::bytes(std::string(count * type->size, '\0')));
  }
  const py::buffer_info info = py::reinterpret_borrow<py::buffer>(out).request(true);
  packet.getScalarArray(element, info.ptr);
  return out;
}

VarData ToVar(const py::handle& obj, std::uint32_t depth) {
  if (depth > kMaxDepth) throw py::value_error("value nested too deeply");
  if (obj.is_none()) return VarData();
  if (py::isinstance(obj, g_value_class)) return FromValue(obj, depth);
  if (py::isinstance<py::bool_>(obj)) return VarData(obj.cast<bool>());
  if (py::isinstance<py::int_>(obj)) return IntValue(obj.cast<py::int_>());
  if (py::isinstance<py::float_>(obj)) return VarData(obj.cast<double>());
  if (py::isinstance<py::str>(obj)) {
    const std::string utf8 = obj.cast<std::string>();
    return TextValue(utf8, !IsAscii(utf8));
  }
  if (py::isinstance<py::bytes>(obj) || py::isinstance<py::bytearray>(obj) ||
      py::isinstance<py::memoryview>(obj)) {
    const std::string bytes =
        py::bytes(py::reinterpret_steal<py::object>(PyBytes_FromObject(obj.ptr())));
    VarData v;
    v.SetRaw(reinterpret_cast<const unsigned char*>(bytes.data()),
             static_cast<std::uint32_t>(bytes.size()));
    return v;
  }
  if (py::isinstance<py::list>(obj) || py::isinstance<py::tuple>(obj)) {
    VarData a;
    a.SetElement(0, VarData());  // an empty array
    std::uint32_t i = 0;
    for (const py::handle& e : obj) a.SetElement(i++, ToVar(e, depth + 1));
    return a;
  }
  if (py::isinstance<py::dict>(obj)) {
    VarData d = VarData::dict();
    for (const auto& kv : obj.cast<py::dict>())
      d.setValue(ToVar(kv.first, depth + 1), ToVar(kv.second, depth + 1));
    return d;
  }
  if (py::isinstance(obj, g_datetime)) {
    if (obj.attr("tzinfo").is_none())
      throw py::value_error("an absolute time needs an aware datetime (tzinfo=timezone.utc)");
    const auto [s, f] = SecondsOf(obj - g_epoch);
    return VarData(zo::kel::AbsTime(s, f));
  }
  if (py::isinstance(obj, g_timedelta)) {
    const auto [s, f] = SecondsOf(obj);
    return VarData(zo::kel::RelTime(s, f));
  }
  if (PyObject_CheckBuffer(obj.ptr())) return NumericArrayValue(obj);
  throw py::type_error(std::string("no zo_kel value for a ") +
                       py::str(py::type::of(obj).attr("__name__")).cast<std::string>());
}

// ---- VarData to Python --------------------------------------------------------------------------

py::object MakeValue(std::uint16_t kind, py::object payload, py::object qualifier = py::none()) {
  return g_value_class(NameOf(kKindNames, kind), std::move(payload), std::move(qualifier));
}

py::object AnsiText(const VarData& v) {
  const zo::kel::AString s = v.getAnsiString();
  const std::string bytes(s.c_str(), s.size());
  // ASCII reads as str; other narrow text keeps its bytes through Latin-1 in a Value.
  if (IsAscii(bytes)) return py::str(bytes);
  return MakeValue(VarData::kAnsi, py::bytes(bytes).attr("decode")("latin-1"));
}

py::object Seconds(const nZOSS100::tSSTimeValue& t) {
  return py::make_tuple(t.getSecondsImpl(), t.getFractionImpl());
}

// A timedelta from whole seconds and a fraction, or nullptr-like none when Python's range ends.
py::object Delta(const nZOSS100::tSSTimeValue& t) {
  long long micros = std::llround(t.getFractionImpl() * 1e6);
  long long secs = t.getSecondsImpl();
  if (micros == 1000000) {
    ++secs;
    micros = 0;
  }
  try {
    return g_timedelta(py::arg("seconds") = secs, py::arg("microseconds") = micros);
  } catch (const py::error_already_set&) {
    return py::none();  // beyond timedelta's range
  }
}

py::object FromVar(const VarData& v) {
  const std::uint16_t kind = v.getKind();
  switch (kind) {
    case VarData::kEmpty:
      return py::none();
    case VarData::kLogical: {
      bool b = false;
      v.GetLogical(b);
      return py::bool_(b);
    }
    case VarData::kNumeric: {
      double d = 0;
      v.GetNumeric(d);
      const std::uint16_t q = v.getQualifier();
      if (q == VarData::kDouble) return py::float_(d);
      const bool integer = q >= VarData::kInt8 && q <= VarData::kUInt32;
      // An integer qualifier on a whole number in range is a Python int; anything else (float,
      // bit array, fractions or NaN under an integer qualifier) keeps its qualifier in a Value.
      if (integer && std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9.007199254740992e15)
        return py::int_(static_cast<long long>(d));
      return MakeValue(kind, py::float_(d), NameOf(kQualifierNames, q));
    }
    case VarData::kTime: {
      long long ns = 0;
      v.GetTime(ns);
      return MakeValue(kind, py::int_(ns));
    }
    case VarData::kBreak:
    case VarData::kPulse:
      return MakeValue(kind, py::none());
    case VarData::kID64: {
      unsigned long long id = 0;
      v.getID64(id);
      return MakeValue(kind, py::int_(id));
    }
    case VarData::kVoidPointer:
      return MakeValue(kind, py::int_(reinterpret_cast<std::uintptr_t>(v.getVoidPointer())));
    case VarData::kAnsi:
      return AnsiText(v);
    case VarData::kUnicode: {
      const zo::kel::WString w = v.getUnicodeString();
      return py::cast(std::wstring(w.c_str(), w.size()));
    }
    case VarData::kRaw: {
      const unsigned char* data = nullptr;
      std::uint32_t count = 0;
      if (auto* raw = static_cast<IVarDataRaw*>(v.getGuts())) raw->GetData(data, count);
      return py::bytes(reinterpret_cast<const char*>(data), count);
    }
    case VarData::kCell: {
      std::uint16_t row = 0, column = 0;
      VarData inner;
      v.GetCell(row, column, inner);
      return MakeValue(kind, py::make_tuple(row, column, FromVar(inner)));
    }
    case VarData::kArray: {
      py::list out;
      for (std::uint32_t i = 0, n = v.GetLength(); i < n; ++i) out.append(FromVar(v.GetElement(i)));
      return std::move(out);
    }
    case VarData::kDictionary: {
      py::dict out;
      for (auto it = v.begin(); it != v.end(); ++it) {
        py::object key = FromVar(it.key());
        if (py::isinstance<py::list>(key)) key = py::tuple(key);  // arrays as keys stay hashable
        out[key] = FromVar(it.value());
      }
      return std::move(out);
    }
    case VarData::kAbsTime: {
      zo::kel::AbsTime t;
      v.getAbsTime(t);
      py::object delta = Delta(t);
      if (!delta.is_none()) {
        try {
          return g_epoch + delta;
        } catch (const py::error_already_set&) {
        }
      }
      return MakeValue(kind, Seconds(t));  // outside datetime's years 1 to 9999
    }
    case VarData::kRelTime: {
      zo::kel::RelTime t;
      v.getRelTime(t);
      py::object delta = Delta(t);
      return delta.is_none() ? MakeValue(kind, Seconds(t)) : delta;
    }
    case VarData::kTGVariant: {
      const unsigned short* words = nullptr;
      const unsigned char* data = nullptr;
      std::uint32_t wordCount = 0, byteCount = 0;
      if (v.getGuts() != nullptr) v.getTGVariant(words, wordCount, data, byteCount);
      return MakeValue(kind,
                       py::make_tuple(std::vector<unsigned short>(words, words + wordCount),
                                      py::bytes(reinterpret_cast<const char*>(data), byteCount)));
    }
    case VarData::kFlexData: {
      const zo::kel::FlexData packet = v.getFlexData();
      return MakeValue(kind,
                       py::bytes(reinterpret_cast<const char*>(packet.data()), packet.size()));
    }
    default:
      return MakeValue(kind, py::none());
  }
}

// ---- Byte images --------------------------------------------------------------------------------

bool IsCompact(const std::string& form) {
  if (form == "compact") return true;
  if (form == "full") return false;
  throw py::value_error("form must be \"compact\" or \"full\", not \"" + form + "\"");
}

py::bytes Dumps(const py::handle& obj, const std::string& form, bool sized) {
  const bool compact = IsCompact(form);
  const VarData v = ToVar(obj, 0);
  zo::kel::AutoBuffer buffer;
  if (!sized) {
    v.SerializeWithoutSize(buffer, compact);
  } else {
    const std::uint32_t size = v.serializationSizeImpl(compact);
    std::string out(size, '\0');
    auto* cursor = reinterpret_cast<unsigned char*>(&out[0]);
    v.serializeWithSizeImpl(cursor, cursor + size, size, compact);
    return py::bytes(out);
  }
  return py::bytes(reinterpret_cast<const char*>(buffer.Data()), buffer.Len());
}

py::object Loads(const py::buffer& data, const std::string& form, bool sized) {
  const bool compact = IsCompact(form);
  const py::buffer_info info = data.request();
  if (info.ndim != 1 || info.itemsize != 1) throw py::type_error("bytes-like data expected");
  if (static_cast<std::uint64_t>(info.size) > UINT32_MAX)
    throw py::value_error("byte images are at most 4 GiB");
  const auto* begin = static_cast<const unsigned char*>(info.ptr);
  const auto* end = begin + info.size;
  if (!sized) {
    std::uint32_t consumed = 0;
    const VarData v = VarData::DeserializeWithoutSize(begin, static_cast<std::uint32_t>(info.size),
                                                      consumed, compact);
    if (consumed != info.size)
      throw py::value_error(std::to_string(info.size - consumed) + " bytes after the value");
    return FromVar(v);
  }
  py::list records;
  for (const unsigned char* cursor = begin; cursor != end;) {
    VarData v;
    v.deserializeWithSizeImpl(cursor, end, compact);
    records.append(FromVar(v));
  }
  return std::move(records);
}

// ---- Packets ------------------------------------------------------------------------------------

py::bytes FlexdataDumps(const py::handle& obj) {
  VarData v = ToVar(obj, 0);
  if (v.getKind() != VarData::kFlexData) {
    // Through the packet factory rather than Convert_, so that a value that cannot be packed
    // raises its error instead of becoming an empty packet.
    IVarDataGuts* guts = NewVarDataFlexDataFromVarData(v);
    v.Clear();
    v.adoptGuts(VarData::kFlexData, guts);
  }
  const zo::kel::FlexData packet = v.getFlexData();
  return py::bytes(reinterpret_cast<const char*>(packet.data()), packet.size());
}

py::object FlexdataLoads(const py::buffer& data) {
  const py::buffer_info info = data.request();
  if (info.ndim != 1 || info.itemsize != 1) throw py::type_error("bytes-like data expected");
  const auto* begin = static_cast<const unsigned char*>(info.ptr);
  const VarData packet = VarData::flexData(begin, begin + info.size);
  // The packet's type decides the kind of the value it stands for; converting to that kind hands
  // back the value itself. A cluster (and a waveform) reads as the array of its members.
  std::uint16_t kind = VarData::kArray;
  switch (packet.getFlexData().getType()) {
    case FlexType::Void:
      return py::none();
    case FlexType::Bool:
      kind = VarData::kLogical;
      break;
    case FlexType::Time:
      kind = VarData::kAbsTime;
      break;
    case FlexType::AString:
      kind = VarData::kAnsi;
      break;
    case FlexType::UTF16:
      kind = VarData::kUnicode;
      break;
    case FlexType::Array: {
      py::object numbers = NumericArrayObject(packet.getFlexData());
      if (!numbers.is_none()) return numbers;
      kind = VarData::kArray;
      break;
    }
    case FlexType::Cluster:
      kind = VarData::kArray;
      break;
    case FlexType::Variant:
      return FromVar(packet);  // a packet inside: kept as a packet Value
    default:
      kind = VarData::kNumeric;
      break;
  }
  VarData value = packet;
  value.Convert_(kind);
  return FromVar(value);
}

// ---- Display text -------------------------------------------------------------------------------

int FormatIndex(const py::handle& fmt) {
  if (py::isinstance<py::int_>(fmt)) {
    const long n = fmt.cast<long>();
    if (n < 0 || n > 73) throw py::value_error("display formats are numbered 0 to 73");
    return static_cast<int>(n);
  }
  const std::string name = py::str(fmt);
  short index = 0;
  if (!IsFormat0(name.c_str(), &index)) throw py::value_error("no display format \"" + name + "\"");
  return index;
}

std::string FormatNumber(double value, const py::handle& fmt) {
  const int format = FormatIndex(fmt);
  std::vector<char> text(64);
  int n = NumberToText0(value, static_cast<unsigned>(format), text.data(),
                        static_cast<unsigned>(text.size()));
  if (n < 0) throw py::value_error("the value cannot be shown in this display format");
  if (static_cast<std::size_t>(n) >= text.size()) {
    text.resize(static_cast<std::size_t>(n) + 1);
    n = NumberToText0(value, static_cast<unsigned>(format), text.data(),
                      static_cast<unsigned>(text.size()));
  }
  return std::string(text.data(), static_cast<std::size_t>(n));
}

double ParseNumber(const std::string& text) {
  double value = 0;
  if (text.find('\0') != std::string::npos || !AsciiToNumber(text.c_str(), &value))
    throw py::value_error("not a number: \"" + text + "\"");
  return value;
}

double ParseTime(const std::string& text, const py::handle& fmt) {
  double days = 0;
  const int format = FormatIndex(fmt);
  const char* s = text.c_str();
  if (text.find('\0') == std::string::npos &&
      (AsciiToDateTime(s, &days, format) || AsciiToTime(s, &days) || AsciiToDays(s, &days)))
    return days;
  throw py::value_error("not a date, time of day or duration: \"" + text + "\"");
}

}  // namespace

PYBIND11_MODULE(_zo_kel, m) {
  m.doc() = "Bindings of the zo_kel_basics C++ library (use the zo_kel package).";
  py::module_ datetime = py::module_::import("datetime");
  g_datetime = py::object(datetime.attr("datetime")).release();
  g_timedelta = py::object(datetime.attr("timedelta")).release();
  g_epoch =
      g_datetime(1904, 1, 1, py::arg("tzinfo") = datetime.attr("timezone").attr("utc")).release();

  // Never destroyed, for the same reason as the handles above.
  static auto* error =
      new py::exception<zo::kel::exception::Exception>(m, "Error", PyExc_ValueError);
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const zo::kel::exception::Exception& e) {
      (*error)(e.what());
    } catch (const TypeErrorException& e) {
      (*error)(e.what());
    } catch (const KeyErrorException& e) {
      (*error)(e.what());
    } catch (const DeserializationErrorException& e) {
      (*error)(e.what());
    }
  });

  m.def("_set_value_class", [](py::object cls) { g_value_class = cls.release(); });
  m.def("dumps", &Dumps, py::arg("obj"), py::arg("form") = "compact", py::arg("sized") = false);
  m.def("loads", &Loads, py::arg("data"), py::arg("form") = "compact", py::arg("sized") = false);
  m.def("flexdata_dumps", &FlexdataDumps, py::arg("obj"));
  m.def("flexdata_loads", &FlexdataLoads, py::arg("data"));
  m.def("format_number", &FormatNumber, py::arg("value"), py::arg("fmt"));
  m.def("parse_number", &ParseNumber, py::arg("text"));
  m.def("parse_time", &ParseTime, py::arg("text"), py::arg("fmt") = 0);
  m.def("library_version", [] { return std::string(zo::kel::LibraryVersion()); });
  m.attr("HEADERS_VERSION") = ZO_KEL_BASICS_VERSION_STRING;
}
