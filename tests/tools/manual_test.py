"""Help, manual pages and completion have the same commands and options; groff accepts the pages."""
import re
import subprocess
import unittest
from pathlib import Path

from programs import ARGUMENTS, WAIT, main

TOOLS = Path(__file__).parents[2] / "tools"


def said(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=WAIT).stdout


def completed(*typed):
    script = (f". {TOOLS}/orla/orla.bash; COMP_WORDS=(orla {' '.join(typed)}) "
              f"COMP_CWORD={len(typed)} COMP_POINT=99; "
              "COMP_LINE=${COMP_WORDS[*]}; _orla; echo ${COMPREPLY[*]}")
    return sorted(said("bash", "-c", script).split())


class ManualTest(unittest.TestCase):
    def test_pages(self):
        for program, page in ((ARGUMENTS.devserver, TOOLS / "devserver" / "orla-devserver.1"),
                              (ARGUMENTS.client, TOOLS / "orla" / "orla.1")):
            with self.subTest(page):
                self.assertEqual(said("groff", "-man", "-ww", "-z", page), "")
                # Examples may contain options of other programs.
                text = re.sub(r"(?ms)^\.EX$.*?^\.EE$", "", page.read_text()).replace(r"\-", "-")
                commands = re.findall(r"(?m)^  (\w+)   ", said(program, "--help"))
                described = text.partition(".SH COMMANDS\n")[2].partition(".SH")[0]
                self.assertEqual(re.findall(r"(?m)^\.TP\n\.B (\w+)$", described), commands)
                options = {words: re.findall(r"(?m)^  (?:-h,)?(--[\w-]+)",
                                             said(program, *words, "--help"))
                           for words in ((), *((command,) for command in commands))}
                self.assertEqual(set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text)),
                                 set().union(*options.values()))
        for words, names in options.items():  # The options of the client.
            self.assertEqual(completed(*words, "--"), sorted(names))
        self.assertEqual(completed("''"), sorted(commands))


main()
