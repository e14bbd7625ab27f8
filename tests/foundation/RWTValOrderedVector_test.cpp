#include "foundation/RWTValOrderedVector.h"

#include <gmock/gmock.h>

namespace orla {
namespace {

auto raises(const char* text) {
  return testing::ThrowsMessage<RWBoundsErr>(text);
}

TEST(RWTValOrderedVector, KeepsTheOrderAndItsBounds) {
  RWTValOrderedVector<char> vector;
  EXPECT_THAT([&] { vector.removeAt(0); }, raises("[INDEX] Index (0) out of range [0->0]"));
  vector.insertAt(0, 'b');
  vector.append('x');
  vector.insertAt(0, 'a');
  vector.insertAt(2, 'c');
  vector.removeAt(3);
  EXPECT_EQ(std::string(vector.begin(), vector.end()), "abc");
  EXPECT_EQ(std::as_const(vector)[2], 'c');
  const char* const third = "[INDEX] Index (3) out of range [0->3]";
  EXPECT_THAT([&] { std::as_const(vector)[3]; }, raises(third));
  EXPECT_THAT([&] { vector[3] = 'x'; }, raises(third));
  EXPECT_THAT([&] { vector.removeAt(3); }, raises(third));
  EXPECT_THAT([&] { vector.insertAt(4, 'x'); }, raises("[INDEX] Index (4) out of range [0->3]"));
}

}  // namespace
}  // namespace orla
