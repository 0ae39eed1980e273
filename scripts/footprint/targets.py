# SPDX-License-Identifier: MIT
"""The targets that the library is measured for, and how each is built."""

import dataclasses
import os
import pathlib
import shutil
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = "src/libvarnel_share.so.0"

# Leaves the call graph with the frames of the library as it is linked beside it; changes nothing in the code.
CALL_GRAPH_FLAGS = "-fstack-usage -fcallgraph-info=su,da"


@dataclasses.dataclass(frozen=True)
class Target:
    name: str  # of the toolchain file; empty for the build machine itself
    title: str
    compiler: str
    package: str  # Debian's, of the compiler
    limit: int = 0  # bytes of text and data; 0: none
    emulator: tuple = ()  # runs the target's programs

    @property
    def folder(self):
        return PROJECT / f"build-footprint-{self.name or 'native'}"


ARM = Target(
    "armhf",
    "ARM hard-float, Thumb-2",
    "arm-linux-gnueabihf-g++",
    "g++-arm-linux-gnueabihf",
    28 * 1024,
    ("qemu-arm", "-L", "/usr/arm-linux-gnueabihf"),
)
I386 = Target("i386", "i386", "i686-linux-gnu-g++", "g++-i686-linux-gnu", 36 * 1024)
NATIVE = Target("", "the build machine", "g++", "build-essential")
DEVICES = (ARM, I386)


def run(command, log):
    """Runs a command in the project's folder, its output at the end of the file log; ends the process when it fails."""
    with open(log, "a", encoding="utf-8") as output:
        done = subprocess.run(command, cwd=PROJECT, stdout=output, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        sys.stderr.write(log.read_text(encoding="utf-8", errors="replace")[-8000:])
        sys.exit(f"failed ({done.returncode}): {' '.join(map(str, command))}")


def output_of(*command):
    """The standard output of a command; ends the process when it fails."""
    done = subprocess.run(command, cwd=PROJECT, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"failed ({done.returncode}): {' '.join(map(str, command))}\n{done.stderr}")
    return done.stdout


def output_of_program(target, folder, program):
    """The standard output of a program of a build that needs the library."""
    path = f"{folder}/src:{folder}/tavi_util"
    if target.emulator:
        return output_of(*target.emulator, "-E", f"LD_LIBRARY_PATH={path}", folder / program)
    return output_of("env", f"LD_LIBRARY_PATH={path}", folder / program)


def builds_with_m32():
    """Whether the machine's own compiler serves for 32-bit x86: its package and the cross compiler's exclude each
    other."""
    source = b"#include <string>\nint main() { return static_cast<int>(std::string().size()); }\n"
    done = subprocess.run(
        ["g++", "-m32", "-x", "c++", "-", "-o", os.devnull], input=source, capture_output=True, check=False
    )
    return done.returncode == 0


def install(targets, *packages):
    """Installs the compilers of the targets, what builds need, and other packages."""
    wanted = ["build-essential", "binutils", "cmake", "ninja-build", *packages]
    for target in targets:
        if shutil.which(target.compiler) or (target is I386 and shutil.which("g++") and builds_with_m32()):
            continue
        wanted.append(target.package)
    if any(target.emulator and not shutil.which(target.emulator[0]) for target in targets):
        wanted.append("qemu-user")
    done = subprocess.run([PROJECT / "scripts/install-packages", *wanted], stdout=sys.stderr, check=False)
    if done.returncode != 0:
        sys.exit("a package is missing")


def build(target, cmake_targets=("varnel_share",)):
    """Builds what is wanted for size; the build folder."""
    folder = target.folder
    folder.mkdir(exist_ok=True)
    log = folder / "footprint.log"
    log.unlink(missing_ok=True)
    options = [
        "-DCMAKE_BUILD_TYPE=MinSizeRel",
        "-DVARNEL_STORE=OFF",
        "-DBUILD_TESTING=OFF",
        "-DCMAKE_SKIP_RPATH=ON",  # as installed, and the same in every folder
        f"-DCMAKE_SHARED_LINKER_FLAGS={CALL_GRAPH_FLAGS}",
    ]
    if target.name:
        options.append(f"-DCMAKE_TOOLCHAIN_FILE={PROJECT}/cmake/toolchains/{target.name}.cmake")
    run(["cmake", "-S", PROJECT, "-B", folder, "-G", "Ninja", *options], log)
    run(["cmake", "--build", folder, "--target", *cmake_targets], log)
    return folder
