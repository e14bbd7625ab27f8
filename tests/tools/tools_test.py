#!/usr/bin/env python3
"""Tests of the tools as programs: orla against the development server and scripted ones.

  tools_test.py [CASE[.test]...] --orla PROGRAM --devserver PROGRAM [--emulator PROGRAM]

Every wait is bounded.
"""
import argparse
import contextlib
import os
import pty
import queue
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from urllib.parse import unquote_to_bytes

WAIT = 60  # seconds, for any single step
ARGUMENTS = argparse.Namespace()


class DevServer:
    """The development server on a free port and a folder of its own, ended by its process id."""

    def __init__(self, folder, *options):
        command = [ARGUMENTS.devserver, "--dir", str(folder), "--port", "0", *options]
        self.log = tempfile.TemporaryFile()
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=self.log)
        ready, _, _ = select.select([self.process.stdout], [], [], WAIT)
        line = self.process.stdout.readline().decode() if ready else self.process.kill()
        found = re.fullmatch(r"orla-devserver: listening on (http://127\.0\.0\.1:(\d+)/)\n", line)
        self.url, self.port = found[1], int(found[2])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with self.process.stdout, self.log:
            self.process.send_signal(signal.SIGTERM)
            try:
                code = self.process.wait(WAIT)
            finally:
                self.process.kill()
            self.log.seek(0)
            assert code == 0, f"the development server ended with {code}: {self.log.read()!r}"

    def ask(self, method, target, body=b"", headers=(), bounded=True):
        """Sends one raw request; returns status and body."""
        head = [f"{method} {target} HTTP/1.1", "Host: test", *headers]
        framed = any(header.startswith(("Content-Length", "Transfer")) for header in headers)
        if method == "POST" and not framed and bounded:
            head.append(f"Content-Length: {len(body)}")
        with socket.create_connection(("127.0.0.1", self.port), WAIT) as connection:
            connection.sendall("\r\n".join(head).encode() + b"\r\n\r\n" + body)
            reply = b"".join(iter(lambda: connection.recv(1 << 16), b""))
        head, _, answer = reply.partition(b"\r\n\r\n")
        return int(head.split()[1]), answer

    def upload(self, name, body=b"", headers=()):
        target = f"/?ORLACommand=UploadPackage&Type=1&FileName={name}"
        return self.ask("POST", target, body, headers)


class ScriptedServer:
    """Answers one connection with the given pieces; before the second it waits for go."""

    def __init__(self, *pieces):
        self.pieces = pieces
        self.asked, self.go = threading.Event(), threading.Event()
        if len(pieces) == 1:
            self.go.set()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(WAIT)
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}/agent"
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        connection, _ = self.listener.accept()
        # The client may be gone before it has all.
        with connection, contextlib.suppress(OSError):
            connection.settimeout(WAIT)
            request = b""
            while b"\r\n\r\n" not in request:
                request += connection.recv(1 << 16)
            self.asked.set()
            connection.sendall(self.pieces[0])
            self.go.wait(WAIT)
            connection.sendall(b"".join(self.pieces[1:]))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.go.set()
        self.thread.join(WAIT)
        self.listener.close()


class ToolTestCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.stored = self.folder / "stored"
        self.work = self.folder / "work"
        self.work.mkdir()

    def start(self, *arguments, **streams):
        command = [*ARGUMENTS.emulator, ARGUMENTS.orla, *arguments]
        streams = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL) | streams
        environment = dict(os.environ, LC_ALL="C.UTF-8")
        process = subprocess.Popen(command, cwd=self.work, env=environment, **streams)
        self.addCleanup(process.wait, WAIT)
        self.addCleanup(process.kill)
        return process

    def orla(self, *arguments):
        """Runs the client in the work folder; returns exit code, output and messages."""
        # Into files: pipes stay open as long as Wine's own services, which outlive the client.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as messages:
            code = self.start(*arguments, stdout=output, stderr=messages).wait(WAIT)
            texts = []
            for stream in (output, messages):
                stream.seek(0)
                texts.append(stream.read().decode().replace("\r\n", "\n"))
        return code, *texts


def reply(status, body=b"", length=None):
    length = len(body) if length is None else length
    return f"HTTP/1.1 {status} X\r\nContent-Length: {length}\r\n\r\n".encode() + body


class OrlaTest(ToolTestCase):
    def test_command_lines(self):
        (self.work / "a.pkg").write_bytes(b"x")
        with DevServer(self.stored, "--server-version", "5.10.1234") as server:
            url, kind = server.url + "agent", ("--type", "7", "--identity")
            cases = [  # arguments, exit code, output, message
                (["version", url], 0, "5.10\n", ""),
                (["name", url, *kind, "a", "--identity", "b"], 0, "7-a-b.pkg\n", ""),
                (["name", "--type=65535", "--identity=-x", url], 0, "65535--x.pkg\n", ""),
                (["name", url, *kind, "\u00e9 &+%"], 0, "7-\u00e9____.pkg\n", ""),
                (["send", url, "../work/a.pkg", *kind, "i"], 0, "a.pkg\n", "sent 1 bytes"),
                (["send", url, "a.pkg", *kind, "i", "--name", "a +.pkg"], 0, "a +.pkg\n", ""),
                (["send", url, "a.pkg", *kind, "i", "--name", ""], 0, "7-i.pkg\n", ""),
                (["get", url, "/a.pkg", "got"], 0, "got: 1 bytes\n", ""),
                (["get", url, "a.pkg", "./got", "--counter", "3"], 0, "./got: 1 bytes\n", ""),
                # The server or a file says no.
                (["send", url, "a.pkg", *kind, "i", "--name", ".."], 1, "", "status 12: HTTP 400"),
                (["send", url, "a.pkg", *kind, "i" * 3000], 1, "", "status 6: the path, the name"),
                (["get", url, "/none", "got"], 1, "", "get: status 10: HTTP 404: file not found."),
                (["get", url, "/a.pkg", "nowhere/got"], 1, "", "cannot be written: nowhere/got"),
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
                    result = self.orla(*arguments)
                    self.assertEqual(result[0], code, result)
                    self.assertIn(message, result[2])
                    self.assertEqual("Usage:" if "Usage:" in result[1] else result[1], output)
            self.assertEqual((self.work / "got").read_bytes(), b"x")

    def test_round_trip(self):
        package = os.urandom(3_000_000)
        (self.work / "a.pkg").write_bytes(package)
        (self.work / "got.pkg").write_bytes(b"old")
        with DevServer(self.stored) as server:
            kind = ("--type", "1", "--identity", "i")
            self.assertEqual(self.orla("send", server.url, "a.pkg", *kind)[:2], (0, "a.pkg\n"))
            code, output, messages = self.orla("get", server.url, "/a.pkg", "got.pkg")
        self.assertEqual((code, output), (0, "got.pkg: 3000000 bytes\n"), messages)
        self.assertRegex(messages, r"^(orla: [12]\.\d MiB so far\n){1,2}orla: received 3000000 by")
        self.assertEqual((self.work / "got.pkg").read_bytes(), package)
        self.assertEqual(sorted(os.listdir(self.work)), ["a.pkg", "got.pkg"])

    def test_failures_of_server_and_network(self):
        (self.work / "got").write_bytes(b"old")
        cases = [  # command, reply, message
            ("version", reply(200, b"5.10"), "status 4: the server's answer is no version"),
            ("version", reply(304), "status 4: HTTP 304: file not modified."),
            ("version", b"\x1b[2J\r\n\r\n", "status 4: "),
            ("get", reply(401, b"x" * 600), "status 9: HTTP 401: unauthorized."),
            ("get", reply(200, b"x" * 600, length=1000), "status 4: "),
        ]
        for command, answer, message in cases:
            with self.subTest(answer), ScriptedServer(answer) as server:
                more = ("/x", "got") if command == "get" else ()
                code, output, messages = self.orla(command, server.url, *more)
                self.assertEqual((code, output), (1, ""), messages)
                self.assertIn(f"orla: {command}: {message}", messages)
                self.assertNotIn("\x1b", messages)
        self.assertEqual((self.work / "got").read_bytes(), b"old")
        self.assertEqual(os.listdir(self.work), ["got"])

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

    def test_interrupt_cancels_a_download(self):
        rest = b"x" * ((1 << 20) - 4096)
        with ScriptedServer(reply(200, b"x" * 4096, length=1 << 20), rest) as server:
            process, lines = self.interrupt_slow_get(server)
            server.go.set()
            self.assertEqual(process.wait(WAIT), 1)
            self.assertEqual(lines.get(timeout=WAIT), b"orla: get: cancelled")
        self.assertEqual(os.listdir(self.work), ["got"])
        self.assertEqual((self.work / "got").read_bytes(), b"old")

    def test_interrupts_that_end_at_once(self):
        # Under Wine the system's own handler ends a process with 0.
        ended = (0, 0xC000013A & 0xFF) if ARGUMENTS.emulator else (-signal.SIGINT,)
        with ScriptedServer(reply(200, b"x" * 4096, length=1 << 20), b"") as server:
            process, _ = self.interrupt_slow_get(server)
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)
        self.assertEqual((self.work / "got").read_bytes(), b"old")
        with ScriptedServer(b"", b"") as server:
            process = self.start("version", server.url)
            self.assertTrue(server.asked.wait(WAIT))
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)


class TerminalTest(ToolTestCase):
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


class DevServerTest(ToolTestCase):
    def test_requests(self):
        (self.stored / "sub").mkdir(parents=True)
        secret = self.folder / "secret"
        for path, content in ((secret, b"secret"), (self.stored / "whole.pkg", b"0123456789"),
                              (self.stored / "empty.pkg", b""), (self.stored / ".hidden", b"hidden"),
                              (self.stored / "sub" / "inner.pkg", b"inner")):
            path.write_bytes(content)
        (self.stored / "link.pkg").symlink_to(secret)
        (self.stored / "out").symlink_to(self.folder)
        os.mkfifo(self.stored / "pipe.pkg")
        compile_name, upload = "/?ORLACommand=CompileName", "/?ORLACommand=UploadPackage"
        cases = [  # method, target, status, answer (None: any line)
            ("GET", "/?ORLACommand=GetVersion", 200, b"2.5.1"),
            ("GET", compile_name + "&Type=7&Encoding=UTF-8", 200, b"7.pkg"),
            ("GET", compile_name + "&Type=7&Identity0=a%20b&Identity1=c%2Fd.e",
             200, b"7-a_b-c_d.e.pkg"),
            ("GET", compile_name + "&Type=7" + "".join(f"&Identity{i}=x" for i in range(12)),
             200, b"7" + b"-x" * 12 + b".pkg"),
            *(("GET", compile_name + "&Type=" + text, 400, None) for text in (
                "", "0", "65536", "-1", "7x", "%2B7", "7&Type=7", "7&Identity1=b", "7&Identity00=a",
                "7&Identity0=a&Identity2=c", "7&Identity0=a&Identity0=b", "7&Identity0=%2",
                "7&Identity0=%-1", "7&Identity0=%zz", "7&Encoding=latin-1", "7&FileName=x",
                "7&Identity0", "7&Identity0=" + "x" * 300)),
            ("GET", "/?ORLACommand=Reboot", 400, None),
            ("GET", "/?ORLACommand=GetVersion&Type=7", 400, None),
            ("GET", upload + "&Type=1", 405, None),
            ("POST", compile_name + "&Type=1", 405, None),
            ("PUT", "/whole.pkg", 405, None),
            ("GET", "/whole.pkg", 200, b"0123456789"),
            ("GET", "/whole.pkg&Counter=3", 200, b"0123456789"),
            ("HEAD", "/whole.pkg", 200, b""),
            ("GET", "/empty.pkg", 200, b""),
            *(("GET", target, 404, None) for target in (
                "/", "/none.pkg", "/.hidden", "/sub", "/sub/inner.pkg", "/link.pkg",
                "/out/secret", "/pipe.pkg", "/../secret", "/..%2Fsecret", "/%2e%2e/secret",
                "/..", "//whole.pkg", "/whole.pkg%00",
                f"/{secret}", "/" + "x" * 4000)),
            ("GET", "/" + "x" * 9000, 414, None),
        ]
        with DevServer(self.stored, "--server-version", "2.5.1") as server:
            for method, target, status, answer in cases:
                with self.subTest(method=method, target=target):
                    got = server.ask(method, target)
                    line = got[1] if re.fullmatch(rb"[^\n]+\n", got[1]) else "any line"
                    self.assertEqual(got, (status, line if answer is None else answer))
            # A body that no Content-Length bounds, and a form.
            self.assertEqual(server.ask("POST", upload + "&Type=1", bounded=False)[0], 411)
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
            stored = {"a+b%20%C3%A9.pkg": b"x", "empty": b"", "x" * 200: b"long",
                      "link.pkg": b"new", "large.pkg": large, "console.txt": b"no device"}
            for name, body in stored.items():
                with self.subTest(name):
                    self.assertEqual(server.upload(name, body), (200, unquote_to_bytes(name)))
                    self.assertEqual(server.ask("GET", "/" + name), (200, body))
            unnamed = "/p?ORLACommand=UploadPackage&Type=3&Identity0=i&Encoding=UTF-8"
            self.assertEqual(server.ask("POST", unnamed, b"compiled"), (200, b"3-i.pkg"))
            chunked = ["Transfer-Encoding: chunked"]
            self.assertEqual(server.upload("chunked", b"3\r\nabc\r\n0\r\n\r\n", chunked)[0], 200)
            before = sorted(os.listdir(self.stored))
            refused = ["..", "..%2Fx", "a/b", "a%5Cb", "C%3Ax", ".upload-1", "con", "Nul.txt",
                       "COM1.pkg", "a%00b", "a%0Ab", "x%20", "x.", "a%3F", "x" * 201]
            for name in refused:
                with self.subTest(name):
                    self.assertEqual(server.upload(name, b"bad")[0], 400)
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


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("cases", nargs="*")
    parser.add_argument("--orla", required=True, type=os.path.abspath)
    parser.add_argument("--devserver", required=True, type=os.path.abspath)
    parser.add_argument("--emulator", default="")
    parser.parse_args(namespace=ARGUMENTS)
    ARGUMENTS.emulator = [ARGUMENTS.emulator] if ARGUMENTS.emulator else []
    if not os.access(ARGUMENTS.devserver, os.X_OK):
        sys.exit(f"{ARGUMENTS.devserver} is missing: a cross build takes the development server of "
                 "a native one, named by the CMake variable ORLA_DEVSERVER")
    unittest.main(argv=[sys.argv[0], "-v", *ARGUMENTS.cases])


if __name__ == "__main__":
    main()
