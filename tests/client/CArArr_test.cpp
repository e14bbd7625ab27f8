#include "client/CArArr.h"

#include <limits>
#include <vector>

#include "gmock/gmock.h"

namespace orla {
namespace {

using testing::ElementsAre;

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

std::vector<int> contentsOf(const CArArr<int>& array) {
  std::vector<int> copy(static_cast<std::size_t>(array.GetCount()));
  EXPECT_TRUE(array.CopyOut(0, copy.data(), array.GetCount()));
  return copy;
}

TEST(CArArr, MovesItsElements) {
  const int more[] = {7, 8, 9};
  CArArr<int> array(4);
  for (int i = 0; i < 4; ++i) array.Add(i);
  EXPECT_EQ(array.InsertAt(4, 1)[1], 4);
  array.InsertRange(&array.ElementAt(1), 2, 2);  // Across the position, without growth.
  EXPECT_THAT(contentsOf(array), ElementsAre(0, 4, 4, 1, 1, 2, 3));
  array.Append(array, 6);  // With growth.
  EXPECT_THAT(contentsOf(array), ElementsAre(0, 4, 4, 1, 1, 2, 0, 4, 4, 1, 1, 2, 3, 3));
  EXPECT_TRUE(array.Overwrite(more, 3, 10) && array.RemoveAt(1, 8));
  EXPECT_THAT(contentsOf(array), ElementsAre(0, 1, 7, 8, 9, 3));
  EXPECT_TRUE(array.RemoveAt(5, 1) && array.SetAt(5, 4));
  EXPECT_THAT(contentsOf(array), ElementsAre(0, 1, 7, 8, 5));
}

TEST(CArArr, RefusesWhatLeadsOutsideTheStorage) {
  CArArr<int> array(1);
  int some[3] = {9, 9, 9};
  array.InsertRange(some, 3, -1);
  EXPECT_FALSE(array.CopyOut(1, some, 3) || array.CopyOut(1, some, kMax) ||
               array.CopyOut(-1, some, 1) || array.CopyOut(3, some, 0));
  EXPECT_FALSE(array.Overwrite(some, 1, 2) || array.Overwrite(some, kMax, 1));
  EXPECT_FALSE(array.SetAt(8, 3) || array.RemoveAt(-1, 1) || array.RemoveAt(3, 1));
  EXPECT_THROW(array.ElementAt(3), eaerrcode);
  EXPECT_THROW(array.InsertRange(some, kMax, 0), eaerrcode);
  EXPECT_THROW(array.InsertRange(&array.ElementAt(2), 2, 0), eaerrcode);
  EXPECT_THROW(array.Overwrite(some, 1, -1), eaerrcode);
  EXPECT_THAT(contentsOf(array), ElementsAre(9, 9, 9));
  EXPECT_TRUE(array.RemoveAt(1, kMax)) << "all of it is taken off the count";
  EXPECT_EQ(array.GetCount(), 3 - kMax);
  EXPECT_THROW(array.Add(1), eaerrcode);
}

}  // namespace
}  // namespace orla
