#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The manual page and the completion know what varnelctl knows: documents_test.py PROGRAM MANUAL COMPLETION

Commands and options are taken from the program's own help. The manual page must be free of errors, where mandoc or
groff is there to say so.
"""

import re
import shutil
import subprocess
import sys


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=30).stdout


def commands_of(program):
    listed = output_of(program, "--help").split("Subcommands:\n")[1].split("\n\n")[0]
    commands = re.findall(r"^  ([a-z]+)  ", listed, re.MULTILINE)
    assert len(commands) == 15, commands
    return commands


def options_of(program, *command):
    text = output_of(program, *command, "--help").split("\nExamples:")[0]
    found = {option for line in re.findall(r"^ +-.*", text, re.MULTILINE) for option in re.findall(r"--[a-z][a-z-]*", line.strip().split("  ")[0])}
    return found - {"--help"} - ({"--udp"} if command else set())


def problems_of_manual(manual, command, options):
    problems = [] if re.search(rf"\b{command}\b", manual) else [f"the manual page lacks the command {command}"]
    for option in options:
        if not re.search(rf"\bFl (v , )?-?{option[1:]}\b|\| {option[1:]}\b", manual):
            problems.append(f"the manual page lacks {option} of {command}")
    return problems


def problems_of_completion(completion, command, options):
    script = f"source {completion}; _varnelctl_options {command}"
    offered = set(output_of("bash", "-c", script).split())
    always = {"--help", "--socket", "--udp", "--timeout"}
    return [
        f"the completion of {command} {what} {option}"
        for what, difference in (("lacks", options - offered), ("has no business with", offered - options - always))
        for option in difference
    ]


def problems_of_markup(path):
    for command in (["mandoc", "-T", "lint", "-W", "warning", path], ["groff", "-mandoc", "-ww", "-z", path]):
        if shutil.which(command[0]):
            result = subprocess.run(command, capture_output=True, text=True, timeout=30)
            return (result.stdout + result.stderr).splitlines()
    return []


def main():
    program, manual_path, completion = sys.argv[1:]
    with open(manual_path, encoding="utf-8") as file:
        manual = file.read()
    problems = problems_of_markup(manual_path)
    for command in commands_of(program):
        options = options_of(program, command)
        problems += problems_of_manual(manual, command, options)
        problems += problems_of_completion(completion, command, options)
    problems += problems_of_manual(manual, "varnelctl", options_of(program))
    print(*problems, sep="\n")
    sys.exit(1 if problems else 0)


main()
