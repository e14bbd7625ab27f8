"""The README's example is the one that is compiled, and the paths that it names exist.

usage: readme_test.py SOURCE_FOLDER
"""
import pathlib
import re
import sys

top = pathlib.Path(sys.argv[1])
readme = (top / "README.md").read_text()
example = (top / "examples/agent.c").read_text()
if example not in readme:
    sys.exit("README.md does not hold examples/agent.c as it stands")
for path in re.findall(r"`((?:src|tests|tools|include|examples|scripts|docs|cmake)/[\w./-]*)`",
                       readme):
    if not (top / path).exists():
        sys.exit(f"README.md names {path}, which does not exist")
