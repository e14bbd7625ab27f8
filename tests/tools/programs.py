"""Shared by the tests that start programs: servers, and a client that may run under an emulator.

Run such a test as

  X_test.py [CASE[.test]...] --client PROGRAM --devserver PROGRAM [--emulator PROGRAM]

with this directory in PYTHONPATH. Every wait has a time limit.
"""
import argparse
import contextlib
import http.client
import itertools
import os
import re
import select
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

WAIT = 60  # seconds, for any single step
KIND = ("--type", "7", "--identity", "i")
ARGUMENTS = argparse.Namespace()


def exchange(port, request):
    """Sends the bytes; returns those that are received until the server closes the connection."""
    with socket.create_connection(("127.0.0.1", port), WAIT) as connection:
        connection.sendall(request)
        return b"".join(iter(lambda: connection.recv(1 << 16), b""))


class DevServer(subprocess.Popen):
    """The development server on a free port, terminated by its process id."""

    def __init__(self, folder, *options, **streams):
        command = [ARGUMENTS.devserver, "--dir", str(folder), "--port", "0", *options]
        super().__init__(command, stdout=subprocess.PIPE, **streams)
        ready, _, _ = select.select([self.stdout], [], [], WAIT)
        line = self.stdout.readline().decode() if ready else ""
        found = re.fullmatch(r"orla-devserver: listening on (http://127\.0\.0\.1:(\d+)/)\n", line)
        assert found or self.kill(), f"{command} does not listen, it said {line!r}"
        self.url, self.port = found[1], int(found[2])

    def __exit__(self, *_):
        self.terminate()
        with self.stdout:
            try:
                assert self.wait(WAIT) == 0, "the development server failed"
            finally:
                self.kill()

    def ask(self, method, target, body=None, headers=()):
        """Sends one request unchanged; returns status and body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, WAIT)
        with contextlib.closing(connection):
            connection.request(method, target, body, dict(headers))
            answer = connection.getresponse()
            return answer.status, answer.read()

    def upload(self, name, body, headers=()):
        target = f"/?ORLACommand=UploadPackage&Type=1&FileName={name}"
        return self.ask("POST", target, body, headers)


class ScriptedServer(socketserver.ThreadingTCPServer):
    """Answers each request with the first piece at once, and with the others after `go` is set.

    After the server has ended, `received` has every byte that the clients sent."""

    def __init__(self, *pieces):
        super().__init__(("127.0.0.1", 0), None)
        self.pieces, self.asked, self.go = pieces, threading.Event(), threading.Event()
        self.wait, self.received = self.go.wait, b""
        self.url = f"http://127.0.0.1:{self.server_address[1]}/agent"
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()

    def finish_request(self, connection, _):
        connection.settimeout(WAIT)
        with contextlib.suppress(OSError), connection.makefile("rb") as stream:
            self.received += b"".join(itertools.takewhile(b"\r\n".__ne__, stream)) + b"\r\n"
            self.asked.set()
            connection.sendall(self.pieces[0])
            for piece in self.pieces[1:]:
                self.wait(WAIT)
                connection.sendall(piece)
            connection.shutdown(socket.SHUT_WR)
            self.received += stream.read()

    def __exit__(self, *_):
        self.go.set()
        self.shutdown()
        self.server_close()


class ProgramTestCase(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.stored, self.work = self.folder / "stored", self.folder / "work"
        self.stored.mkdir()
        self.work.mkdir()

    def start(self, *arguments, before=(), **streams):
        command = [*ARGUMENTS.emulator, *before, ARGUMENTS.client, *arguments]
        streams = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL) | streams
        environment = dict(os.environ, LC_ALL="C.UTF-8")
        process = subprocess.Popen(command, cwd=self.work, env=environment, **streams)
        self.addCleanup(process.wait, WAIT)
        self.addCleanup(process.kill)
        return process

    def run_client(self, *arguments, **how):
        """Runs the client in the work directory; returns its exit code, output and messages."""
        # Files, not pipes: Wine's services inherit the pipes and outlive the client.
        files = self.folder / "output", self.folder / "messages"
        with files[0].open("w") as out, files[1].open("w") as messages:
            ended = self.start(*arguments, stdout=out, stderr=messages, **how).wait(WAIT)
            return ended, *(file.read_text("utf-8", "replace") for file in files)

    def expect(self, code, output, message, *arguments, **how):
        """Runs the client; the message is a regular expression."""
        with self.subTest(arguments):
            ended, out, said = self.run_client(*arguments, **how)
            self.assertEqual((ended, out), (code, output), said)
            self.assertTrue(re.search(message, said), said)


def reply(status, body=b"", length=None):
    length = len(body) if length is None else length
    return f"HTTP/1.1 {status} X\r\nContent-Length: {length}\r\n\r\n".encode() + body


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("cases", nargs="*")
    parser.add_argument("--client", required=True, type=os.path.abspath)
    parser.add_argument("--devserver", required=True, type=os.path.abspath)
    parser.add_argument("--emulator", default=[], type=lambda path: [path] if path else [])
    parser.parse_args(namespace=ARGUMENTS)
    unittest.main(argv=[sys.argv[0], "-v", *ARGUMENTS.cases])
