"""Paths and links in the documents exist, samples compile, and the README's example tells errors.

usage: readme_test.py SOURCE_FOLDER C_COMPILER EXAMPLE_PROGRAM [EMULATOR]"""
import pathlib
import re
import subprocess
import sys

top, compiler, program, *emulator = sys.argv[1:]
top = pathlib.Path(top)
check = [compiler, *"-std=c99 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -xc -".split(), f"-I{top}/include",
         *"-include orla/ORLACl.h -include stdio.h -include string.h".split()]
for document in [*top.glob("*.md"), *top.glob("docs/*.md")]:
    text = document.read_text("utf-8")
    for path in (*re.findall(r"`((?:src|tests|tools|include|examples|scripts|docs|cmake|fuzz)/[\w./-]*)`", text),
                 *(document.parent / link for link in re.findall(r"\]\((?!https?:)([^)#]+)", text))):
        if not (top / path).exists():
            sys.exit(f"{document} names {path}, which does not exist")
    for language, sample in re.findall(r"^```(c|python)\n(.*?)^```", text, re.M | re.S):
        if language == "python":
            compile(sample, document, "exec")
        else:
            subprocess.run(check, input=sample, text=True, check=True)
if (top / "examples/agent.c").read_text() not in (top / "README.md").read_text("utf-8"):
    sys.exit("README.md does not hold examples/agent.c as it stands")
# Nothing listens on port 0. A file, not a pipe: Wine's services outlive the program.
with open("example.out", "w+") as output:
    code = subprocess.call([*emulator, program, "http://127.0.0.1:0/"], stdout=output, timeout=50)
    output.seek(0)
    said = output.read()
if code != 1 or not re.fullmatch(r"No version: status 4: RWSocketError: .+\n", said):
    sys.exit(f"the example ended with {code} and said {said!r}")
