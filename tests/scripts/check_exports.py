# SPDX-License-Identifier: MIT
"""Exported symbols of the library equal the functions of the public headers and the names in the version script.

usage: check_exports.py NM LIBRARY HEADER_FOLDER VERSION_SCRIPT VERSION_NODE
"""

import re
import sys

from checks import report, run
from public_functions import functions_of_folder


def exported_symbols(nm_output):
    """(name, type, version) of each dynamic symbol that `nm -D --defined-only --with-symbol-versions` lists."""
    symbols = []
    for line in nm_output.splitlines():
        *_, kind, name = line.split()
        name, _, version = name.partition("@")
        symbols.append((name, kind, version.lstrip("@")))
    return symbols


def listed_names(script, node):
    """The global names of a version script that has the one node given."""
    text = re.sub(r"#[^\n]*", "", script)
    found = re.fullmatch(r"\s*(\w+)\s*\{\s*global:(.*?)local:\s*\*;\s*\};\s*", text, re.DOTALL)
    if not found or found.group(1) != node:
        sys.exit(f"FAILED: the version script is not of the form {node} {{ global: names local: *; }};")
    return [name.strip() for name in found.group(2).split(";") if name.strip()]


def problems_of(declared, symbols, listed, node):
    """What is wrong between headers, library and version script."""
    problems = []
    functions = set()
    for name, kind, version in symbols:
        if name == node and kind == "A":
            continue
        functions.add(name)
        if kind != "T":
            problems.append(f"{name} is exported as kind {kind}, not as a function")
        if version != node:
            problems.append(f"{name} has version '{version}', not {node}")
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
    nm, library, headers, script, node = sys.argv[1:]
    symbols = exported_symbols(run(nm, "-D", "--defined-only", "--with-symbol-versions", library))
    declared = functions_of_folder(headers)
    if not declared:
        sys.exit(f"FAILED: no functions found in {headers}")
    with open(script, encoding="utf-8") as file:
        listed = listed_names(file.read(), node)
    report(problems_of(declared, symbols, listed, node), f"{len(declared)} functions, declared and exported")


if __name__ == "__main__":
    main()
