# SPDX-License-Identifier: MIT
"""Nothing runs when the library is loaded, apart from the start-up entry that the compiler gives every shared object.

usage: check_static_init.py READELF LIBRARY OBJECT...
"""

import re
import sys

from checks import report, run

_INITIALISERS = re.compile(r"\.(?:rela?\.)?(?:preinit_array|init_array|fini_array|ctors|dtors|init|fini)(?:\.\d+)?$")


def section_sizes(text):
    """Name and size of each section that `readelf -SW` lists."""
    pattern = r"^\s*\[\s*\d+\]\s+(\.\S+)\s+\S+\s+[0-9a-f]+\s+[0-9a-f]+\s+([0-9a-f]+)"
    return {name: int(size, 16) for name, size in re.findall(pattern, text, re.MULTILINE)}


def problems_of_object(name, sections):
    """No object of the library has start-up or exit code."""
    if ".text" not in sections and not any(section.startswith(".text") for section in sections):
        return [f"{name}: no sections found"]
    return [
        f"{name}: section {section} ({size} bytes): a static initialiser or destructor"
        for section, size in sections.items()
        if size and _INITIALISERS.match(section)
    ]


def problems_of_library(sections, pointer_size):
    """One entry each, frame_dummy and __do_global_dtors_aux, which come from the compiler's crtbegin."""
    problems = []
    if not sections:
        return ["the library has no sections"]
    for section in (".init_array", ".fini_array"):
        if sections.get(section, 0) > pointer_size:
            problems.append(f"the library's {section} has {sections[section] // pointer_size} entries, more than one")
    for section in (".preinit_array", ".ctors", ".dtors"):
        if section in sections:
            problems.append(f"the library has a section {section}")
    return problems


def main():
    readelf, library, *objects = sys.argv[1:]
    if not objects:
        sys.exit("FAILED: no objects given")
    pointer_size = 8 if re.search(r"Class:\s+ELF64", run(readelf, "-hW", library)) else 4
    problems = problems_of_library(section_sizes(run(readelf, "-SW", library)), pointer_size)
    for name in objects:
        problems += problems_of_object(name, section_sizes(run(readelf, "-SW", name)))
    report(problems, f"{len(objects)} objects without static initialisers")


if __name__ == "__main__":
    main()
