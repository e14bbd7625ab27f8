"""Tests of the tools as programs: orla against the development server and scripted ones."""
import contextlib
import itertools
import json
import os
import pty
import re
import select
import signal
import subprocess
import sys
import threading
from pathlib import Path

from programs import (ARGUMENTS, KIND, WAIT, DevServer, ProgramTestCase, ScriptedServer, main,
                      reply)

FIGURES = ("fastest", "median", "percentile_90", "percentile_99", "slowest")
signal.signal(signal.SIGINT, signal.default_int_handler)  # Otherwise clients could inherit that it is ignored.


def shown(stream, text):
    """Reads from the stream until the text has arrived; returns everything that was read."""
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
                    (0, "7-i.pkg\n", "^$", "send", url, "a.pkg", *KIND, "--name", "", "--silent"),
                    (0, "b: 1 bytes\n", "", "get", url, "7-i.pkg", "b", "--counter=3"),
                    # The server or a file causes a failure.
                    (1, "", "10: HTTP 404.*\n.* not have /no,", "get", url, "no", "b", "--silent"),
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
                    (2, "", "1 to 30", "version", url, "--repeat", "2", "--parallel", "31"),
                    (2, "", "not in range", "get", url, "/a", "b", "--size", "-1"),
                    (2, "", "percent-encoded", "get", url, "/a b", "c"),
                    (2, "", "percent-encoded", "get", url, "/a", "c", "--counter", "1\r\nX: y"),
                    (2, "", "URL: .*percent-encoded", "version", url + " HTTP/1.1\r\nX: y"),
                    # The library sends a value unchanged if it is longer than 2069 bytes encoded.
                    (2, "", "than 2069 bytes", "name", url, *kind, " HTTP/1.1\r\nX: " + ";" * 690),
                    (2, "", "than 2069 bytes", "send", url, "a.pkg", *KIND, "--name", ";" * 690),
                    (2, "", "name of FILE: .*than 2069 bytes", "send", url, ";" * 690, *KIND),
                    (1, "", "", "name", url, *kind, ";" * 689)):
                self.expect(*row)

    def test_text_of_the_server(self):
        for sent, printed in (
                (b"\x1b]0;title\x07 \x7f", "?]0;title? ?"), (b"a\x1f\x9bb\xc2\x9f\x80c", "a??b??c"),
                ("\u202e\u2066 \u200b\u200f \u2028 \ufeff".encode(), "?? ?? ? ?"),
                ("\u061c\u00ad\u180e \U000e0041".encode(), "??? ?"),
                ("\u00e9\u200a\u2010\u2027\u202f\u20ac\U0001f600".encode(),
                 "\u00e9\u200a\u2010\u2027\u202f\u20ac\U0001f600"),
                (b"a\xe2\x80", "a\ufffd")):
            with ScriptedServer(reply(200, sent)) as server:
                self.expect(0, printed + "\n", "", "name", server.url, *KIND)

    def test_output_that_cannot_be_written(self):
        with DevServer(self.stored) as server, open("/dev/full", "w") as full:
            for arguments in (("version", server.url), ("version", server.url, "--json"),
                              ("version", server.url, "--repeat", "2"), ("--help",)):
                with self.subTest(arguments), (self.folder / "messages").open("w+") as messages:
                    process = self.start(*arguments, stdout=full, stderr=messages)
                    self.assertEqual(process.wait(WAIT), 1)
                    messages.seek(0)
                    self.assertIn("orla: the result cannot be written", messages.read())

    def json(self, *arguments, **how):
        """Returns the exit code and the JSON object, which must be the only line of output."""
        code, output, _ = self.run_client(*arguments, "--json", **how)
        self.assertRegex(output, r"^[ -~]+\n$")
        return code, json.loads(output)

    def test_json(self):
        (self.work / "a.pkg").write_bytes(b"abc")
        good = {"ok": True, "status": 0, "code": None, "message": "", "advice": ""}
        bad = {"ok": False, "result": None}
        dev = self.enterContext(DevServer(self.stored))
        for code, part, server, command, *rest in (
                (0, good | {"result": "1.0", "bytes": 0, "command": "version"}, dev, "version"),
                (0, good | {"result": '\ufffd"\\\x01'}, reply(200, b'\xff"\\\x01'), "name", *KIND),
                (0, good | {"result": "a.pkg", "bytes": 3}, dev, "send", "a.pkg", *KIND),
                (0, good | {"result": "\u00e9", "bytes": 3}, dev, "get", "/a.pkg", "\u00e9"),
                (1, bad | {"status": 0, "bytes": 3}, dev, "get", "/a.pkg", "b", "--size", "4"),
                (1, bad | {"status": 4, "code": 58, "message": "status 4: the server's answer is "
                           "not a version"}, reply(200, b"5.\xff"), "version"),
                (1, bad | {"status": 4, "message": "status 4: RWReplySyntaxError: reply was '?[2J"
                           "?\ufffd?'"}, b"\x1b[2J\xc2\x9b\xff\x01\r\n\r\n", "version"),
                (2, bad | {"status": None, "command": "name", "bytes": 0}, dev, "name")):
            if isinstance(server, bytes):
                server = self.enterContext(ScriptedServer(server))
            ended, object = self.json(command, server.url, *rest)
            self.assertEqual((ended, object | part), (code, object))
            self.assertEqual(bool(object["message"]), not object["ok"])

    def test_many_commands(self):
        with ScriptedServer(b"", reply(200, b"2.5.1")) as server:
            server.wait = threading.Barrier(4).wait  # Waits until four requests are in progress.
            for command in (("version", server.url), ("get", server.url, "/x", "got")):
                code, object = self.json(*command, "--repeat", "12", "--parallel", "4")
                times = [object[figure] for figure in FIGURES]
                self.assertEqual((code, object["commands"], object["failed"]), (0, 12, 0))
                self.assertEqual(times, sorted(times))
        self.assertEqual({file.name: file.read_bytes() for file in self.work.iterdir()},
                         {f"got.{i}": b"2.5.1" for i in range(1, 5)})

    def test_runs_that_fail(self):
        code, object = self.json("version", "http://127.0.0.1:0/", "--repeat", "3")
        (row,) = object["failures"]
        self.assertEqual((code, object["median"], row["status"], row["count"]), (1, None, 4, 3))
        self.assertRegex(row["message"] + row["advice"], "^status 4: RWSocketError.* runs at http:")
        self.assertEqual(self.json("version", "x", "--repeat", "3")[1]["status"], 1)

    def interrupt(self, server, command, *arguments):
        """Starts a command, which blocks after the server's first piece, and sends it one Ctrl-C."""
        process = self.start(command, server.url, *arguments, stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        self.assertTrue(server.asked.wait(WAIT))
        process.send_signal(signal.SIGINT)
        shown(process.stderr.fileno(), b"Ctrl-C again")
        return process

    def test_interrupts(self):
        # If the Unix process of a Windows program takes longer than half a second to exit, as on a
        # busy machine, Wine's server sends it SIGKILL, and the exit code of the program is lost.
        killed = (-signal.SIGKILL,) if ARGUMENTS.emulator else ()
        # Under Wine the default handler ends a process with code 0.
        ended = (0, 0xC000013A & 0xFF, *killed) if ARGUMENTS.emulator else (-signal.SIGINT,)
        half = reply(200, b"x" * 4096, length=8192)
        (self.work / "got").write_bytes(b"old")
        for message, pieces, *command in (
                (b"orla: get: canceled", (half, b"x" * 4096), "get", "/x", "got"),
                (b"canceled after 1 of 3 commands", (b"", reply(200, b"2.5.1")),
                 "version", "--repeat", "3")):
            with ScriptedServer(*pieces) as server:
                process = self.interrupt(server, *command)
                server.go.set()
                shown(process.stderr.fileno(), message)
                self.assertIn(process.wait(WAIT), (1, *killed))
                self.assertEqual(os.listdir(self.work), ["got"])
        with ScriptedServer(half, b"") as server:
            process = self.interrupt(server, "get", "/x", "got")
            # Under Wine a second Ctrl-C is lost while the handler of the first one still runs.
            for _ in range(WAIT if ARGUMENTS.emulator else 1):
                process.send_signal(signal.SIGINT)
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(1 if ARGUMENTS.emulator else WAIT)
            self.assertIn(process.poll(), ended)
            # It did not end by itself: then it would have printed a result or an error.
            os.set_blocking(process.stderr.fileno(), False)
            self.assertFalse(process.stderr.read())
        self.assertEqual((self.work / "got").read_bytes(), b"old")
        with ScriptedServer(b"", b"") as server:
            process = self.start("version", server.url)
            self.assertTrue(server.asked.wait(WAIT))
            process.send_signal(signal.SIGINT)
            self.assertIn(process.wait(WAIT), ended)


class TableTest(ProgramTestCase):
    def test_table_that_cannot_be_locked(self):
        unlockable = os.environ["ORLA_UNLOCKABLE"]
        before = ((unlockable,) if ARGUMENTS.emulator else
                  ("env", f"LD_LIBRARY_PATH={os.path.dirname(unlockable)}"))
        for repeat in (), ("--repeat", "2"):
            code, output, _ = self.run_client("version", "http://127.0.0.1:0/", *repeat, "--json",
                                              before=before)
            object = json.loads(output)
            self.assertEqual((code, object["ok"], object["status"]), (1, False, 1))
            self.assertIn("cannot lock its table", object["message"])
            self.assertIn("docs/processes.md", object["advice"])


class StreamsTest(ProgramTestCase):
    def test_closed_streams(self):
        """Output never goes into the objects that agents share."""
        if not ISOLATED:
            self.skipTest("needs root, for objects that no other program shares")
        with ScriptedServer(b"", reply(200, b"1.2.3")) as server:
            first = self.start("version", server.url)  # Has the objects open all the time.
            self.assertTrue(server.asked.wait(WAIT))
            maps = Path(f"/proc/{first.pid}/maps").read_text()
            objects = {Path(path) for path in re.findall(r"(?m)^\S+ rw-s .* (/\S+)$", maps)}
            self.assertTrue(objects, maps)
            before = [path.read_bytes() for path in objects]
            for closed in itertools.chain(*(itertools.combinations(range(3), n) for n in range(4))):
                shell = 'exec "$@" ' + " ".join(f"{stream}>&-" for stream in closed)
                with self.subTest(closed), ScriptedServer(reply(200, b"B" * 600)) as scripted:
                    code, output, messages = self.run_client(
                        "name", scripted.url, *KIND, before=("sh", "-c", shell, "sh"))
                    self.assertEqual([path.read_bytes() for path in objects], before)
                    self.assertEqual((code, output), (1, "") if 1 in closed else (0, "B" * 600 + "\n"))
                    self.assertEqual("cannot be written" in messages, 1 in closed and 2 not in closed)
            with DevServer(self.stored) as devserver:
                self.expect(0, "1.0\n", "", "version", devserver.url)
            server.go.set()
            self.assertEqual(first.wait(WAIT), 0)

    def test_descriptors_of_closed_streams(self):
        """They refer to the null device, so that no later file or socket gets their numbers."""
        links = lambda process: [os.readlink(f"/proc/{process.pid}/fd/{stream}") for stream in (0, 2)]
        with DevServer(self.stored, preexec_fn=lambda: (os.close(0), os.close(2))) as devserver:
            self.assertEqual(links(devserver), ["/dev/null"] * 2)
        with ScriptedServer(b"", b"") as server:
            process = self.start("version", server.url, before=("sh", "-c", 'exec "$@" <&- 2>&-', "sh"))
            self.assertTrue(server.asked.wait(WAIT))
            self.assertEqual(links(process), ["/dev/null"] * 2)


class TerminalTest(ProgramTestCase):
    def at_terminal(self, variables, *arguments):
        screen, terminal = pty.openpty()
        self.addCleanup(os.close, screen)
        self.start(*arguments, before=("env", *variables), stderr=terminal)
        os.close(terminal)
        return screen

    def test_progress_bar(self):
        plain, coloured = ("NO_COLOR=1", "TERM=xterm"), ("NO_COLOR=", "TERM=xterm")
        half = reply(200, b"x" * 4096, length=8192)
        for variables, options, expected in (
                (plain, (), rb"^\r\[ *={5} *\] +[\d.]+ KiB +[\d.]+ [KM]iB/s"),
                (plain, ("--size", "8192"), rb"^\r\[={15} {15}\]  50% +4.0 KiB .*/s +\d:\d\d left"),
                (coloured, (), rb"^\r\[\x1b\[32m *={5} *\x1b\[0m\] ")):
            with self.subTest(expected), ScriptedServer(half, b"x" * 4096) as server:
                screen = self.at_terminal(variables, "get", server.url, "/x", "got", *options)
                # The bar appears before the download ends.
                self.assertRegex(shown(screen, b"left" if options else b"/s"), expected)
                server.go.set()
                shown(screen, b"received 8192 bytes")
        screen = self.at_terminal(coloured, "get", "x", "/x", "got", "--silent")
        self.assertRegex(shown(screen, b"[:port]"), b"^\x1b\\[1;31morla: get:\x1b\\[0m status 1")

    def test_completion(self):
        """Types into bash's line editor. A function with the program's name prints its arguments."""
        (self.work / "a file.pkg").touch()
        completion = Path(__file__).parents[2] / "tools/orla/orla.bash"
        rows = (  # what is typed before the tab key, the arguments after it
            ("ve", "version"), ("name u --identity x --js", "name|u|--identity|x|--json"),
            ("get http://s:80/p /x a", "get|http://s:80/p|/x|a file.pkg"),
            ("get u /x 'a", "get|u|/x|a file.pkg"), ("get u a", "get|u|a"),
            ("send --type=7 http://s a", "send|--type=7|http://s|a file.pkg"),
            ("send u a\\ file.pkg --ty", "send|u|a file.pkg|--type"),
            ("send u --identity a", "send|u|--identity|a"), ("none --js", "none|--js"))
        lines = [f". {completion}; orla() {{ local IFS='|'; echo \"<$*>\"; }}",
                 *(f"orla {typed}\t" for typed, _ in rows), "exit", ""]
        said = subprocess.check_output(["script", "-qc", "bash --norc -i", "/dev/null"], text=True,
                                       input="\n".join(lines), cwd=self.work, timeout=WAIT,
                                       env=dict(os.environ, TERM="dumb", INPUTRC="/dev/null"))
        self.assertEqual(re.findall(r"(?m)^<(.*)>$", said), [given for _, given in rows])


# Programs in another PID namespace share no objects with these.
ISOLATED = "ORLA_ISOLATED" in os.environ
if "StreamsTest" in sys.argv and os.geteuid() == 0 and not ISOLATED:
    os.execvpe("unshare", ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc",
                           sys.executable, *sys.argv], dict(os.environ, ORLA_ISOLATED="1"))

main()
