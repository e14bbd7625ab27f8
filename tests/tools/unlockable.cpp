// Stands in for the library in a process where the system refuses the lock of the table of
// connections: the functions that lock it as a writer throw, and the commands fail. No function uses
// its arguments, so none declares them.
#define FUNCTION(name, action)                                        \
  extern "C" __attribute__((visibility("default"))) unsigned name() { \
    action;                                                           \
  }

FUNCTION(ORLAInitialize, return 0)
FUNCTION(ORLAConnect, throw 1U)
FUNCTION(ORLADisconnect, throw 1U)
FUNCTION(ORLACleanup, throw 1U)
FUNCTION(ORLAGetVersion, return 1)
FUNCTION(ORLAGetPackageName, return 1)
FUNCTION(ORLASendPackage, return 1)
FUNCTION(ORLADownloadFile, return 1)
FUNCTION(ORLAGetLastError, return 1)
FUNCTION(ORLAGetLastErrorMsg, return 0)
