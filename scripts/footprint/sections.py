# SPDX-License-Identifier: MIT
"""The sections of a shared object, in groups that say what they are for.

Text and data are those of the command size in its usual form: text is everything that is loaded and never written,
tables of the dynamic linker included; data is what is loaded from the file and can be written, if only by the dynamic
linker. Stripping takes none of it away.
"""

import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Section:
    name: str
    size: int
    in_file: bool
    writable: bool


GROUPS = (
    ("names and tables for the dynamic linker", (".note", ".gnu.hash", ".hash", ".dyn", ".gnu.version", ".interp")),
    ("relocations", (".rel",)),
    ("procedure linkage table", (".plt", ".iplt")),
    ("code", (".text", ".init", ".fini")),
    ("constants", (".rodata",)),
    ("unwind tables", (".eh_frame", ".ARM.ex", ".gcc_except")),
    ("data, read-only once relocated", (".data.rel.ro", ".dynamic", ".got")),
    ("data", (".data",)),
    ("zeroed data", (".bss", ".tbss", ".tdata")),
)
OTHER = "other"
STATIC_RAM = ("data", "zeroed data")
STATIC_RAM_LIMIT = 512

_ROW = re.compile(r"^\s*\[\s*\d+\]\s+(\S+)\s+(\S+)\s+[0-9a-f]+\s+[0-9a-f]+\s+([0-9a-f]+)\s+[0-9a-f]+\s+([A-Za-z]*)\s+\d")


def sections_of(readelf_text):
    """The loaded sections that `readelf -SW` lists."""
    found = []
    for line in readelf_text.splitlines():
        row = _ROW.match(line)
        if row and "A" in row[4]:
            found.append(Section(row[1], int(row[3], 16), row[2] != "NOBITS", "W" in row[4]))
    return found


def group_of(section):
    """The longest beginning decides: .data.rel.ro is not .data, and .dynamic is not .dyn."""
    best = max(
        ((len(start), title) for title, starts in GROUPS for start in starts if section.name.startswith(start)),
        default=(0, OTHER),
    )
    return best[1]


def group_sizes(sections):
    sizes = {title: 0 for title, _ in GROUPS}
    for section in sections:
        sizes[group_of(section)] = sizes.get(group_of(section), 0) + section.size
    return sizes


def text_and_data(sections):
    return sum(section.size for section in sections if section.in_file)


def static_ram(sections):
    sizes = group_sizes(sections)
    return sum(sizes[title] for title in STATIC_RAM)


def largest_functions(nm_text, count):
    """(bytes, names) of the largest functions that `nm -SC` lists; names of one function stand together."""
    by_address = {}
    for line in nm_text.splitlines():
        row = re.match(r"^([0-9a-f]+) ([0-9a-f]+) [tTwW] (.*)$", line)
        if row:
            size, names = by_address.setdefault(int(row[1], 16), (int(row[2], 16), []))
            if not row[3].endswith(".localalias"):
                names.append(row[3])
    ordered = sorted(by_address.values(), key=lambda entry: (-entry[0], entry[1]))
    return [(size, ", ".join(names)) for size, names in ordered[:count]]
