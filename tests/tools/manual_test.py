#!/usr/bin/env python3
"""Each program's manual page: its form has no fault, and it names the options that help names."""
import re
import subprocess
import unittest
from pathlib import Path

from programs import ARGUMENTS, WAIT, main

TOOLS = Path(__file__).parents[2] / "tools"


def said(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=WAIT).stdout


def options(text):
    return sorted(set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text)))


class ManualTest(unittest.TestCase):  # Examples may show options of other programs.
    def test_pages(self):
        for program, page in ((ARGUMENTS.devserver, TOOLS / "devserver" / "orla-devserver.1"),
                              (ARGUMENTS.client, TOOLS / "orla" / "orla.1")):
            with self.subTest(page):
                self.assertEqual(said("groff", "-man", "-ww", "-z", page), "")
                told = said(program, "--help")
                commands = told.partition("Subcommands:\n")[2].partition("\n\n")[0]
                for command in re.findall(r"^  (\w+) ", commands, re.MULTILINE):
                    told += said(program, command, "--help")
                text = re.sub(r"(?ms)^\.EX$.*?^\.EE$", "", page.read_text()).replace(r"\-", "-")
                self.assertEqual(options(text), options(told))


main()
