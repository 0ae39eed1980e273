# SPDX-License-Identifier: MIT
"""Reads the functions that C headers declare."""

import pathlib
import re

from checks import code_only

_ATTRIBUTE = re.compile(r"__attribute__\s*\(\(|\[\[")


def _cut_attributes(text):
    """Without GNU and C++ attributes, which hold parentheses of their own."""
    while True:
        found = _ATTRIBUTE.search(text)
        if not found:
            return text
        opening, closing = ("(", ")") if found.group(0).endswith("(") else ("[", "]")
        depth, end = 2, found.end()
        while depth and end < len(text):
            depth += (text[end] == opening) - (text[end] == closing)
            end += 1
        text = text[: found.start()] + " " + text[end:]


def _declarations(text):
    """The declarations at file scope, without the insides of braces."""
    text = re.sub(r'extern\s*""\s*\{', " ", text)
    depth, current = 0, []
    for char in text:
        if char == "{":
            depth += 1
        elif char == "}" and depth:
            depth -= 1
            current.append("{}")
        elif char == "}":  # the end of extern "C"
            current = []
        elif depth == 0 and char == ";":
            yield " ".join("".join(current).split())
            current = []
        elif depth == 0:
            current.append(char)


def _declared_function(declaration):
    """The name of the function that a declaration declares; None when it declares something else."""
    if "(" not in declaration or re.match(r"(typedef|static|_Static_assert|static_assert|using)\b", declaration):
        return None
    before, after = declaration.split("(", 1)
    returns_function = re.match(r"\s*\*+\s*(?:const\s+)?(\w+)\s*\(", after)  # int (*name(int))(double)
    if returns_function:
        return returns_function.group(1)
    if after.lstrip().startswith("*") or "=" in before:  # a variable: int (*name)(double), int name = f(1)
        return None
    name = re.search(r"(\w+)\s*$", before)
    return name.group(1) if name else None


def functions_of(text):
    """The names of the functions with external linkage that the text of a header declares."""
    names = map(_declared_function, _declarations(_cut_attributes(code_only(text))))
    return {name for name in names if name}


def functions_of_folder(folder):
    """The functions declared by all headers of a folder."""
    names = set()
    for header in sorted(pathlib.Path(folder).glob("*.h")):
        names |= functions_of(header.read_text(encoding="utf-8"))
    return names
