#include "client/CVekExceptionImp.h"

#include <gtest/gtest.h>

namespace orla {

/// A class without a destructor of its own in the table: one slot for each operation.
/// Not in an unnamed namespace, where compilers would know that no class implements it.
struct Slots {
  virtual std::uint32_t slot0() const = 0;
  virtual std::uint32_t slot1() const = 0;
  virtual std::uint32_t slot2() const = 0;

 protected:
  ~Slots() = default;
};

namespace {

__attribute__((noinline, no_sanitize("vptr"))) std::uint32_t callSlot2(const void* object) {
  return static_cast<const Slots*>(object)->slot2();
}

TEST(CVekExceptionImp, AnswersItsCodeAtSlot2) {
  const CVekExceptionImp error(46, 7);
  const void* volatile object = &error;  // Hides the class from the compiler.
  EXPECT_EQ(callSlot2(object), 46U);
}

}  // namespace
}  // namespace orla
