"""The built library exports the ten functions and nothing else, and needs nothing beside it.

usage: tables_test.py LIBRARY VERSION"""
import pathlib
import re
import subprocess
import sys

EXPORTS = {
    "ORLAInitialize": 8, "ORLAConnect": 16, "ORLADisconnect": 4, "ORLAGetPackageName": 24,
    "ORLASendPackage": 28, "ORLADownloadFile": 24, "ORLACleanup": 0, "ORLAGetVersion": 12,
    "ORLAGetLastError": 4, "ORLAGetLastErrorMsg": 8,
}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def windows(path, version):
    text = output("i686-w64-mingw32-objdump", "-p", path)
    table = text.split("[Ordinal/Name Pointer] Table", 1)[1].split("\n\n", 1)[0]
    names = set(re.findall(r"^\s*\[\s*\d+\] (?:\+base\[\s*\d+\]\s+\w+ )?(\S+)$", table, re.M))
    expect("exports", names, {f"_{name}@{size}" for name, size in EXPORTS.items()})
    libraries = {name.upper() for name in re.findall(r"DLL Name: (\S+)", text)}
    expect("imports", libraries, {"KERNEL32.DLL", "MSVCRT.DLL", "USER32.DLL", "WSOCK32.DLL"})
    content = pathlib.Path(path).read_bytes()
    for wanted in ("VS_VERSION_INFO", "FileVersion", version):
        expect(f"version resource holds {wanted}", wanted.encode("utf-16-le") in content, True)


def linux(path, _version):
    lines = output("nm", "-D", "--defined-only", path).splitlines()
    # A sanitizer's build adds symbols of its runtime.
    names = {line.split()[-1] for line in lines}
    expect("exports", {n for n in names if not n.startswith(("__asan", "__odr_asan", "__ubsan"))},
           set(EXPORTS))


def expect(what, got, wanted):
    if got != wanted:
        sys.exit(f"{what}:\n  got    {got}\n  wanted {wanted}")


(windows if sys.argv[1].endswith(".dll") else linux)(sys.argv[1], sys.argv[2])
