#include "client/CArArr.h"

#include <limits>
#include <new>
#include <random>
#include <vector>

#include "gmock/gmock.h"

namespace orla {
namespace {

using testing::ElementsAre;

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kEnd = CArArr<int>::kEnd;

/// An element whose storage cannot be had while `outOfMemory` is set.
struct Scarce {
  int value;
  static inline bool outOfMemory = false;
  static void* operator new[](std::size_t size) {
    if (outOfMemory) throw std::bad_alloc();
    return ::operator new[](size);
  }
  static void operator delete[](void* storage) { ::operator delete[](storage); }
};

template <class Operation>
int thrownBy(Operation operation) {
  try {
    operation();
  } catch (eaerrcode code) {
    return code;
  }
  return 0;
}

/// An array of 0, 1, 2, ...
struct Filled : CArArr<int> {
  explicit Filled(int n) : CArArr<int>(10) {
    for (int i = 0; i < n; ++i) Add(i);
  }
  std::vector<int> contents() const {
    std::vector<int> copy(static_cast<std::size_t>(GetCount()));
    EXPECT_EQ(CopyOut(0, copy.data(), GetCount()), GetCount() > 0);
    return copy;
  }
};

TEST(CArArr, GrowsByItsStepBeyondTheNeed) {
  const int more[9] = {};
  Filled array(10);
  EXPECT_EQ(array.GetCapacity(), 10);
  array.Add(10);
  EXPECT_EQ(array.GetCapacity(), 20);
  array.InsertRange(more, 8, kEnd);
  EXPECT_EQ(array.GetCapacity(), 20);
  array.InsertRange(more, 1, kEnd);
  EXPECT_EQ(array.GetCapacity(), 30) << "an exact fit grows as well";
  EXPECT_FALSE(array.SetGrowBy(0));
  EXPECT_EQ(array.GetGrowBy(), 10);
  EXPECT_EQ(thrownBy([] { CArArr<int> none(0); }), eaBadArgument);
}

TEST(CArArr, RefusesWhatLeadsOutsideTheStorage) {
  Filled array(4);
  int some[4] = {9, 9, 9, 9};
  for (const bool refused :
       {array.CopyOut(1, some, 4), array.CopyOut(1, some, kMost), array.CopyOut(-1, some, 1),
        array.CopyOut(4, some, 0), array.CopyOut(0, nullptr, 1), array.Overwrite(some, 1, 3),
        array.Overwrite(some, 0, 0), array.Overwrite(some, kMost, 1), array.SetAt(9, 4),
        array.RemoveAt(-1, 1), array.RemoveAt(4, 1)}) {
    EXPECT_FALSE(refused);
  }
  const int thrown[] = {
      thrownBy([&] { array.ElementAt(-1); }),
      thrownBy([&] { array.ElementAt(4); }),
      thrownBy([&] { array.InsertAt(9, 5); }),
      thrownBy([&] { array.InsertAt(9, -2); }),
      thrownBy([&] { array.InsertRange(some, 1, 5); }),
      thrownBy([&] { array.InsertRange(some, 1, -kMost); }),
      thrownBy([&] { array.InsertRange(some, kMost, 0); }),
      thrownBy([&] { array.InsertRange(nullptr, 1, 0); }),
      thrownBy([&] { array.InsertRange(&array.ElementAt(3), 2, 0); }),
      thrownBy([&] { array.SetAt(9, -1); }),
      thrownBy([&] { array.Overwrite(some, 1, -1); }),
      thrownBy([&] { array.CopyOut(0, some, -1); }),
      thrownBy([&] { array.RemoveAt(0, -1); }),
  };
  EXPECT_THAT(thrown, testing::Each(eaBadArgument));
  EXPECT_THAT(array.contents(), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(some, testing::Each(9));

  EXPECT_TRUE(array.RemoveAt(1, kMost)) << "all of it is taken off the count";
  EXPECT_EQ(array.GetCount(), 4 - kMost);
  EXPECT_EQ(thrownBy([&] { array.Add(1); }), eaBadArgument);
  EXPECT_EQ(thrownBy([&] { array.SetAt(1, -kMost); }), eaBadArgument);
  EXPECT_EQ(thrownBy([&] { array.InsertRange(some, 1, 0); }), eaBadArgument);
  array.RemoveAll();
  array.Add(5);
  array.SetGrowBy(kMost);
  const auto addForEver = [&] {
    for (;;) array.Add(5);
  };
  EXPECT_EQ(thrownBy(addForEver), eaBadArgument) << "growth past 32 bits";
  EXPECT_THAT(array.contents(), ElementsAre(5, 5, 5, 5, 5, 5, 5, 5, 5, 5));
}

TEST(CArArr, FailedGrowthLeavesEverythingAsItWas) {
  CArArr<Scarce> array(1);
  array.Add({7});
  const Scarce more[1] = {{8}};
  Scarce::outOfMemory = true;
  EXPECT_EQ(thrownBy([&] { array.Add(more[0]); }), eaNoMemory);
  EXPECT_EQ(thrownBy([&] { array.InsertRange(more, 1, 0); }), eaNoMemory);
  Scarce::outOfMemory = false;
  EXPECT_EQ(array.GetCapacity(), 1);
  EXPECT_EQ(array.GetCount(), 1);
  EXPECT_EQ(array.ElementAt(0).value, 7);
}

// Every change against the standard vector, over a long random run; insertions also from the
// array's own elements, with and without growth.
TEST(CArArr, AgreesWithAVector) {
  std::mt19937 random(20240229);
  Filled array(0);
  std::vector<int> model;
  const auto upTo = [&](std::size_t n) { return static_cast<std::int32_t>(random() % (n + 1)); };
  for (int step = 0; step < 20000; ++step) {
    const std::int32_t count = array.GetCount();
    const std::int32_t from = upTo(model.size());
    const std::int32_t n = upTo(static_cast<std::size_t>(count - from));
    const std::int32_t position = upTo(model.size());
    const std::int32_t given = position == count && step % 2 ? kEnd : position;
    const std::vector<int> own(model.begin() + from, model.begin() + from + n);
    switch (count > 60 ? 3 : random() % 4) {
      case 0:
        EXPECT_EQ(array.InsertAt(step, given)[position], step);
        model.insert(model.begin() + position, step);
        break;
      case 1:
        array.InsertRange(n ? &array.ElementAt(from) : nullptr, n, given);
        model.insert(model.begin() + position, own.begin(), own.end());
        break;
      case 2: {
        const std::vector<int> fresh(own.size(), step);
        const bool allowed = n >= 1 && position + n < count;
        EXPECT_EQ(array.Overwrite(fresh.data(), n, position), allowed);
        if (allowed) std::copy(fresh.begin(), fresh.end(), model.begin() + position);
        break;
      }
      default:
        EXPECT_EQ(array.RemoveAt(from, n), from < count);
        model.erase(model.begin() + from, model.begin() + from + n);
    }
    ASSERT_EQ(array.contents(), model) << "step " << step;
  }
}

}  // namespace
}  // namespace orla
