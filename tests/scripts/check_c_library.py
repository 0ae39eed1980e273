# SPDX-License-Identifier: MIT
"""What docs/porting.md says that the library and the log stand-in need of the C library: the functions that their sources
call, no others; and what the build at hand needs is among these and the stand-ins for them that the page names.

usage: check_c_library.py NM LIBRARY LOG_LIBRARY PROJECT    (LOG_LIBRARY: "none" for a device's own)
"""

import pathlib
import re
import sys

from checks import code_only, report, run

_HEADING = "**The C library's functions**"
_REPLACED = "in their place"
_LOG = {"log_vperr", "log_vpinfo", "log_vpdebug"}

# What compilers, linkers and C libraries add by themselves, whatever the sources call: where errno and thread-local
# variables are, hooks for start, end and profiles, the guard of the stack.
_ADDED = re.compile(
    r"__errno_location|_{2,3}tls_get_addr|__cxa_finalize|__gmon_start__|_ITM_\w+TMCloneTable|__stack_chk_(fail|guard)"
)


def functions_in(text):
    """The names in backticks, without what stands in parentheses behind them."""
    return set(re.findall(r"`(\w+)(?:\([^`]*\))?`", text))


def table_of(document):
    """{what for: names} of the page's table, and the names that the log stand-in needs besides."""
    if document.count(_HEADING) != 1:
        sys.exit(f"FAILED: {_HEADING} is not there once")
    part = document.split(_HEADING)[1].split("\n\n")
    rows = [line.strip("|").split("|") for line in part[1].splitlines()[2:]]
    return {row[0].strip(): functions_in(row[1]) for row in rows}, functions_in(part[2])


def needed_names(nm_output):
    """The functions that a shared object needs, by the names that programs call them by: without versions, without the
    marks of the checking variants (_FORTIFY_SOURCE), of C standards, and of large files."""
    names = set()
    for line in nm_output.splitlines():
        name = line.split()[-1].split("@")[0]
        name = re.sub(r"^__(\w+)_chk$", r"\1", name) if not _ADDED.fullmatch(name) else name
        name = re.sub(r"^__isoc\d+_", "", name)
        names.add(re.sub(r"^(fopen|fcntl)64$", r"\1", name))
    return {name for name in names if not _ADDED.fullmatch(name)}


def called_in(sources):
    """Every word in the code that can be the name of a function."""
    return set(re.findall(r"\b[a-z]\w*", " ".join(map(code_only, sources))))


def problems_of(title, needed, listed, replacing, called):
    problems = [f"{title} needs {name}, which is not listed" for name in sorted(needed - listed - replacing)]
    problems += [f"{name} is listed, but no source of {title} calls it" for name in sorted(listed - called)]
    return problems


def sources_of(folder):
    return [path.read_text(encoding="utf-8") for path in sorted(folder.rglob("*")) if path.suffix in {".c", ".cpp", ".h"}]


def main():
    nm, library, log_library, project = sys.argv[1:]
    project = pathlib.Path(project)
    rows, besides = table_of((project / "docs/porting.md").read_text(encoding="utf-8"))
    replacing = rows.pop(_REPLACED, set())
    listed = set().union(*rows.values())
    needed = needed_names(run(nm, "-D", "--undefined-only", library)) - _LOG
    problems = problems_of("the library", needed, listed, replacing, called_in(sources_of(project / "src")))
    if log_library != "none":
        needed = needed_names(run(nm, "-D", "--undefined-only", log_library))
        called = called_in(sources_of(project / "tavi_util"))
        problems += problems_of("the log stand-in", needed - listed, besides, replacing, called)
    report(problems, f"{len(listed)} functions, called and listed")


if __name__ == "__main__":
    main()
