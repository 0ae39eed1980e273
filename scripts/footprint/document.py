# SPDX-License-Identifier: MIT
"""Tables: as text for a terminal, and in docs/footprint.md between markers."""

import re
import sys

from footprint.targets import PROJECT

DOCUMENT = PROJECT / "docs/footprint.md"

# How far a figure of the page may be from what is measured before it counts as out of date.
TOLERANCE = 0.02
TOLERANCE_BYTES = 16


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


def _parts(text, name):
    """What stands before, between and after the two markers of that name. KeyError when they are not there once."""
    begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
    if text.count(begin) != 1 or text.count(end) != 1 or text.index(begin) > text.index(end):
        raise KeyError(name)
    before, rest = text.split(begin)
    between, after = rest.split(end)
    return before + begin, between.strip("\n"), end + after


def replace_between(text, name, body):
    """text with what stands between the two markers of that name replaced. KeyError when they are not there once."""
    before, _, after = _parts(text, name)
    return f"{before}\n{body}\n{after}"


def text_between(text, name):
    """What stands between the two markers of that name. KeyError when they are not there once."""
    return _parts(text, name)[1]


def _number(cell):
    found = re.match(r"[\d,]+(?:\.\d+)?\b", str(cell))
    return float(found[0].replace(",", "")) if found else None


def differences(text, rows, exact=False):
    """Where a table of the page differs from the rows measured: other rows, or figures too far away (exact: counts, which
    are the same everywhere). Columns of text beside the first one are not looked at."""
    lines = [line for line in text.splitlines() if line.startswith("|")]
    written = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines]
    del written[1:2]  # the rule below the heading
    if [row[0] for row in written] != [str(row[0]) for row in rows]:
        return ["the rows are others"]
    found = []
    for old_row, row in zip(written, rows):
        for old, new in zip(old_row[1:], row[1:]):
            was, now = _number(old), _number(new)
            if was is None and now is None:
                continue
            if was is None or now is None or abs(now - was) > (0 if exact else max(TOLERANCE * was, TOLERANCE_BYTES)):
                found.append(f"{row[0]}: {old} on the page, {new} measured")
    return found


def is_current(name, rows, how_to_write, exact=False):
    """Whether a table of docs/footprint.md says what was measured; says it when not."""
    try:
        found = differences(text_between(DOCUMENT.read_text(encoding="utf-8"), name), rows, exact)
    except KeyError:
        found = ["the markers are not there, or more than once"]
    for difference in found:
        print(f"{DOCUMENT.relative_to(PROJECT)}: {name}: {difference}", file=sys.stderr)
    if found:
        print(f'The page is out of date: run "{how_to_write} --write" and look at the change.', file=sys.stderr)
    return not found


def write(name, body):
    """Refreshes one table of docs/footprint.md."""
    text = DOCUMENT.read_text(encoding="utf-8")
    try:
        text = replace_between(text, name, body)
    except KeyError:
        sys.exit(f"{DOCUMENT}: the markers of {name} are not there, or more than once")
    DOCUMENT.write_text(text, encoding="utf-8")
    print(f"{DOCUMENT.relative_to(PROJECT)}: {name} is up to date")
