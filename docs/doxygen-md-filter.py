#!/usr/bin/env python3
"""Doxygen input filter for the Markdown documents: gives each section heading an anchor made
from the one GitHub gives it, and points the in-page links there, so that links such as
[VarData](#1-vardata) work in both places (Doxygen labels cannot start with a digit, hence the
"sec-" prefix)."""
import re
import sys


def slug(title):
    title = re.sub(r"[^\w\- ]", "", title.strip().lower())
    return title.replace(" ", "-")


with open(sys.argv[1], encoding="utf-8") as doc:
    for line in doc:
        match = re.match(r"^(#{2,6}) (.*?)\s*$", line)
        if match and "{#" not in line:
            line = f"{match.group(1)} {match.group(2)} {{#sec-{slug(match.group(2))}}}\n"
        line = re.sub(r"\]\(#([\w\-]+)\)", r"](#sec-\1)", line)
        sys.stdout.write(line)
