"""The tools of an unpacked package start, and an agent that is built with it works.

usage: agent_test.py TREE VERSION DEVSERVER CMAKE_ARGUMENT...
EMULATOR in the environment is the command that runs programs for Windows."""
import os
import subprocess
import sys
import unittest
from pathlib import Path

import programs

TREE, VERSION, programs.ARGUMENTS.devserver, *WAY = sys.argv[1:]
EMULATOR = os.environ.get("EMULATOR")
programs.ARGUMENTS.emulator = [EMULATOR] if EMULATOR else []


class AgentTest(programs.ProgramTestCase):
    def test(self):
        for tool in Path(TREE, "bin").glob("orla*"):  # Another test checks that all of them exist.
            programs.ARGUMENTS.client = tool
            self.expect(0, f"{tool.stem} {VERSION}\n", "", "--version")

        build, content = self.folder / "build", os.urandom(5000)
        (self.work / "sent").write_bytes(content)
        with programs.DevServer(self.stored, "--server-version", "5.10.1234") as server:
            for step in (["-S", Path(__file__).parent, "-B", build, "-G", "Ninja", *WAY,
                          f"-DAGENT_URL={server.url}", f"-DTREE={TREE}", f"-DVERSION={VERSION}"],
                         ["--build", build]):
                subprocess.run(["cmake", *step], check=True)
            programs.ARGUMENTS.client = build / ("agent.exe" if EMULATOR else "agent")
            self.expect(0, "", "")
        self.assertEqual((self.work / "received").read_bytes(), content)


unittest.main(argv=sys.argv[:1])
