#!/usr/bin/env python3
"""Commands whose local file or folder refuses; the client is orla_disk_probe."""
import os
import time

from programs import ARGUMENTS, WAIT, DevServer, ProgramTestCase, ScriptedServer, main, reply

INTERNAL = "Transport internal error"
DISK_SIZE = 1 << 24  # Enough for the files of Wine's server, should a limited client start it.


def local(path):
    """A path as the client's system spells it."""
    drive = "Z:" if path.startswith("/") else ""
    return (drive + path).replace("/", "\\") if ARGUMENTS.emulator else path


class DiskTest(ProgramTestCase):
    def setUp(self):
        super().setUp()
        self.stored.mkdir()
        (self.stored / "new").write_bytes(b"new")

    def files(self):
        return {path: path.read_bytes() for path in self.work.rglob("*") if path.is_file()}

    def check(self, operation, path, status, message, *held, before=()):
        """Runs the command, and then a download to another place, on one connection."""
        files = self.files()
        if operation != "send" and status == 0:
            files[self.work / path] = (self.stored / operation[1:]).read_bytes()
        files[self.work / "elsewhere"] = b"new"
        with self.subTest(operation=operation, path=path), \
                DevServer(self.stored, "--server-version", "none") as server:
            result = self.client(server.url, "version", "", *held, operation, local(path), "/new",
                                 local("./elsewhere"), before=before)
            # The thread's code is still what the first command made it.
            lines = f"4 58 \n{status} 58 {message}\n0 58 {message}\n"
            self.assertEqual(result, (0, lines, ""))
            self.assertTrue(self.files() == files, "a file is missing, left over or damaged")

    def deep(self, length, name):
        """A path of so many characters, as the client spells it, in folders that are made."""
        room = length - len(local(f"{self.work}/{name}"))
        folder = str(self.work) + (("/" + "d" * 200) * 3)[:room].rstrip("/").ljust(room, "d")
        os.makedirs(folder, exist_ok=True)
        return f"{folder}/{name}"

    def test_places(self):
        for name in ("folder", "shut"):
            (self.work / name).mkdir()
        for name in ("file", "held", "read-only", "shut/file"):
            (self.work / name).write_bytes(b"old")
        (self.work / "read-only").chmod(0o444)
        (self.work / "shut").chmod(0o555)
        (self.folder / "unreadable").touch(0)
        windows, root, long = bool(ARGUMENTS.emulator), os.geteuid() == 0, "a" * 20
        # Without this right modes bind root too; under Wine a server opens the files, with its own.
        modes = not (root and windows)
        plain = ("setpriv", "--bounding-set=-dac_override,-dac_read_search") * (root and modes)
        cases = (  # operation, path, status, message
            ("/new", "missing/file", 1, INTERNAL),
            ("/new", "file/file", 1, INTERNAL),
            ("/new", "/sys/file", 1, INTERNAL),  # A folder that is read-only for everybody.
            ("/new", "file", 6, INTERNAL),
            ("/new", "", 6, INTERNAL),
            ("/new", "./folder", 9, ""),
            ("/new", "./held", 9 * windows, "", "hold", "held"),
            ("/new", "./read-only", 9 * windows, ""),
            ("/new", "shut/file", 1 * modes, INTERNAL * modes),
            ("send", "../unreadable", 1 * modes, ""),
            # Windows itself takes no path above 259 characters.
            ("/new", self.deep(259, long), 0, ""),
            ("/new", self.deep(519, long), 1 * windows, INTERNAL * windows),
            ("/new", self.deep(519, "b"), 1, INTERNAL),  # The temporary file's path is longer.
            ("/new", self.deep(520, long), 6, INTERNAL),
            ("send", "./missing", 14, ""),
            ("send", "missing/file", 14, ""),
            ("send", "folder", 1, ""),
            ("send", "held", 1 * windows, "", "hold", "held"),
            ("send", self.deep(519, "missing"), 1 if windows else 14, ""),
            ("send", self.deep(520, "missing"), 6, ""),
        )
        for case in cases:
            self.check(*case, before=plain)

    def test_full_disk(self):
        full = ("env", "--ignore-signal=XFSZ", "prlimit", f"--fsize={DISK_SIZE}:{DISK_SIZE}")
        (self.work / "file").write_bytes(b"old")
        for size, status, message in ((DISK_SIZE * 5 // 4, 1, INTERNAL),
                                      (DISK_SIZE + 1, 1, INTERNAL), (DISK_SIZE, 0, "")):
            (self.stored / f"{size}").write_bytes(os.urandom(size))
            self.check(f"/{size}", "./file", status, message, before=full)

    def test_process_killed_in_mid_download(self):
        (self.work / "file").write_bytes(b"old")
        with ScriptedServer(reply(200, b"x" * 4096, length=1 << 20), b"") as server:
            process = self.start(server.url, "/new", local("./file"))
            limit = time.monotonic() + WAIT
            while sorted(map(len, self.files().values())) != [3, 4096]:
                self.assertLess(time.monotonic(), limit)
                time.sleep(0.01)
            process.kill()
            process.wait(WAIT)
        # What had come stays beside the old file, and is in nobody's way.
        self.assertRegex(" ".join(sorted(os.listdir(self.work))), r"^\$Ve[0-9A-Fa-f]+\.tmp file$")
        self.assertEqual((self.work / "file").read_bytes(), b"old")
        self.check("/new", "./file", 0, "")


if __name__ == "__main__":
    main()
