#!/usr/bin/env python3
"""Tests of the tools as programs: orla against the development server and scripted ones."""
import os
import pty
import queue
import re
import select
import signal
import socket
import subprocess
import threading
from concurrent.futures import ThreadPoolExecutor
from urllib.parse import unquote_to_bytes

from programs import ARGUMENTS, WAIT, DevServer, ProgramTestCase, ScriptedServer, main, reply


class OrlaTest(ProgramTestCase):
    def test_command_lines(self):
        (self.work / "a.pkg").write_bytes(b"x")
        with DevServer(self.stored) as server:
            url, kind = server.url + "agent", ("--type", "7", "--identity")
            cases = [  # arguments, exit code, output, message
                (["name", url, *kind, "a", "--identity", "b"], 0, "7-a-b.pkg\n", ""),
                (["name", "--type=65535", "--identity=-x", url], 0, "65535--x.pkg\n", ""),
                (["name", url, *kind, "\u00e9 &+%"], 0, "7-\u00e9____.pkg\n", ""),
                (["send", url, "../work/a.pkg", *kind, "i", "--name", "a +"], 0, "a +\n", ""),
                (["send", url, "a.pkg", *kind, "i", "--name", ""], 0, "7-i.pkg\n", ""),
                (["get", url, "7-i.pkg", "./got", "--counter", "3"], 0, "./got: 1 bytes\n", ""),
                # The server or a file says no.
                (["send", url, "a.pkg", *kind, "i", "--name", ".."], 1, "", "status 12: HTTP 400"),
                (["send", url, "a.pkg", *kind, "i" * 3000], 1, "", "status 6: the path, the name"),
                (["get", url, "/7-i.pkg", "nowhere/got"], 1, "", "cannot be written: nowhere/got"),
                (["version", "nonsense"], 1, "", "status 1: URL 'nonsense' is invalid."),
                (["version", "http://127.0.0.1:0/"], 1, "", "status 4: RWSocketError: in RWSo"),
                # Bad usage.
                ([], 2, "", ""),
                (["version", url, "more"], 2, "", ""),
                (["name", url, "--identity", "a"], 2, "", "--type"),
                (["name", url, "--type", "7"], 2, "", "--identity"),
                (["name", url, "--type", "65536", "--identity", "a"], 2, "", "1 to 65535"),
                (["get", url, "/a b", "got"], 2, "", "percent-encoded"),
                (["get", url, "/a", "got", "--counter", "1\r\nX: y"], 2, "", "percent-encoded"),
                (["--help"], 0, "Usage:", ""),
            ]
            for arguments, code, output, message in cases:
                with self.subTest(arguments):
                    result = self.client(*arguments)
                    self.assertEqual(result[0], code, result)
                    self.assertIn(message, result[2])
                    self.assertEqual("Usage:" if "Usage:" in result[1] else result[1], output)

    def test_answers_that_are_no_version(self):
        for answer, message in ((reply(200, b"5.10"), "the server's answer is no version"),
                                (reply(304), "HTTP 304: file not modified."),
                                (b"\x1b[2J\r\n\r\n", "")):
            with self.subTest(answer), ScriptedServer(answer) as server:
                code, output, messages = self.client("version", server.url)
                self.assertEqual((code, output), (1, ""), messages)
                self.assertIn(f"orla: version: status 4: {message}", messages)
                self.assertNotIn("\x1b", messages)

    def interrupt_slow_get(self, server):
        """A download that stands still after its first piece and has seen one Ctrl-C."""
        (self.work / "got").write_bytes(b"old")
        process = self.start("get", server.url, "/x", "got", stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        lines = queue.Queue()
        threading.Thread(target=lambda: [lines.put(line.strip()) for line in process.stderr],
                         daemon=True).start()
        self.assertTrue(server.asked.wait(WAIT))
        process.send_signal(signal.SIGINT)
        while b"Ctrl-C again" not in lines.get(timeout=WAIT):
            pass
        return process, lines

    def test_interrupts(self):
        # Under Wine the system's own handler ends a process with 0.
        ended = (0, 0xC000013A & 0xFF) if ARGUMENTS.emulator else (-signal.SIGINT,)
        half = reply(200, b"x" * 4096, length=8192)
        with ScriptedServer(half, b"") as server:
            process, _ = self.interrupt_slow_get(server)
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)
        for file in self.work.glob("$Ve*"):
            file.unlink()
        with ScriptedServer(half, b"x" * 4096) as server:
            process, lines = self.interrupt_slow_get(server)
            server.go.set()
            self.assertEqual(process.wait(WAIT), 1)
            self.assertEqual(lines.get(timeout=WAIT), b"orla: get: cancelled")
        self.assertEqual(os.listdir(self.work), ["got"])
        self.assertEqual((self.work / "got").read_bytes(), b"old")
        with ScriptedServer(b"", b"") as server:
            process = self.start("version", server.url)
            self.assertTrue(server.asked.wait(WAIT))
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)


class TerminalTest(ProgramTestCase):
    def test_progress_bar(self):
        screen, terminal = pty.openpty()
        self.addCleanup(os.close, screen)
        with ScriptedServer(reply(200, b"x" * 4096, length=8192), b"x" * 4096) as server:
            process = self.start("get", server.url, "/x", "got", stderr=terminal)
            os.close(terminal)
            shown = b""
            while b"received 8192 bytes" not in shown:
                self.assertTrue(select.select([screen], [], [], WAIT)[0], shown)
                shown += os.read(screen, 4096)
                if b"/s" in shown:  # the bar stands before the download ends
                    server.go.set()
            self.assertEqual(process.wait(WAIT), 0)
        self.assertRegex(shown, rb"^\r\[ *={5} *\] +[\d.]+ KiB +[\d.]+ [KM]iB/s")


class DevServerTest(ProgramTestCase):
    def test_requests(self):
        (self.stored / "sub").mkdir(parents=True)
        secret = self.folder / "secret"
        for path, content in ((secret, b"secret"), (self.stored / "whole.pkg", b"0123456789"),
                              (self.stored / ".hidden", b"hidden"),
                              (self.stored / "sub" / "inner.pkg", b"inner")):
            path.write_bytes(content)
        (self.stored / "link.pkg").symlink_to(secret)
        (self.stored / "out").symlink_to(self.folder)
        os.mkfifo(self.stored / "pipe.pkg")
        compile_name, upload = "/?ORLACommand=CompileName&Type=", "/?ORLACommand=UploadPackage"
        many = "".join(f"&Identity{i}=x" for i in range(12))
        answers = [  # method, target, answer
            ("GET", "/?ORLACommand=GetVersion", b"2.5.1"),
            ("GET", compile_name + "7&Encoding=UTF-8", b"7.pkg"),
            ("GET", compile_name + "7&Identity0=a%20b&Identity1=c%2Fd.e", b"7-a_b-c_d.e.pkg"),
            ("GET", compile_name + "7" + many, b"7" + b"-x" * 12 + b".pkg"),
            ("GET", "/whole.pkg", b"0123456789"),
            ("GET", "/whole.pkg&Counter=3", b"0123456789"),
            ("HEAD", "/whole.pkg", b""),
        ]
        refusals = [(405, "GET", upload + "&Type=1"), (405, "POST", compile_name + "1"),
                    (405, "PUT", "/whole.pkg"), (400, "GET", "/?ORLACommand=Reboot"),
                    (400, "GET", "/?ORLACommand=GetVersion&Type=7"), (414, "GET", "/" + "x" * 9000)]
        refusals += [(400, "GET", compile_name + text) for text in (
            "", "0", "65536", "-1", "7x", "%2B7", "7&Type=7", "7&Identity1=b", "7&Identity00=a",
            "7&Identity0=a&Identity2=c", "7&Identity0=a&Identity0=b", "7&Identity0=%2",
            "7&Identity0=%-1", "7&Identity0=%zz", "7&Encoding=latin-1", "7&FileName=x",
            "7&Identity0", "7&Identity0=" + "x" * 300)]
        refusals += [(404, "GET", target) for target in (
            "/", "/none.pkg", "/.hidden", "/sub", "/sub/inner.pkg", "/link.pkg", "/out/secret",
            "/pipe.pkg", "/../secret", "/..%2Fsecret", "/%2e%2e/secret", "/..", "//whole.pkg",
            "/whole.pkg%00", f"/{secret}", "/" + "x" * 4000)]
        with DevServer(self.stored, "--server-version", "2.5.1") as server:
            for method, target, answer in answers:
                self.assertEqual(server.ask(method, target), (200, answer))
            for status, method, target in refusals:
                with self.subTest(method=method, target=target):
                    got = server.ask(method, target)
                    self.assertEqual(got[0], status)
                    self.assertRegex(got[1], rb"^[^\n]+\n$")
            # No body announced: an empty one. And a form.
            empty = server.ask("POST", upload + "&Type=1", bounded=False)
            self.assertEqual(empty, (200, b"1.pkg"))
            form = ["Content-Type: multipart/form-data; boundary=b"]
            self.assertEqual(server.upload("f.pkg", b"x", form)[0], 415)
        self.assertEqual(secret.read_bytes(), b"secret")

    def test_uploads(self):
        outside = self.folder / "outside"
        outside.write_bytes(b"outside")
        self.stored.mkdir()
        (self.stored / "link.pkg").symlink_to(outside)
        large = os.urandom(5_000_000)
        with DevServer(self.stored, "--max-upload", "5000000") as server:
            for name, body in (("a+b%20%C3%A9.pkg", b"x"), ("x" * 200, b"long"), ("link.pkg", b"new"),
                               ("large.pkg", large), ("console.txt", b"no device")):
                self.assertEqual(server.upload(name, body), (200, unquote_to_bytes(name)))
                self.assertEqual(server.ask("GET", "/" + name), (200, body))
            unnamed = "/p?ORLACommand=UploadPackage&Type=3&Identity0=i&Encoding=UTF-8"
            self.assertEqual(server.ask("POST", unnamed, b"compiled"), (200, b"3-i.pkg"))
            chunked = ["Transfer-Encoding: chunked"]
            self.assertEqual(server.upload("chunked", b"3\r\nabc\r\n0\r\n\r\n", chunked)[0], 200)
            before = sorted(os.listdir(self.stored))
            for name in ("..", "..%2Fx", "a/b", "a%5Cb", "C%3Ax", ".upload-1", "con", "Nul.txt",
                         "COM1.pkg", "a%00b", "a%0Ab", "x%20", "x.", "a%3F", "x" * 201):
                self.assertEqual(server.upload(name, b"bad")[0], 400, name)
            too_large = b"%x\r\n" % 5_000_001 + b"y" * 5_000_001 + b"\r\n0\r\n\r\n"
            self.assertEqual(server.upload("big", b"y" * 5_000_001)[0], 413)
            self.assertEqual(server.upload("big", too_large, chunked)[0], 413)
            with socket.create_connection(("127.0.0.1", server.port), WAIT) as cut:
                cut.sendall(b"POST /?ORLACommand=UploadPackage&Type=1&FileName=cut HTTP/1.1\r\n"
                            b"Content-Length: 100\r\n\r\nonly a part")
        # Looked at when the server has ended every request.
        self.assertEqual(sorted(os.listdir(self.stored)), before)
        self.assertEqual(outside.read_bytes(), b"outside")

    def test_uploads_of_one_name_at_once(self):
        bodies = [bytes([i]) * 2_000_000 for i in range(6)]
        with DevServer(self.stored) as server:
            with ThreadPoolExecutor(len(bodies)) as threads:
                answers = threads.map(lambda body: server.upload("one", body), bodies)
            self.assertEqual({status for status, _ in answers}, {200})
            self.assertIn(server.ask("GET", "/one")[1], bodies)
        self.assertEqual(os.listdir(self.stored), ["one"])

    def test_start_and_stop(self):
        with DevServer(self.stored) as server:
            for options, code in ((f"--dir {self.stored} --port {server.port}", 1),  # in use
                                  ("--dir /dev/null/x --port 0", 1), ("--help", 0),
                                  (f"--dir {self.stored} --port 65536", 2), ("--port 0", 2)):
                command = [ARGUMENTS.devserver, *options.split()]
                ended = subprocess.run(command, capture_output=True, timeout=WAIT)
                self.assertEqual(ended.returncode, code, ended)
        # Also a signal that comes before the first connection ends it cleanly.
        for _ in range(20):
            DevServer(self.stored).__exit__()


if __name__ == "__main__":
    main()
