#!/usr/bin/env python3
"""Commands whose local file or directory cannot be read or written."""
import os
import time

from programs import ARGUMENTS, KIND, WAIT, DevServer, ProgramTestCase, ScriptedServer, main, reply

INTERNAL = r"status 1: Transport internal error \(the file cannot be written"
TOO_LONG = r"status 6: .*the path, the name or the identities are too long"


class DiskTest(ProgramTestCase):
    def setUp(self):
        super().setUp()
        (self.stored / "new").write_bytes(b"new")
        (self.work / "file").write_bytes(b"old")
        self.url = self.enterContext(DevServer(self.stored)).url
        self.drive = "Z:" if ARGUMENTS.emulator else ""

    def files(self):
        return {path: path.read_bytes() for path in self.work.rglob("*") if path.is_file()}

    def check(self, message, target, path, before=()):
        """Downloads the target to the path, or sends the path if there is no target.

        Expects success, or the message if there is one."""
        files, output = self.files(), ""
        if not message:
            content = (self.stored / target[1:]).read_bytes()
            files[self.work / path.removeprefix(self.drive)] = content
            output = f"{path}: {len(content)} bytes\n"
        command = ("get", self.url, target, path) if target else ("send", self.url, path, *KIND)
        self.expect(bool(message), output, message, *command, before=before)
        self.assertTrue(self.files() == files, "a file is missing, left over or damaged")

    def deep(self, length, name):
        """Returns a path of this length, as the client spells it, and creates its directories."""
        room = length - len(f"{self.drive}{self.work}/{name}")
        folder = str(self.work) + (("/" + "d" * 200) * 3)[:room].rstrip("/").ljust(room, "d")
        os.makedirs(folder, exist_ok=True)
        return f"{self.drive}{folder}/{name}"

    def test_places(self):
        (self.work / "read-only").touch(0o444)
        (self.work / "shut").mkdir(0o555)
        (self.folder / "unreadable").touch(0)
        windows, root, long = bool(ARGUMENTS.emulator), os.geteuid() == 0, "a" * 20
        cases = [  # message, target, path
            (INTERNAL, "/new", "file/file"),
            (INTERNAL, "/new", "/proc/file"),  # A directory that nobody can write.
            ("status 9: the file cannot be replaced" * windows, "/new", "read-only"),
            # Windows itself accepts no path longer than 259 characters.
            ("", "/new", self.deep(259, long)),
            (INTERNAL * windows, "/new", self.deep(519, long)),
            (INTERNAL, "/new", self.deep(519, "b")),  # The temporary file's path is longer.
            (TOO_LONG, "/new", self.deep(520, long)),
            ("status 14: no such file", "", "missing/file"),
            ("status 1: the file cannot be opened", "", "shut"),
            (f"status {1 if windows else 14}: ", "", self.deep(519, "missing")),
            (TOO_LONG, "", self.deep(520, "missing"))]
        # Without these capabilities file modes apply to root, too. Wine's server opens the files.
        plain = ("setpriv", "--bounding-set=-dac_override,-dac_read_search") * (root and not windows)
        if not (root and windows):
            cases += [(INTERNAL, "/new", "shut/file"),
                      ("status 1: the file cannot be opened", "", "../unreadable")]
        for case in cases:
            self.check(*case, before=plain)

    def test_process_killed_during_download(self):
        with ScriptedServer(reply(200, b"x" * 4096, length=1 << 20), b"") as server:
            process = self.start("get", server.url, "/new", "file")
            limit = time.monotonic() + WAIT
            while sorted(map(len, self.files().values())) != [3, 4096]:
                self.assertLess(time.monotonic(), limit)
                time.sleep(0.01)
            process.kill()
            process.wait(WAIT)
        # The incomplete file remains beside the old file, and does not disturb the next download.
        self.assertRegex(" ".join(sorted(os.listdir(self.work))), r"^\$Ve[0-9A-Fa-f]+\.tmp file$")
        self.assertEqual((self.work / "file").read_bytes(), b"old")
        self.check("", "/new", "file")


main()
