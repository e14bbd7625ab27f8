#include "net/RWNetErrors.h"

#include <gtest/gtest.h>

namespace orla {
namespace {

TEST(RWNetErrors, NamesWinsockCodes) {
  const struct {
    int code;
    const char* name;
  } kCases[] = {{10004, "INTR"},        {10013, "ACCES"},      {10052, "NETRESET"},
                {10053, "CONNABORTED"}, {10054, "CONNRESET"},  {10071, "REMOTE"},
                {11003, "NO_RECOVERY"}, {11004, "NO_ADDRESS"}, {10092, "VERNOTSUPPORTED"},
                {10100, "10100"},       {11005, "11005"},      {-1, "-1"}};
  for (const auto& c : kCases) EXPECT_EQ(winsockErrorName(c.code), c.name);
}

}  // namespace
}  // namespace orla
