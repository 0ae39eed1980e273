# SPDX-License-Identifier: MIT
"""Exported symbols of the library equal the functions of the public headers and the names in the version script.

usage: check_exports.py NM LIBRARY HEADER_FOLDER VERSION_SCRIPT VERSION_NODE
"""

import re
import sys

from checks import report, run
from public_functions import functions_of_folder


def exported_symbols(nm_output):
    """(name, type) of each dynamic symbol that `nm -D --defined-only` lists."""
    symbols = []
    for line in nm_output.splitlines():
        *_, kind, name = line.split()
        symbols.append((name, kind))
    return symbols


def listed_names(script):
    """The global names of a version script of one node without a name."""
    text = re.sub(r"#[^\n]*", "", script)
    found = re.fullmatch(r"\s*\{\s*global:(.*?)local:\s*\*;\s*\};\s*", text, re.DOTALL)
    if not found:
        sys.exit("FAILED: the version script is not of the form { global: names local: *; };")
    return [name.strip() for name in found.group(1).split(";") if name.strip()]


def problems_of(declared, symbols, listed):
    """What is wrong between headers, library and version script."""
    problems = []
    functions = set()
    for name, kind in symbols:
        functions.add(name)
        if kind != "T":
            problems.append(f"{name} is exported as kind {kind}, not as a function")
    for name in sorted(declared - functions):
        problems.append(f"{name} is declared in a public header but not exported")
    for name in sorted(functions - declared):
        problems.append(f"{name} is exported but no public header declares it")
    for name in sorted(declared ^ set(listed)):
        problems.append(f"{name} is {'not in' if name in declared else 'only in'} the version script")
    for name in sorted({name for name in listed if listed.count(name) > 1}):
        problems.append(f"{name} is twice in the version script")
    return problems


def main():
    nm, library, headers, script = sys.argv[1:]
    symbols = exported_symbols(run(nm, "-D", "--defined-only", library))
    declared = functions_of_folder(headers)
    if not declared:
        sys.exit(f"FAILED: no functions found in {headers}")
    with open(script, encoding="utf-8") as file:
        listed = listed_names(file.read())
    report(problems_of(declared, symbols, listed), f"{len(declared)} functions, declared and exported")


if __name__ == "__main__":
    main()
