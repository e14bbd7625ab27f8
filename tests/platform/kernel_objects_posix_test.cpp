#include <csignal>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

#include "PlatformTest.h"

namespace orla {

TEST(NamedObjects, LeaveNothingBehindWhenTheyCannotBeMade) {
  const std::string name = "Orla.Test.Refused@" + std::to_string(std::random_device()());
  const auto nextDescriptor = [] {
    const int descriptor = ::dup(0);
    return ::close(descriptor) == 0 ? static_cast<rlim_t>(descriptor) : 0;
  };
  ASSERT_NE(::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
  const rlim_t next = nextDescriptor();
  // No descriptor for the file, none for its mapping, no room in the file.
  for (const auto& [resource, most] :
       {std::pair(RLIMIT_NOFILE, next), {RLIMIT_NOFILE, next + 1}, {RLIMIT_FSIZE, rlim_t{0}}}) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(resource, &before), 0);
    const rlimit low{most, before.rlim_max};
    ASSERT_EQ(::setrlimit(resource, &low), 0);
    EXPECT_EQ(CreateMutexA(nullptr, FALSE, name.c_str()), nullptr);
    EXPECT_NE(GetLastError(), ERROR_SUCCESS);
    ASSERT_EQ(::setrlimit(resource, &before), 0);
    EXPECT_EQ(nextDescriptor(), next);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, name.c_str());
    EXPECT_TRUE(mutex && GetLastError() == ERROR_SUCCESS && CloseHandle(mutex));
  }
}

}  // namespace orla
