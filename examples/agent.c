#include <orla/ORLACl.h>
#include <stdio.h>

int main(int argc, char** argv) {
  const char* url = argc > 1 ? argv[1] : "http://127.0.0.1:8080/";
  uint32_t server = 0;
  uint16_t major = 0, minor = 0;
  char message[ORLA_MESSAGE_SIZE];
  orla_status status;

  ORLAInitialize(0, NULL);
  status = ORLAConnect(url, "", 0, &server);
  if (status == ORLA_OK) status = ORLAGetVersion(server, &major, &minor);
  if (status == ORLA_OK) {
    printf("The server has version %u.%u.\n", (unsigned)major, (unsigned)minor);
  } else {
    ORLAGetLastErrorMsg(message, sizeof message);
    /* The server may have sent bytes that control a terminal. */
    for (char* byte = message; *byte; ++byte) {
      if (*byte < ' ' || *byte > '~') *byte = '?';
    }
    printf("No version: status %u: %s\n", (unsigned)status,
           message[0] ? message : "docs/errors.md lists the causes");
  }
  ORLACleanup();
  return status == ORLA_OK ? 0 : 1;
}
