"""The zo_kel module: every kind through both byte-image forms, exact bytes where the mapping
decides them, packets, display text and the error paths."""
import datetime as dt

import pytest

import zo_kel
from zo_kel import Value

UTC = dt.timezone.utc

# Every kind, as Python writes it and as it reads back.
ROUND_TRIPS = [
    ("empty", None),
    ("logical", True),
    ("int8", -5),
    ("uint8", 200),
    ("int16", -300),
    ("uint16", 60000),
    ("int32", -70000),
    ("uint32", 4000000000),
    ("double", 2.5),
    ("narrow text", "abc"),
    ("wide text", "d\u00e9j\u00e0 \u20ac"),
    ("raw bytes", b"\x00\xff\x10"),
    ("empty raw bytes", b""),
    ("array", [1, 2.5, "x", None, [True]]),
    ("empty array", []),
    ("dictionary", {"a": [1, 2.5, "x"], 7: "seven"}),
    ("abs time", dt.datetime(2026, 11, 24, 10, 0, 0, 500000, tzinfo=UTC)),
    ("rel time", dt.timedelta(days=-1, seconds=5, microseconds=250000)),
    ("pulse", Value("pulse")),
    ("break", Value("break")),
    ("float qualifier", Value("numeric", 1.5, "float")),
    ("bit array", Value("numeric", 5.0, "bitarray")),
    ("fraction under int32", Value("numeric", 1.5, "int32")),
    ("inline time", Value("time", 123456789)),
    ("id64", Value("id64", 2**64 - 1)),
    ("cell", Value("cell", (3, 4, "v"))),
    ("ansi latin-1", Value("ansi", "caf\u00e9")),
    ("abs time beyond datetime", Value("abstime", (-2**62, 0.25))),
    ("tg variant", Value("tgvariant", ([4, 3], b"\x00\x00\x00\x07"))),
]


@pytest.mark.parametrize("form", ["compact", "full"])
@pytest.mark.parametrize("name,value", ROUND_TRIPS, ids=[n for n, _ in ROUND_TRIPS])
def test_every_kind_reads_back_equal(name, value, form):
    assert zo_kel.loads(zo_kel.dumps(value, form=form), form=form) == value, name


# Bytes the mapping decides: the kind, the qualifier chosen for an int, narrow against wide.
IMAGES = [
    ("None is empty", None, "01 00 00 00"),
    ("True is logical", True, "02 00 00 00 01"),
    ("small int is int8", 5, "03 00 01 00 00 00 00 00 00 00 14 40"),
    ("200 is uint8", 200, "03 00 04 00 00 00 00 00 00 00 69 40"),
    ("-300 is int16", -300, "03 00 02 00"),
    ("60000 is uint16", 60000, "03 00 05 00"),
    ("float is double", 2.5, "03 00 00 00 00 00 00 00 00 00 04 40"),
    ("ascii str is narrow", "ab", "05 10 00 00 02 00 00 00 61 62"),
]


@pytest.mark.parametrize("name,value,image", IMAGES, ids=[n for n, _, _ in IMAGES])
def test_compact_images_start_with_the_kind_chosen(name, value, image):
    want = bytes.fromhex(image)
    assert zo_kel.dumps(value)[: len(want)] == want, name


def test_wide_text_is_chosen_for_non_ascii_and_by_value():
    narrow = zo_kel.dumps("ab")
    wide = zo_kel.dumps(Value("unicode", "ab"))
    assert narrow[:2] == bytes.fromhex("0510") and wide[:2] == bytes.fromhex("0610")
    assert zo_kel.dumps("\u00e9")[:2] == bytes.fromhex("0610")


def test_bytes_like_objects_are_raw_bytes():
    for data in (bytearray(b"ab"), memoryview(b"ab")):
        assert zo_kel.loads(zo_kel.dumps(data)) == b"ab"


def test_sized_records_are_read_as_a_list():
    data = zo_kel.dumps({"a": 1}, sized=True) + zo_kel.dumps("b", sized=True)
    assert zo_kel.loads(data, sized=True) == [{"a": 1}, "b"]
    assert int.from_bytes(data[:4], "little") == len(zo_kel.dumps({"a": 1})) 


PACKETS = [(3, 3), (2.5, 2.5), (True, True), ("text", "text"), ([1, 2, 3], [1, 2, 3]),
           (None, None), ({"x": 1, "y": "z"}, [1, "z"])]  # a cluster reads as its members


def test_packets_carry_numbers_text_arrays_and_clusters():
    for value, back in PACKETS:
        got = zo_kel.flexdata_loads(zo_kel.flexdata_dumps(value))
        got = got.tolist() if hasattr(got, "tolist") else got  # numeric arrays come as arrays
        assert got == back, value
    packet = zo_kel.flexdata_dumps(7)
    assert zo_kel.loads(zo_kel.dumps(Value("flexdata", packet))) == Value("flexdata", packet)


@pytest.mark.parametrize("code", ["b", "B", "h", "H", "i", "I", "q", "Q", "f", "d"])
def test_numeric_arrays_travel_as_packet_arrays(code):
    import array
    numbers = array.array(code, [0, 1, 2, 100])
    back = zo_kel.flexdata_loads(zo_kel.flexdata_dumps(numbers))
    assert list(back) == list(numbers) and back.itemsize == numbers.itemsize, code


def test_numpy_arrays_keep_their_shape_and_type():
    numpy = pytest.importorskip("numpy")
    grid = numpy.arange(6, dtype=numpy.int16).reshape(2, 3)
    back = zo_kel.flexdata_loads(zo_kel.flexdata_dumps(grid))
    assert back.dtype == numpy.int16 and back.shape == (2, 3) and (back == grid).all()
    with pytest.raises(ValueError, match="contiguous"):
        zo_kel.flexdata_dumps(grid[:, ::2])


FORMATS = [
    (3.14159, "0.00", "3.14"),
    (3.14159, 0, "3.14159"),
    (255.0, "0x%08X", None),
    (0.5, "HH:MM:SS", "12:00:00"),
]


@pytest.mark.parametrize("value,fmt,text", FORMATS)
def test_format_number(value, fmt, text):
    if text is None:
        with pytest.raises(ValueError):
            zo_kel.format_number(value, fmt)
    else:
        assert zo_kel.format_number(value, fmt) == text


PARSES = [
    (zo_kel.parse_number, "1.5e2", 150.0),
    (zo_kel.parse_number, "0x1F", 31.0),
    (zo_kel.parse_time, "12:00", 0.5),
    (zo_kel.parse_time, "1:00:00:00", 1.0),
]


@pytest.mark.parametrize("parse,text,want", PARSES)
def test_parse_accepts(parse, text, want):
    assert parse(text) == pytest.approx(want)


@pytest.mark.parametrize("parse,text", [
    (zo_kel.parse_number, "0 "), (zo_kel.parse_number, "abc"), (zo_kel.parse_number, "1\x002"),
    (zo_kel.parse_time, "x:y"), (zo_kel.parse_time, "25:00:00:00:00"),
])
def test_parse_refuses_with_value_error(parse, text):
    with pytest.raises(ValueError):
        parse(text)


# Hostile or wrong input: each raises its error, none crashes the interpreter.
ERRORS = [
    ("truncated image", lambda: zo_kel.loads(bytes.fromhex("05 10 00 00 09 00 00 00 61")),
     zo_kel.Error, "deserialization"),
    ("unknown kind", lambda: zo_kel.loads(bytes.fromhex("77 77 00 00")), zo_kel.Error, ""),
    ("trailing bytes", lambda: zo_kel.loads(bytes.fromhex("01 00 00 00 00")), ValueError,
     "1 bytes after"),
    ("deep nesting", lambda: zo_kel.loads(bytes.fromhex("07 30 00 00 01 00 00 00") * 300),
     zo_kel.Error, ""),
    ("bad sized record", lambda: zo_kel.loads(bytes.fromhex("ff 00 00 00 01"), sized=True),
     zo_kel.Error, ""),
    ("not a packet", lambda: zo_kel.flexdata_loads(b"\x01\x02"), zo_kel.Error, "SyntaxError"),
    ("bad form", lambda: zo_kel.dumps(1, form="wide"), ValueError, "form"),
    ("naive datetime", lambda: zo_kel.dumps(dt.datetime(2026, 1, 1)), ValueError, "aware"),
    ("int too big", lambda: zo_kel.dumps(2**40), ValueError, "32-bit"),
    ("beyond U+FFFF", lambda: zo_kel.dumps("\U0001F600"), ValueError, "U+FFFF"),
    ("unknown type", lambda: zo_kel.dumps(object()), TypeError, "object"),
    ("unknown qualifier", lambda: zo_kel.dumps(Value("numeric", 1, "int64")), ValueError,
     "qualifier"),
    ("too deep to write", lambda: zo_kel.dumps(_nested(300)), ValueError, "deeply"),
]


def _nested(depth):
    value = []
    for _ in range(depth):
        value = [value]
    return value


@pytest.mark.parametrize("name,call,error,text", ERRORS, ids=[e[0] for e in ERRORS])
def test_errors(name, call, error, text):
    with pytest.raises(error) as info:
        call()
    assert text.lower() in str(info.value).lower(), name


def test_error_is_a_value_error_with_the_librarys_message():
    assert issubclass(zo_kel.Error, ValueError)
    with pytest.raises(zo_kel.Error, match="VarData deserialization error"):
        zo_kel.loads(b"\x05\x10")


def test_every_truncation_of_an_image_raises_cleanly():
    image = zo_kel.dumps({"a": [1, "x", dt.timedelta(seconds=1)], "b": b"\x00" * 5})
    for n in range(len(image)):
        with pytest.raises(zo_kel.Error):
            zo_kel.loads(image[:n])


def test_versions_of_headers_and_loaded_library_agree():
    assert zo_kel.__version__ == zo_kel.HEADERS_VERSION
    assert len(zo_kel.__version__.split(".")) == 3
