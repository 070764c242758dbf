#!/usr/bin/env python3
"""Refreshes the seed corpora of the fuzz targets from the byte images written in the tests.

Byte images in the tests are hex string literals (adjacent literals joined); each distinct image
becomes one seed file named after its content. Text seeds are the short literals of the scanner
tests, behind a first byte that chooses the display format. Run from the repository root.
"""
import hashlib
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
LITERALS = re.compile(r'"((?:[^"\\]|\\.)*)"((?:\s*"(?:[^"\\]|\\.)*")*)')
HEX = re.compile(r'^(?:\s*[0-9A-Fa-f]{2})+\s*$')

SOURCES = {
    "vardata": ["tests/qmstatic/vardata/Serialization_test.cpp",
                "tests/qmstatic/tgvariant/TGVariant_test.cpp"],
    "autobuffer": ["tests/kel/AutoBuffer_test.cpp"],
    "containers": ["tests/kel/Vector_test.cpp", "tests/kel/StringBase_test.cpp"],
    "encoding": ["tests/kel/Utf8_test.cpp", "tests/kel/osdep/AnsiToWide_test.cpp"],
    "flexdata": ["tests/kel/fd/fd_test.cpp", "tests/kel/fd/FlexData_test.cpp",
                 "tests/kel/fd/FdSamples.h", "tests/qmdynamic/VarDataFlexData_test.cpp"],
}
TEXT_SOURCES = ["tests/qmstatic/text/TextScanner_test.cpp"]
MAX_SEEDS = 60


def literals(path):
    text = path.read_text(encoding="utf-8", errors="replace")
    for match in LITERALS.finditer(text):
        parts = re.findall(r'"((?:[^"\\]|\\.)*)"', match.group(0))
        yield "".join(parts)


def write(target, seeds):
    folder = ROOT / "fuzz" / "corpus" / target
    folder.mkdir(parents=True, exist_ok=True)
    for seed in sorted(set(seeds), key=lambda s: hashlib.sha1(s).digest())[:MAX_SEEDS]:
        (folder / hashlib.sha1(seed).hexdigest()[:16]).write_bytes(seed)


def main():
    for target, sources in SOURCES.items():
        seeds = []
        for source in sources:
            path = ROOT / source
            if path.exists():
                seeds += [bytes.fromhex(s) for s in literals(path) if HEX.match(s)]
        if seeds:
            write(target, seeds)
    texts = []
    for source in TEXT_SOURCES:
        for s in literals(ROOT / source):
            if len(s) <= 32 and "\\" not in s and not HEX.match(s):
                texts.append(b"\x00" + s.encode("ascii", "replace"))
    write("text", texts)


if __name__ == "__main__":
    main()
