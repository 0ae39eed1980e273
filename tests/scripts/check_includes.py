# SPDX-License-Identifier: MIT
"""Folders of src/ include only folders below them; public headers include nothing private.

usage: check_includes.py PROJECT_FOLDER
"""

import pathlib
import re
import sys

from checks import report

# What each folder may include, apart from itself.
ALLOWED = {
    "base": set(),
    "containers": {"base"},
    "data": {"base", "containers"},
    "serialize": {"base", "containers", "data"},
    "transport": {"base", "containers", "data"},
    "config": {"base", "containers", "data"},
    "storage": {"base", "containers", "config"},
}

# The folder that a public header speaks for. The header of all headers is for programs, not for src/.
PUBLIC = {
    "memory": "base",
    "hashmap": "containers",
    "collections": "containers",
    "xdata": "data",
    "xkey": "data",
    "serialize": "serialize",
    "transport": "transport",
    "config": "config",
    "storage": "storage",
}

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.MULTILINE)


def problems_of_source(name, text, sources):
    """name is the path below src/; sources the paths of all files there."""
    folder = name.split("/")[0]
    if folder not in ALLOWED:
        return [f"src/{name}: the folder {folder} has no place in the order"]
    may = ALLOWED[folder] | {folder}
    problems = []
    for quote, path in _INCLUDE.findall(text):
        target = path.split("/")[0]
        if quote == '"':
            if path not in sources:
                problems.append(f'src/{name} includes "{path}", which is not a file below src/')
            elif target not in may:
                problems.append(f'src/{name} includes "{path}": {folder} may not include {target}')
        elif target == "varnel":
            owner = PUBLIC.get(path.removeprefix("varnel/").removesuffix(".h"))
            if owner not in may:
                problems.append(f"src/{name} includes <{path}>: {folder} may not include {owner or 'that header'}")
        elif path in sources:
            problems.append(f"src/{name} includes <{path}>: write it in quotes")
    return problems


def problems_of_header(name, text, headers):
    """Public headers include system headers and each other, nothing else."""
    problems = []
    for quote, path in _INCLUDE.findall(text):
        if quote == '"' and path not in headers:
            problems.append(f'include/varnel/{name} includes "{path}", which is not a public header')
        if quote == "<" and not re.fullmatch(r"(sys/|netinet/|arpa/)?[a-z0-9_]+\.h", path):
            problems.append(f"include/varnel/{name} includes <{path}>, which is not a header of the C library")
    return problems


def main():
    project = pathlib.Path(sys.argv[1])
    sources = {path.relative_to(project / "src").as_posix() for path in (project / "src").rglob("*.[ch]*")}
    sources = {name for name in sources if name.endswith((".h", ".c", ".cpp", ".hpp"))}
    headers = {path.name for path in (project / "include" / "varnel").iterdir()}
    if not sources or not headers:
        sys.exit(f"FAILED: no sources in {project}")
    problems = []
    for name in sorted(sources):
        problems += problems_of_source(name, (project / "src" / name).read_text(encoding="utf-8"), sources)
    for name in sorted(headers):
        problems += problems_of_header(name, (project / "include/varnel" / name).read_text(encoding="utf-8"), headers)
    report(problems, f"{len(sources)} sources and {len(headers)} public headers include what they may")


if __name__ == "__main__":
    main()
