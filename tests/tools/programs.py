"""What the tests of whole programs share: servers, and a client that runs under an emulator or not.

Such a test is run as

  X_test.py [CASE[.test]...] --client PROGRAM --devserver PROGRAM [--emulator PROGRAM]

with this folder in PYTHONPATH. Every wait is bounded.
"""
import argparse
import contextlib
import os
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

WAIT = 60  # seconds, for any single step
ARGUMENTS = argparse.Namespace()


def exchange(port, request):
    """Sends the bytes; returns those that come until the server closes."""
    with socket.create_connection(("127.0.0.1", port), WAIT) as connection:
        connection.sendall(request)
        return b"".join(iter(lambda: connection.recv(1 << 16), b""))


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
        reply = exchange(self.port, "\r\n".join(head).encode() + b"\r\n\r\n" + body)
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


class ProgramTestCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.stored = self.folder / "stored"
        self.work = self.folder / "work"
        self.work.mkdir()

    def start(self, *arguments, before=(), **streams):
        command = [*before, *ARGUMENTS.emulator, ARGUMENTS.client, *arguments]
        streams = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL) | streams
        environment = dict(os.environ, LC_ALL="C.UTF-8")
        process = subprocess.Popen(command, cwd=self.work, env=environment, **streams)
        self.addCleanup(process.wait, WAIT)
        self.addCleanup(process.kill)
        return process

    def client(self, *arguments, **streams):
        """Runs the client in the work folder; returns exit code, output and messages."""
        # Into files: pipes stay open as long as Wine's own services, which outlive the client.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as messages:
            code = self.start(*arguments, stdout=output, stderr=messages, **streams).wait(WAIT)
            texts = []
            for stream in (output, messages):
                stream.seek(0)
                texts.append(stream.read().decode().replace("\r\n", "\n"))
        return code, *texts


def reply(status, body=b"", length=None):
    length = len(body) if length is None else length
    return f"HTTP/1.1 {status} X\r\nContent-Length: {length}\r\n\r\n".encode() + body


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("cases", nargs="*")
    parser.add_argument("--client", required=True, type=os.path.abspath)
    parser.add_argument("--devserver", required=True, type=os.path.abspath)
    parser.add_argument("--emulator", default="")
    parser.parse_args(namespace=ARGUMENTS)
    ARGUMENTS.emulator = [ARGUMENTS.emulator] if ARGUMENTS.emulator else []
    if not os.access(ARGUMENTS.devserver, os.X_OK):
        sys.exit(f"{ARGUMENTS.devserver} is missing: a cross build takes the development server of "
                 "a native one, named by the CMake variable ORLA_DEVSERVER")
    unittest.main(argv=[sys.argv[0], "-v", *ARGUMENTS.cases])
