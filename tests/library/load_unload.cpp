// Loading, unloading and loading again in one process, and what the library hears of threads.
#include <cstdint>
#include <future>
#include <gtest/gtest.h>
#include <thread>

#include ORLA_LOADING  // The system's twin.
#include "orla/ORLACl.h"

namespace orla::test {
namespace {

class Loaded {
 public:
  Loaded() : library_(Loading::load(ORLA_LIBRARY)) { EXPECT_NE(library_, nullptr); }
  ~Loaded() { Loading::unload(library_); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  template <class Function>
  Function* find(const char* name, int argumentBytes) const {
    return reinterpret_cast<Function*>(Loading::find(library_, name, argumentBytes));
  }
  std::uint32_t version(std::uint32_t handle) const {
    std::uint16_t major, minor;
    return find<decltype(ORLAGetVersion)>("ORLAGetVersion", 12)(handle, &major, &minor);
  }
  std::uint32_t code() const {
    std::uint32_t value = 0;
    find<decltype(ORLAGetLastError)>("ORLAGetLastError", 4)(&value);
    return value;
  }

 private:
  void* library_;
};

TEST(Library, LoadsAgainAfresh) {
  // Nothing listens on port 0. What looks up a name must not keep the library loaded.
  for (const char* url : {"http://127.0.0.1:0/", "http://localhost:0/", "http://localhost:0/"}) {
    const Loaded loaded;
    const auto connect = loaded.find<decltype(ORLAConnect)>("ORLAConnect", 16);
    std::uint32_t handle = 0;
    EXPECT_EQ(connect(url, "", 0, &handle), 1U) << "still initialised";
    EXPECT_EQ(loaded.find<decltype(ORLAInitialize)>("ORLAInitialize", 8)(0, nullptr), 0U);
    EXPECT_EQ(connect(url, "", 0, &handle), 0U);
    EXPECT_EQ(loaded.version(handle), 4U);
    // The library is unloaded with a connection in its table.
  }
}

TEST(Library, OpensARecordForEachThread) {
  const Loaded loaded;
  EXPECT_EQ(loaded.code(), ORLA_NO_CODE) << "this thread was there before the library";
  const std::uint32_t expected = Loading::kAnnouncesThreads ? 0 : ORLA_NO_CODE;
  std::thread([&] { EXPECT_EQ(loaded.code(), expected); }).join();
}

TEST(Library, IsNotCalledByThreadsThatEndAfterIt) {
  std::promise<void> called, unloaded;
  std::thread thread;
  {
    const Loaded loaded;
    thread = std::thread([&] {
      EXPECT_EQ(loaded.version(1), 6U);
      called.set_value();
      unloaded.get_future().wait();
    });
    called.get_future().wait();
  }
  unloaded.set_value();
  thread.join();
}

}  // namespace
}  // namespace orla::test
