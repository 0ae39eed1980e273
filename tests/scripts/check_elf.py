# SPDX-License-Identifier: MIT
"""Run-time needs and hardening of the installed library.

usage: check_elf.py READELF LIBRARY SONAME NEEDED OPTIONAL_NEEDED    (lists with commas)
"""

import re
import sys

from checks import report, run

# The run-time parts of the C++ language and library, and of the compiler's own support library for unwinding.
_CXX_RUNTIME = re.compile(r"_Z|__cxa_(?!finalize)|__gxx_|_Unwind_|__gcc_personality|__dynamic_cast")


def dynamic_entries(text):
    """(tag, value) of each entry that `readelf -dW` lists."""
    entries = []
    for tag, value in re.findall(r"^\s*0x[0-9a-f]+\s+\((\w+)\)\s*(.*)$", text, re.MULTILINE):
        bracketed = re.search(r"\[(.*)\]", value)
        entries.append((tag, bracketed.group(1) if bracketed else value.strip()))
    return entries


def problems_of_dynamic(entries, soname, needed, optional):
    """Name, needs, relocations and binding."""
    problems = []
    values = {}
    for tag, value in entries:
        values.setdefault(tag, []).append(value)
    if values.get("SONAME") != [soname]:
        problems.append(f"SONAME is {values.get('SONAME')}, not {soname}")
    found = set(values.get("NEEDED", []))
    for name in sorted(set(needed) - found):
        problems.append(f"{name} is not among the needed libraries {sorted(found)}")
    for name in sorted(found - set(needed) - set(optional)):
        problems.append(f"{name} is needed at run time")
    for tag in ("RPATH", "RUNPATH", "TEXTREL"):
        if tag in values:
            problems.append(f"the library has {tag} {values[tag]}")
    flags = " ".join(values.get("FLAGS", []) + values.get("FLAGS_1", []))
    if "TEXTREL" in flags:
        problems.append("the library has text relocations")
    if not re.search(r"\bBIND_NOW\b|\bNOW\b", flags) and "BIND_NOW" not in values:
        problems.append("symbols are bound lazily: link with -z now")
    return problems


def problems_of_segments(text):
    """Read-only relocations and the stack, from `readelf -lW`."""
    problems = []
    if not re.search(r"^\s*GNU_RELRO\b", text, re.MULTILINE):
        problems.append("no GNU_RELRO segment: link with -z relro")
    stack = re.search(r"^\s*GNU_STACK(?:\s+0x[0-9a-f]+){5}\s+([RWE]+)", text, re.MULTILINE)
    if not stack or "E" in stack.group(1):
        problems.append("the stack is executable, or not said not to be")
    return problems


def problems_of_symbols(text):
    """Symbols of the C++ run-time that are missing or built in, from `readelf --dyn-syms -W`."""
    names = re.findall(r"^\s*\d+:.*\s(?:UND|\d+)\s+([^\s@]+)", text, re.MULTILINE)
    if not names:
        return ["no dynamic symbols found"]
    return [f"{name} belongs to the run-time of C++" for name in names if _CXX_RUNTIME.match(name)]


def main():
    readelf, library, soname, needed, optional = sys.argv[1:]
    problems = problems_of_dynamic(
        dynamic_entries(run(readelf, "-dW", library)), soname, needed.split(","), optional.split(",")
    )
    problems += problems_of_segments(run(readelf, "-lW", library))
    problems += problems_of_symbols(run(readelf, "--dyn-syms", "-W", library))
    report(problems, f"{soname} needs {needed}")


if __name__ == "__main__":
    main()
