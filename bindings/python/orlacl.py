"""ORLACl for Python: the ten functions of the client library, called through ctypes.

    import orlacl

    with orlacl.Library() as library, library.connect("http://server/agent") as server:
        print("%d.%d" % server.version())
        server.send("result.pkg", 7, ["ws0042", "inventory"])
        server.download("/result.pkg", "copy.pkg")

Requires Python 3.9 or later. On Windows it must be a 32-bit Python, because the DLL is for 32-bit
programs.

Texts are str, which is sent as UTF-8, or bytes, which are sent unchanged. Local paths use the
system's own encoding; on Windows they are limited to the characters of its code page. If the
library returns an error, Error is raised. Arguments that cannot be passed to it raise ValueError or
TypeError.

Any thread may use any object. Other Python threads continue to run while a command blocks.

Before initialize, connect, disconnect and cleanup the module checks that the library can lock its
table of connections, and raises Error if it cannot, because the library would end the process. If
the lock is lost between the check and the call, the process still ends; docs/processes.md has the
causes.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import enum
import functools
import os
import string
import sys
import threading
from typing import Any, Callable, Generator, Iterable, NamedTuple, Optional, Union

__all__ = ["Connection", "Error", "Library", "PROGRESS_ABANDON", "PROGRESS_CANCEL", "Sent",
           "Status"]

Text = Union[str, bytes]
Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

#: A progress function returns one of these to stop the download, which then raises Error with the
#: status REQUEST or NOT_MODIFIED.
PROGRESS_CANCEL = 11
PROGRESS_ABANDON = 9

if sys.platform == "win32":
    _WINDOWS, _open, _function = True, ctypes.WinDLL, ctypes.WINFUNCTYPE
else:
    _WINDOWS, _open, _function = False, ctypes.CDLL, ctypes.CFUNCTYPE
_FILE_NAMES = ("ORLACl.dll",) if _WINDOWS else ("libORLACl.so.1", "libORLACl.so")
_MESSAGE_SIZE = 1024
_ANSWER_SIZE = 64 * 1024
_NO_CODE = 0xFFFFFFFF
_MAX_ENCODED = 2069
_UNESCAPED = frozenset(string.ascii_letters.encode() + string.digits.encode() + b"-_.*")


class Status(enum.IntEnum):
    """The statuses that the library returns. The header describes them."""

    OK = 0
    GENERAL = 1
    TRANSPORT = 4
    ARGUMENT = 6
    UNAUTHORIZED = 9
    NO_SUCH_DOWNLOAD = 10
    TOO_LARGE = 11
    REQUEST = 12
    NOT_MODIFIED = 13
    NO_SUCH_FILE = 14
    SHORT_READ = 24
    NOT_FOUND = 46
    VERSION_TEXT = 58


#: The library sets no useful message for these: it keeps that of an earlier failure, or sets
#: "Transport internal error".
_WITHOUT_MESSAGE = (Status.ARGUMENT, Status.TOO_LARGE, Status.NO_SUCH_FILE, Status.SHORT_READ)


class Error(Exception):
    """A function of the library failed.

    status   the status that it returned
    code     the error code of the calling thread, or None. Only Connection.version sets one,
             VERSION_TEXT, and nothing clears it.
    message  the library's message, read right after the failure. The library keeps one message for
             the process, and a failure without a message does not change it. So it can be the
             message of an earlier failure, or of another thread. Empty for a status that never has
             a message. It can contain any bytes that the server sent, including those that control
             a terminal.
    """

    def __init__(self, call: str, status: int, code: Optional[int], message: str) -> None:
        name = Status(status).name if status in Status.__members__.values() else "unknown"
        super().__init__(f"{call}: status {status} ({name})" + (f": {message}" if message else ""))
        self.status = status
        self.code = code
        self.message = message


class Sent(NamedTuple):
    """An uploaded package: the server's answer, and the number of bytes that were sent."""

    answer: str
    size: int


class _Record(ctypes.Structure):
    """The progress record: 278 bytes without padding."""

    _layout_ = "ms"
    _pack_ = 1
    _fields_ = [("reserved", ctypes.c_uint8 * 6), ("phase", ctypes.c_uint32),
                ("status", ctypes.c_uint32), ("file_name", ctypes.c_char * 260),
                ("byte_count", ctypes.c_uint32)]


_u32, _text, _out32 = ctypes.c_uint32, ctypes.c_char_p, ctypes.POINTER(ctypes.c_uint32)
_out16, _texts = ctypes.POINTER(ctypes.c_uint16), ctypes.POINTER(ctypes.c_char_p)
_Callback = _function(None, ctypes.POINTER(_Record), ctypes.c_void_p, _u32)

_FUNCTIONS: "dict[str, tuple[Any, ...]]" = {
    "ORLAInitialize": (_u32, _text),
    "ORLAConnect": (_text, _text, _u32, _out32),
    "ORLADisconnect": (_u32,),
    "ORLAGetPackageName": (_u32, _u32, _u32, _texts, ctypes.c_void_p, _out32),
    "ORLASendPackage": (_u32, _u32, _u32, _texts, _text, ctypes.c_void_p, _out32),
    "ORLADownloadFile": (_u32, _text, _text, _Callback, ctypes.POINTER(_Record), _text),
    "ORLACleanup": (),
    "ORLAGetVersion": (_u32, _out16, _out16),
    "ORLAGetLastError": (_out32,),
    "ORLAGetLastErrorMsg": (ctypes.c_void_p, _u32),
}


def _load(path: Optional[Path]) -> ctypes.CDLL:
    """Loads the library and declares its functions under their plain names."""
    path = path or os.environ.get("ORLA_LIBRARY")
    directory = os.path.dirname(os.path.abspath(__file__))
    beside = [os.path.join(directory, name) for name in _FILE_NAMES]
    if path:
        name = os.fsdecode(path)
        candidates = [os.path.abspath(name) if os.path.exists(name) else name]
    elif any(map(os.path.exists, beside)):
        candidates = list(filter(os.path.exists, beside))
    else:
        candidates = [*_FILE_NAMES]
        in_path = ctypes.util.find_library("ORLACl") if _WINDOWS else None
        if in_path:
            candidates.append(in_path)

    failure: Optional[OSError] = None
    for candidate in candidates:
        try:
            library = _open(candidate)
            break
        except OSError as error:
            failure = failure or error
    else:
        hint = "pass its path as an argument or in ORLA_LIBRARY"
        if _WINDOWS and sys.maxsize > 2**32:
            hint = "it is for 32-bit programs, but this is a 64-bit Python"
        raise OSError(f"ORLACl cannot be loaded: {failure} ({hint})") from failure
    for function, arguments in _FUNCTIONS.items():
        # A 32-bit DLL adds the size of the arguments to the exported name.
        entry = library[f"_{function}@{4 * len(arguments)}" if _WINDOWS else function]
        entry.argtypes, entry.restype = arguments, _u32
        setattr(library, function, entry)
    return library


def _bytes(text: Text, what: str) -> bytes:
    if isinstance(text, str):
        encoded = text.encode("utf-8", "surrogateescape")
    elif isinstance(text, bytes):
        encoded = text
    else:
        raise TypeError(f"{what} must be str or bytes, not {type(text).__name__}")
    if b"\0" in encoded:
        raise ValueError(f"{what} contains a zero byte: {text!r}")
    return encoded


def _encodable(text: Text, what: str) -> bytes:
    """Converts an identity or a name. The library percent-encodes these, but sends one unchanged if
    its encoded form has more than 2069 bytes. Raises ValueError if such a value contains a byte
    that must be encoded, because that byte could split or end the first line of the request."""
    encoded = _bytes(text, what)
    escaped = sum(byte not in _UNESCAPED for byte in encoded)
    if escaped and len(encoded) + 2 * escaped > _MAX_ENCODED:
        raise ValueError(f"{what} takes more than {_MAX_ENCODED} bytes when percent-encoded")
    return encoded


def _target(text: Text, what: str) -> bytes:
    """Converts a text that is sent unchanged in the first line of a request. Raises ValueError for
    spaces and control characters, because they would split or end that line."""
    encoded = _bytes(text, what)
    if any(byte <= 0x20 or byte == 0x7F for byte in encoded):
        raise ValueError(f"{what} contains characters that must be percent-encoded: {text!r}")
    return encoded


def _path(path: Path) -> bytes:
    """Converts a path to what the library requires: at least one separator, and only the system's
    own."""
    name = os.fsdecode(path)
    if os.altsep:
        name = name.replace(os.altsep, os.sep)
    if os.sep not in name:
        drive, name = os.path.splitdrive(name)
        name = drive + os.path.join(os.curdir, name)
    return _bytes(name.encode("mbcs", "strict") if _WINDOWS else os.fsencode(name), "the path")


class _Shared:
    """The state that all Library objects of one loaded library share."""

    def __init__(self) -> None:
        self.lock = threading.Lock()
        self.entered = 0
        #: The number of cleanups so far. A handle from before a cleanup is invalid, because the
        #: library may reuse it for another connection.
        self.generation = 0


#: By the handle of the loaded library.
_shared_states: "dict[int, _Shared]" = {}


class Library:
    """The loaded library. It is the first of these:

    - the library at `path`, if that is given;
    - the library at the path in the environment variable ORLA_LIBRARY, if that is set;
    - the library in the directory of this module, if there is one;
    - the library that the system finds.

    Raises OSError if that library cannot be loaded.

    As a context manager it initializes the library for the block. One cleanup closes the
    connections of the whole process, because the library does not count initializations. This
    module therefore counts the blocks, and cleans up when the last one ends. Do not mix blocks with
    calls of initialize and cleanup.
    """

    def __init__(self, path: Optional[Path] = None) -> None:
        self._dll = _load(path)
        self._shared = _shared_states.setdefault(self._dll._handle, _Shared())

    def __enter__(self) -> Library:
        with self._shared.lock:
            if self._shared.entered == 0:
                self.initialize()
            self._shared.entered += 1
        return self

    def __exit__(self, *_: object) -> None:
        with self._shared.lock:
            self._shared.entered -= 1
            if self._shared.entered == 0:
                self.cleanup()

    def initialize(self, flag: int = 0, text: Optional[Text] = None) -> None:
        """Initializes the library. If the flag is not 0, `text` must not be empty."""
        given = None if text is None else _bytes(text, "the text")
        self._require_lock("initialize")
        self._require("initialize", self._dll.ORLAInitialize(flag, given))

    def cleanup(self) -> None:
        """Closes every connection of the process. The library can be initialized again."""
        self._require_lock("cleanup")
        self._shared.generation += 1
        self._require("cleanup", self._dll.ORLACleanup())

    def connect(self, url: Text, credential: Text = "") -> Connection:
        """Creates a connection for the server in the URL. Nothing is sent yet. The credential is
        stored, but never sent."""
        handle = _u32()
        texts = _target(url, "the URL"), _bytes(credential, "the credential")
        self._require_lock("connect")
        self._require("connect", self._dll.ORLAConnect(*texts, 0, ctypes.byref(handle)))
        return Connection(self, handle.value)

    def last_error(self) -> Optional[int]:
        """The error code of the calling thread, or None."""
        code = _u32()
        self._dll.ORLAGetLastError(ctypes.byref(code))
        return None if code.value == _NO_CODE else code.value

    def last_message(self) -> str:
        """The library's message: that of the last failure that had one, in any thread."""
        message = ctypes.create_string_buffer(_MESSAGE_SIZE)
        self._dll.ORLAGetLastErrorMsg(message, _MESSAGE_SIZE)
        return message.value.decode("utf-8", "backslashreplace")

    def _require_lock(self, call: str) -> None:
        """Raises Error if the library cannot lock its table of connections. ORLAConnect,
        ORLADisconnect and ORLACleanup would then end the process. ORLAGetVersion returns GENERAL
        instead. It sends nothing here, because no connection has the handle 0."""
        unused = ctypes.c_uint16()
        status = self._dll.ORLAGetVersion(0, ctypes.byref(unused), ctypes.byref(unused))
        if status == Status.GENERAL:
            raise Error(call, Status.GENERAL, self.last_error(),
                        "the table of connections cannot be locked; see docs/processes.md")

    def _require(self, call: str, status: int) -> None:
        if status != Status.OK:
            message = "" if status in _WITHOUT_MESSAGE else self.last_message()
            raise Error(call, status, self.last_error(), message)


class Connection:
    """A connection from Library.connect. As a context manager it is disconnected after the block.

    After disconnect, or after a cleanup of the library, its commands raise Error with ARGUMENT.
    """

    def __init__(self, library: Library, handle: int) -> None:
        self._library = library
        self._generation = library._shared.generation
        self._own = [handle]  # The thread that removes the handle disconnects it.

    def __enter__(self) -> Connection:
        return self

    def __exit__(self, *_: object) -> None:
        self.disconnect()

    @property
    def handle(self) -> int:
        """The library's handle, or 0 if this object does not own it any more."""
        own = self._own[:1]
        return own[0] if own and self._generation == self._library._shared.generation else 0

    def disconnect(self) -> None:
        """Disconnects. A second call does nothing, because the handle may have been reused."""
        handle = self.handle
        try:
            self._own.pop()
        except IndexError:
            return  # It is already disconnected, or another thread is doing it.
        if handle:
            self._library._require_lock("disconnect")
            self._library._require("disconnect", self._library._dll.ORLADisconnect(handle))

    def version(self) -> "tuple[int, int]":
        """The first two numbers of the server's version."""
        major, minor = ctypes.c_uint16(), ctypes.c_uint16()
        self._library._require("version", self._library._dll.ORLAGetVersion(
            self.handle, ctypes.byref(major), ctypes.byref(minor)))
        return major.value, minor.value

    def package_name(self, type: int, identities: Iterable[Text] = ()) -> str:
        """Returns the name under which the server would store a package, cut to 64 KiB. The type is
        1 to 65535."""
        answer, size = ctypes.create_string_buffer(_ANSWER_SIZE + 1), _u32(_ANSWER_SIZE)
        self._library._require("package_name", self._library._dll.ORLAGetPackageName(
            self.handle, *_package(type, identities), answer, ctypes.byref(size)))
        return answer.value.decode("utf-8", "surrogateescape")

    def send(self, path: Path, type: int, identities: Iterable[Text] = (),
             name: Optional[Text] = None) -> Sent:
        """Uploads the file at `path`. The file must be smaller than 4 GiB, on Windows smaller than
        2 GiB, and is held in memory as a whole. `name` is the file name that is sent to the server,
        by default that of the file. An empty name is not sent. The server's answer is cut to 64
        KiB."""
        local = _path(path)
        own_name = os.path.basename(os.fsdecode(path))
        sent_name = _encodable(own_name if name is None else name, "the name")
        # The buffer passes the name in and receives the answer.
        answer = ctypes.create_string_buffer(sent_name, max(_ANSWER_SIZE, len(sent_name)) + 1)
        size = _u32(_ANSWER_SIZE)
        self._library._require("send", self._library._dll.ORLASendPackage(
            self.handle, *_package(type, identities), local, answer, ctypes.byref(size)))
        return Sent(answer.value.decode("utf-8", "surrogateescape"), size.value)

    def download(self, target: Text, path: Path,
                 progress: Optional[Callable[[int, bytes], Optional[int]]] = None,
                 counter: Optional[Text] = None) -> int:
        """Downloads to the file at `path`, which is replaced only when the download is complete.
        Returns the number of bytes.

        `progress` is called with the number of bytes so far and, the first time, with the first 512
        bytes (later with b""). It is not called for a file of less than 512 bytes. If it raises an
        exception, the download is canceled and raises that exception. KeyboardInterrupt does the
        same as soon as further data arrive. If it returns PROGRESS_CANCEL or PROGRESS_ABANDON, the
        download raises Error. In each case the rest of the reply is still read and dropped.
        """
        encoded, local = _target(target, "the target"), _path(path)
        count = None if counter is None else _target(counter, "the counter")
        record = _Record()
        failures: "list[BaseException]" = []
        listener = _listen(record, progress, failures)
        next(listener)
        # ctypes drops an exception that leaves a callback. A Python function cannot prevent this,
        # because a signal can raise KeyboardInterrupt before the function has entered its "try". A
        # generator can, because it is suspended inside its "try". The callback is therefore max(),
        # which calls its key function, the generator's send(), with each of the three arguments.
        callback = _Callback(functools.partial(max, key=listener.send))
        status = self._library._dll.ORLADownloadFile(self.handle, encoded, local, callback,
                                                     ctypes.byref(record), count)
        total = listener.send(None)
        listener.close()
        if failures:
            raise failures[0]
        self._library._require("download", status)
        return total + int(record.byte_count - total) % 2**32


def _package(type: int,
             identities: Iterable[Text]) -> "tuple[int, int, ctypes.Array[ctypes.c_char_p]]":
    """Returns the arguments that describe a package."""
    if not 1 <= type <= 65535:
        raise ValueError(f"the type must be 1 to 65535: {type}")
    if isinstance(identities, (str, bytes)):
        raise TypeError("identities must be a list of texts, not one text")
    texts = [_encodable(identity, "an identity") for identity in identities]
    if len(texts) > 65535:
        raise ValueError(f"at most 65535 identities: {len(texts)}")
    # One element is added, because an empty array may be passed as a null pointer, which the library
    # refuses.
    return type, len(texts), (ctypes.c_char_p * (len(texts) + 1))(*texts)


def _listen(record: _Record, progress: Optional[Callable[[int, bytes], Optional[int]]],
            failures: "list[BaseException]") -> Generator[int, Optional[int], None]:
    """Receives the three arguments of each progress call, and yields the number of bytes so far."""
    total = 0
    in_progress = False  # progress() is running.
    while True:
        try:
            in_progress = False
            yield total  # Receives the record's address.
            data = yield total
            length = yield total
            total += (record.byte_count - total) % 2**32
            if progress and not failures:
                in_progress = True
                answer = progress(total, ctypes.string_at(data, length or 0) if data else b"")
                if answer in (PROGRESS_CANCEL, PROGRESS_ABANDON):
                    record.status = answer
        except BaseException as error:  # The caller of the download receives any exception.
            if isinstance(error, GeneratorExit) and not in_progress:
                return  # close() was called, because the download has ended.
            failures.append(error)
            record.status = PROGRESS_CANCEL
