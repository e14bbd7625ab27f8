// The functions that hardened code calls for an overflow. Windows only: elsewhere the C library has them.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <windows.h>

namespace orla::test {
namespace {

/// GCC must not know how much is written.
volatile int written;

[[gnu::noinline]] void writeToStack() {
  volatile char buffer[16];
  std::fill_n(buffer, int(written), 'x');
}

char destination[16];
char source[64];
[[gnu::noinline]] void copyToFixedBuffer() {
  std::memcpy(destination, source, static_cast<std::size_t>(written));
}

TEST(StackProtector, EndsTheProcessOnOverflow) {
  const testing::ExitedWithCode overrun(static_cast<int>(STATUS_STACK_BUFFER_OVERRUN));
  for (const auto overflow : {writeToStack, copyToFixedBuffer}) {
    written = 16;
    overflow();
    written = 24;
    EXPECT_EXIT(overflow(), overrun, "");
  }
}

}  // namespace
}  // namespace orla::test
