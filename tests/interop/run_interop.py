# SPDX-License-Identifier: MIT
"""Two ends of a conversation over the loopback interface, perhaps of different processors.

usage: run_interop.py tcp|udp SERVER CLIENT_BYTE_ORDER CLIENT...

SERVER is a program of this machine; CLIENT is a command, an emulator's included.
"""

import subprocess
import sys

_PATIENCE = 60  # seconds; an emulator on a busy machine is slow


def main():
    transport, server, order, *client = sys.argv[1:]
    expected = "same" if order == sys.byteorder else "other"
    with subprocess.Popen([server, "serve", transport], stdout=subprocess.PIPE, text=True) as peer:
        try:
            port = peer.stdout.readline().strip()
            if not port.isdecimal():
                sys.exit(f"FAILED: the server did not tell its port, but {port!r}")
            asked = subprocess.run([*client, "ask", transport, port, expected], timeout=_PATIENCE, check=False)
            if asked.returncode != 0:
                sys.exit(f"FAILED: the client ended with {asked.returncode}")
            if peer.wait(_PATIENCE) != 0:
                sys.exit(f"FAILED: the server ended with {peer.returncode}")
        finally:
            peer.kill()


if __name__ == "__main__":
    main()
