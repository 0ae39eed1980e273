# SPDX-License-Identifier: MIT
"""Files stay short; functions of the library stay short. Prints the figures.

usage: check_sizes.py PROJECT_FOLDER
"""

import pathlib
import statistics
import sys

from checks import report
from function_lengths import functions_of

MAX_FILE_LINES = 500
MAX_FUNCTION_LINES = 60
MAX_MEDIAN_LINES = 12


def project_files(project):
    """Every text file of the project; neither what is built nor what version control and tools keep beside it."""
    for path in sorted(project.rglob("*")):
        parts = path.relative_to(project).parts
        if parts[0] == "build" or parts[0].startswith("build-") or "__pycache__" in parts:
            continue
        if any(part.startswith(".") and part not in (".ci", ".clang-tidy", ".clang-format") for part in parts):
            continue
        if path.is_file() and not path.is_symlink() and b"\0" not in path.read_bytes()[:4096]:
            yield path


def problems_of_files(line_counts):
    """line_counts maps a path to its number of lines."""
    return [
        f"{path} has {count} lines, more than {MAX_FILE_LINES}"
        for path, count in line_counts.items()
        if count > MAX_FILE_LINES
    ]


def problems_of_functions(functions):
    """functions are (path, name, first line, number of lines)."""
    if not functions:
        return ["no functions found"]
    problems = [
        f"{path}:{first}: {name} has {length} lines, more than {MAX_FUNCTION_LINES}"
        for path, name, first, length in functions
        if length > MAX_FUNCTION_LINES
    ]
    median = statistics.median(length for *_, length in functions)
    if median > MAX_MEDIAN_LINES:
        problems.append(f"the median length of a function is {median} lines, more than {MAX_MEDIAN_LINES}")
    return problems


def main():
    project = pathlib.Path(sys.argv[1])
    line_counts = {}
    functions = []
    for path in project_files(project):
        text = path.read_text(encoding="utf-8", errors="replace")
        name = path.relative_to(project).as_posix()
        line_counts[name] = len(text.splitlines())
        if name.startswith("src/") and name.endswith((".cpp", ".h")):
            functions += [(name, *function) for function in functions_of(text)]
    functions.sort(key=lambda function: -function[3])
    lengths = sorted(length for *_, length in functions) or [0]
    print(f"{len(line_counts)} files, longest {max(line_counts.values(), default=0)} lines; {len(functions)} functions")
    print(f"lines of functions: median {statistics.median(lengths)}, 90th percentile {lengths[len(lengths) * 9 // 10]}")
    for path, name, first, length in functions[:5]:
        print(f"  {length:3} {path}:{first} {name}")
    report(problems_of_files(line_counts) + problems_of_functions(functions), "files and functions are short")


if __name__ == "__main__":
    main()
