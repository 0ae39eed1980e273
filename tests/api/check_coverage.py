# SPDX-License-Identifier: MIT
"""Every function of the public headers is used by the API test program.

usage: check_coverage.py NM PROGRAM HEADER_FOLDER
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts"))

from checks import report, run  # noqa: E402
from public_functions import functions_of_folder  # noqa: E402


def main():
    nm, program, headers = sys.argv[1:]
    used = {line.split()[-1].partition("@")[0] for line in run(nm, "-D", "--undefined-only", program).splitlines()}
    declared = functions_of_folder(headers)
    if not declared:
        sys.exit(f"FAILED: no functions found in {headers}")
    problems = [f"{name} is not used by the API test" for name in sorted(declared - used)]
    report(problems, f"all {len(declared)} functions are used")


if __name__ == "__main__":
    main()
