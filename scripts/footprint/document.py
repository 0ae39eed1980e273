# SPDX-License-Identifier: MIT
"""Tables: as text for a terminal, and in docs/footprint.md between markers."""

import sys

from footprint.targets import PROJECT

DOCUMENT = PROJECT / "docs/footprint.md"


def text_table(rows):
    """Rows of cells, the first row a heading; numbers to the right."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [row[0].ljust(widths[0])] + [cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]
        lines.append("  ".join(cells).rstrip())
    return "\n".join(lines)


def markdown_table(rows, left=(0,)):
    """The same as Markdown; columns whose numbers are in left begin at the left."""
    lines = ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    rule = "| " + " | ".join("---" if column in left else "---:" for column in range(len(rows[0]))) + " |"
    return "\n".join([lines[0], rule, *lines[1:]])


def replace_between(text, name, body):
    """text with what stands between the two markers of that name replaced. KeyError when they are not there once."""
    begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
    if text.count(begin) != 1 or text.count(end) != 1 or text.index(begin) > text.index(end):
        raise KeyError(name)
    head, rest = text.split(begin)
    return f"{head}{begin}\n{body}\n{end}{rest.split(end)[1]}"


def write(name, body):
    """Refreshes one table of docs/footprint.md."""
    text = DOCUMENT.read_text(encoding="utf-8")
    try:
        text = replace_between(text, name, body)
    except KeyError:
        sys.exit(f"{DOCUMENT}: the markers of {name} are not there, or more than once")
    DOCUMENT.write_text(text, encoding="utf-8")
    print(f"{DOCUMENT.relative_to(PROJECT)}: {name} is up to date")
