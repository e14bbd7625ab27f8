"""Creates tables and pictures of the measured values."""

import datetime
import math
import pathlib
import platform
import re
import statistics
import subprocess
from dataclasses import dataclass, field

MIB = 1 << 20
BARE, AGAIN, OURS, TWO_WRITES = "bare", "bare again", "orla", "nagle"
NAMES = {
    BARE: "bare sockets",
    AGAIN: "bare sockets again (null check)",
    OURS: "**ORLACl**",
    "curl-kept": "libcurl, handle kept",
    "curl-new": "libcurl, new handle, large buffers",
    "httplib": "cpp-httplib",
    "poco": "Poco Net",
    TWO_WRITES: "bare sockets, two writes, TCP_NODELAY off",
}
STALL_MS = 20  # A delayed acknowledgment stalls a command for at least 40 ms.


@dataclass
class Measured:
    options: object
    scenarios: dict = field(default_factory=dict)
    results: dict = field(default_factory=dict)  # By scenario, then client: one for each round.
    windows_scenarios: dict = field(default_factory=dict)
    windows_results: dict = field(default_factory=dict)
    system_calls: dict = field(default_factory=dict)
    memory: dict = field(default_factory=dict)
    growth: dict = field(default_factory=dict)
    dll_size: int = 0
    place: str = ""


class Spread:
    """The median and the quartiles of numbers."""

    def __init__(self, numbers):
        self.low, self.median, self.high = statistics.quantiles(numbers, n=4, method="inclusive")

    def __str__(self):
        return f"{self.median:.2f} ({self.low:.2f}–{self.high:.2f})"


def ratios(results, client, key="command_seconds"):
    """Returns the spread over the rounds of the bare client's number divided by this client's."""
    return Spread([bare[key] / run[key] for bare, run in zip(results[BARE], results[client])])


def table(header, rows):
    lines = [header, ["---"] * len(header), *rows]
    return "\n".join("| " + " | ".join(str(cell) for cell in line) + " |" for line in lines) + "\n"


def seconds(value):
    for unit, size in (("s", 1), ("ms", 1e-3)):
        if value >= size:
            return f"{value / size:.3g} {unit}"
    return f"{value * 1e6:.3g} µs"


def size_text(size):
    for unit, one in (("GiB", 1 << 30), ("MiB", MIB), ("KiB", 1 << 10)):
        if size >= one:
            return f"{size // one} {unit}"
    return f"{size} B"


def mib(size):
    return f"{size / MIB:.2f}"


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True,
                              cwd=pathlib.Path(__file__).parent).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def version_of(package):
    versions = output_of("dpkg-query", "-W", "-f=${Version}\n", package).split()
    return versions[0] if versions else "none"


def conditions(measured):
    options = measured.options
    processor = re.search(r"model name\s*:\s*(.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())
    packages = {"g++": "g++-12", "libcurl": "libcurl4", "cpp-httplib": "libcpp-httplib-dev",
                "Poco": "libpoco-dev", "glibc": "libc6"}
    if options.windows:
        packages |= {"Wine": "wine", "mingw-w64 g++": "g++-mingw-w64-i686-posix"}
    if options.server == "nginx":
        packages["nginx"] = "nginx"
    revision = output_of("git", "describe", "--always", "--dirty=, changed")
    return (
        f"- Date: {datetime.date.today()}; source revision {revision or 'unknown'}\n"
        f"- Machine: {processor[1] if processor else platform.machine()}, "
        f"{output_of('nproc')} cores, {int(memory[1]) >> 20} GiB of memory\n"
        f"- System: {platform.system()} {platform.release()}; files on {measured.place}\n"
        "- Versions: " + ", ".join(f"{name} {version_of(package)}"
                                   for name, package in packages.items()) + "\n"
        f"- Server: {'nginx' if options.server == 'nginx' else 'the one in bench/server'}, "
        "on 127.0.0.1\n"
        f"- Rounds: {options.rounds}{', quick' if options.quick else ''}\n")


def ratio_table(scenarios, results):
    clients = [name for name in NAMES if any(name in runs for runs in results.values())]
    rows = []
    for client in clients:
        cells = []
        for runs in results.values():
            if client not in runs:
                cells.append("–")
            else:
                cells.append("1" if client == BARE else ratios(runs, client))
        rows.append([NAMES[client], *cells])
    return table(["", *(scenario.title for scenario in scenarios.values())], rows)


def time_table(scenarios, results):
    rows = []
    for key, scenario in scenarios.items():
        row = [scenario.title]
        for client in (BARE, OURS):
            runs = results[key][client]
            row.append(seconds(statistics.median(run["command_seconds"] for run in runs)))
        rows.append(row)
    return table(["time per command", NAMES[BARE], NAMES[OURS]], rows)


def cost_table(measured):
    memory = measured.memory
    columns = [column for column in memory[OURS] if column != "idle"]
    rows = []
    for client in memory:
        cost = "1" if client == BARE else cpu_cost(measured, client)
        rows.append([NAMES[client], cost, f"{measured.system_calls[client]:.1f}",
                     mib(memory[client]["idle"]),
                     *(mib(memory[client][column]) for column in columns)])
    return table(["", "CPU per GET", "system calls per GET", "idle process",
                  *(f"{operation} {size} MiB" for operation, size in columns)], rows)


def cpu_cost(measured, client):
    runs = measured.results["get1"]
    return Spread([run["cpu"] / bare["cpu"] for bare, run in zip(runs[BARE], runs[client])])


def growth_table(growth):
    rows = []
    for title, key in (("connections in the table", "connections"), ("headers", "headers"),
                       ("chunks of 1 KiB", "chunks"), ("download, bytes", "download"),
                       ("upload, bytes", "upload")):
        for point in growth[key]:
            x = size_text(point["x"]) if key in ("download", "upload") else point["x"]
            rows.append([f"{title}: {x}", seconds(point[BARE]) if BARE in point else "–",
                         seconds(point[OURS]), mib(point[OURS, "memory"])])
    return table(["", f"{NAMES[BARE]}", f"{NAMES[OURS]}", "memory over idle, MiB"], rows)


def steepness(points):
    """Returns the exponent of the growth for large sizes: 0 is constant, 1 is linear."""
    last = points[-1]
    first = max((p for p in points if p["x"] * 8 <= last["x"]), key=lambda p: p["x"],
                default=points[0])
    return math.log(last[OURS] / first[OURS]) / math.log(last["x"] / first["x"])


def targets(measured):
    """Returns a table with one row for each target: what is measured, the target, the measured
    value, and whether the value meets the target."""
    rows = []

    def row(what, target, value, met):
        rows.append([what, target, value, "yes" if met else "**no**"])

    def at_least(what, results, least):
        spread = ratios(results, OURS)
        row(what, f"at least {least:.2f}", spread, spread.median >= least)

    results = measured.results
    for key, least in (("get1", 0.90), ("get4", 0.90), ("plain", 0.95), ("chunks64", 0.95),
                       ("upload", 0.90)):
        if key in results:
            at_least(measured.scenarios[key].title, results[key], least)
    for key in ("get1", "get4"):
        peers = [client for client in NAMES
                 if client in measured.memory and client not in (BARE, OURS)]
        best = max(peers, key=lambda client: ratios(results[key], client).median)
        ahead = Spread([peer["command_seconds"] / ours["command_seconds"]
                        for peer, ours in zip(results[key][best], results[key][OURS])])
        row(f"{measured.scenarios[key].title}, compared with the fastest peer, {NAMES[best]}", "above 1",
            ahead, ahead.median > 1)
    calls = measured.system_calls[OURS]
    row("system calls per GET", "at most 10", f"{calls:.1f}", round(calls, 1) <= 10)
    cpu = cpu_cost(measured, OURS)
    row("CPU per GET", "at most 1.15", cpu, cpu.median <= 1.15)
    if "late_get" in results:
        late_get = results["late_get"]
        ours, two_writes = (statistics.median(run["command_seconds"] for run in late_get[client])
                            for client in (OURS, TWO_WRITES))
        row(measured.scenarios["late_get"].title, "no stall: at most a quarter of the time of two writes",
            f"{seconds(ours)}, two writes {seconds(two_writes)}", ours <= two_writes / 4)
        worst = max(run["command_seconds"] for run in results["late_upload"][OURS])
        row(measured.scenarios["late_upload"].title, f"no stall: every round below {STALL_MS} ms",
            f"at most {seconds(worst)}", worst * 1e3 < STALL_MS)
    memory = measured.memory[OURS]
    download = max(size for column, size in memory.items() if column[0] == "download")
    row("memory of a download over idle", "at most 2 MiB", f"{mib(download)} MiB",
        download <= 2 * MIB)
    upload = max(size - column[1] * MIB for column, size in memory.items() if column[0] == "upload")
    row("memory of an upload over idle, without the file", "at most 2 MiB", f"{mib(upload)} MiB",
        upload <= 2 * MIB)
    if measured.windows_results:
        row("the DLL, stripped", "at most 600 KiB", f"{measured.dll_size / 1024:.0f} KiB",
            measured.dll_size <= 600 * 1024)
        for key, scenario in measured.windows_scenarios.items():
            at_least(f"under Wine: {scenario.title}", measured.windows_results[key], 0.85)
    for key, points in measured.growth.items():
        slope = steepness(points)
        row(f"growth of the time with {GROWTH_TITLES[key]}", "exponent at most 1.1", f"{slope:.2f}",
            slope <= 1.1)
    return table(["", "target", "measured", "met"], rows)


def terms(measured):
    """Returns the list that explains the words in the table of targets."""
    text = """\
- A GET is a command with a short answer. The speeds of GETs, downloads and uploads are ratios to bare sockets, which
  the next section explains. A comparison with a peer divides the time of the peer by the time of ORLACl.
"""
    if "late_get" in measured.results:
        text += """\
- With late acknowledgments, the server acknowledges received bytes as late as the system allows, after 40 ms and
  more. A client that sends its request in two writes, with TCP_NODELAY off, waits for the acknowledgment in between.
"""
    text += """\
- The memory over idle is the maximum increase over the memory that the process has before its first command.
"""
    if measured.growth:
        text += """\
- The exponent describes how the time grows for large sizes: 0 is constant, and 1 is linear.
"""
    return text


GROWTH_TITLES = {
    "connections": "connections in the table",
    "download": "the size of a download",
    "upload": "the size of an upload",
    "headers": "headers",
    "chunks": "chunks",
}


def markdown(measured):
    nginx = measured.options.server == "nginx"
    parts = [f"""# Benchmarks{", against nginx" if nginx else ""}

`scripts/bench{" --server nginx" if nginx else ""}` wrote this page. Every client does the same work over loopback:

- It opens a TCP connection for each command.
- It writes a download to a file.
- It reads the whole file of an upload before it sends it.

The bare client works only with the servers of the benchmark. The library is called through its ten functions.

{conditions(measured)}
## Targets

{terms(measured)}
{targets(measured)}
## Speed, as ratio to bare sockets

Higher is better. Every round ran every client, in shuffled order. A ratio is the time of the bare client
divided by the time of the other client in the same round. The table shows the median of the rounds, and the
quartiles in parentheses. The null check is a second run of the bare client. Its ratio differs from 1 only because
of measurement noise, so an equal or smaller difference of another client is not significant.

{ratio_table(measured.scenarios, measured.results)}
{time_table(measured.scenarios, measured.results)}
## Cost

Lower is better. The CPU time is divided by that of the bare client. The memory is in MiB. The column "idle
process" shows the memory of the process before its first command. The columns after it show the maximum
increase over that value during a command.

{cost_table(measured)}"""]
    if measured.windows_results:
        parts.append(f"""## The Windows DLL, under Wine

The bare client is built for Windows as well. Under Wine each call for a socket or a kernel object is
a round trip to Wine's server. On Windows it is only a call into the kernel. A GET of the bare client
has about 14 such calls, and a GET of the library 31. Of these 31 calls

- 8 use the guard of the table of connections, which processes share;
- 8 use the mutex of the command's queue of requests, which is created, locked three times and closed;
- 1 asks the socket whether it is still connected.

The remaining 14 are about as many as the bare client has.

{ratio_table(measured.windows_scenarios, measured.windows_results)}
{time_table(measured.windows_scenarios, measured.windows_results)}""")
    if measured.growth:
        parts.append(f"""## Growth

![Ratios](benchmarks.svg)

![Growth](benchmarks-growth.svg)

The times are per command. The last column shows the memory of ORLACl over that of the idle process.

{growth_table(measured.growth)}""")
    return "\n".join(parts)


def plot(script, path):
    subprocess.run(["gnuplot"], input=f"set output '{path.name}'\n{script}", text=True, check=True,
                   cwd=path.parent)


def plain_name(client):
    return NAMES[client].replace("*", "")


def pictures(measured, directory):
    plot(ratio_picture(measured), directory / "benchmarks.svg")
    plot(growth_picture(measured.growth), directory / "benchmarks-growth.svg")


def ratio_picture(measured):
    keys = ["get1", "get4", "get8", "plain", "chunks64", "chunks1", "upload"]
    clients = [client for client in measured.memory if client != BARE]
    lines = ["$data << END"]
    for key in keys:
        spreads = [ratios(measured.results[key], client) for client in clients]
        lines.append(f'"{measured.scenarios[key].title}" ' + " ".join(
            f"{s.median:.3f} {s.low:.3f} {s.high:.3f}" for s in spreads))
    lines += [
        "END",
        "set terminal svg size 1280,460 font 'sans-serif,13' background 'white'",
        "set style data histogram", "set style histogram errorbars gap 1.5 lw 1",
        "set style fill solid 0.9 border -1", "set boxwidth 0.9", "set yrange [0:1.25]",
        "set ylabel 'ratio to bare sockets, higher is better'", "set grid ytics",
        "set key outside bottom center horizontal", "set arrow from graph 0,first 1 to graph 1,"
        "first 1 nohead dashtype 2 front",
        "plot " + ", ".join(
            f"$data using {3 * i + 2}:{3 * i + 3}:{3 * i + 4}:xtic(1) title '{plain_name(client)}'"
            for i, client in enumerate(clients)),
    ]
    return "\n".join(lines) + "\n"


def growth_picture(growth):
    """Returns the gnuplot script with one panel for each kind of growth."""
    panels = [
        ("connections", "connections in the table", "time of a GET, µs", 1e6, ""),
        ("headers", "headers of the reply", "time of a GET, µs", 1e6, "xy"),
        ("chunks", "chunks of 1 KiB", "time of a download, ms", 1e3, "xy"),
        ("download", "bytes of the file", "time of a download, ms", 1e3, "xy"),
        ("upload", "bytes of the file", "time of an upload, ms", 1e3, "xy"),
    ]
    lines = []
    for key, points in growth.items():
        lines.append(f"${key} << END")
        for p in points:
            lines.append(f"{p['x']} {p[OURS]} {p.get(BARE, 'NaN')} {p[OURS, 'memory'] / MIB}")
        lines.append("END")
    lines += ["set terminal svg size 1100,680 font 'sans-serif,13' background 'white'",
              "set multiplot layout 2,3", "set grid", "unset mxtics", "unset mytics", "set key top left", "set yrange [0:]",
              "set format x '%g'", "set style data linespoints"]
    for key, x, y, factor, log in panels:
        if log:
            lines += ["set logscale xy", "set yrange [*:*]", "set format x '10^{%T}'"]
        bare = f", ${key} using 1:($3*{factor}) title 'bare sockets' lw 2" if BARE in growth[key][0] else ""
        lines += [f"set xlabel '{x}'", f"set ylabel '{y}'",
                  f"plot ${key} using 1:($2*{factor}) title 'ORLACl' lw 2{bare}"]
    lines += ["set xlabel 'bytes of the file'", "set ylabel 'memory over idle, MiB'",
              "set yrange [0.01:*]",
              "plot $upload using 1:4 title 'ORLACl, upload' lw 2, "
              "$download using 1:4 title 'ORLACl, download' lw 2",
              "unset multiplot"]
    return "\n".join(lines) + "\n"
