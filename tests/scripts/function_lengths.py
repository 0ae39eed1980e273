# SPDX-License-Identifier: MIT
"""Finds the functions of C and C++ text laid out by clang-format, and their lengths."""

import re

from checks import code_only

_KEYWORD_BLOCK = re.compile(r"\b(namespace|class|struct|union|enum)\b|^extern\b")
_QUALIFIERS = re.compile(r"(\)|\])\s*(const|noexcept|override|final|mutable|&&?|\s|->[\w\s:*&<>,]+)*$")
_INITIALISERS = re.compile(r"\)\s*(noexcept\s*)?:\s*[^:]")


def _flat(text):
    """Without attributes, alignments and template parameter lists at the start, which would confuse the rules."""
    text = re.sub(r"__attribute__\s*\(\((?:[^()]|\([^()]*\))*\)\)|\[\[[^\]]*\]\]|alignas\s*\([^)]*\)", " ", text)
    text = text.strip()
    while text.startswith("template"):
        depth, end = 0, len("template")
        while end < len(text):
            depth += (text[end] == "<") - (text[end] == ">")
            end += 1
            if depth == 0 and text[end - 1] == ">":
                break
        text = text[end:].strip()
    return text


def _kind(head):
    """What a brace opens, by the text before it: "scope" (namespace, class), "function", or "data"."""
    text = _flat(head)
    if not text:
        return "data"
    is_lambda = re.search(r"\[[^\]]*\]\s*(\([^()]*(\([^()]*\)[^()]*)*\))?\s*(mutable|noexcept|->[\w\s:*&<>]+)*$", text)
    if is_lambda and re.search(r"[=(,]\s*\[|^\[", text):
        return "function"
    has_parameters = "(" in text and (_QUALIFIERS.search(text) or _INITIALISERS.search(text))
    if has_parameters and "=" not in re.sub(r"operator\s*[=!<>+\-*/]+|\([^()]*\)", "", text):
        return "function"
    if text == 'extern ""' or _KEYWORD_BLOCK.search(text):
        return "scope" if "=" not in text else "data"
    return "data"


def functions_of(text):
    """(name, first line, number of lines) of every function, including lambdas given to variables at file scope.

    A function counts from the first line of its declaration to its closing brace.
    """
    found = []
    stack = []  # kinds of the open braces
    head, head_line, line = "", 1, 1
    code = code_only(text)
    for index, char in enumerate(code):
        if char == "{":
            inside = "function" in (kind for kind, _, _ in stack) or "data" in (kind for kind, _, _ in stack)
            adjacent = index > 0 and (code[index - 1].isalnum() or code[index - 1] in "_>")
            kind = "data" if inside or adjacent else _kind(head)
            stack.append((kind, head, head_line))
            if kind != "data":
                head = ""
        elif char == "}" and stack:
            kind, opening, first = stack.pop()
            if kind == "function":
                name = re.search(r"([~\w:]+|operator\s*\S+)\s*(=\s*\[|\()", _flat(opening))
                found.append((name.group(1) if name else "?", first, line - first + 1))
            if kind != "data":
                head = ""
        elif not stack or stack[-1][0] == "scope":
            if char == ";" or (char == ":" and re.search(r"\b(public|private|protected)\s*$", head)):
                head = ""
            elif head.strip() or not char.isspace():
                if not head.strip():
                    head_line = line
                head += char
        line += char == "\n"
    return found
