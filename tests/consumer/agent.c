/*
 * An agent that calls every function of the library. It needs no C runtime, so that any compiler and
 * linker can build it. It asks the server at AGENT_URL, uploads the file "sent" and downloads it to
 * "received". The exit code is 0, or the line of the check that failed.
 */
#include <orla/ORLACl.h>

#ifdef _WIN32
#define HERE ".\\"
#else
#define HERE "./"
#endif
#define EXPECT(condition) \
  if (!(condition)) return __LINE__

static const char* const identities[] = {"ws0042"};
static char name[64] = "agent.pkg";
static char message[ORLA_MESSAGE_SIZE];
static orla_progress_record record;
static uint32_t calls;

static void ORLA_CALL progress(orla_progress_record* given, const void* data, uint32_t length) {
  calls += given == &record && (data != NULL) == (length == 512);
}

int main(void) {
  uint32_t server = 0, code = 0, size = sizeof name, sent = sizeof name;
  uint16_t major = 0, minor = 0;
  EXPECT(ORLAInitialize(0, NULL) == ORLA_OK);
  EXPECT(ORLAConnect(AGENT_URL, "", 0, &server) == ORLA_OK);
  EXPECT(ORLAGetVersion(server, &major, &minor) == ORLA_OK && major == 5 && minor == 10);
  EXPECT(ORLASendPackage(server, 7, 1, identities, HERE "sent", name, &sent) == ORLA_OK);
  EXPECT(ORLADownloadFile(server, "/agent.pkg", HERE "received", progress, &record, NULL) ==
         ORLA_OK);
  EXPECT(calls > 0 && record.byte_count == sent);
  EXPECT(ORLAGetPackageName(server, 7, 1, identities, name, &size) == ORLA_OK && name[0] != 0);
  EXPECT(ORLADownloadFile(server, "/none", HERE "none", progress, &record, NULL) ==
         ORLA_ERROR_NO_SUCH_DOWNLOAD);
  EXPECT(ORLAGetLastErrorMsg(message, sizeof message) == ORLA_OK && message[0] != 0);
  EXPECT(ORLAGetLastError(&code) == (code == ORLA_NO_CODE));
  EXPECT(ORLADisconnect(server) == ORLA_OK);
  EXPECT(ORLACleanup() == ORLA_OK);
  return 0;
}
