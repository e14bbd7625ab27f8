#include "threads/RWSemaphore.h"

#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

TEST(RWSemaphore, CountsAcrossThreads) {
  RWSemaphore semaphore(2);
  semaphore.acquire();
  EXPECT_TRUE(semaphore.acquire(0));
  EXPECT_FALSE(semaphore.tryAcquire() || semaphore.acquire(1));
  auto releaser = inBackground([&] { semaphore.release(); });
  semaphore.acquire();
  EXPECT_FALSE(semaphore.tryAcquire());
}

TEST(RWSemaphore, NamesTheCallThatFailed) {
  EXPECT_EQ(textOf([] { RWSemaphore negative(-1); }),
            "RWSemaphore::RWSemaphore - CreateSemaphore() - Error Code: 87");
  RWSemaphore full(0x7FFFFFFF);
  EXPECT_EQ(textOf([&] { full.release(); }),
            "RWSemaphore::release - ReleaseSemaphore() - Error Code: 298");
  EXPECT_EQ(textOfBroken(full, [&] { full.acquire(); }),
            "RWSemaphore::acquire - WaitForSingleObject() - Error Code: 6");
  EXPECT_EQ(textOfBroken(full, [&] { full.tryAcquire(); }),
            "RWSemaphore::tryAcquire - WaitForSingleObject() - Error Code: 6");
}

}  // namespace
}  // namespace orla
