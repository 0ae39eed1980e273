# SPDX-License-Identifier: MIT
"""Exported symbols of the library equal the functions of the public headers and the names in the version script, and
Debian's lists say with which release each came.

usage: check_exports.py NM LIBRARY HEADER_FOLDER VERSION_SCRIPT VERSION_NODE SYMBOLS SHLIBS
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


_NODE = re.compile(r"\s*([\w.]+)\s*\{\s*global:(.*?)(local:\s*\*;)?\s*\}\s*([\w.]*)\s*;\s*", re.DOTALL)


def nodes_of(script, base):
    """{node: its global names} of a version script: the node given, which hides everything else, and then any number of
    others, each of which adds names and inherits from the one before: base.1, base.2, ..."""
    text = re.sub(r"#[^\n]*", "", script)
    nodes, position, before = {}, 0, ""
    while position < len(text):
        found = _NODE.match(text, position)
        wanted = f"{base}.{len(nodes)}" if nodes else base
        if not found or (found[1], found[4], found[3] is None) != (wanted, before, bool(nodes)):
            break
        nodes[wanted] = [name.strip() for name in found[2].split(";") if name.strip()]
        position, before = found.end(), wanted
    if not nodes or position < len(text) or not all(nodes.values()):
        sys.exit(
            f"FAILED: the version script is not of the form {base} {{ global: names local: *; }}; "
            f"{base}.1 {{ global: names }} {base}; {base}.2 {{ global: names }} {base}.1; ..."
        )
    return nodes


def problems_of(declared, symbols, nodes):
    """What is wrong between headers, library and version script."""
    problems = []
    versions = {name: node for node, names in nodes.items() for name in names}
    listed = [name for names in nodes.values() for name in names]
    functions = set()
    for name, kind, version in symbols:
        if name in nodes and kind == "A":
            continue
        functions.add(name)
        if kind != "T":
            problems.append(f"{name} is exported as kind {kind}, not as a function")
        if version != versions.get(name, version) or version not in nodes:
            problems.append(f"{name} has version '{version}', not {versions.get(name, ' or '.join(nodes))}")
    for name in sorted(declared - functions):
        problems.append(f"{name} is declared in a public header but not exported")
    for name in sorted(functions - declared):
        problems.append(f"{name} is exported but no public header declares it")
    for name in sorted(declared ^ set(listed)):
        problems.append(f"{name} is {'not in' if name in declared else 'only in'} the version script")
    for name in sorted({name for name in listed if listed.count(name) > 1}):
        problems.append(f"{name} is twice in the version script")
    return problems


def release_key(release):
    return tuple(int(number) for number in release.split("."))


def problems_of_releases(nodes, symbols_file, shlibs):
    """What is wrong between the version script and Debian's lists: every function came with its node's release, later
    nodes came later, and programs ask for the release of the last node."""
    releases = dict(re.findall(r"^ ([\w.]+@[\w.]+) (\d[\d.]*)$", symbols_file, re.MULTILINE))
    problems, last = [], "0"
    for node, names in nodes.items():
        release = releases.get(f"{node}@{node}")
        if release is None:
            problems.append(f"{node} is not in the list of symbols")
            continue
        if release_key(release) <= release_key(last):
            problems.append(f"{node} came with {release}, the node before with {last}")
        last = release
        for name in names:
            found = releases.get(f"{name}@{node}")
            if found != release:
                problems.append(f"{name} came with {found}, its node {node} with {release}")
    if not re.search(rf"^libvarnel_share 0 libvarnel-share0 \(>= {re.escape(last)}\)$", shlibs, re.MULTILINE):
        problems.append(f"shlibs does not ask for {last}, with which the last functions came")
    return problems


def text_of(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    nm, library, headers, script, node, symbols_file, shlibs = sys.argv[1:]
    symbols = exported_symbols(run(nm, "-D", "--defined-only", "--with-symbol-versions", library))
    declared = functions_of_folder(headers)
    if not declared:
        sys.exit(f"FAILED: no functions found in {headers}")
    nodes = nodes_of(text_of(script), node)
    problems = problems_of(declared, symbols, nodes)
    problems += problems_of_releases(nodes, text_of(symbols_file), text_of(shlibs))
    report(problems, f"{len(declared)} functions, declared and exported")


if __name__ == "__main__":
    main()
