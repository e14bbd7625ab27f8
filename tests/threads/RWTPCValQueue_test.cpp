#include "threads/RWTPCValQueue.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <vector>

#include "ThreadsTestAccess.h"

namespace orla {
namespace {

using Access = ThreadsTestAccess;
using Queue = RWTPCValQueue<int>;

void awaitReaders(RWPCBufferBase& queue, std::size_t asleep) {
  awaitSleepers(Access::lock(queue), Access::notEmpty(queue), asleep);
}
void awaitWriters(RWPCBufferBase& queue, std::size_t asleep) {
  awaitSleepers(Access::lock(queue), Access::notFull(queue), asleep);
}
bool isRefused(auto call) {
  return textOf<RWTHRClosedException>(std::move(call)) == "Buffer is closed";
}

TEST(RWTPCValQueue, KeepsTheOrderAndItsItemsBeyondTheClose) {
  RWTPCValQueue<std::unique_ptr<int>> queue;
  for (int i = 1; i <= 3; ++i) queue.write(std::make_unique<int>(i));
  EXPECT_EQ(*queue.read(), 1);
  queue.close();
  EXPECT_TRUE(queue.readable());
  EXPECT_FALSE(queue.writable());
  EXPECT_TRUE(isRefused([&] { queue.write(nullptr); }));
  EXPECT_EQ(queue.entries(), 2U);
  EXPECT_EQ(*queue.read(), 2);
  EXPECT_EQ(*queue.read(), 3);
  EXPECT_TRUE(isRefused([&] { queue.read(); }));
  queue.open();
  queue.write(nullptr);
  EXPECT_EQ(queue.read(), nullptr);
}

TEST(RWTPCValQueue, AWriterSleepsUntilThereIsRoomOrTheClose) {
  const struct {
    const char* name;
    std::function<void(Queue&)> change;
    std::size_t woken;  // Of the two that sleep.
  } cases[] = {
      {"no limit", [](Queue& queue) { queue.changeCapacity(0); }, 2},
      {"a larger limit", [](Queue& queue) { queue.changeCapacity(4); }, 2},
      {"the same limit", [](Queue& queue) { EXPECT_EQ(queue.changeCapacity(2), 2U); }, 0},
      {"still full", [](Queue& queue) { queue.changeCapacity(1), queue.read(); }, 0},
      {"one read", [](Queue& queue) { queue.read(); }, 1},
      {"two reads", [](Queue& queue) { queue.read(), queue.read(); }, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Queue queue(2);
    queue.write(1);
    queue.write(2);
    int told = 0;
    queue.onFull([&] { ++told; });
    std::atomic<std::size_t> written = 0;
    const auto write = [&] { queue.write(3), ++written; };
    std::future<void> writers[] = {inBackground(write), inBackground(write)};
    awaitWriters(queue, 2);
    c.change(queue);
    while (written != c.woken) std::this_thread::yield();
    awaitWriters(queue, 2 - c.woken);
    queue.close();
    std::size_t refused = 0;
    for (auto& writer : writers) refused += isRefused([&] { writer.get(); });
    EXPECT_EQ(refused, 2 - c.woken);
    EXPECT_EQ(told, 1) << "two writers of one full spell";
  }
}

TEST(RWTPCValQueue, RunsItsCallbacksOnceASpellWithoutTheLock) {
  Queue queue(1);
  std::string told;
  bool help = true;
  const auto tell = [&](char what, std::function<void()> act) {
    return [&, what, act] {
      told += isFree(Access::lock(queue), 60000) ? what : '?';
      if (help) act();
    };
  };
  queue.onEmpty(tell('e', [&] { queue.write(1); }));
  queue.onFull(tell('f', [&] { queue.read(); }));
  queue.onOpen(tell('o', [] {}));
  queue.onClose(tell('c', [] {}));
  queue.open();
  queue.read(), queue.read();
  queue.write(2), queue.write(3), queue.write(4);
  EXPECT_EQ(told, "eeff") << "a write ends the empty spell, a read the full one";
  help = false;
  queue.read();
  auto reader = inBackground([&] { queue.read(); });
  awaitReaders(queue, 1);
  queue.write(5), reader.get(), queue.write(5);
  std::future<void> writers[2];
  for (std::size_t i = 0; i < 2; ++i) {
    writers[i] = inBackground([&] { queue.write(5); });
    awaitWriters(queue, i + 1);
  }
  queue.close(), queue.close();
  for (auto& writer : writers) EXPECT_TRUE(isRefused([&] { writer.get(); }));
  queue.open();
  EXPECT_EQ(told, "eeffefco");
}

TEST(RWTPCValQueue, SurvivesCallbacksThatThrow) {
  Queue queue(1);
  const RWFunctor0 raise = [] { throw 1; };
  queue.onEmpty(raise), queue.onFull(raise), queue.onOpen(raise), queue.onClose(raise);
  EXPECT_THROW(queue.read(), int);
  queue.write(1);
  EXPECT_THROW(queue.write(2), int);
  auto writer = inBackground([&] { queue.write(2); });
  awaitWriters(queue, 1);
  EXPECT_THROW(queue.close(), int);
  EXPECT_TRUE(isRefused([&] { writer.get(); }));
  EXPECT_THROW(queue.open(), int);
  EXPECT_TRUE(queue.isOpen() && isFree(Access::lock(queue)));
  EXPECT_EQ(queue.read(), 1);
}

// Not copied or moved on a thread that says so.
struct Item {
  static inline thread_local bool refuseCopies = false;
  Item() = default;
  Item(const Item&) {
    if (refuseCopies) throw 1;
  }
};

TEST(RWTPCValQueue, WhoFailsToCopyLeavesTheItemOrTheRoomToTheNext) {
  RWTPCValQueue<Item> queue(1);
  std::future<void> users[2];  // The first fails.
  for (std::size_t i = 0; i < 2; ++i) {
    users[i] = inBackground([&queue, i] { Item::refuseCopies = i == 0, queue.read(); });
    awaitReaders(queue, i + 1);
  }
  queue.write(Item());
  EXPECT_THROW(users[0].get(), int);
  users[1].get();

  queue.write(Item());
  for (std::size_t i = 0; i < 2; ++i) {
    users[i] = inBackground([&queue, i] { Item::refuseCopies = i == 0, queue.write(Item()); });
    awaitWriters(queue, i + 1);
  }
  queue.read();
  EXPECT_THROW(users[0].get(), int);
  users[1].get();
  EXPECT_EQ(queue.entries(), 1U);
}

TEST(RWTPCValQueue, CarriesEveryItemOnceBetweenManyThreads) {
  constexpr int kItems = 300;
  Queue queue(2);
  std::vector<std::future<void>> writers;
  std::vector<std::future<std::vector<int>>> readers;
  for (int i = 0; i < 3; ++i) {
    writers.push_back(inBackground([&, i] {
      for (int item = i * kItems; item < (i + 1) * kItems; ++item) queue.write(item);
    }));
    readers.push_back(inBackground([&] {
      std::vector<int> got;
      EXPECT_TRUE(isRefused([&] {
        while (true) got.push_back(queue.read());
      }));
      return got;
    }));
  }
  for (auto& writer : writers) writer.get();
  queue.close();
  std::vector<int> all, expected(3 * kItems);
  for (auto& reader : readers) std::ranges::copy(reader.get(), std::back_inserter(all));
  std::ranges::sort(all);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(all, expected);
}

}  // namespace
}  // namespace orla
