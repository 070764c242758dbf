"""Values of the zo_kel_basics library from Python.

Byte images (``dumps``/``loads``), FlexData packets (``flexdata_dumps``/``flexdata_loads``),
display text (``format_number``, ``parse_number``, ``parse_time``) and the library's errors as
``zo_kel.Error`` (a ``ValueError``).

Python values map to the library's kinds: ``None`` empty, ``bool`` logical, ``int`` numeric (the
narrowest integer qualifier that holds it), ``float`` numeric (double), ``str`` narrow text when
ASCII-only and wide text otherwise, ``bytes`` raw bytes, ``list`` array, ``dict`` dictionary,
aware ``datetime.datetime`` absolute time, ``datetime.timedelta`` relative time, numeric
``array.array`` and ``numpy.ndarray`` a packet array. Every other kind, or an explicit choice of
kind or qualifier, is a ``zo_kel.Value``.
"""

from ._zo_kel import (
    Error,
    HEADERS_VERSION,
    _set_value_class,
    dumps,
    flexdata_dumps,
    flexdata_loads,
    format_number,
    library_version,
    loads,
    parse_number,
    parse_time,
)

__all__ = [
    "Error", "Value", "dumps", "loads", "flexdata_dumps", "flexdata_loads", "format_number",
    "parse_number", "parse_time", "library_version", "__version__",
]

__version__ = library_version()


class Value:
    """A value of a kind with no Python twin, or with its kind or qualifier chosen explicitly.

    ``kind`` is a kind name (or its numeric code); ``payload`` depends on it:

    ============  ================================================================
    kind          payload
    ============  ================================================================
    pulse, break  ``None`` (events)
    numeric       a number; ``qualifier`` names its native type: double, int8,
                  int16, int32, uint8, uint16, uint32, float, bitarray
    ansi          ``str`` (each character one byte, Latin-1) or ``bytes``
    unicode       ``str``
    time          ``int`` nanoseconds (the inline time kind)
    id64          ``int`` (0 to 2**64 - 1)
    void_pointer  ``int`` (an address, meaningful only in the writing process)
    cell          ``(row, column, value)``
    abstime       ``(seconds, fraction)`` since 1904-01-01 UTC
    reltime       ``(seconds, fraction)``
    tgvariant     ``(descriptor_words, data_bytes)``
    flexdata      ``bytes`` of one complete packet
    ============  ================================================================

    Values compare equal when kind, payload and qualifier are equal, and read back from a byte
    image as they were written.
    """

    __slots__ = ("kind", "payload", "qualifier")

    def __init__(self, kind, payload=None, qualifier=None):
        self.kind = kind
        self.payload = payload
        self.qualifier = qualifier

    def __eq__(self, other):
        if not isinstance(other, Value):
            return NotImplemented
        return (self.kind, self.payload, self.qualifier) == (
            other.kind, other.payload, other.qualifier)

    def __hash__(self):
        return hash((self.kind, _frozen(self.payload), self.qualifier))

    def __repr__(self):
        extra = "" if self.qualifier is None else f", qualifier={self.qualifier!r}"
        return f"zo_kel.Value({self.kind!r}, {self.payload!r}{extra})"


def _frozen(payload):
    if isinstance(payload, (list, tuple)):
        return tuple(_frozen(p) for p in payload)
    return payload


_set_value_class(Value)
