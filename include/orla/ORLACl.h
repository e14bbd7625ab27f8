/**
 * @file
 * ORLACl: the client library through which a management agent talks to its central management
 * server.
 *
 * Calling order: ORLAInitialize, then ORLAConnect once for each server, then any number of commands
 * on the handle, then ORLADisconnect, and at the end ORLACleanup. After ORLACleanup the library may
 * be initialised again.
 *
 * Threads: any thread may call any function. Commands run on the calling thread, start no thread of
 * their own, and run in parallel, also on one handle; each is one HTTP/1.1 request on a TCP
 * connection of its own, over IPv4.
 *
 * Time: each wait for data from the server, and for it to take more of an upload, ends after 300
 * seconds. Nothing bounds the time to connect but the system, nor the whole time of a command.
 *
 * Strings are zero-terminated byte strings. The library keeps none of the caller's pointers after a
 * call returns.
 *
 * Errors: every function returns a status, ORLA_OK (0) for success. Beside it the library keeps one
 * message for the whole process (ORLAGetLastErrorMsg) and one code for each thread
 * (ORLAGetLastError), which only ORLAGetVersion sets. When memory runs out, ORLAConnect and the
 * commands return ORLA_ERROR_GENERAL, as a rule without a message, or, once a command is on the
 * network, ORLA_ERROR_TRANSPORT with one (ORLASendPackage, for the file: ORLA_ERROR_TOO_LARGE).
 *
 * A thread must not be cancelled or killed while it is in the library: what it holds stays held.
 * End every command before the program exits or unloads the library: that waits for no command, can
 * wait for ever for a thread that was stopped in the middle of one, and a command that runs on
 * meets a library that is gone. A program that cannot wait for a command ends without unloading the
 * library: by TerminateProcess on itself, or by _exit. On Linux the library runs code when a thread
 * ends that has called ORLAGetVersion: before unloading it, join each such thread, or let it run on.
 */
#ifndef ORLA_ORLACL_H
#define ORLA_ORLACL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The platform's standard calling convention: the callee pops the arguments on 32-bit Windows. */
#if defined(_WIN32) && !defined(_WIN64)
#define ORLA_CALL __stdcall
#else
#define ORLA_CALL
#endif

/** Marks a function of the library. Programs leave ORLA_BUILDING_LIBRARY undefined. On Windows the
 * import library gives the functions; a program needs nothing more. */
#if defined(ORLA_BUILDING_LIBRARY) && !defined(_WIN32)
#define ORLA_API __attribute__((visibility("default")))
#else
#define ORLA_API
#endif

/** A status or code: what a function returns, and what ORLAGetLastError reads. */
typedef uint32_t orla_status;

enum {
  /** Success. */
  ORLA_OK = 0,
  /** A general failure; an HTTP status that has no code of its own. */
  ORLA_ERROR_GENERAL = 1,
  /** The network, the server's reply or the wait for it failed; the message tells which. Also the
   * status of ORLAGetVersion for a version text that is none. */
  ORLA_ERROR_TRANSPORT = 4,
  /** A bad argument: an unknown handle, a null pointer, a text that is too long. */
  ORLA_ERROR_ARGUMENT = 6,
  /** HTTP 401; or a local file that could not be closed or replaced. */
  ORLA_ERROR_UNAUTHORIZED = 9,
  /** ORLADownloadFile: HTTP 404 or 403. */
  ORLA_ERROR_NO_SUCH_DOWNLOAD = 10,
  /** ORLASendPackage: a file of 4 GiB or more (2 GiB in a 32-bit process), or no memory for it. */
  ORLA_ERROR_TOO_LARGE = 11,
  /** HTTP 400 or 501; or the progress function answered ORLA_PROGRESS_CANCEL. */
  ORLA_ERROR_REQUEST = 12,
  /** HTTP 304; or the progress function answered ORLA_PROGRESS_ABANDON. */
  ORLA_ERROR_NOT_MODIFIED = 13,
  /** ORLASendPackage: the local file, or a folder on its way, does not exist. */
  ORLA_ERROR_NO_SUCH_FILE = 14,
  /** ORLASendPackage: reading the file gave fewer bytes than its size. */
  ORLA_ERROR_SHORT_READ = 24,
  /** HTTP 404 or 403, of the commands other than ORLADownloadFile. */
  ORLA_ERROR_NOT_FOUND = 46,
  /** The thread's code after a version text that is none (ORLAGetLastError). */
  ORLA_ERROR_VERSION_TEXT = 58
};

/** No code was recorded for the calling thread. */
#define ORLA_NO_CODE UINT32_C(0xFFFFFFFF)

/** The status field of the progress record. */
enum {
  /** Data arrive: what the library writes before each call. Leave it to go on. */
  ORLA_PROGRESS_DATA = 6,
  /** Written by the progress function: the download fails with ORLA_ERROR_NOT_MODIFIED. */
  ORLA_PROGRESS_ABANDON = 9,
  /** Written by the progress function: the download fails with ORLA_ERROR_REQUEST. */
  ORLA_PROGRESS_CANCEL = 11
};

/** What the phase field of the progress record always holds. */
enum { ORLA_PROGRESS_PHASE = 1 };

/** The largest number of connections at one time, free ones that wait for their reuse included. */
enum { ORLA_MAX_CONNECTIONS = 30 };

/** The size of the library's message, in bytes, its terminating zero included: a buffer of this size
 * holds every message whole. */
enum { ORLA_MESSAGE_SIZE = 1024 };

#pragma pack(push, 1)
/**
 * The progress record of a download. The agent owns it and keeps it until ORLADownloadFile returns.
 *
 *     offset  size
 *          0     6  reserved: the library never touches it
 *          6     4  phase: ORLA_PROGRESS_PHASE
 *         10     4  status: written before each call; the progress function may overwrite it
 *         14   260  file_name: the path given to ORLADownloadFile, cut to 259 bytes
 *        274     4  byte_count: bytes written so far, modulo 2^32
 */
typedef struct orla_progress_record {
  uint8_t reserved[6];
  uint32_t phase;
  uint32_t status;
  char file_name[260];
  uint32_t byte_count;
} orla_progress_record;
#pragma pack(pop)

#define ORLA_ASSERT_OFFSET(field, offset) \
  typedef char orla_assert_##field[offsetof(orla_progress_record, field) == (offset) ? 1 : -1]
ORLA_ASSERT_OFFSET(phase, 6);
ORLA_ASSERT_OFFSET(status, 10);
ORLA_ASSERT_OFFSET(file_name, 14);
ORLA_ASSERT_OFFSET(byte_count, 274);
#undef ORLA_ASSERT_OFFSET
typedef char orla_assert_record_size[sizeof(orla_progress_record) == 278 ? 1 : -1];

/**
 * The progress function of a download, called on the thread that called ORLADownloadFile. It may
 * call the library; it must not throw, nor leave otherwise than by returning. While it runs nothing
 * is read, and the server may give up.
 *
 * @param record  the record given to ORLADownloadFile, filled as above
 * @param data    on the first call the first 512 bytes of the reply's body; null on every later
 *                call
 * @param length  512 on the first call, 0 on every later one
 *
 * The first call comes when 512 bytes have arrived, then one for each further piece of at most
 * 256 KiB: a file of fewer than 512 bytes makes no call. The text of an error page is reported like
 * a file; only ORLA_OK says that it was one. To stop the download, overwrite record->status with
 * ORLA_PROGRESS_CANCEL or ORLA_PROGRESS_ABANDON: nothing more is written, no further call is made,
 * the rest of the reply is read and dropped, and the local file stays as it was.
 */
typedef void(ORLA_CALL* orla_progress_fn)(orla_progress_record* record, const void* data,
                                          uint32_t length);

/**
 * Makes the library ready; ORLAConnect needs it.
 *
 * @param flag  only the low 16 bits count: non-zero means that `text` must be given
 * @param text  tested only when the flag is set, and never kept
 *
 * @return ORLA_OK; ORLA_ERROR_ARGUMENT when the flag is set and `text` is null or empty. Once
 * initialised, a further call returns ORLA_OK without looking at its arguments.
 */
ORLA_API orla_status ORLA_CALL ORLAInitialize(uint32_t flag, const char* text);

/**
 * Names a server. No network connection is made until a command.
 *
 * @param url         "http://host[:port]/path"; port 80 when it is left out, also for an "https"
 *                    URL, which is spoken to in plain HTTP. A query in it is ignored. URLs of other
 *                    schemes (ftp, file, news, ...) are taken as well, and their host is spoken to
 *                    in HTTP. No "user:password@" and no IPv6 address: both are misread, without an
 *                    error here. White space and control characters are not tested: they go into
 *                    requests as they stand. Null counts as empty, and cannot be read.
 * @param credential  kept with the connection, and sent to nobody; null counts as empty
 * @param reserved    not used
 * @param handle      takes the connection's handle, never 0; 0 on failure
 *
 * @return ORLA_OK, or ORLA_ERROR_GENERAL: `handle` is null; the URL cannot be read (the message
 * says so, unless ORLA_MAX_CONNECTIONS exist); ORLA_MAX_CONNECTIONS exist and none is free for this
 * URL (no message).
 *
 * A connection that was disconnected is used again, under the handle that it had. A URL that cannot
 * be read replaces those of all free connections on its way.
 *
 * Before ORLAInitialize nothing is written, and the result is ORLA_OK when `*handle` already holds
 * a value other than 0, else ORLA_ERROR_GENERAL.
 *
 * When the table of connections cannot be locked (the system refuses its kernel objects), this
 * function, ORLADisconnect and ORLACleanup end with a C++ exception, which on Windows, and in a
 * program in C, ends the program; the commands return ORLA_ERROR_GENERAL then, without a message.
 */
ORLA_API orla_status ORLA_CALL ORLAConnect(const char* url, const char* credential,
                                           uint32_t reserved, uint32_t* handle);

/**
 * Gives a connection back for reuse. A command still finds the handle until it is reused or
 * ORLACleanup runs.
 *
 * @param handle  the connection
 *
 * @return ORLA_OK, also when it is free already; ORLA_ERROR_ARGUMENT for an unknown handle.
 */
ORLA_API orla_status ORLA_CALL ORLADisconnect(uint32_t handle);

/**
 * Asks under which name a package is to be stored.
 *
 * @param handle      the connection
 * @param type        the package's type: only the low 16 bits count. Type 0 asks the version
 *                    instead.
 * @param count       how many identities: only the low 16 bits count
 * @param identities  `count` strings, sent percent-encoded and announced as UTF-8; one that takes
 *                    more than 2069 bytes when encoded is sent as it stands. Must not be null, also
 *                    when `count` is 0.
 * @param name        takes the server's answer, up to its first zero byte; has room for one byte at
 *                    the least
 * @param size        in: the size of `name` in bytes. The answer is cut to it and padded with zeros
 *                    up to it, and has no terminating zero when it is that long or longer. Out: the
 *                    answer's length when that is smaller than the size; otherwise left as it was.
 *
 * @return ORLA_OK; ORLA_ERROR_ARGUMENT for an unknown handle (and then `name` is the empty text),
 * or a null `identities`, `name` or `size`; otherwise why the request failed, with a message, and
 * `name` is the empty text. When an identity is null, or the path of the URL and the parameters
 * together exceed 2069 bytes, the request goes out without a target, for the server to refuse.
 */
ORLA_API orla_status ORLA_CALL ORLAGetPackageName(uint32_t handle, uint32_t type, uint32_t count,
                                                  const char* const* identities, char* name,
                                                  uint32_t* size);

/**
 * Uploads a package. The whole file is held in memory while it is sent.
 *
 * @param handle,type,count  as for ORLAGetPackageName
 * @param identities  likewise, but may be null when `count` is 0
 * @param path        the local file, of less than 4 GiB; in a 32-bit process of less than 2 GiB, and
 *                    so much address space must be free in one piece. The path has at most 519 bytes
 *                    in the system's own encoding; Windows as a rule takes 259.
 * @param name        in: the file name that the server is told, encoded like an identity; none when
 *                    empty or null. Out: the server's answer, cut to the size and padded with zeros
 *                    up to it, without a terminating zero when it is that long or longer; on failure
 *                    left as it was.
 * @param size        in: the size of `name` in bytes; 0, or a value above 0x7FFFFFFF, takes no
 *                    answer. Out: the number of bytes sent; 0xFFFFFFFF on failure.
 *
 * @return ORLA_OK. Without a message: ORLA_ERROR_ARGUMENT for an unknown handle, a null identity or
 * `size`, a bad path, or a target (the path of the URL, the parameters and the file name) of more
 * than 2069 bytes; ORLA_ERROR_NO_SUCH_FILE; ORLA_ERROR_GENERAL for a file that cannot be opened;
 * ORLA_ERROR_TOO_LARGE; ORLA_ERROR_SHORT_READ. Otherwise why the request failed, with a message.
 */
ORLA_API orla_status ORLA_CALL ORLASendPackage(uint32_t handle, uint32_t type, uint32_t count,
                                               const char* const* identities, const char* path,
                                               char* name, uint32_t* size);

/**
 * Downloads a file. It is written to a temporary file beside `path`, which takes its place when the
 * reply is complete; until then, and when the download fails (but for one case of
 * ORLA_ERROR_UNAUTHORIZED, below), the old file is untouched.
 *
 * @param handle    the connection; only its host and port are used
 * @param target    the request target, "/" first, sent as it stands
 * @param path      the local file: at most 519 bytes in the system's own encoding, with a folder in
 *                  it (".\\file" on Windows, where "/" is no separator, "./file" elsewhere).
 *                  Windows as a rule takes 259 bytes, and 246 for the folder (a longer one:
 *                  ORLA_ERROR_GENERAL).
 * @param progress  called as data arrive. With a null function nothing is read, and the download
 *                  fails.
 * @param record    the progress record. Its byte_count is the file's size, modulo 2^32, after
 *                  success. With a null record nothing is read, and the download fails.
 * @param counter   sent as "&Counter=" behind the target, as it stands; null sends none. Give the
 *                  target a query then, or the server must cut the counter off the path.
 *
 * @return ORLA_OK: the file is in place with all its bytes. A reply that states no length, or
 * "Connection: close", ends where the server closes: a connection lost on the way cannot be told
 * from the end then. One that states a length of 4 GiB or more is refused with
 * ORLA_ERROR_TRANSPORT; so is one whose head exceeds 1 MiB, of any command.
 *
 * ORLA_ERROR_ARGUMENT for a null `target` or `path`, a bad path or an unknown handle;
 * ORLA_ERROR_NO_SUCH_DOWNLOAD; ORLA_ERROR_GENERAL also when the local file cannot be made or
 * written; ORLA_ERROR_UNAUTHORIZED also, without a message, when the old file could not be replaced:
 * if only the last step failed, the renaming, the old file is gone and the new one is deleted:
 * download again. Otherwise why the request failed, with a message. A bad path, or a local file that
 * cannot be made or written, does not keep the request from the server: its reply is dropped.
 */
ORLA_API orla_status ORLA_CALL ORLADownloadFile(uint32_t handle, const char* target,
                                                const char* path, orla_progress_fn progress,
                                                orla_progress_record* record, const char* counter);

/**
 * Ends every connection and leaves the library uninitialised. Commands that run in other threads
 * end as they would have.
 *
 * @return ORLA_OK; see ORLAConnect for a table of connections that cannot be locked.
 */
ORLA_API orla_status ORLA_CALL ORLACleanup(void);

/**
 * Asks the server's version.
 *
 * @param handle       the connection
 * @param major,minor  take the first two numbers of the version, modulo 65536; 0 on failure. They
 *                     are not tested: null crashes.
 *
 * @return ORLA_OK; ORLA_ERROR_ARGUMENT for an unknown handle or a path of the URL that is too long;
 * ORLA_ERROR_TRANSPORT, with ORLA_ERROR_VERSION_TEXT as the thread's code, for an answer that is
 * not of the form digits.digits.digits (CR and LF may follow; no message) and for HTTP 304; otherwise
 * why the request failed, with a message.
 */
ORLA_API orla_status ORLA_CALL ORLAGetVersion(uint32_t handle, uint16_t* major, uint16_t* minor);

/**
 * Reads the calling thread's code.
 *
 * @param code  takes the code; ORLA_NO_CODE when none was recorded. On Windows a thread that starts
 *              while the library is loaded begins with 0. It is not tested: null crashes.
 *
 * @return 0, or 1 when the code is ORLA_NO_CODE.
 */
ORLA_API orla_status ORLA_CALL ORLAGetLastError(uint32_t* code);

/**
 * Reads the library's message: that of the last failure with a message, of any connection in any
 * thread. Empty at first. Nothing clears it: a failure without a message leaves the one before.
 *
 * @param buffer  takes the message; nothing is written to a null one
 * @param size    its size in bytes. A message that is as long or longer fills the buffer and gets
 *                no terminating zero.
 *
 * @return Always 0.
 */
ORLA_API orla_status ORLA_CALL ORLAGetLastErrorMsg(char* buffer, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
