"""The README's example is the compiled one and tells errors; the paths that the README names exist.

usage: readme_test.py SOURCE_FOLDER EXAMPLE_PROGRAM [EMULATOR]"""
import pathlib
import re
import subprocess
import sys

top, program, *emulator = sys.argv[1:]
top = pathlib.Path(top)
readme = (top / "README.md").read_text()
if (top / "examples/agent.c").read_text() not in readme:
    sys.exit("README.md does not hold examples/agent.c as it stands")
for path in re.findall(r"`((?:src|tests|tools|include|examples|scripts|docs|cmake)/[\w./-]*)`",
                       readme):
    if not (top / path).exists():
        sys.exit(f"README.md names {path}, which does not exist")
# Nothing listens on port 0. A file, not a pipe: Wine's services outlive the program.
with open("example.out", "w+") as output:
    code = subprocess.call([*emulator, program, "http://127.0.0.1:0/"], stdout=output, timeout=50)
    output.seek(0)
    said = output.read()
if code != 1 or not re.fullmatch(r"No version: status 4: RWSocketError: .+\n", said):
    sys.exit(f"the example ended with {code} and said {said!r}")
