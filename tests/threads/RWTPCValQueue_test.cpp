#include "threads/RWTPCValQueue.h"

#include <atomic>

#include "ThreadsTestAccess.h"

namespace orla {

using Queue = RWTPCValQueue<int>;

static void awaitWriters(RWPCBufferBase& queue, std::size_t number) {
  awaitWaiters(Access::lock(queue), Access::notFull(queue), number);
}
static bool isRefused(auto call) {
  return textOf<RWTHRClosedException>(std::move(call)) == "Buffer is closed";
}

TEST(RWTPCValQueue, AWriterWaitsForRoomOrTheCloseWhichKeepsTheItems) {
  const struct {
    void (*change)(Queue&);
    std::size_t woken;  // Of the two writers that wait.
    const char* left;
  } cases[] = {{[](Queue& queue) { queue.changeCapacity(0); }, 2, "1233"},
               {[](Queue& queue) { EXPECT_EQ(queue.changeCapacity(4), 2U); }, 2, "1233"},
               {[](Queue& queue) {
                  queue.changeCapacity(1);
                  queue.read();
                },
                0, "2"},
               {[](Queue& queue) { queue.read(); }, 1, "23"}};
  for (const auto& [change, woken, left] : cases) {
    Queue queue(2);
    queue.write(1);
    queue.write(2);
    std::atomic<std::size_t> written = 0;
    std::future<void> writers[2];
    for (auto& writer : writers) {
      writer = inBackground([&] {
        queue.write(3);
        ++written;
      });
    }
    awaitWriters(queue, 2);
    change(queue);
    while (written != woken) std::this_thread::yield();
    awaitWriters(queue, 2 - woken);
    queue.close();
    std::size_t refused = 0;
    for (auto& writer : writers) refused += isRefused([&] { writer.get(); });
    EXPECT_EQ(refused, 2 - woken);
    EXPECT_TRUE(queue.readable());
    EXPECT_FALSE(queue.writable());
    std::string read;
    EXPECT_TRUE(isRefused([&] {
      while (true) read += std::to_string(queue.read());
    }));
    EXPECT_EQ(read, left);
  }
}

TEST(RWTPCValQueue, RunsEachCallbackOnceUntilTheStateChangesAndWithoutTheLock) {
  Queue queue(1);
  std::string ran;
  const auto record = [&](char name, std::function<void()> action) {
    return [&, name, action] {
      ran += isFree(Access::lock(queue), 60000) ? name : '?';
      action();
    };
  };
  queue.onEmpty(record('e', [&] { queue.write(1); }));
  queue.onFull(record('f', [&] { queue.read(); }));
  queue.onOpen(record('o', [] { throw 1; }));
  queue.onClose(record('c', [] { throw 1; }));
  queue.read();
  queue.read();
  EXPECT_EQ(std::exchange(ran, ""), "ee");
  queue.write(2);
  queue.write(3);
  queue.write(4);
  EXPECT_EQ(std::exchange(ran, ""), "ff");
  queue.onFull(record('F', [] {}));
  queue.read();
  queue.write(5);
  auto writer = inBackground([&] { queue.write(5); });
  awaitWriters(queue, 1);
  EXPECT_EQ(std::exchange(ran, ""), "F");
  EXPECT_THROW(queue.close(), int);
  EXPECT_TRUE(isRefused([&] { writer.get(); }));
  EXPECT_THROW(queue.open(), int);
  queue.open();
  EXPECT_TRUE(queue.isOpen());
  EXPECT_EQ(ran, "co");
}

TEST(RWFunctor0, ThrowsIfItIsCalledUnset) {
  EXPECT_EQ(textOf<RWTHRInvalidPointer>(RWFunctor0()), "Invalid pointer");
}

// Throws once it was copied or moved `copiesLeft` times on the thread.
struct Item {
  static inline thread_local int copiesLeft = 100;
  Item() = default;
  Item(const Item&) {
    if (copiesLeft-- <= 0) throw 1;
  }
};

TEST(RWTPCValQueue, LosesNoItemToACopyThatFails) {
  RWTPCValQueue<Item> queue;
  queue.write(Item());
  for (int allowed = 0; queue.readable(); ++allowed) {
    Item::copiesLeft = allowed;
    try {
      queue.read();
      EXPECT_FALSE(queue.readable());
    } catch (int) {
      ASSERT_TRUE(queue.readable()) << allowed;
    }
  }
  Item::copiesLeft = 100;
}

TEST(RWTPCValQueue, AThreadThatFailsToCopyLeavesTheItemOrTheRoomToTheNext) {
  RWTPCValQueue<Item> queue(1);
  const auto use = [&](bool reading) { reading ? void(queue.read()) : queue.write(Item()); };
  std::future<void> users[2];  // The first fails.
  for (const bool reading : {true, false}) {
    auto& condition = reading ? Access::notEmpty(queue) : Access::notFull(queue);
    for (std::size_t i = 0; i < 2; ++i) {
      users[i] = inBackground([&use, i, reading] {
        Item::copiesLeft = i == 0 ? 0 : 100;
        use(reading);
      });
      awaitWaiters(Access::lock(queue), condition, i + 1);
    }
    use(!reading);
    EXPECT_THROW(users[0].get(), int);
    users[1].get();
    if (reading) queue.write(Item());
  }
}

}  // namespace orla
