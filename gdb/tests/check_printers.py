#!/usr/bin/env python3
"""Runs gdb -batch on the sample program, stops in Stop(), prints main's values through the
zo_kel_basics printers, which gdb auto-loads with the library (the <library>-gdb.py script in the
library's folder), and checks the printed text.
Usage: check_printers.py GDB PROGRAM LIBRARY_DIR"""
import subprocess
import sys

gdb, program, library_dir = sys.argv[1:4]

# Expression printed in main's frame -> text its printed value must contain.
EXPECTED = [
    ("number", "numeric 42 (int32)"),
    ("real", "numeric 2.5 (double)"),
    ("text", 'ansi "abc"'),
    ("wide", 'unicode L"d\\xe9j\\xe0"'),
    ("empty", "empty"),
    ("logical", "logical true"),
    ("when", "abs time 2026-11-24T10:00:00.5Z"),
    ("instant", "2026-11-24T10:00:00.5Z"),
    ("duration", "90.25 s"),
    ("list", 'array 2 elements = {numeric 1.0 (double), ansi "x"}'),
    ("dict", 'dictionary 1 pairs = {[ansi "k"] = numeric 7.0 (double)}'),
    ("list.type_", "12295"),  # the raw handle stays reachable
]

args = [gdb, "-batch", "-nx", "-iex", f"add-auto-load-safe-path {library_dir}",
        "-ex", "break Stop", "-ex", "run", "-ex", "up"]
for expression, _ in EXPECTED:
    args += ["-ex", f"print {expression}"]
result = subprocess.run(args + [program], capture_output=True, text=True, timeout=120)
printed = [line for line in result.stdout.splitlines() if line.startswith("$")]

failures = 0
for i, (expression, want) in enumerate(EXPECTED):
    got = printed[i] if i < len(printed) else "<nothing printed>"
    if want not in got:
        failures += 1
        print(f"FAIL print {expression}: want {want!r} in {got!r}")
if failures or len(printed) != len(EXPECTED):
    print(result.stdout[-3000:], result.stderr[-2000:], sep="\n")
    sys.exit(1)
print(f"{len(EXPECTED)} passed, 0 failed")
