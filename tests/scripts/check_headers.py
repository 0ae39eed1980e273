# SPDX-License-Identifier: MIT
"""Each public header compiles alone, as the first include, as C11 and as C++17, without a warning.

usage: check_headers.py INCLUDE_FOLDER C_COMPILER,... CXX_COMPILER,... [no-cxx-library]

no-cxx-library: the C++ compilers have no standard library, so no <cstdio> either.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

from checks import report

_WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only"]


def variants(header, cxx_library=True):
    """(what, language, standard, text of the program) of each way in which a header must compile."""
    include = f"#include <{header}>\n"
    yield "alone as C11", "c", "c11", include
    yield "after <stdio.h> as C11", "c", "c11", "#include <stdio.h>\n" + include
    yield "twice as C11", "c", "c11", include + include
    yield "alone as C++17", "c++", "c++17", include
    if cxx_library:
        yield "after <cstdio> as C++17", "c++", "c++17", "#include <cstdio>\n" + include


def compile_problem(compiler, folder, language, standard, text):
    """The compiler's complaint about a program, or None."""
    with tempfile.TemporaryDirectory() as scratch:
        source = pathlib.Path(scratch, "header_test." + ("c" if language == "c" else "cpp"))
        source.write_text(text, encoding="utf-8")
        command = [compiler, f"-std={standard}", *_WARNINGS, f"-I{folder}", str(source)]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        return (done.stderr or "exit status") if done.returncode != 0 else None


def problems_of(folder, compilers, cxx_library=True):
    """The complaints of all compilers; compilers maps a language to its compilers."""
    problems = []
    headers = sorted(path.relative_to(folder).as_posix() for path in pathlib.Path(folder).rglob("*.h"))
    if not headers:
        return [f"no headers in {folder}"]
    for header in headers:
        for what, language, standard, text in variants(header, cxx_library):
            for compiler in compilers[language]:
                complaint = compile_problem(compiler, folder, language, standard, text)
                if complaint:
                    problems.append(f"{header} {what} with {os.path.basename(compiler)}:\n{complaint}")
    return problems


def main():
    folder, c_compilers, cxx_compilers, *without = sys.argv[1:]
    if without not in ([], ["no-cxx-library"]):
        sys.exit(__doc__)
    compilers = {"c": c_compilers.split(","), "c++": cxx_compilers.split(",")}
    report(problems_of(folder, compilers, not without), "each public header compiles alone")


if __name__ == "__main__":
    main()
