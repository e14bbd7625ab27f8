#!/usr/bin/env python3
"""An agent in Python: prints the server's version and, with a target and a file, downloads.

    agent.py URL [TARGET FILE]

PYTHONPATH must contain bindings/python. The module finds the library beside itself, in the system's
directories, or at the path in ORLA_LIBRARY.
"""
import sys

import orlacl


def printable(text: str) -> str:
    """Replaces the characters of a server's text that could control a terminal."""
    return "".join(character if character.isprintable() else "?" for character in text)


def show(count: int, preview: bytes) -> None:
    """Shows the beginning of the file. Only the first call of a download has it."""
    if preview:
        print(f"It begins with {preview[:16]!r}.")


def main(url: str, *download: str) -> int:
    try:
        with orlacl.Library() as library, library.connect(url) as server:
            print("The server has version %d.%d." % server.version())
            if download:
                target, path = download
                print(f"{path}: {server.download(target, path, show)} bytes.")
    except orlacl.Error as error:
        print("Failed:", printable(str(error)))
        return 1
    return 0


if __name__ == "__main__":
    if len(sys.argv) not in (2, 4):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
