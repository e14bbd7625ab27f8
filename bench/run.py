"""Runs the benchmark's programs, which scripts/bench builds, and writes its report.

Every round runs every client in shuffled order, and ratios are computed within a round, so that
other load on the machine affects all clients equally. Runs are divided into slices, each in its own
order, because the speed of a shared machine changes within a second. The bare client runs twice in
each round. The ratio of its two runs shows how much the results of equal clients differ.
"""

import argparse
import contextlib
import json
import os
import pathlib
import random
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass

import report

TOP = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = TOP / "build/bench"
WINDOWS_PROGRAMS = TOP / "build/bench-win32"
MIB = 1 << 20
FAR_MS = 20

BARE, AGAIN, OURS, TWO_WRITES = "bare", "bare again", "orla", "nagle"
PEERS = ["curl-kept", "curl-new", "httplib", "poco"]
CLIENTS = [BARE, AGAIN, OURS, *PEERS]
WINDOWS_CLIENTS = [BARE, AGAIN, OURS]


class Failed(Exception):
    """A program of the benchmark failed."""


@dataclass
class Scenario:
    title: str
    operation: str
    path: str
    count: int  # The number of commands in each slice.
    threads: int = 1
    size: int = 0  # The size of the file to upload, in bytes.
    server: str = "plain"
    clients: tuple = tuple(CLIENTS)
    slices: int = 1


@contextlib.contextmanager
def own_server(*arguments):
    """Runs the benchmark's own server; yields its port."""
    process = subprocess.Popen([PROGRAMS / "bench-server", *arguments], stdout=subprocess.PIPE)
    try:
        port = process.stdout.readline().strip()
        if not port:
            raise Failed("the server did not start")
        yield int(port)
    finally:
        process.terminate()
        process.wait()
        process.stdout.close()


NGINX_CONFIGURATION = """
daemon off;
pid {directory}/nginx.pid;
error_log {directory}/nginx.log;
worker_processes 2;
{user}
events {{ worker_connections 1024; }}
http {{
  access_log off;
  sendfile on;
  tcp_nopush on;
  client_max_body_size 0;
  client_body_temp_path {directory}/nginx-body;
  proxy_temp_path {directory}/nginx-proxy;
  fastcgi_temp_path {directory}/nginx-fastcgi;
  uwsgi_temp_path {directory}/nginx-uwsgi;
  scgi_temp_path {directory}/nginx-scgi;
  server {{
    listen 127.0.0.1:{port};
    location /plain/ {{ root {directory}; }}
    location = /get {{ return 200 "5.10.1234"; }}
    location = /upload {{ return 200 "$content_length"; }}
  }}
}}
"""


@contextlib.contextmanager
def nginx(directory, own_port, sizes):
    """Runs nginx with the files to download; yields its port."""
    (directory / "plain").mkdir()
    for size in sizes:
        download(own_port, size, directory / "plain" / str(size))
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    configuration = directory / "nginx.conf"
    user = "user root;" if os.geteuid() == 0 else ""
    configuration.write_text(NGINX_CONFIGURATION.format(directory=directory, port=port, user=user))
    process = subprocess.Popen(["/usr/sbin/nginx", "-c", configuration],
                               stderr=subprocess.DEVNULL)
    try:
        for _ in range(100):
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
                break
            if process.poll() is not None:
                raise Failed("nginx did not start")
            time.sleep(0.1)
        yield port
    finally:
        process.terminate()
        process.wait()


def download(port, size, path):
    """Downloads `size` bytes from the own server into a file."""
    with socket.create_connection(("127.0.0.1", port)) as connection, open(path, "wb") as file:
        connection.sendall(b"GET /plain/%d HTTP/1.1\r\n\r\n" % size)
        head, _, body = connection.makefile("rb").read1(4096).partition(b"\r\n\r\n")
        file.write(body)
        while file.tell() < size:
            file.write(connection.recv(MIB))


class Bench:
    """Runs the clients, with the ports of the servers and a directory for files."""

    def __init__(self, directory, ports):
        self.directory = directory
        self.ports = ports

    def command(self, client, scenario, count, windows=False):
        name = "bench-" + (BARE if client == AGAIN else client)
        program = ([TOP / "scripts/wine-run", WINDOWS_PROGRAMS / f"{name}.exe"] if windows
                   else [PROGRAMS / name])
        url = f"http://127.0.0.1:{self.ports[scenario.server]}{scenario.path}"
        file = []
        if scenario.operation == "download":
            file = [self.directory / "received"]
        elif scenario.operation == "upload":
            file = [self.directory / f"package-{scenario.size}"]
            if not file[0].exists():
                download(self.ports["own"], scenario.size, file[0])
        return [*program, scenario.operation, url, str(count), str(scenario.threads), *file]

    def run(self, client, scenario, windows=False, environment=None):
        command = self.command(client, scenario, scenario.count, windows)
        done = subprocess.run(command, capture_output=True, text=True, timeout=300,
                              env={**os.environ, **(environment or {})})
        if done.returncode != 0:
            raise Failed(f"{client}: {scenario.title}: {done.stderr.strip()}")
        result = json.loads(done.stdout)
        result["command_seconds"] = result["seconds"] / scenario.count
        result["over_idle"] = (result["peak_kib"] - result["idle_kib"]) * 1024
        return result

    def rounds(self, scenario, rounds, windows=False):
        """Returns the results of each client, one for each round: the mean of its slices."""
        results = {client: [] for client in scenario.clients}
        for number in range(rounds):
            say(f"{scenario.title}: round {number + 1} of {rounds}")
            slices = {client: [] for client in scenario.clients}
            for _ in range(scenario.slices):
                for client in random.sample(list(scenario.clients), len(scenario.clients)):
                    slices[client].append(self.run(client, scenario, windows))
            for client, runs in slices.items():
                results[client].append({key: statistics.mean(run[key] for run in runs)
                                        for key in ("command_seconds", "cpu")})
        return results

    def system_calls(self, client, scenario):
        """Returns the system calls per command, computed from the difference between a short and a
        long run, so that the startup of the program is not counted."""
        def total(count):
            file = self.directory / "strace"
            subprocess.run(["strace", "-f", "-c", "-o", file,
                            *self.command(client, scenario, count)],
                           check=True, stdout=subprocess.DEVNULL, timeout=300)
            for line in file.read_text().splitlines():
                if line.endswith(" total"):
                    return int(line.split()[3])
            raise Failed("strace counted nothing")
        few, many = 20, 220
        return (total(many) - total(few)) / (many - few)


def say(text):
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)


def scenarios(quick, against_nginx):
    divisor = 4 if quick else 1
    gets = {"count": 1000, "slices": 16 // divisor}
    all_scenarios = {
        "get1": Scenario("GET, 1 thread", "get", "/get", **gets),
        "get4": Scenario("GET, 4 threads", "get", "/get", threads=4, **gets),
        "get8": Scenario("GET, 8 threads", "get", "/get", threads=8, **gets),
        "plain": Scenario("download 256 MiB", "download", f"/plain/{256 * MIB}", 1,
                          slices=4 // divisor),
        "chunks64": Scenario("in 64 KiB chunks", "download", f"/chunked/65536/{256 * MIB}", 1,
                             slices=4 // divisor),
        "chunks1": Scenario("64 MiB in 1 KiB chunks", "download", f"/chunked/1024/{64 * MIB}", 1),
        "upload": Scenario("upload 64 MiB", "upload", "/upload", 2, size=64 * MIB,
                           slices=4 // divisor),
    }
    if against_nginx:  # nginx sends files without chunks, and without delays.
        return {key: value for key, value in all_scenarios.items() if not key.startswith("chunks")}
    all_scenarios |= {
        "far": Scenario(f"GET, server {FAR_MS} ms away", "get", "/get", 100 // divisor,
                        server="far"),
        "late_get": Scenario("GET, late acknowledgments", "get", "/get", 100 // divisor,
                             server="late", clients=(*CLIENTS, TWO_WRITES)),
        "late_upload": Scenario("upload 1 MiB, late acknowledgments", "upload", "/upload",
                                100 // divisor, size=MIB, server="late"),
    }
    return all_scenarios


def measure_memory(bench, clients):
    """Returns the memory of the idle process, and the maximum increase in three runs, in bytes."""
    table = {}
    for operation, path, sizes in (("download", "/plain/{}", (1, 64, 256)),
                                   ("upload", "/upload", (1, 64))):
        for size in sizes:
            scenario = Scenario(f"memory, {operation} {size} MiB", operation,
                                path.format(size * MIB), 1, size=size * MIB)
            say(scenario.title)
            for client in clients:
                runs = [bench.run(client, scenario) for _ in range(3)]
                row = table.setdefault(client, {})
                row["idle"] = statistics.median(run["idle_kib"] * 1024 for run in runs)
                row[operation, size] = max(run["over_idle"] for run in runs)
    return table


def measure_growth(bench, quick):
    """Returns measurements of the library and the bare client for growing sizes: the median seconds
    per command, and the maximum increase of the memory in bytes."""
    repeats = 3 if quick else 7
    max_bytes = 64 * MIB  # One run transfers at most this much, unless one command transfers more.

    def curve(title, xs, make, clients=(BARE, OURS), environment=lambda x: None):
        points = []
        for x in xs:
            say(f"{title}: {x}")
            runs = {client: [] for client in clients}
            for _ in range(repeats):
                for client in random.sample(clients, len(clients)):
                    runs[client].append(bench.run(client, make(x), environment=environment(x)))
            point = {"x": x}
            for client in clients:
                point[client] = statistics.median(run["command_seconds"] for run in runs[client])
                point[client, "memory"] = max(run["over_idle"] for run in runs[client])
            points.append(point)
        return points

    def commands_for(size, most):
        return max(1, min(most, max_bytes // size))

    sizes = [1 << bits for bits in (range(10, 31, 4 if quick else 2))]
    if quick:
        sizes.append(1 << 28)
    chunk_counts = [1, 16, 256, 4096, 65536] + ([] if quick else [262144])
    header_counts = [1, 16, 250, 1000, 4000] if quick else [1, 4, 16, 64, 250, 1000, 2000, 4000]
    gets = 400 if quick else 2000
    return {
        "connections": curve(
            "connections", [1, 10, 29], lambda x: Scenario("", "get", "/get", gets),
            clients=(OURS,), environment=lambda x: {"BENCH_CONNECTIONS": str(x)}),
        "download": curve(
            "file size", sorted(sizes),
            lambda x: Scenario("", "download", f"/plain/{x}", commands_for(x, gets))),
        "upload": curve(
            "file size", sorted(sizes),
            lambda x: Scenario("", "upload", "/upload", commands_for(x, gets), size=x)),
        "headers": curve(
            "headers", header_counts, lambda x: Scenario("", "get", f"/get/{x}", max(50, gets // x))),
        "chunks": curve(
            "chunks", chunk_counts,
            lambda x: Scenario("", "download", f"/chunked/1024/{x * 1024}",
                               commands_for(x * 1024, gets))),
    }


def parse_arguments():
    def rounds(text):
        if int(text) < 7:
            raise argparse.ArgumentTypeError("at least 7 rounds are required")
        return int(text)
    parser = argparse.ArgumentParser()
    parser.add_argument("--rounds", type=rounds)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--server", choices=["own", "nginx"], default="own")
    parser.add_argument("--windows", action="store_true")
    options = parser.parse_args()
    options.rounds = options.rounds or (7 if options.quick else 11)
    return options


def files_directory():
    """Returns the directory for files: in memory if there is space, to exclude the disk."""
    needed = 4 << 30
    memory = pathlib.Path("/dev/shm")
    if memory.is_dir() and shutil.disk_usage(memory).free >= needed:
        return memory, "tmpfs"
    return PROGRAMS, "the disk of the build"


def measure(options, directory):
    measured = report.Measured(options=options)
    with contextlib.ExitStack() as stack:
        ports = {"own": stack.enter_context(own_server())}
        ports["plain"] = ports["own"]
        if options.server == "nginx":
            ports["plain"] = stack.enter_context(nginx(directory, ports["own"], [
                size * MIB for size in (1, 64, 256)]))
        else:
            ports["far"] = stack.enter_context(own_server("--far", str(FAR_MS)))
            ports["late"] = stack.enter_context(own_server("--late-acknowledgments"))
        bench = Bench(directory, ports)

        measured.scenarios = scenarios(options.quick, options.server == "nginx")
        for key, scenario in measured.scenarios.items():
            measured.results[key] = bench.rounds(scenario, options.rounds)
        get = measured.scenarios["get1"]
        distinct = [client for client in CLIENTS if client != AGAIN]
        measured.system_calls = {client: bench.system_calls(client, get) for client in distinct}
        measured.memory = measure_memory(bench, distinct)
        if options.server == "own":
            measured.growth = measure_growth(bench, options.quick)
        if options.windows:
            for key, threads in (("get1", 1), ("get4", 4)):
                scenario = Scenario(f"GET, {threads} thread{'s' * (threads > 1)}", "get", "/get",
                                    300, threads, clients=tuple(WINDOWS_CLIENTS),
                                    slices=1 if options.quick else 3)
                measured.windows_scenarios[key] = scenario
                measured.windows_results[key] = bench.rounds(scenario, options.rounds, windows=True)
            measured.dll_size = (WINDOWS_PROGRAMS / "ORLACl.dll").stat().st_size
    say("")
    return measured


def main():
    options = parse_arguments()
    full = not options.quick and options.server == "own" and options.windows
    output = TOP / "docs" if full else PROGRAMS
    output.mkdir(exist_ok=True)
    place, place_name = files_directory()
    with tempfile.TemporaryDirectory(prefix="orla-bench-", dir=place) as directory:
        measured = measure(options, pathlib.Path(directory))
    measured.place = place_name
    text = report.markdown(measured)
    print(text)
    name = "benchmarks" if options.server == "own" else f"benchmarks-{options.server}"
    (output / f"{name}.md").write_text(text)
    if options.server == "own":
        report.pictures(measured, output)
    print(f"Written to {(output / name).relative_to(TOP)}.md", file=sys.stderr)


if __name__ == "__main__":
    try:
        main()
    except (Failed, subprocess.SubprocessError) as error:
        sys.exit(f"bench: {error}")
