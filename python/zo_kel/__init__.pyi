import datetime
from typing import Any, Literal, Optional, Union

Form = Literal["compact", "full"]
Buffer = Union[bytes, bytearray, memoryview]
PyValue = Any  # None, bool, int, float, str, bytes, list, dict, datetime, timedelta or Value

__version__: str
HEADERS_VERSION: str

class Error(ValueError):
    """An error of the library, with the library's message."""

class Value:
    kind: Union[str, int]
    payload: Any
    qualifier: Optional[Union[str, int]]
    def __init__(self, kind: Union[str, int], payload: Any = ...,
                 qualifier: Optional[Union[str, int]] = ...) -> None: ...
    def __eq__(self, other: object) -> bool: ...
    def __hash__(self) -> int: ...

def dumps(obj: PyValue, form: Form = "compact", sized: bool = False) -> bytes:
    """The byte image of obj; with sized=True one record with its 32-bit size prefix."""
def loads(data: Buffer, form: Form = "compact", sized: bool = False) -> PyValue:
    """The value of a byte image (all of data); with sized=True the list of all its records."""
def flexdata_dumps(obj: PyValue) -> bytes:
    """The FlexData packet of obj; array.array and numpy arrays become numeric packet arrays."""
def flexdata_loads(data: Buffer) -> PyValue:
    """The value a complete FlexData packet stands for; numeric arrays as numpy.ndarray
    (array.array without numpy)."""
def format_number(value: float, fmt: Union[int, str]) -> str:
    """value in display format fmt (its number 0-73 or its name)."""
def parse_number(text: str) -> float:
    """A typed-in number; ValueError for text the library refuses."""
def parse_time(text: str, fmt: Union[int, str] = 0) -> float:
    """A typed-in date (in fmt's date order), time of day or duration, as a day count."""
def library_version() -> str:
    """The version of the loaded zo_kel_basics library, "MAJOR.MINOR.PATCH"."""
