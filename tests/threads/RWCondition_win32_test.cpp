// The system refuses to make an object: its import is replaced for a scope.
#include <gtest/gtest.h>

#include "ThreadsTestAccess.h"
#include "threads/RWCondition.h"

extern decltype(&CreateMutexA) createMutex __asm__("__imp__CreateMutexA@12");
extern decltype(&CreateSemaphoreA) createSemaphore __asm__("__imp__CreateSemaphoreA@16");

namespace orla {
namespace {

HANDLE WINAPI refuseMutex(SECURITY_ATTRIBUTES*, BOOL, const char*) {
  return SetLastError(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}
HANDLE WINAPI refuseSemaphore(SECURITY_ATTRIBUTES*, LONG, LONG, const char*) {
  return SetLastError(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}

std::string textOfRefusal(auto& import, auto refuse, auto call) {
  DWORD previous;
  VirtualProtect(&import, sizeof import, PAGE_READWRITE, &previous);
  const auto original = std::exchange(import, refuse);
  const std::string text = textOf(call);
  import = original;
  return text;
}

TEST(RWCondition, KeepsTheMutexWhenTheSystemRefusesASemaphore) {
  EXPECT_EQ(textOfRefusal(createMutex, refuseMutex, [] { RWMutexLock refused; }),
            "RWMutexLock::init - CreateMutex() - Error Code: 8");
  RWMutexLock lock;
  RWCondition condition(lock);
  lock.acquire();
  EXPECT_EQ(textOfRefusal(createSemaphore, refuseSemaphore, [&] { condition.wait(); }),
            "RWCondition::wait - RWSemaphore::RWSemaphore - CreateSemaphore() - Error Code: 8");
  EXPECT_FALSE(condition.wait(0));
  lock.release();
}

}  // namespace
}  // namespace orla
