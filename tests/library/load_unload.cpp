// Loading, unloading and loading again in one process, and what the library hears of threads.
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "loading.h"
#include "orla/ORLACl.h"

namespace orla::test {
namespace {

class Loaded {
 public:
  Loaded() : library_(loadLibrary(ORLA_LIBRARY)) { EXPECT_NE(library_, nullptr); }
  ~Loaded() { unloadLibrary(library_); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  template <class Function>
  Function* find(const char* name, int argumentBytes) const {
    return reinterpret_cast<Function*>(findExport(library_, name, argumentBytes));
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
  for (int round = 0; round < 3; ++round) {
    const Loaded loaded;
    const auto initialize = loaded.find<decltype(ORLAInitialize)>("ORLAInitialize", 8);
    const auto connect = loaded.find<decltype(ORLAConnect)>("ORLAConnect", 16);
    const auto message = loaded.find<decltype(ORLAGetLastErrorMsg)>("ORLAGetLastErrorMsg", 8);
    const auto version = loaded.find<decltype(ORLAGetVersion)>("ORLAGetVersion", 12);
    char text[ORLA_MESSAGE_SIZE];
    message(text, sizeof text);
    EXPECT_STREQ(text, "");
    std::uint32_t handle = 0;
    EXPECT_EQ(connect("http://127.0.0.1:0/", "", 0, &handle), 1U) << "still initialised";
    EXPECT_EQ(initialize(0, nullptr), 0U);
    EXPECT_EQ(connect("http://127.0.0.1:0/", "", 0, &handle), 0U);
    std::uint16_t major, minor;
    EXPECT_EQ(version(handle, &major, &minor), 4U);
    message(text, sizeof text);
    EXPECT_TRUE(std::string(text).starts_with("RWSocketError: in RWSocket::connect: ")) << text;
    // The library is unloaded with a connection in its table.
  }
}

TEST(Library, OpensARecordForEachThread) {
  const Loaded loaded;
  EXPECT_EQ(loaded.code(), ORLA_NO_CODE) << "this thread was there before the library";
  for (int round = 0; round < 2; ++round)
    std::thread([&] {
      EXPECT_EQ(loaded.code(), threadsAreAnnounced() ? 0U : ORLA_NO_CODE);
    }).join();
}

TEST(Library, OutlivesThreadsThatBeganBeforeIt) {
  // A thread that meets the library and ends after it was unloaded must not run into it.
  std::thread meeting;
  {
    const Loaded loaded;
    const auto version = loaded.find<decltype(ORLAGetVersion)>("ORLAGetVersion", 12);
    std::thread([&] {
      std::uint16_t major, minor;
      EXPECT_EQ(version(1, &major, &minor), 6U);
    }).join();
    std::uint16_t major, minor;
    EXPECT_EQ(version(1, &major, &minor), 6U);
  }
  std::thread([] {}).join();
}

}  // namespace
}  // namespace orla::test
