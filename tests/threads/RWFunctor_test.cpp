#include "threads/RWFunctor.h"

#include <gtest/gtest.h>
#include <memory>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

int append(std::string text, std::string* to) {
  return static_cast<int>((*to += text).size());
}

TEST(Functors, ShareOneCallAmongTheirCopies) {
  std::string text;
  RWTFunctor1<std::string> first(
      new RWTFunctor1GA1Imp<std::string, int, std::string, std::string*>(append, &text));
  const RWTFunctor1<std::string> second = std::exchange(first, {});
  second("a");
  second("b");
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(textOf<RWTHRInvalidPointer>([&] { first("c"); }), "Invalid pointer");

  const auto token = std::make_shared<int>(0);
  {
    const RWFunctor0 counter = [token, calls = 0]() mutable { *token = ++calls; };
    const RWFunctor0 copy = counter;
    counter(), copy();
    EXPECT_EQ(*token, 2);
  }
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_EQ(textOf<RWTHRInvalidPointer>(RWFunctor0()), "Invalid pointer");
}

}  // namespace
}  // namespace orla
