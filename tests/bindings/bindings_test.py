"""The Python module with the built library. Also checks the tables and samples of docs/errors.md and
docs/wire.md."""
import os
import re
import signal
import subprocess
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import orlacl
from programs import WAIT, DevServer, ProgramTestCase, ScriptedServer, main, reply

TOP = Path(__file__).parents[2]


class BindingsTest(ProgramTestCase):
    def setUp(self):
        super().setUp()
        os.chdir(self.work)
        self.library = self.enterContext(orlacl.Library())

    def server(self, answer):
        """Connects to a server that gives this answer, or to this URL."""
        url = self.enterContext(ScriptedServer(answer)).url if isinstance(answer, bytes) else answer
        return self.library.connect(url)

    def test_every_command(self):
        content = os.urandom(3_000_001)
        Path("a.pkg").write_bytes(content)
        size, calls = len(content), []
        with DevServer(self.stored, "--server-version", "65537.2.3") as devserver, \
                self.server(devserver.url + "agent") as server:
            self.assertEqual(server.package_name(7, ["\u00e9 &", b"b"]), "7-\u00e9__-b.pkg")
            self.assertEqual(server.send("a.pkg", 7), ("a.pkg", size))
            self.assertEqual(server.send(Path("a.pkg"), 7, ("i",), ""), ("7-i.pkg", size))
            self.assertEqual(server.download("/a.pkg", "new", lambda *call: calls.append(call), "5"), size)
            self.assertTrue(Path("new").read_bytes() == content)
            self.assertEqual((calls[0][1], calls[1][1], calls[-1][0]), (content[:512], b"", size))
            output = subprocess.check_output([sys.executable, TOP / "examples/agent.py", devserver.url,
                                              "/a.pkg", "copy"], text=True, timeout=WAIT)
            self.assertRegex(output, rf"1\.2\.\nIt begins with .*\ncopy: {size} bytes\.\n$")

    def test_stopped_downloads(self):
        for wanted, stop, signals in ((KeyError, {}.popitem, []), (KeyboardInterrupt, list, [signal.SIGINT]),
                                      (GeneratorExit, lambda: (_ for _ in ()).throw(GeneratorExit), [])):
            with self.subTest(wanted), ScriptedServer(reply(200, b"1" * 600, 1200), b"2" * 600) as server:
                go_on = lambda: (*map(signal.raise_signal, signals), server.go.set())
                calls = []

                def progress(count, _):
                    calls.append(count)  # The signal arrives while the library waits for the second piece.
                    threading.Thread(target=go_on).start()
                    stop()

                Path("old").write_bytes(b"old")
                self.assertRaises(wanted, self.server(server.url).download, "/", "old", progress)
                self.assertEqual((calls, os.listdir(), Path("old").read_bytes()), ([600], ["old"], b"old"))

    def test_misuse(self):
        first = self.server("http://a/")
        first.disconnect()
        with orlacl.Library(os.environ["ORLA_LIBRARY"]):
            second = self.server("http://b/")
        first.disconnect()
        self.assertNotIn(second.handle, (0, self.server("http://c/").handle))
        self.library.cleanup()
        self.assertEqual(second.handle, 0)
        for wrong, function, *arguments in (
                (ValueError, self.server, "http://a b/"), (ValueError, first.download, "/", "x\0y"),
                (ValueError, first.package_name, 0), (OSError, orlacl.Library, "./absent"),
                (TypeError, self.server, 5), (TypeError, first.package_name, 1, [5]),
                (TypeError, first.package_name, 1, [[65, 66]]),
                # The library sends a value unchanged if it is longer than 2069 bytes encoded.
                (ValueError, first.package_name, 1, [" HTTP/1.1\r\nX: " + ";" * 690]),
                (ValueError, first.send, "x", 1, [], b";" * 690), (ValueError, first.send, ";" * 690, 1),
                (orlacl.Error, first.package_name, 1, [";" * 689, "i" * 2070])):
            self.assertRaises(wrong, function, *arguments)

    def test_table_that_cannot_be_locked(self):
        library = orlacl.Library(os.environ["ORLA_UNLOCKABLE"])
        connection = orlacl.Connection(library, 1)
        for function, *arguments in ((library.initialize,), (library.cleanup,), (connection.disconnect,),
                                     (library.connect, "http://a/"), (library.__enter__,)):
            with self.subTest(function):
                self.assertRaisesRegex(orlacl.Error, "docs/processes.md", function, *arguments)

    def check(self, wanted, call):
        """Checks status, code and message of a call. It runs in a new thread, which has no code yet."""
        def run():
            self.library.cleanup()
            self.library.initialize()
            self.assertRaises(orlacl.Error, self.server, "before")  # Its message remains if the call sets none.
            try:
                status = call() and "0"
            except orlacl.Error as error:
                status = str(int(error.status))
            message = self.library.last_message().replace("URL 'before' is invalid.", "–")
            return status, str(self.library.last_error() or "–"), message

        with self.subTest(wanted), ThreadPoolExecutor(1) as thread:
            self.assertEqual(thread.submit(run).result(), wanted)
            self.checked.update(wanted[:2])

    def test_errors(self):
        self.checked = set()
        document = (TOP / "docs/errors.md").read_text("utf-8")
        http = re.findall(r"^\| (\d{3}) \| (\d+)(?:; .* (\d+), and code (\d+))? \| (\d+) \| (.+) \|$",
                          document, re.M)
        for code, status, of_version, of_thread, of_download, said in http:
            ask = lambda command: lambda: command(self.server(reply(code, b"1.2.3" * (code == "200"))))
            self.check((of_version or status, of_thread or "–", said), ask(orlacl.Connection.version))
            self.check((status, "–", said), ask(lambda server: server.package_name(1)))
            self.check((of_download, "–", said), ask(lambda server: server.download("/", "f")))
        transport = re.findall(r"^\| [^`]* \| `(.*)` \| (4) \| ([^|]+) \|$", document, re.M)
        for example, status, said in transport:
            text = example if example.startswith("http:") else eval(f"b'{example}'")
            self.check((status, "–", said), lambda: self.server(text).version())

        subprocess.check_call(["truncate", "--size", "4G", "large"])
        Path("folder").mkdir()
        (self.stored / "file").write_bytes(b"1" * 600)
        rows = re.findall(r"^\| .* \| `(.*)` \| (\d+) \| (.+) \| (.+) \|$", document, re.M)
        with DevServer(self.stored, "--server-version", "beta") as devserver:
            for example, *wanted in rows:
                self.check(tuple(wanted), lambda: eval(
                    example, {"library": self.library, "server": self.server(devserver.url)}))
        self.assertEqual(len(http + transport + rows), document.count("\n| ") - 6)  # Without the heads of three tables.
        # orla_faults_test covers 24, a file that is truncated while it is read.
        self.assertEqual(self.checked | {"24"}, {str(int(status)) for status in orlacl.Status} | {"–"})

    def test_wire(self):
        Path("result.pkg").write_bytes(b"what was found.")
        texts = [(text[:-1] if "Content-Length" in text else text).replace("\n", "\r\n").encode()
                 for text in re.findall("```http\n(.*?)```", (TOP / "docs/wire.md").read_text("utf-8"), re.S)]
        commands = ((lambda it: it.version(), (5, 10)),
                    (lambda it: it.package_name(7, ["ws0042", "caf\u00e9 & bar"]), "7-ws0042.pkg"),
                    (lambda it: it.send("result.pkg", 7, ["ws0042"]), ("result.pkg", 15)),
                    (lambda it: it.download("/files/result.pkg?part=1", "f", counter="3"), 5))
        for (command, result), request, answer in zip(commands, texts[::2], texts[1::2], strict=True):
            with ScriptedServer(answer) as peer:
                self.assertEqual(command(self.server(peer.url + "?query")), result)
            wanted = request.replace(b":8080", b":%d" % peer.server_address[1])
            self.assertEqual(peer.received, wanted)


main()
