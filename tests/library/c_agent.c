/* The public header from pure C, against the built library. */
#include <stdio.h>
#include <string.h>

#include "orla/ORLACl.h"

static int failures = 0;

static void expect(const char* what, uint32_t got, uint32_t wanted) {
  if (got == wanted) return;
  printf("%s: got %lu, wanted %lu\n", what, (unsigned long)got, (unsigned long)wanted);
  ++failures;
}

static void ORLA_CALL on_progress(orla_progress_record* record, const void* data, uint32_t length) {
  (void)data;
  (void)length;
  record->status = ORLA_PROGRESS_CANCEL;
}

int main(void) {
  const char* const identities[] = {"id"};
  orla_progress_record record;
  char text[ORLA_MESSAGE_SIZE];
  uint32_t handle = 0, size = sizeof text, code = 0;
  uint16_t major = 1, minor = 1;

  expect("code before anything", ORLAGetLastError(&code), 1);
  expect("no code", code, ORLA_NO_CODE);
  expect("initialise without its text", ORLAInitialize(1, ""), ORLA_ERROR_ARGUMENT);
  expect("connect before initialise", ORLAConnect("http://srv", "", 0, &handle),
         ORLA_ERROR_GENERAL);
  expect("initialise", ORLAInitialize(0, NULL), ORLA_OK);
  expect("invalid URL", ORLAConnect("srv", "", 0, &handle), ORLA_ERROR_GENERAL);
  expect("message", ORLAGetLastErrorMsg(text, sizeof text), ORLA_OK);
  expect("message's text", (uint32_t)strcmp(text, "URL 'srv' is invalid."), 0);

  /* Nothing listens on port 0. */
  expect("connect", ORLAConnect("http://127.0.0.1:0/", "", 0, &handle), ORLA_OK);
  expect("version", ORLAGetVersion(handle, &major, &minor), ORLA_ERROR_TRANSPORT);
  expect("major", major, 0);
  expect("name", ORLAGetPackageName(handle, 1, 1, identities, text, &size), ORLA_ERROR_TRANSPORT);
  expect("send", ORLASendPackage(handle, 1, 1, identities, "no such file", text, &size),
         ORLA_ERROR_NO_SUCH_FILE);
  expect("size", size, 0xFFFFFFFF);
  memset(&record, 0, sizeof record);
  expect("download", ORLADownloadFile(handle, "/x", NULL, on_progress, &record, NULL),
         ORLA_ERROR_ARGUMENT);
  expect("disconnect", ORLADisconnect(handle), ORLA_OK);
  expect("clean up", ORLACleanup(), ORLA_OK);
  expect("disconnect after clean-up", ORLADisconnect(handle), ORLA_ERROR_ARGUMENT);
  return failures == 0 ? 0 : 1;
}
