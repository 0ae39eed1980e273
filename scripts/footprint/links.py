# SPDX-License-Identifier: MIT
"""What a shared object gives the dynamic linker to do: counts from `readelf -rW` and `readelf --dyn-syms -W`."""

import re


def relocations_of(readelf_text):
    """(relative, looked up by name) relocations."""
    kinds = re.findall(r"^[0-9a-f]+\s+[0-9a-f]+\s+(R_\S+)", readelf_text, re.MULTILINE)
    relative = sum(1 for kind in kinds if kind.endswith("_RELATIVE"))
    return relative, len(kinds) - relative


def symbols_of(readelf_text):
    """(imported, exported) symbols; the names of versions are exported, too."""
    places = re.findall(r"^\s*\d+:\s+[0-9a-f]+\s+\w+\s+\w+\s+(?:GLOBAL|WEAK)\s+\w+\s+(\w+)\s", readelf_text, re.MULTILINE)
    imported = sum(1 for place in places if place == "UND")
    return imported, len(places) - imported


def counts_of(relocations_text, symbols_text):
    """{what: count}, as docs/footprint.md has it."""
    relative, named = relocations_of(relocations_text)
    imported, exported = symbols_of(symbols_text)
    return {
        "relative relocations": relative,
        "relocations by name": named,
        "symbols imported": imported,
        "symbols exported": exported,
    }
