# SPDX-License-Identifier: MIT
"""What the checks of this folder share: running a tool, reading C text, reporting."""

import re
import subprocess
import sys


def run(*command):
    """The standard output of a tool; ends the check when the tool fails."""
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{done.stderr}")
    return done.stdout


def report(problems, passed):
    """Prints the outcome of a check and ends the process."""
    for problem in problems:
        print(f"FAILED: {problem}")
    if problems:
        sys.exit(1)
    print(passed)
    sys.exit(0)


_NOISE = re.compile(
    r"""//(?:\\\n|[^\n])*                   # line comment
      | /\*.*?\*/                           # block comment
      | R"(?P<tag>[^(\s]*)\(.*?\)(?P=tag)"  # raw string
      | "(?:\\.|[^"\\\n])*"                 # string
      | (?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+' # character; not the separator of digits
      | ^[ \t]*\#(?:\\\n|[^\n])*            # preprocessor line
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


def code_only(text):
    """C or C++ text without comments and preprocessor lines, and with empty literals; every line keeps its number."""

    def blank(match):
        found = match.group(0)
        lines = "\n" * found.count("\n")
        if found.lstrip().startswith("#") or found.startswith("/"):
            return " " + lines
        return ("''" if found[0] == "'" else '""') + lines

    return _NOISE.sub(blank, text)
