"""Shipped libraries and programs are hardened: their headers and their code show it.

usage: hardening_test.py FILE...      ELF files, .dll and .exe, stripped or not"""
import re
import subprocess
import sys
import unittest

FILES = sys.argv[1:]


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def linux_checks(path):
    headers = output("readelf", "-hldW", path)
    calls = re.findall(r" U (\w+)", output("nm", "-D", "--undefined-only", path))
    code = output("objdump", "-d", "--no-show-raw-insn", path)
    kind = "DYN" if ".so" in path else "PIE"
    return {
        "binds every symbol at startup": re.search(r"\(FLAGS_1\).*\bNOW\b", headers),
        "makes relocated data read-only": "GNU_RELRO" in headers,
        "does not execute its stack": re.search(r"GNU_STACK .* RW +0x", headers),
        "is loaded at a random address": re.search(rf"(Type: +|\(FLAGS_1\).*\b){kind}\b", headers),
        "protects its stack": "__stack_chk_fail" in calls,
        "checks the sizes of buffers": any(call.endswith("_chk") for call in calls),
        "is marked for shadow stacks": re.search(r"x86 feature:.*\bSHSTK\b",
                                                 output("readelf", "-nW", path)),
        # A few come with the compiler's start files in any case.
        "marks the targets of indirect branches": code.count("endbr64") > 50,
    }


def windows_checks(path):
    headers = output("i686-w64-mingw32-objdump", "-p", path)
    characteristics = int(re.search(r"^DllCharacteristics\s+(\w+)", headers, re.M)[1], 16)
    relocations = re.search(r"^Entry 5 \w+ (\w+) Base Relocation", headers, re.M)[1]
    # The files have no symbols. The function that protected code calls contains "int $0x29".
    code = output("i686-w64-mingw32-objdump", "-d", "--no-show-raw-insn", path)
    calls = [int(target, 16) for target in re.findall(r"\tcall +(?:0x)?([0-9a-f]+)", code)]
    traps = [int(place, 16) for place in re.findall(r"^ *([0-9a-f]+):\tint +\$0x29", code, re.M)]
    functions = {max((call for call in calls if call <= trap), default=0) for trap in traps}
    return {
        "is loaded at a random address": characteristics & 0x40 and int(relocations, 16) > 0,
        "does not execute data": characteristics & 0x100,
        "protects its stack": sum(call in functions for call in calls) > 50,
    }


class HardeningTest(unittest.TestCase):
    def test(self):
        self.assertTrue(FILES)
        for path in FILES:
            checks = windows_checks if path.endswith((".dll", ".exe")) else linux_checks
            for what, holds in checks(path).items():
                with self.subTest(file=path, what=what):
                    self.assertTrue(holds)


unittest.main(argv=sys.argv[:1])
