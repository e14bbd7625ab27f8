// Processes that share a guard, some of them killed. Each is this program, started with its steps.
#include "platform/winapi.h"

#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include ORLA_MACHINE  // The system's twin.
#include "client/CVekGuard.h"

namespace orla::test {

constexpr std::uint32_t kLimit = 60000;
std::string program;

/// What the processes of one test share, under names that no other test has.
struct Meeting {
  const std::string suffix = "orla-test-" + std::to_string(std::random_device()());
  const HANDLE arrived = make("Arrived@"), end = make("End@");
  const HANDLE writing = make("Writing@"), reading = make("Reading@");

  ~Meeting() {
    for (const HANDLE object : {arrived, end, writing, reading}) CloseHandle(object);
  }
  HANDLE make(const char* name) const {
    return CreateSemaphoreA(nullptr, 0, 1000000, (name + suffix).c_str());
  }
  /// Starts a process, and waits until it arrives.
  auto start(const char* steps) const {
    const char* const arguments[] = {program.c_str(), steps, suffix.c_str(), nullptr};
    const auto process = Machine::start(arguments);
    EXPECT_TRUE(process && WaitForSingleObject(arrived, kLimit) == WAIT_OBJECT_0) << steps;
    return process;
  }
};

/// Takes one step; false when it went wrong.
bool take(char step, CVekGuard& guard, const Meeting& meeting) {
  LONG others = 0;
  if (step == 'a') return ReleaseSemaphore(meeting.arrived, 1, nullptr);
  if (step == 'o') return guard.Create(meeting.suffix.c_str());  // Closes it first.
  if (step == 'w') return guard.TryAcquireWrite(kLimit);
  if (step == 'r') return guard.TryAcquireRead(kLimit);
  if (step == 'W') return guard.ReleaseWrite(), true;
  if (step == 'R') return guard.ReleaseRead(), true;
  // '+' and '-': writes from here to there; '<' and '>': reads.
  const HANDLE inside = step == '+' || step == '-' ? meeting.writing : meeting.reading;
  const auto taken = [](HANDLE count) { return WaitForSingleObject(count, 0) == WAIT_OBJECT_0; };
  if (step == '-' || step == '>') return taken(inside);
  const bool alone = ReleaseSemaphore(inside, 1, &others) && (step == '<' || others == 0);
  std::this_thread::yield();
  return alone && !taken(step == '+' ? meeting.reading : meeting.writing);
}

/// Takes the steps and stands, to be killed; at a '*' it takes all but the first again, until the
/// end. It ends in any case. The exit code is the step that went wrong.
int play(const char* steps, const Meeting& meeting) {
  CVekGuard guard;
  const auto start = std::chrono::steady_clock::now();
  for (const char* step = steps; *step; ++step) {
    if (*step != '*' && !take(*step, guard, meeting)) return *step;
    if (*step != '*') continue;
    if (WaitForSingleObject(meeting.end, 0) == WAIT_OBJECT_0) return 0;
    if (std::chrono::steady_clock::now() - start > std::chrono::minutes(1)) return '*';
    step = steps;
  }
  return static_cast<int>(WaitForSingleObject(meeting.end, kLimit));
}

TEST(Processes, GoOnWhenOthersAreKilled) {
  const struct {
    const char* held;  // What this process does before, and after.
    const char* victim;
  } cases[] = {{"wW", "oawa"}, {"wW", "oara"}, {"rR", "oawa"}, {"", "ow+-a"}, {"", "ooa*"}};
  for (const std::size_t workers : {2U, 8U}) {
    const Meeting meeting;
    std::vector<decltype(meeting.start(""))> working, killed;
    while (working.size() < workers) working.push_back(meeting.start("aow+-Wr<>R*"));
    for (int i = 0; i < 25 && !HasFailure(); ++i) {
      const auto& [held, victim] = cases[i % 5];
      CVekGuard guard;
      if (*held) {
        EXPECT_TRUE(guard.Create(meeting.suffix.c_str()) && take(held[0], guard, meeting));
        killed.push_back(meeting.start(victim));
      }
      killed.push_back(meeting.start(victim));
      for (const auto process : std::exchange(killed, {}))
        EXPECT_EQ(Machine::end(process, true), -1);
      while (WaitForSingleObject(meeting.arrived, 0) == WAIT_OBJECT_0)
        EXPECT_FALSE(*held) << "is in";
      EXPECT_TRUE(!*held || take(held[1], guard, meeting));
    }
    ReleaseSemaphore(meeting.end, 8, nullptr);
    for (const auto worker : working) EXPECT_EQ(Machine::end(worker, false), 0);
  }
}

// A writer that was killed is told of, once. One that was killed as reader keeps writers out, but no
// readers, until nobody has the guard open any more.
TEST(Processes, LeaveAGuardThatHealsAtOnceOrAfterTheLastUser) {
  const Meeting meeting;
  CVekGuard guard;
  const auto open = [&] { return guard.Create(meeting.suffix.c_str()); };
  EXPECT_TRUE(open() && Machine::end(meeting.start("owa"), true) == -1);
  EXPECT_EQ(guard.AcquireWrite(kLimit), WAIT_ABANDONED);
  EXPECT_EQ(guard.AcquireWrite(0), WAIT_OBJECT_0);
  guard.ReleaseWrite(), guard.ReleaseWrite();
  EXPECT_EQ(Machine::end(meeting.start("ora"), true), -1);
  EXPECT_EQ(guard.AcquireWrite(0), WAIT_TIMEOUT);
  EXPECT_EQ(guard.AcquireRead(0), WAIT_OBJECT_0);
  guard.ReleaseRead();
  const auto last = meeting.start("ora");
  guard.Close();
  EXPECT_TRUE(Machine::end(last, true) == -1 && open());
  EXPECT_EQ(guard.AcquireWrite(0), WAIT_OBJECT_0);
  guard.ReleaseWrite(), guard.Close();
}

}  // namespace orla::test

int main(int argc, char** argv) {
  orla::test::program = argv[0];
  if (argc != 3 || *argv[1] == '-') {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
  }
  return orla::test::play(argv[1], {argv[2]});
}
