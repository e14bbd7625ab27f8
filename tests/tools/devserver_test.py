"""Tests of the development server as a program, and of its status page in a browser."""
import json
import os
import re
import socket
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from urllib.parse import unquote_to_bytes

from programs import (ARGUMENTS, WAIT, DevServer, ProgramTestCase, ScriptedServer, exchange, main,
                      reply)

HOSTILE_PAGE = """<!DOCTYPE html><iframe name="answer"></iframe>
<form method="post" enctype="text/plain" target="answer"
      action="@SERVER@?ORLACommand=UploadPackage&Type=1&FileName=form"><input name="x"></form>
<script>
async function attack() {
  const order = {method: "POST", mode: "no-cors", body: "x"};
  await fetch("@SERVER@?ORLACommand=UploadPackage&Type=1&FileName=fetch", order);
  await fetch("@SERVER@package", {mode: "no-cors"});
  document.forms[0].submit();
}
attack();
</script>"""


class Browser(subprocess.Popen):
    """A browser with one page, controlled through a socket. It ends when the socket is closed."""

    def __init__(self, folder):
        self.link, link = socket.socketpair()
        self.link.settimeout(WAIT)
        command = ("HOME=. exec chromium --headless --no-sandbox --disable-dev-shm-usage "
                   "--host-resolver-rules='MAP rebound.example 127.0.0.1' "
                   f"--user-data-dir=. --remote-debugging-pipe 3<&{link.fileno()} 4>&3")
        with link:
            super().__init__(["bash", "-c", command], cwd=folder, stdout=subprocess.PIPE,
                             pass_fds=[link.fileno()])
        self.messages, self.page = self.receive(), {}
        target = self.order("Target.createTarget", url="about:blank")
        self.page = self.order("Target.attachToTarget", flatten=True, **target)

    def __exit__(self, *_):
        self.link.close()
        self.terminate()
        self.communicate(timeout=WAIT)  # Its child processes write to the directory until they end.

    def receive(self):
        rest = b""
        for piece in iter(lambda: self.link.recv(1 << 16), b""):
            *messages, rest = (rest + piece).split(b"\0")
            yield from map(json.loads, messages)

    def order(self, method, **params):
        order = {"id": 1, "method": method, "params": params, **self.page}
        self.link.sendall(json.dumps(order).encode() + b"\0")
        return next(message["result"] for message in self.messages if "id" in message)

    def until(self, text):
        """Waits until the page shows the text. Returns the whole text of the page."""
        look = """new Promise((found) => setInterval(() => {
            const shown = document.body?.innerText ?? "";
            if (shown.includes(%s)) found(shown); }, 20))""" % json.dumps(text)
        answer = self.order("Runtime.evaluate", expression=look, awaitPromise=True)
        return answer["result"]["value"]


def recorded(server, count):
    """Waits until the server has recorded this many requests, which it does after the answer.

    Returns its status."""
    limit = time.monotonic() + WAIT
    while time.monotonic() < limit:
        status = json.loads(server.ask("GET", "/orla-status/status.json")[1])
        if status["requests_total"] >= count:
            return status
    raise AssertionError(f"{status['requests_total']} requests instead of {count}")


def peak_memory(process):
    """Returns the peak resident set size of the process in bytes."""
    status = Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(r"VmHWM:\s*(\d+) kB", status)[1]) << 10


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
        requests = [  # status, answer (None: one line with the reason), request
            (200, b"2.5.1", "GET", "/?ORLACommand=GetVersion"),
            (200, b"7.pkg", "GET", compile_name + "7&Encoding=UTF-8"),
            (200, b"7-a_b-c_d.e.pkg", "GET", compile_name + "7&Identity0=a%20b&Identity1=c%2Fd.e"),
            (200, b"7" + b"-x" * 12 + b".pkg", "GET", compile_name + "7" + many),
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
            self.assertEqual(server.upload("chunks", b"3\r\nabc\r\n0\r\n\r\n", chunked)[0], 200)
            bodies = [bytes([i]) * 2_000_000 for i in range(6)]
            with ThreadPoolExecutor(len(bodies)) as threads:
                answers = threads.map(lambda body: server.upload("one", body), bodies)
                self.assertEqual(list(answers), [(200, b"one")] * len(bodies))
            self.assertIn(server.ask("GET", "/one")[1], bodies)
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
        # Checked after the server has finished every request.
        self.assertEqual(sorted(os.listdir(self.stored)), before)
        self.assertEqual(outside.read_bytes(), b"outside")

    def test_start_and_stop(self):
        with DevServer(self.stored) as server:
            for options, code in ((f"--dir {self.stored} --port {server.port}", 1),  # in use
                                  ("--dir /dev/null/x --port 0", 1), ("--help", 0),
                                  (f"--dir {self.stored} --port 65536", 2), ("--port 0", 2),
                                  ("--dir x --chunked --close", 2), ("--dir x --fail 304 --close", 2)):
                command = [ARGUMENTS.devserver, *options.split()]
                ended = subprocess.run(command, capture_output=True, timeout=WAIT)
                self.assertEqual(ended.returncode, code, ended)
        # A signal before the first connection ends the server cleanly, too.
        for _ in range(20):
            DevServer(self.folder / "new").__exit__()

    def test_options_to_test_an_agent(self):
        (self.stored / "a").write_bytes(b"0123456789")
        for options, head, body in (
                ("", b"206 .*\r\nContent-Length: 10", b"0123456789"),
                ("--chunked", b"200 .*\r\nTransfer-Encoding: c", b"a\r\n0123456789\r\n0\r\n\r\n"),
                ("--close", b"200 .*\r\nConnection: close", b"0123456789"),
                ("--close --fail=503", b"503 .*\r\nConnection: close", b"--fail [^\n]* 503\n"),
                ("--delay=1 --fail=304", b"304 .*\r\nContent-Length: 0", b"")):
            with self.subTest(options), DevServer(self.stored, *options.split()) as server:
                got = exchange(server.port, b"GET /a HTTP/1.1\r\nRange: bytes=0-\r\n\r\n")
                self.assertRegex(got, b"(?s)^HTTP/1.1 %b.*\r\n\r\n%b\\Z" % (head, body))
                self.assertEqual(b"Content-Length" in got, "--c" not in options)
                self.assertEqual(b"Connection: close" in got, "--close" in options)
                server.upload("up", b"x")
                self.assertEqual((self.stored / "up").exists(), "--fail" not in options)
                (self.stored / "up").unlink(missing_ok=True)

    def test_records(self):
        log = self.folder / "log"
        stream = self.enterContext(log.open("wb"))
        with DevServer(self.stored, "--server-version", "\u00fc", stderr=stream) as server:
            server.upload("a%26%25", b"x")
            server.ask("GET", "/?ORLACommand=%E2%80%AE%EF%BB%BF%E2%81%AA%22&Identity0=%C3%BC%1B%C2%9B"
                       "&Type=%zz" + "&%41" * 70)
            for i in range(400):
                server.ask("GET", f"/none&Counter={i}")
            status = recorded(server, 402)
            later = json.loads(server.ask("GET", "/orla-status/status.json?after=401")[1])
            self.assertEqual(server.ask("GET", status["packages"][0]["path"])[1], b"x")
        self.assertEqual([entry["id"] for entry in status["requests"]], list(range(103, 403)))
        self.assertEqual(later["requests"], status["requests"][-1:])
        lines = log.read_bytes()
        self.assertEqual(lines.count(b"\n"), 403)
        self.assertRegex(lines, rb'Z 127[.\d]+:\d+ GET "\\u202e\\ufeff\xe2\x81\xaa\\"" "/" '
                         rb'Identity0="\xc3\xbc\\u001b\\u009b" Type="%zz"( %41=""){62} '
                         rb'\.\.\.="%41(&%41){7}": 400, received 0, sent 44, [\d.]+ ms: a percent sign')
        with DevServer(self.stored, "--silent", stderr=stream) as server:
            server.ask("GET", "/")
        self.assertEqual(log.read_bytes(), lines)

    def test_request_sources(self):
        (self.stored / "package").write_bytes(b"content")
        same, other = "Origin: http://localhost:1\r\n", "Origin: http://localhost:2\r\n"
        cross = "Sec-Fetch-Site: cross-site\r\n"
        allowed = ["Host: " + host for host in (
            "127.0.0.1", "192.0.2.7:80", "127.1:8080", "0x7f.1", "[::1]", "[2001:db8::7]:8080",
            "localhost", "LocalHost:8080", "localhost:")]
        allowed += ["X: y", f"Host: localhost:1\r\n{same}", "Host: [::]\r\nHost: [::]",
                    "Host: localhost\r\nSec-Fetch-Site: same-origin", "Sec-Fetch-Site: none"]
        refused = ["Host: " + host for host in (
            "rebound.example", "rebound.example:8080", "127.0.0.1.example", "1.example",
            "localhost.example", "127.0.0.1 x", "127.0.0.1:x", "localhost:80:80", "::1", "[::1", "[::1]x:80", "[localhost]",
            "[127.0.0.1]", "x@127.0.0.1", "127.0.0.1:80\r\nHost: rebound.example")]
        refused += ["Host: localhost:1\r\n" + origin for origin in (
            other, "Origin: https://localhost:1", "Origin: http://localhost", "Origin: null",
            same + other, "Origin: http://127.0.0.1:1", cross, same + cross, "sec-fetch-site: Cross-Site")]
        refused += ["Origin: http://", "Origin: http://localhost:1"]
        upload = "/?ORLACommand=UploadPackage&Type=1&FileName=new"
        with DevServer(self.stored) as server:
            def ask(line, headers, body=""):
                return exchange(server.port, f"{line} HTTP/1.1\r\nContent-Length: {len(body)}\r\n"
                                             f"{headers.rstrip()}\r\n\r\n{body}".encode())
            for headers in allowed:
                with self.subTest(headers):
                    self.assertRegex(ask("GET /package", headers), rb"(?s)^HTTP/1.1 200 .*content$")
                    self.assertRegex(ask("POST " + upload, headers, "x"), b"^HTTP/1.1 200 ")
                    (self.stored / "new").unlink()
            for headers in refused:
                for line in "GET /package", "POST " + upload, "GET /orla-status/", "PUT /package":
                    with self.subTest(headers, line=line):
                        answer = ask(line, headers, "x" * line.startswith("P"))
                        self.assertRegex(answer, b"^HTTP/1.1 403 ")
                        self.assertRegex(answer, rb"\r\n\r\n[^\n]*(Host|Origin|Sec-Fetch)[^\n]*\n$")
                        self.assertEqual(os.listdir(self.stored), ["package"])
            status = recorded(server, 2 * len(allowed) + 4 * len(refused))
        page, put = status["requests"][-2:]
        for entry in page, put:
            self.assertEqual(entry["status"], 403)
            self.assertIn("Origin header", entry["reason"])

    def test_own_host_name(self):
        name = socket.gethostname()
        try:
            socket.getaddrinfo(name, None)
        except OSError as error:
            self.skipTest(f"this machine's name {name} has no address: {error}")
        command = [ARGUMENTS.devserver, "--dir", self.stored, "--port", "0", "--host", name]
        server = self.enterContext(subprocess.Popen(command, stdout=subprocess.PIPE))
        self.addCleanup(server.wait, WAIT)
        self.addCleanup(server.terminate)
        host = server.stdout.readline().decode().partition("://")[2].rstrip("/\n")
        for asked, status in ((host, b"404"), (host.upper(), b"404"), ("x" + host, b"403")):
            with socket.create_connection((name, int(host.rpartition(":")[2])), WAIT) as connection:
                connection.sendall(f"GET /none HTTP/1.1\r\nHost: {asked}\r\n\r\n".encode())
                self.assertEqual(connection.recv(1 << 16).split()[1], status)

    def test_large_heads(self):
        head, limit = b"GET /none HTTP/1.1\r\n", 64 * 1024
        head += b"a: b\r\n" * 10_000
        fitting = head + b"c: " + b"x" * (limit - len(head) - 7) + b"\r\n\r\n"
        chunked = (b"POST /?ORLACommand=UploadPackage&Type=1&FileName=%b HTTP/1.1\r\n"
                   b"Transfer-Encoding: chunked\r\n\r\n")
        cases = (  # status, the answer's line, request
            (404, b"no such package", fitting),
            (431, b"larger than 65536 bytes", fitting.replace(b"c", b"cc")),
            (431, b"larger than 65536 bytes", head + b"a: b\r\n" * 2_000_000 + b"\r\n"),
            (431, b"larger than 65536 bytes", head + b"c: " + b"x" * 12_000_000 + b"\r\n\r\n"),
            (400, b"", b"GET /none HTTP/1.1\r\nc: " + b"x" * 12_000_000 + b"\r\n\r\n"),
            (414, b"", b"GET /" + b"x" * 12_000_000 + b" HTTP/1.1\r\nX: x\r\n\r\n"),
            (200, b"many", chunked % b"many" + b"1\r\nx\r\n" * 40_000 + b"0\r\n\r\n"),
            (400, b"ended early", chunked % b"line" + b"1;" + b"x" * 70_000))
        with DevServer(self.stored) as server:
            server.ask("GET", "/none")
            before = peak_memory(server)
            for status, line, request in cases:
                with self.subTest(request[:80], size=len(request)):
                    wanted = b"(?s)^HTTP/1.1 %d .*%b" % (status, line)
                    self.assertRegex(exchange(server.port, request), wanted)
            with self.assertRaises(OSError):  # A head without an end: the connection is closed.
                with socket.create_connection(("127.0.0.1", server.port), WAIT) as connection:
                    connection.sendall(b"GET /none HTTP/1.1\r\n")
                    for _ in range(1000):
                        connection.sendall(b"a: b\r\n" * 20_000)
            # The address sanitizer retains freed memory; without a limit it is hundreds of MiB.
            self.assertLess(peak_memory(server) - before, 96 << 20)
            self.assertEqual(server.ask("GET", "/many"), (200, b"x" * 40_000))
        self.assertEqual(os.listdir(self.stored), ["many"])

    def test_pages_of_other_sites(self):
        (self.stored / "package").write_bytes(b"content")
        with DevServer(self.stored) as server:
            page = reply(200, HOSTILE_PAGE.replace("@SERVER@", server.url).encode())
            with ScriptedServer(page) as hostile, Browser(self.work) as browser:
                # Another port is another origin, whose pages cannot read the package that they get.
                # Another host name is another site.
                for host, expected in (("127.0.0.1", [403, 200, 403]), ("localhost", [403] * 3)):
                    before = recorded(server, 0)["requests_total"]
                    browser.order("Page.navigate", url=hostile.url.replace("127.0.0.1", host))
                    with self.subTest(host):
                        requests = recorded(server, before + 3)["requests"][before:]
                        # The browser sends its requests in any order.
                        self.assertCountEqual([entry["status"] for entry in requests], expected)
                        self.assertCountEqual([entry["method"] for entry in requests],
                                              ["POST", "GET", "POST"])
                browser.order("Page.navigate", url=f"http://rebound.example:{server.port}/package")
                browser.until("the Host header")
        self.assertEqual(os.listdir(self.stored), ["package"])

    def test_page(self):
        (self.stored / "f\u00fcr & 50%25.pkg").write_bytes(b"x")
        browser = self.enterContext(Browser(self.work))
        with DevServer(self.stored, "--delay", "100") as server:
            server.upload("%3Cb%3E%3Cscript%3E&Identity0=gr%C3%BC%C3%9Fe", b"x")
            browser.order("Page.navigate", url=server.url + "orla-status/")
            self.assertRegex(browser.until("gr\u00fc\u00dfe"), r"(?s)waits 100 ms.*f\u00fcr & 50%25\.pkg.*"
                             "FileName <b><script>\nIdentity0 gr\u00fc\u00dfe\n+no package"
                             r"[^\n]*\s+400\s+1 B\s+41 B\s+(\d{3,} ms|[\d.]+ s)\n")
            server.upload("later.pkg", b"x")
            self.assertRegex(browser.until("FileName later.pkg"), "(?s)FileName later.*FileName <b>")
        browser.until("does not answer")


main()
