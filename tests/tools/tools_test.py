#!/usr/bin/env python3
"""Tests of the tools as programs: orla against the development server and scripted ones."""
import os
import pty
import select
import signal
import socket
import subprocess
from concurrent.futures import ThreadPoolExecutor
from urllib.parse import unquote_to_bytes

from programs import (ARGUMENTS, WAIT, DevServer, ProgramTestCase, ScriptedServer, exchange, main,
                      reply)


def shown(stream, text):
    """What comes from the stream, until the text has come."""
    got = b""
    while text not in got:
        piece = os.read(stream, 4096) if select.select([stream], [], [], WAIT)[0] else b""
        assert piece, got
        got += piece
    return got


class OrlaTest(ProgramTestCase):
    def test_command_lines(self):
        (self.work / "a.pkg").write_bytes(b"x")
        with DevServer(self.stored) as server:
            url, kind = server.url + "agent", ("--type", "7", "--identity")
            for row in (  # exit code, output, message, arguments
                    (0, "7-a-b.pkg\n", "", "name", url, *kind, "a", "--identity", "b"),
                    (0, "65535--x.pkg\n", "", "name", "--type=65535", "--identity=-x", url),
                    (0, "7-\u00e9____.pkg\n", "", "name", url, *kind, "\u00e9 &+%"),
                    (0, "a +\n", "", "send", url, "../work/a.pkg", *kind, "i", "--name", "a +"),
                    (0, "7-i.pkg\n", "", "send", url, "a.pkg", *kind, "i", "--name", ""),
                    (0, "./b: 1 bytes\n", "", "get", url, "7-i.pkg", "./b", "--counter", "3"),
                    # The server or a file says no.
                    (1, "", "us 12: HTTP 400", "send", url, "a.pkg", *kind, "i", "--name", ".."),
                    (1, "", "us 6: the path, the name", "send", url, "a.pkg", *kind, "i" * 3000),
                    (1, "", "status 1: URL 'nonsense' is invalid.", "version", "nonsense"),
                    (1, "", "status 4: RWSocketError: in RW", "version", "http://127.0.0.1:0/"),
                    # Bad usage.
                    (2, "", ""),
                    (2, "", "", "version", url, "more"),
                    (2, "", "--type", "name", url, "--identity", "a"),
                    (2, "", "--identity", "name", url, "--type", "7"),
                    (2, "", "1 to 65535", "name", url, "--type", "65536", "--identity", "a"),
                    (2, "", "percent-encoded", "get", url, "/a b", "c"),
                    (2, "", "percent-encoded", "get", url, "/a", "c", "--counter", "1\r\nX: y")):
                self.expect(*row)

    def test_answers_that_are_no_version(self):
        for answer, message in ((reply(200, b"5.10"), "the server's answer is no version"),
                                (reply(304), "HTTP 304: file not modified."),
                                (b"\x1b[2J\r\n\r\n", "[^\x1b]*$")):
            with ScriptedServer(answer) as server:
                message = "orla: version: status 4: " + message
                self.expect(1, "", message, "version", server.url)

    def interrupt_slow_get(self, server):
        """A download that stands still after its first piece and has seen one Ctrl-C."""
        process = self.start("get", server.url, "/x", "got", stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        self.assertTrue(server.asked.wait(WAIT))
        process.send_signal(signal.SIGINT)
        shown(process.stderr.fileno(), b"Ctrl-C again")
        return process

    def test_interrupts(self):
        # Under Wine the system's own handler ends a process with 0.
        ended = (0, 0xC000013A & 0xFF) if ARGUMENTS.emulator else (-signal.SIGINT,)
        half = reply(200, b"x" * 4096, length=8192)
        (self.work / "got").write_bytes(b"old")
        with ScriptedServer(half, b"x" * 4096) as server:
            process = self.interrupt_slow_get(server)
            server.go.set()
            self.assertEqual(process.wait(WAIT), 1)
            shown(process.stderr.fileno(), b"orla: get: cancelled")
        self.assertEqual(os.listdir(self.work), ["got"])
        with ScriptedServer(half, b"") as server:
            process = self.interrupt_slow_get(server)
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)
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
            self.start("get", server.url, "/x", "got", stderr=terminal)
            os.close(terminal)
            bar = shown(screen, b"/s")  # It stands before the download ends.
            self.assertRegex(bar, rb"^\r\[ *={5} *\] +[\d.]+ KiB +[\d.]+ [KM]iB/s")
            server.go.set()
            shown(screen, b"received 8192 bytes")


class DevServerTest(ProgramTestCase):
    def test_requests(self):
        secret = self.folder / "secret"
        (self.stored / "sub").mkdir()
        for path in (secret, self.stored / ".hidden", self.stored / "sub" / "inner.pkg"):
            path.write_bytes(b"secret")
        (self.stored / "whole.pkg").write_bytes(b"0123456789")
        (self.stored / "link.pkg").symlink_to(secret)
        (self.stored / "out").symlink_to(self.folder)
        os.mkfifo(self.stored / "pipe.pkg")
        compile_name, upload = "/?ORLACommand=CompileName&Type=", "/?ORLACommand=UploadPackage"
        many = "".join(f"&Identity{i}=x" for i in range(12))
        form = {"Content-Type": "multipart/form-data; boundary=b"}
        requests = [  # status, answer if it is no reason, request
            (200, b"2.5.1", "GET", "/?ORLACommand=GetVersion"),
            (200, b"7.pkg", "GET", compile_name + "7&Encoding=UTF-8"),
            (200, b"7-a_b-c_d.e.pkg", "GET", compile_name + "7&Identity0=a%20b&Identity1=c%2Fd.e"),
            (200, b"7" + b"-x" * 12 + b".pkg", "GET", compile_name + "7" + many),
            (200, b"0123456789", "GET", "/whole.pkg"),
            (200, b"0123456789", "GET", "/whole.pkg&Counter=3"),
            (200, b"", "HEAD", "/whole.pkg"),
            (405, None, "GET", upload + "&Type=1"),
            (405, None, "POST", compile_name + "1"),
            (405, None, "PUT", "/whole.pkg"),
            (400, None, "GET", "/?ORLACommand=Reboot"),
            (400, None, "GET", "/?ORLACommand=GetVersion&Type=7"),
            (414, None, "GET", "/" + "x" * 9000),
            (415, None, "POST", upload + "&Type=1", b"x", form)]
        requests += [(400, None, "GET", compile_name + text) for text in (
            "", "0", "65536", "-1", "7x", "%2B7", "7&Type=7", "7&Identity1=b", "7&Identity00=a",
            "7&Identity0=a&Identity2=c", "7&Identity0=a&Identity0=b", "7&Identity0=%2",
            "7&Identity0=%-1", "7&Identity0=%zz", "7&Encoding=latin-1", "7&FileName=x",
            "7&Identity0", "7&Identity0=" + "x" * 300)]
        requests += [(404, None, "GET", target) for target in (
            "/", "/none.pkg", "/.hidden", "/sub", "/sub/inner.pkg", "/link.pkg", "/out/secret",
            "/pipe.pkg", "/../secret", "/..%2Fsecret", "/%2e%2e/secret", "/..", "//whole.pkg",
            "/whole.pkg%00", f"/{secret}", "/" + "x" * 4000)]
        with DevServer(self.stored, "--server-version", "2.5.1") as server:
            for status, answer, *request in requests:
                with self.subTest(request):
                    got = server.ask(*request)
                    if answer is None:
                        self.assertRegex(got[1], rb"^[^\n]+\n$")
                    self.assertEqual(got, (status, got[1] if answer is None else answer))
            # No body announced: an empty one.
            bare = f"POST {upload}&Type=1 HTTP/1.1\r\nHost: test\r\n\r\n"
            self.assertRegex(exchange(server.port, bare.encode()), rb"^HTTP/1.1 200 [^\0]*\n1.pkg$")

    def test_uploads(self):
        outside = self.folder / "outside"
        outside.write_bytes(b"outside")
        (self.stored / "link.pkg").symlink_to(outside)
        large, chunked = os.urandom(5_000_000), {"Transfer-Encoding": "chunked"}
        with DevServer(self.stored, "--max-upload", "5000000") as server:
            for name, body in (("a+b%20%C3%A9.pkg", b"x"), ("x" * 200, b"long"), ("link.pkg", b"new"),
                               ("large.pkg", large), ("console.txt", b"no device")):
                self.assertEqual(server.upload(name, body), (200, unquote_to_bytes(name)))
                self.assertEqual(server.ask("GET", "/" + name), (200, body))
            unnamed = "/p?ORLACommand=UploadPackage&Type=3&Identity0=i&Encoding=UTF-8"
            self.assertEqual(server.ask("POST", unnamed, b"compiled"), (200, b"3-i.pkg"))
            self.assertEqual(server.upload("chunks", b"3\r\nabc\r\n0\r\n\r\n", chunked)[0], 200)
            before = sorted(os.listdir(self.stored))
            for name in ("..", "..%2Fx", "a/b", "a%5Cb", "C%3Ax", ".upload-1", "con", "Nul.txt",
                         "COM1.pkg", "a%00b", "a%0Ab", "x%20", "x.", "a%3F", "x" * 201):
                self.assertEqual(server.upload(name, b"bad")[0], 400, name)
            too_large = large + b"y"
            self.assertEqual(server.upload("big", too_large)[0], 413)
            in_chunks = b"%x\r\n%b\r\n0\r\n\r\n" % (len(too_large), too_large)
            self.assertEqual(server.upload("big", in_chunks, chunked)[0], 413)
            with socket.create_connection(("127.0.0.1", server.port), WAIT) as cut:
                cut.sendall(b"POST /?ORLACommand=UploadPackage&Type=1&FileName=cut HTTP/1.1\r\n"
                            b"Content-Length: 100\r\n\r\nonly a part")
        # Looked at when the server has ended every request.
        self.assertEqual(sorted(os.listdir(self.stored)), before)
        self.assertEqual(outside.read_bytes(), b"outside")

    def test_uploads_of_one_name_at_once(self):
        bodies = [bytes([i]) * 2_000_000 for i in range(6)]
        with DevServer(self.folder / "new") as server, ThreadPoolExecutor(len(bodies)) as threads:
            answers = threads.map(lambda body: server.upload("one", body), bodies)
            self.assertEqual(list(answers), [(200, b"one")] * len(bodies))
            self.assertIn(server.ask("GET", "/one")[1], bodies)
        self.assertEqual(os.listdir(self.folder / "new"), ["one"])

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
