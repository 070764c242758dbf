# gdb pretty-printers for zo_kel_basics: VarData shows its kind and value (arrays and dictionaries
# as children that print and IDE variable views expand), AbsTime/RelTime as instants and
# durations, and the 128-bit fixed point as a number of seconds.
#
# The printers read the handle (type word + 8-byte payload) directly, and the guts object behind
# it through its dynamic type and fields by name, never by offset: GUTS_PRINTERS maps the guts
# class name to the function that reads it. A guts class missing from the table, or one whose
# fields cannot be read, prints as its kind and pointer.
import datetime
import re
from fractions import Fraction

import gdb

KINDS = {
    1: "empty", 2: "logical", 3: "numeric", 4: "time", 8: "break", 11: "pulse",
    13: "void pointer", 17: "id64", 0x1005: "ansi", 0x1006: "unicode", 0x1009: "raw",
    0x100A: "cell", 0x100C: "dictionary", 0x100E: "obsolete", 0x100F: "abs time",
    0x1010: "rel time", 0x1012: "tg variant", 0x1013: "flexdata", 0x3007: "array",
}
QUALIFIERS = ["double", "int8", "int16", "int32", "uint8", "uint16", "uint32", "float",
              "bitarray"]
GUTS_BIT = 0x1000
TEXT_LIMIT = 200  # characters shown of a long text
EPOCH = datetime.datetime(1904, 1, 1, tzinfo=datetime.timezone.utc)


def _u64(address):
    return int(address.cast(gdb.lookup_type("unsigned long long").pointer()).dereference())


def _seconds(fixed):
    """A tFixedPoint128<64, ...> as an exact Fraction of seconds (signed when the type is)."""
    halves = fixed["data_"]["halves"]
    fraction, whole = int(halves[0]), int(halves[1])
    try:
        signed = bool(fixed.type.strip_typedefs().template_argument(1))
    except (gdb.error, RuntimeError):
        signed = True
    if signed and whole >= 1 << 63:
        whole -= 1 << 64
    return Fraction(whole) + Fraction(fraction, 1 << 64)


def _decimal(seconds):
    """Seconds as short decimal text: up to 9 fractional digits, trailing zeros dropped."""
    sign = "-" if seconds < 0 else ""
    seconds = abs(seconds)
    whole = int(seconds)
    nanos = round((seconds - whole) * 10**9)
    if nanos == 10**9:
        whole, nanos = whole + 1, 0
    text = f"{sign}{whole}"
    return text + (f".{nanos:09d}".rstrip("0") if nanos else "")


def _instant(seconds):
    whole = int(seconds // 1)
    try:
        moment = EPOCH + datetime.timedelta(seconds=whole)
    except OverflowError:
        return _decimal(seconds) + " s after 1904-01-01"
    rest = _decimal(seconds - whole)
    return moment.strftime("%Y-%m-%dT%H:%M:%S") + (rest[1:] if rest != "0" else "") + "Z"


def _time_value(value):
    """The seconds of a tSSTimeValue or a class derived from it."""
    return _seconds(value.cast(gdb.lookup_type("nZOSS100::tSSTimeValue"))["value_"])


def _text(address, length, char_type, quote_prefix=""):
    shown = min(length, TEXT_LIMIT)
    chars = address.cast(char_type.pointer())
    out = []
    for i in range(shown):
        code = int(chars[i]) & (0xFF if char_type.sizeof == 1 else 0xFFFFFFFF)
        out.append(chr(code) if 32 <= code < 127 else f"\\x{code:02x}" if code < 256
                   else f"\\u{code:04x}" if code < 0x10000 else f"\\U{code:08x}")
    more = "..." if length > shown else ""
    return f'{quote_prefix}"{"".join(out)}"{more}'


# ---- guts readers: each takes the guts object (its dynamic type) and returns
# (summary text, children list or None, display hint or None)

def _ansi(guts):
    return _text(guts.address + 1, int(guts["length_"]), gdb.lookup_type("char")), None, None


def _unicode(guts):
    return _text(guts.address + 1, int(guts["length_"]), gdb.lookup_type("wchar_t"), "L"), None, None


def _raw(guts):
    count = int(guts["count_"])
    data = guts["data_"]
    shown = " ".join(f"{int(data[i]) & 0xFF:02x}" for i in range(min(count, 32)))
    return f"{count} bytes [{shown}{' ...' if count > 32 else ''}]", None, None


def _cell(guts):
    return (f"row {int(guts['row_'])}, column {int(guts['column_'])}",
            [("value", guts["value_"])], None)


def _vector_children(vector):
    start, finish = vector["_M_impl"]["_M_start"], vector["_M_impl"]["_M_finish"]
    count = int(finish - start)
    return count, [(f"[{i}]", (start + i).dereference()) for i in range(count)]


def _array(guts):
    count, children = _vector_children(guts["elements_"])
    return f"{count} elements", children, "array"


def _map_children(tree):
    """In-order walk of a libstdc++ std::map<VarData, VarData> (red-black tree) by field names."""
    impl = tree["_M_t"]["_M_impl"]
    header = impl["_M_header"]
    count = int(impl["_M_node_count"])
    node_type = gdb.lookup_type(
        "std::_Rb_tree_node<std::pair<VarData const, VarData> >").pointer()
    children, node = [], header["_M_left"]
    end = header.address
    for _ in range(count):
        if node == end:
            break
        pair = node.cast(node_type).dereference()["_M_storage"]["_M_storage"].address.cast(
            gdb.lookup_type("std::pair<VarData const, VarData>").pointer()).dereference()
        children += [("key", pair["first"]), ("value", pair["second"])]
        if node["_M_right"]:
            node = node["_M_right"]
            while node["_M_left"]:
                node = node["_M_left"]
        else:
            parent = node["_M_parent"]
            while node == parent["_M_right"]:
                node, parent = parent, parent["_M_parent"]
            if node["_M_right"] != parent:
                node = parent
    return count, children


def _dictionary(guts):
    count, children = _map_children(guts["pairs_"])
    return f"{count} pairs", children, "map"


def _time_guts(kind):
    def read(guts):
        seconds = _seconds(guts["value_"]["value_"])
        return (_instant(seconds) if kind == 0x100F else _decimal(seconds) + " s"), None, None
    return read


# Guts class (name without namespaces) -> reader. Kinds whose guts are not listed print their
# kind and pointer.
GUTS_PRINTERS = {
    "AnsiGuts": _ansi,
    "UnicodeGuts": _unicode,
    "RawGuts": _raw,
    "CellGuts": _cell,
    "VectorGuts": _array,
    "VarDataDictionary": _dictionary,
    "VarDataSSTimeValue": None,  # read per kind: absolute or relative time
}


def _class_name(type_):
    name = str(type_.strip_typedefs().target() if type_.code == gdb.TYPE_CODE_PTR else type_)
    return re.sub(r"^.*::", "", name.replace("(anonymous namespace)::", ""))


class VarDataPrinter:
    """A VarData: 'numeric 42 (int32)', 'ansi "abc"', 'abs time 2026-11-24T10:00:00.5Z', ..."""

    def __init__(self, value):
        self.value = value
        self.children_list = None
        self.hint = None

    def _payload(self):
        return _u64(self.value["payload_"].address)

    def _scalar(self, kind, qualifier):
        payload_address = self.value["payload_"].address
        if kind == 2:
            return "true" if self._payload() & 0xFF else "false"
        if kind == 3:
            number = float(payload_address.cast(gdb.lookup_type("double").pointer()).dereference())
            name = QUALIFIERS[qualifier] if qualifier < len(QUALIFIERS) else str(qualifier)
            shown = str(int(number)) if number.is_integer() and qualifier != 0 else repr(number)
            return f"{shown} ({name})"
        if kind == 4:
            bits = self._payload()
            return f"{bits - (1 << 64) if bits >= 1 << 63 else bits} ns"
        if kind in (13, 17):
            return hex(self._payload())
        return ""

    def to_string(self):
        try:
            type_word = int(self.value["type_"])
            kind, qualifier = type_word & 0xFFFF, type_word >> 16
            name = KINDS.get(kind, f"kind 0x{kind:04x}")
            if not kind & GUTS_BIT:
                text = self._scalar(kind, qualifier)
                return f"{name} {text}" if text else name
            pointer = self._payload()
            if pointer == 0:
                return f"{name} (none)" if kind != 0x3007 else "array 0 elements"
            return f"{name} {self._guts(kind, pointer)}"
        except gdb.error as error:
            return f"<VarData: {error}>"

    def _guts(self, kind, pointer):
        base = gdb.Value(pointer).cast(gdb.lookup_type("IVarDataGuts").pointer())
        try:
            dynamic = base.dynamic_type
            cls = _class_name(dynamic)
            reader = GUTS_PRINTERS.get(cls, False)
            if reader is None:
                reader = _time_guts(kind)
            if reader is False:
                return f"({cls} *) 0x{pointer:x}"
            summary, self.children_list, self.hint = reader(base.cast(dynamic).dereference())
            return summary
        except (gdb.error, RuntimeError) as error:
            return f"(guts at 0x{pointer:x}: {error})"

    def children(self):
        if self.children_list is None:
            self.to_string()
        return iter(self.children_list or [])

    def display_hint(self):
        if self.children_list is None and self.hint is None:
            self.to_string()
        return self.hint


class TimePrinter:
    """AbsTime as an ISO 8601 instant in UTC; RelTime and tSSTimeValue as seconds."""

    def __init__(self, value, absolute):
        self.value, self.absolute = value, absolute

    def to_string(self):
        seconds = _time_value(self.value)
        return _instant(seconds) if self.absolute else _decimal(seconds) + " s"


class FixedPointPrinter:
    """tFixedPoint128<64, ...>: the exact number, as decimal seconds."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return _decimal(_seconds(self.value))


def lookup(value):
    type_ = value.type.strip_typedefs().unqualified()
    if type_.code == gdb.TYPE_CODE_REF:
        type_ = type_.target().strip_typedefs().unqualified()
    name = type_.tag or ""
    if name == "VarData":
        return VarDataPrinter(value)
    if name in ("zo::kel::AbsTime", "nZOSS100::tSSTimeAbsolute"):
        return TimePrinter(value, True)
    if name in ("zo::kel::RelTime", "nZOSS100::tSSTimeValue"):
        return TimePrinter(value, False)
    if name.startswith("nZOSS100::tFixedPoint128<"):
        return FixedPointPrinter(value)
    return None


def register(objfile=None):
    """Adds the printers to `objfile` (the library's, when auto-loaded) or to every program."""
    target = objfile if objfile is not None else gdb
    if lookup not in target.pretty_printers:
        target.pretty_printers.append(lookup)
