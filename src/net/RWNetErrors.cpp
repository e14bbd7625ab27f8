#include "net/RWNetErrors.h"

#include <algorithm>
#include <iterator>

namespace orla {

namespace {

struct ErrorName {
  int code;
  const char* name;
};

constexpr ErrorName kErrorNames[] = {
    {10004, "INTR"},           {10009, "BADF"},           {10013, "ACCES"},
    {10014, "FAULT"},          {10022, "INVAL"},          {10024, "MFILE"},
    {10035, "WOULDBLOCK"},     {10036, "INPROGRESS"},     {10037, "ALREADY"},
    {10038, "NOTSOCK"},        {10039, "DESTADDRREQ"},    {10040, "MSGSIZE"},
    {10041, "PROTOTYPE"},      {10042, "NOPROTOOPT"},     {10043, "PROTONOSUPPORT"},
    {10044, "SOCKTNOSUPPORT"}, {10045, "OPNOTSUPP"},      {10046, "PFNOSUPPORT"},
    {10047, "AFNOSUPPORT"},    {10048, "ADDRINUSE"},      {10049, "ADDRNOTAVAIL"},
    {10050, "NETDOWN"},        {10051, "NETUNREACH"},     {10052, "NETRESET"},
    {10053, "CONNABORTED"},    {10054, "CONNRESET"},      {10055, "NOBUFS"},
    {10056, "ISCONN"},         {10057, "NOTCONN"},        {10058, "SHUTDOWN"},
    {10059, "TOOMANYREFS"},    {10060, "TIMEDOUT"},       {10061, "CONNREFUSED"},
    {10062, "LOOP"},           {10063, "NAMETOOLONG"},    {10064, "HOSTDOWN"},
    {10065, "HOSTUNREACH"},    {10066, "NOTEMPTY"},       {10067, "PROCLIM"},
    {10068, "USERS"},          {10069, "DQUOT"},          {10070, "STALE"},
    {10071, "REMOTE"},         {10091, "SYSNOTREADY"},    {10092, "VERNOTSUPPORTED"},
    {10093, "NOTINITIALISED"}, {11001, "HOST_NOT_FOUND"}, {11002, "TRY_AGAIN"},
    {11003, "NO_RECOVERY"},    {11004, "NO_DATA"},        {11004, "NO_ADDRESS"},
};
static_assert(std::size(kErrorNames) == 51);

}  // namespace

RWCString winsockErrorName(int code) {
  // Searches from the last row, because 11004 has two names and messages use the later one.
  const auto found = std::find_if(std::rbegin(kErrorNames), std::rend(kErrorNames),
                                  [code](const ErrorName& row) { return row.code == code; });
  return found == std::rend(kErrorNames) ? std::to_string(code) : found->name;
}

}  // namespace orla
