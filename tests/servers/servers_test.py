"""The client with nginx, lighttpd and Node's server, each on a free port."""
import os
import socket
import subprocess
from pathlib import Path

from programs import KIND, DevServer, ProgramTestCase, exchange, main

SIZES = (0, 1, 4097, 3_000_001)
LENGTH = rb"\r\nContent-Length: 3000001\r\n"
CHUNKED = rb"\r\nTransfer-Encoding: chunked\r\n"


class ServersTest(ProgramTestCase):
    def setUp(self):
        super().setUp()
        for size in SIZES:
            (self.stored / f"{size}.pkg").write_bytes(os.urandom(size))

    def run_server(self, *command, backend=""):
        """Runs the server until the test ends, with a listening socket as standard input.

        Returns the port."""
        # Connections wait in the socket until the server runs, and are refused after it ended.
        with socket.create_server(("127.0.0.1", 0)) as listener:
            port = listener.getsockname()[1]
            for file in Path(__file__).parent.iterdir():
                text = file.read_text().replace("@PORT@", str(port)).replace("@BACKEND@", backend)
                (self.folder / file.name).write_text(text)
            environment = dict(os.environ, PATH=os.environ["PATH"] + ":/usr/sbin", NGINX="0;")
            server = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *command], stdin=listener,
                                      cwd=self.folder, env=environment)
        self.addCleanup(self.enterContext(server).terminate)
        return port

    def check(self, port, folder, framing, name=None):
        """Downloads every file. With a name, which the server must return, tests all commands."""
        url = f"http://127.0.0.1:{port}{folder}/agent"
        if name:
            self.expect(0, "5.10\n", "^$", "version", url)
            self.expect(0, name + "\n", "^$", "name", url, *KIND)
        for size in SIZES:
            file = f"{size}.pkg"
            content = (self.stored / file).read_bytes()
            if name:
                (self.stored / file).rename(self.work / file)
                self.expect(0, file + "\n", f"\norla: sent {size} bytes", "send", url, file, *KIND)
                self.assertTrue((self.stored / file).read_bytes() == content)
            progress = r"^(orla: [12]\.\d MiB so far\n){1,2}" * (size > 2 << 20)
            self.expect(0, f"got: {size} bytes\n", progress + f"orla: received {size} bytes",
                        "get", url, f"{folder}/{file}", "got")
            self.assertTrue((self.work / "got").read_bytes() == content)
        ask = f"GET {folder}/{file} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"
        self.assertRegex(exchange(port, ask.encode())[:1000], framing)

    def test_nginx(self):
        backend = self.enterContext(DevServer(self.stored, "--server-version", "5.10.1"))
        port = self.run_server("nginx", "-p", ".", "-c", "nginx.conf", backend=backend.url)
        url = f"http://127.0.0.1:{port}"
        package = f"../stored/{SIZES[-1]}.pkg"  # Refused before most of it was sent.
        for status, *command in (
                ("10: HTTP 404: file not found.", "get", url, "/none", "got"),
                ("1: HTTP protocol error: 301", "get", url, "/moved", "got"),
                ("1: HTTP protocol error: 502", "version", f"{url}/gone/agent"),
                ("1: HTTP protocol error: 413", "send", f"{url}/limited/a", package, *KIND)):
            self.expect(1, "", f"orla: {command[0]}: status {status}\n", *command)
        self.check(port, "", LENGTH)
        self.check(port, "/large-head", rb"\r\nX-Large: (0123456789abcdef)+")
        self.check(port, "/buffered", LENGTH, "7-i.pkg")
        self.check(port, "/unbuffered", LENGTH, "7-i.pkg")
        self.check(port, "/chunked", CHUNKED, "7-i.pkg")

    def test_lighttpd(self):
        self.check(self.run_server("lighttpd", "-D", "-f", "lighttpd.conf"), "", LENGTH)

    def test_node(self):
        hints = rb"^HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 [^\0]*" + CHUNKED
        until_close = rb"^((?!Content-Length|Transfer)[^\0])*\r\n\r\n"
        port = self.run_server("node", "server.js", "stored")
        for folder, framing in (("/chunked", CHUNKED), ("/length", LENGTH),
                                ("/close", until_close), ("/hints", hints)):
            self.check(port, folder, framing, "7i")


main()
