/**
 * @file
 * ORLACl: the client library that a management agent uses to talk to its central management server.
 *
 * Calling order:
 *
 * 1. ORLAInitialize.
 * 2. ORLAConnect, once for each server.
 * 3. Any number of commands on the handle. The commands are ORLAGetVersion, ORLAGetPackageName,
 *    ORLASendPackage and ORLADownloadFile.
 * 4. ORLADisconnect.
 * 5. ORLACleanup. After it, the library may be initialized again.
 *
 * Threads: any thread may call any function. A command runs on the calling thread, and the library
 * starts no threads. Commands run in parallel, even on one handle. Each command is one HTTP/1.1
 * request on its own TCP connection over IPv4.
 *
 * Time: a command fails if it waits for data and the server sends none for 300 seconds. An upload
 * also fails if the server accepts no data for 300 seconds. The time to connect is limited only by
 * the system. The total time of a command is not limited.
 *
 * Strings are zero-terminated byte strings. The library does not keep any of the caller's pointers
 * after a call returns.
 *
 * Errors: every function returns a status, which is ORLA_OK (0) on success. In addition, the
 * library keeps
 *
 * - one message for the whole process, which ORLAGetLastErrorMsg reads, and
 * - one code for each thread, which ORLAGetLastError reads and only ORLAGetVersion sets.
 *
 * If memory runs out, ORLAConnect and the commands return
 *
 * - ORLA_ERROR_TOO_LARGE, if ORLASendPackage cannot allocate the memory for the file;
 * - ORLA_ERROR_TRANSPORT, with a message, if the command already uses the network;
 * - ORLA_ERROR_GENERAL, usually without a message, in all other cases.
 *
 * Ending: finish every command before the program exits or unloads the library.
 *
 * - Unloading does not wait for running commands. A command that is still running may crash.
 * - Do not cancel or kill a thread inside the library, because its locks and memory are then never
 *   released. If a thread was stopped inside a command, unloading may hang forever.
 * - A program that cannot wait for a command must end without unloading the library: by calling
 *   TerminateProcess on itself on Windows, or _exit on Linux.
 * - On Linux, when a thread that has called ORLAGetVersion ends, it runs code of the library.
 *   Before unloading the library, join each such thread, or keep it running until the library is
 *   unloaded.
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

/** Marks a function of the library. Programs must not define ORLA_BUILDING_LIBRARY. On Windows a
 * program needs only the import library to link the functions. */
#if defined(ORLA_BUILDING_LIBRARY) && !defined(_WIN32)
#define ORLA_API __attribute__((visibility("default")))
#else
#define ORLA_API
#endif

/** A status, which a function returns, or a code, which ORLAGetLastError reads. */
typedef uint32_t orla_status;

enum {
  /** Success. */
  ORLA_OK = 0,
  /** A general failure, or an HTTP status that is not listed below. */
  ORLA_ERROR_GENERAL = 1,
  /** The network failed, the server's reply is invalid, or a wait timed out. The message says
   * which. ORLAGetVersion also returns it, without a message, if the server's answer is not a
   * version. */
  ORLA_ERROR_TRANSPORT = 4,
  /** An argument is invalid: an unknown handle, a null pointer, or a text or a path that is empty,
   * too long or otherwise not accepted. */
  ORLA_ERROR_ARGUMENT = 6,
  /** HTTP 401, or a local file could not be closed or replaced. */
  ORLA_ERROR_UNAUTHORIZED = 9,
  /** ORLADownloadFile: HTTP 404 or 403. */
  ORLA_ERROR_NO_SUCH_DOWNLOAD = 10,
  /** ORLASendPackage: the file has 4 GiB or more (2 GiB or more in a 32-bit process), or there is
   * not enough memory for it. */
  ORLA_ERROR_TOO_LARGE = 11,
  /** HTTP 400 or 501, or the progress function set ORLA_PROGRESS_CANCEL. */
  ORLA_ERROR_REQUEST = 12,
  /** HTTP 304, or the progress function set ORLA_PROGRESS_ABANDON. */
  ORLA_ERROR_NOT_MODIFIED = 13,
  /** ORLASendPackage: the local file, or a directory in its path, does not exist. */
  ORLA_ERROR_NO_SUCH_FILE = 14,
  /** ORLASendPackage: fewer bytes than the file's size could be read. */
  ORLA_ERROR_SHORT_READ = 24,
  /** All commands but ORLADownloadFile: HTTP 404 or 403. */
  ORLA_ERROR_NOT_FOUND = 46,
  /** Not a status, but the thread's code (ORLAGetLastError) after ORLAGetVersion received HTTP 304
   * or an answer that is not a version. */
  ORLA_ERROR_VERSION_TEXT = 58
};

/** No code was recorded for the calling thread. */
#define ORLA_NO_CODE UINT32_C(0xFFFFFFFF)

/** Values of the status field of the progress record. */
enum {
  /** Data has arrived. The library sets this value before each call. Leave it unchanged to continue
   * the download. */
  ORLA_PROGRESS_DATA = 6,
  /** Set by the progress function. The download then fails with ORLA_ERROR_NOT_MODIFIED. */
  ORLA_PROGRESS_ABANDON = 9,
  /** Set by the progress function. The download then fails with ORLA_ERROR_REQUEST. */
  ORLA_PROGRESS_CANCEL = 11
};

/** The only value of the phase field of the progress record. */
enum { ORLA_PROGRESS_PHASE = 1 };

/** The maximum number of connections at one time. A connection still counts after ORLADisconnect,
 * which only frees it for reuse. */
enum { ORLA_MAX_CONNECTIONS = 30 };

/** The size of the library's message in bytes, including the terminating zero. A buffer of this
 * size holds every message without truncation. */
enum { ORLA_MESSAGE_SIZE = 1024 };

#pragma pack(push, 1)
/**
 * The progress record of a download. The agent owns it. It must stay valid until ORLADownloadFile
 * returns.
 *
 *     offset  size
 *          0     6  reserved: the library never reads or writes it
 *          6     4  phase: ORLA_PROGRESS_PHASE
 *         10     4  status: set before each call; the progress function may overwrite it
 *         14   260  file_name: the path given to ORLADownloadFile, truncated to 259 bytes
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
 * The progress function of a download. It runs on the thread that called ORLADownloadFile.
 *
 * @param record  the record given to ORLADownloadFile, filled in as described above
 * @param data    on the first call, the first 512 bytes of the reply's body; null on all later
 *                calls
 * @param length  512 on the first call, 0 on all later calls
 *
 * The first call is made after 512 bytes have arrived, then one call for each further piece of at
 * most 256 KiB. A file of fewer than 512 bytes causes no call.
 *
 * The text of an error page is reported in the same way as a file. Only the status ORLA_OK means
 * that a file was received.
 *
 * The function may call the library. It must return normally: it must not throw an exception or
 * call longjmp. The library does not read from the server while the function runs, so the server
 * may close the connection if the function runs for a long time.
 *
 * To stop the download, set record->status to ORLA_PROGRESS_CANCEL or ORLA_PROGRESS_ABANDON. Then
 *
 * - nothing more is written,
 * - the function is not called again,
 * - the rest of the reply is read and dropped, and
 * - the local file stays unchanged.
 */
typedef void(ORLA_CALL* orla_progress_fn)(orla_progress_record* record, const void* data,
                                          uint32_t length);

/**
 * Initializes the library. Call it before ORLAConnect.
 *
 * If the library is initialized already, the function returns ORLA_OK without checking its
 * arguments.
 *
 * @param flag  if its low 16 bits are not all 0, `text` is required; the high 16 bits are ignored
 * @param text  checked only if it is required; never kept
 *
 * @return
 * - ORLA_OK on success
 * - ORLA_ERROR_ARGUMENT if `text` is required, and is null or empty
 */
ORLA_API orla_status ORLA_CALL ORLAInitialize(uint32_t flag, const char* text);

/**
 * Creates a connection, or reuses a free one. A connection is a name for a server: this function
 * does not use the network, and nothing stays open between commands.
 *
 * @param url         "http://host[:port]/path". The port is 80 if it is left out.
 *                    - An "https" URL is accepted, but the commands use plain HTTP, on port 80 too.
 *                    - URLs of other schemes (ftp, file, news, ...) are accepted, and the commands
 *                      use HTTP to talk to their host.
 *                    - A query in the URL is ignored.
 *                    - "user:password@" and IPv6 addresses are not supported. They are
 *                      misinterpreted, and this function reports no error.
 *                    - White space and control characters are not checked. They are sent unchanged
 *                      in the requests.
 *                    - Null counts as empty, which is an invalid URL.
 * @param credential  kept with the connection, and never sent; null counts as empty
 * @param reserved    ignored
 * @param handle      receives the connection's handle, which is never 0; set to 0 on failure
 *
 * @return
 * - ORLA_OK on success
 * - ORLA_ERROR_GENERAL if `handle` is null
 * - ORLA_ERROR_GENERAL if the URL is invalid. The failure has a message only if there are fewer
 *   than ORLA_MAX_CONNECTIONS connections.
 * - ORLA_ERROR_GENERAL, without a message, if there are ORLA_MAX_CONNECTIONS connections and none
 *   of them is free
 *
 * A connection is free after ORLADisconnect. When it is reused, it keeps its handle. An invalid URL
 * still overwrites the URL of every free connection.
 *
 * Before ORLAInitialize, the function writes nothing. It then returns ORLA_OK if `*handle` already
 * holds a value other than 0, and ORLA_ERROR_GENERAL otherwise.
 *
 * The library locks its table of connections with kernel objects. If the system refuses them:
 *
 * - This function, ORLADisconnect and ORLACleanup throw a C++ exception. On Windows it ends the
 *   program. On Linux it ends the program if nothing catches it, as in a program written in C.
 * - The commands return ORLA_ERROR_GENERAL without a message.
 *
 * To check this first, call ORLAGetVersion with the handle 0, which is never valid. The call sends
 * nothing, and returns ORLA_ERROR_ARGUMENT if the table can be locked.
 */
ORLA_API orla_status ORLA_CALL ORLAConnect(const char* url, const char* credential,
                                           uint32_t reserved, uint32_t* handle);

/**
 * Frees a connection, so that ORLAConnect can reuse it.
 *
 * Do not use the handle after this call. Commands still accept it until ORLAConnect reuses the
 * connection or ORLACleanup runs. After a reuse it is the handle of the new connection, and a
 * second ORLADisconnect would free that connection.
 *
 * @param handle  the connection
 *
 * @return
 * - ORLA_OK on success, or if the connection is free already
 * - ORLA_ERROR_ARGUMENT if the handle is unknown
 *
 * ORLAConnect describes what happens if the table of connections cannot be locked.
 */
ORLA_API orla_status ORLA_CALL ORLADisconnect(uint32_t handle);

/**
 * Asks the server for the name under which a package is to be stored.
 *
 * @param handle      the connection
 * @param type        the package's type. Only the low 16 bits are used. Type 0 sends the request of
 *                    ORLAGetVersion instead.
 * @param count       the number of identities. Only the low 16 bits are used.
 * @param identities  `count` strings, which are sent percent-encoded and announced as UTF-8. The
 *                    pointer must not be null, even if `count` is 0. An identity that needs more
 *                    than 2069 bytes when encoded is sent unchanged. A line end in it then adds
 *                    lines to the request, so check the length of text from users.
 * @param name        receives the server's answer up to its first zero byte. On failure it is set
 *                    to the empty string, unless one of the pointers is null. It must have room for
 *                    at least one byte.
 * @param size        in: the size of `name` in bytes. A shorter answer is padded with zeros. An
 *                    answer of this size or longer is truncated to it and not zero-terminated.
 *                    Out: the length of the answer if it is less than the size, otherwise
 *                    unchanged.
 *
 * @return
 * - ORLA_OK on success
 * - ORLA_ERROR_ARGUMENT, without a message, if the handle is unknown, or if `identities`, `name` or
 *   `size` is null
 * - another status, usually with a message, if the request fails
 *
 * The target of the request consists of the path of the URL and the parameters. If it exceeds 2069
 * bytes, or if an identity is null, the request is sent with an empty target, and the server
 * rejects it.
 */
ORLA_API orla_status ORLA_CALL ORLAGetPackageName(uint32_t handle, uint32_t type, uint32_t count,
                                                  const char* const* identities, char* name,
                                                  uint32_t* size);

/**
 * Uploads a package. The library holds the whole file in memory while it sends it.
 *
 * @param handle,type,count  as for ORLAGetPackageName
 * @param identities  as for ORLAGetPackageName, but may be null if `count` is 0
 * @param path        the local file. It must have less than 4 GiB. In a 32-bit process it must have
 *                    less than 2 GiB, and as much contiguous address space must be free. The path
 *                    is in the system's own encoding and has at most 519 bytes. Windows usually
 *                    accepts only 259 bytes.
 * @param name        in: the file name to report to the server, encoded like an identity; null or
 *                    empty reports none. Out: the server's answer up to its first zero byte. On
 *                    failure it is unchanged.
 * @param size        in: the size of `name` in bytes. A shorter answer is padded with zeros. An
 *                    answer of this size or longer is truncated to it and not zero-terminated. If
 *                    the size is 0 or above 0x7FFFFFFF, `name` does not receive an answer.
 *                    Out: the size of the package that was sent in bytes, or 0xFFFFFFFF on failure.
 *
 * @return
 * - ORLA_OK on success
 * - ORLA_ERROR_ARGUMENT if the handle is unknown, an identity or `size` is null, or the path is
 *   null, empty or too long
 * - ORLA_ERROR_ARGUMENT if the target of the request, which consists of the path of the URL, the
 *   parameters and the file name, exceeds 2069 bytes
 * - ORLA_ERROR_NO_SUCH_FILE if the file, or a directory in its path, does not exist
 * - ORLA_ERROR_GENERAL if the file cannot be opened
 * - ORLA_ERROR_TOO_LARGE if the file is too large, or there is not enough memory for it
 * - ORLA_ERROR_SHORT_READ if fewer bytes than the file's size could be read
 * - another status, with a message, if the request fails
 *
 * Only a failed request sets a message.
 */
ORLA_API orla_status ORLA_CALL ORLASendPackage(uint32_t handle, uint32_t type, uint32_t count,
                                               const char* const* identities, const char* path,
                                               char* name, uint32_t* size);

/**
 * Downloads a file. The library writes it to a temporary file in the directory of `path`. When the
 * reply is complete, the library deletes the old file at `path`, and then renames the temporary
 * file to `path`. If the download fails, the old file is unchanged, except in one case of
 * ORLA_ERROR_UNAUTHORIZED, which is described below.
 *
 * @param handle    the connection, of which only the host and the port are used
 * @param target    the request target, which starts with "/" and is sent unchanged
 * @param path      the local file, in the system's own encoding, with at most 519 bytes.
 *                  - It must contain a directory: ".\\file" on Windows, where "/" is not a
 *                    separator, and "./file" elsewhere.
 *                  - Windows usually accepts 259 bytes, and 246 bytes for the directory. If the
 *                    directory is longer, the status is ORLA_ERROR_GENERAL.
 * @param progress  the function to call when data arrives. If the pointer is null, the library does
 *                  not read the reply's body and the download fails.
 * @param record    the progress record. After success its byte_count is the file's size modulo
 *                  2^32. If the pointer is null, the library does not read the reply's body and
 *                  the download fails.
 * @param counter   sent unchanged as "&Counter=" and this text, after the target; null sends none.
 *                  The target should have a query if there is a counter, because the counter
 *                  otherwise becomes part of the path and the server must remove it from there.
 *
 * @return
 * - ORLA_OK if the file is in place with all its bytes
 * - ORLA_ERROR_ARGUMENT if `target` or `path` is null, the handle is unknown, or the path is empty,
 *   too long or without a directory
 * - ORLA_ERROR_NO_SUCH_DOWNLOAD for HTTP 404 or 403
 * - ORLA_ERROR_GENERAL if the local file cannot be created or written, and, as for every command,
 *   for an HTTP status that is not listed here, if memory runs out before the command uses the
 *   network, or if the table of connections cannot be locked
 * - ORLA_ERROR_UNAUTHORIZED for HTTP 401
 * - ORLA_ERROR_UNAUTHORIZED, without a message, if the temporary file could not be closed or could
 *   not replace the old file. If the old file was deleted and then the rename failed, the library
 *   deletes the temporary file as well. Then neither file exists, so download the file again.
 * - ORLA_ERROR_TRANSPORT if the reply states a length of 4 GiB or more, or, as for every command,
 *   if its head exceeds 1 MiB
 * - ORLA_ERROR_REQUEST if the progress function set ORLA_PROGRESS_CANCEL, and for HTTP 400 and 501
 * - ORLA_ERROR_NOT_MODIFIED if the progress function set ORLA_PROGRESS_ABANDON, and for HTTP 304
 * - another status, with a message, if the request fails in another way
 *
 * If the path is invalid, or the local file cannot be created or written, the request is sent
 * anyway and its reply is dropped. A null `target` or `path` or an unknown handle sends nothing.
 *
 * If the reply is not sent in chunks, and states no length or contains "Connection: close", it ends
 * when the server closes the connection. A lost connection then looks like the end of the file, and
 * the status is ORLA_OK.
 */
ORLA_API orla_status ORLA_CALL ORLADownloadFile(uint32_t handle, const char* target,
                                                const char* path, orla_progress_fn progress,
                                                orla_progress_record* record, const char* counter);

/**
 * Deletes every connection and leaves the library uninitialized. Commands that are running in other
 * threads are not affected.
 *
 * @return ORLA_OK. ORLAConnect describes what happens if the table of connections cannot be locked.
 */
ORLA_API orla_status ORLA_CALL ORLACleanup(void);

/**
 * Asks the server for its version. The answer must consist of three numbers that are separated by
 * dots, such as 5.10.1234. CR and LF may follow the last number.
 *
 * @param handle       the connection
 * @param major,minor  receive the first two numbers of the version, modulo 65536; set to 0 on
 *                     failure. The pointers are not checked: null crashes.
 *
 * @return
 * - ORLA_OK on success
 * - ORLA_ERROR_ARGUMENT if the handle is unknown, or the path of the URL is too long
 * - ORLA_ERROR_TRANSPORT, without a message, if the answer is not a version; the thread's code is
 *   set to ORLA_ERROR_VERSION_TEXT
 * - ORLA_ERROR_TRANSPORT, with a message, for HTTP 304; the thread's code is set to
 *   ORLA_ERROR_VERSION_TEXT
 * - another status, with a message, if the request fails in another way
 */
ORLA_API orla_status ORLA_CALL ORLAGetVersion(uint32_t handle, uint16_t* major, uint16_t* minor);

/**
 * Reads the calling thread's code. Nothing clears the code.
 *
 * @param code  receives the code, or ORLA_NO_CODE if no code was recorded for the thread. On
 *              Windows the code 0 is recorded when a thread starts, if the library is already
 *              loaded. The pointer is not checked: null crashes.
 *
 * @return 1 if the code is ORLA_NO_CODE, 0 otherwise
 */
ORLA_API orla_status ORLA_CALL ORLAGetLastError(uint32_t* code);

/**
 * Reads the library's message. It is the message of the last failure that had one, on any
 * connection and in any thread. It is empty at first. Nothing clears it: a failure without a
 * message leaves the message of an earlier failure.
 *
 * The message may contain text from the server, with any bytes but zero: replace control characters
 * before printing it.
 *
 * @param buffer  receives the message; if it is null, nothing is written
 * @param size    the size of `buffer` in bytes. A message of this length or longer fills the buffer
 *                and is not zero-terminated.
 *
 * @return 0, always
 */
ORLA_API orla_status ORLA_CALL ORLAGetLastErrorMsg(char* buffer, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
