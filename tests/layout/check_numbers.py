# SPDX-License-Identifier: MIT
"""Every constant of the public headers, enumerators and macros alike, is held to its number by a test.

usage: check_numbers.py TEST_SOURCE HEADER...
"""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts"))

from checks import code_only, report  # noqa: E402


def constants_of(text):
    """The names of the enumerators and of the macros with a value that the text of a header defines."""
    names = set(re.findall(r"^[ \t]*#[ \t]*define[ \t]+(\w+)[ \t]+\S", text, re.MULTILINE))
    for body in re.findall(r"\benum\b[^{};()]*\{([^}]*)\}", code_only(text)):
        names |= set(re.findall(r"(?:^|,)\s*([A-Za-z_]\w*)", body))
    return names


def main():
    source, *headers = map(pathlib.Path, sys.argv[1:])
    tested = set(re.findall(r"\w+", code_only(source.read_text(encoding="utf-8"))))
    problems, count = [], 0
    for header in headers:
        found = constants_of(header.read_text(encoding="utf-8"))
        count += len(found)
        problems += [f"{name} of {header.name} is not in {source.name}" for name in sorted(found - tested)]
    if not count:
        sys.exit("FAILED: no constants found")
    report(problems, f"all {count} constants are tested")


if __name__ == "__main__":
    main()
