// Processes that share a guard while some of them are killed. Each runs this program, with the steps
// that it takes as an argument.
#include "platform/winapi.h"

#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include ORLA_MACHINE  // machine_posix.h or machine_win32.h
#include "client/CVekGuard.h"

namespace orla::test {

constexpr std::uint32_t kLimit = 60000;
std::string program;

/// The objects that the processes of one test share, under names that no other test has.
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
  /// Starts a process, and waits until it takes its step 'a'.
  auto start(const char* steps) const {
    const char* const arguments[] = {program.c_str(), steps, suffix.c_str(), nullptr};
    const auto process = Machine::start(arguments);
    EXPECT_NE(process, 0) << steps;
    EXPECT_EQ(WaitForSingleObject(arrived, kLimit), WAIT_OBJECT_0) << steps;
    return process;
  }
};

/// Takes one step. Returns false if it fails.
///
///   a    arrives: the process that started this one goes on
///   o    opens the guard, and closes it first if it is open
///   w W  acquires and releases it for writing
///   r R  acquires and releases it for reading
///   + -  begins and ends a section in which no other process may be
///   < >  begins and ends a section in which only other readers may be
bool take(char step, CVekGuard& guard, const Meeting& meeting) {
  LONG others = 0;
  if (step == 'a') return ReleaseSemaphore(meeting.arrived, 1, nullptr);
  if (step == 'o') return guard.Create(meeting.suffix.c_str());
  if (step == 'w') return guard.TryAcquireWrite(kLimit);
  if (step == 'r') return guard.TryAcquireRead(kLimit);
  if (step == 'W') {
    guard.ReleaseWrite();
    return true;
  }
  if (step == 'R') {
    guard.ReleaseRead();
    return true;
  }
  const HANDLE inside = step == '+' || step == '-' ? meeting.writing : meeting.reading;
  const auto taken = [](HANDLE count) { return WaitForSingleObject(count, 0) == WAIT_OBJECT_0; };
  if (step == '-' || step == '>') return taken(inside);
  const bool alone = ReleaseSemaphore(inside, 1, &others) && (step == '<' || others == 0);
  std::this_thread::yield();
  return alone && !taken(step == '+' ? meeting.reading : meeting.writing);
}

/// Takes the steps, and then waits to be killed. A '*' repeats all steps but the first until the test
/// sets `end`. Each wait has a limit. Returns the step that failed as the exit code, or 0.
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
    const char* held;    // The steps of this process before it starts the victim, and after.
    const char* victim;  // The steps of the process that is killed.
  } cases[] = {{"wW", "oawa"}, {"wW", "oara"}, {"rR", "oawa"}, {"", "ow+-a"}, {"", "ooa*"}};
  for (const std::size_t workers : {2U, 8U}) {
    const Meeting meeting;
    std::vector<decltype(meeting.start(""))> working, killed;
    while (working.size() < workers) working.push_back(meeting.start("aow+-Wr<>R*"));
    for (int i = 0; i < 25 && !HasFailure(); ++i) {
      const auto& [held, victim] = cases[i % 5];
      CVekGuard guard;
      if (*held) {
        EXPECT_TRUE(guard.Create(meeting.suffix.c_str()));
        EXPECT_TRUE(take(held[0], guard, meeting));
        killed.push_back(meeting.start(victim));
      }
      killed.push_back(meeting.start(victim));
      for (const auto process : std::exchange(killed, {}))
        EXPECT_EQ(Machine::end(process, true), -1);
      while (WaitForSingleObject(meeting.arrived, 0) == WAIT_OBJECT_0) {
        EXPECT_STREQ(held, "") << "acquired a guard that this process holds";
      }
      if (*held) {
        EXPECT_TRUE(take(held[1], guard, meeting));
      }
    }
    ReleaseSemaphore(meeting.end, 8, nullptr);
    for (const auto worker : working) EXPECT_EQ(Machine::end(worker, false), 0);
  }
}

// The guard reports a killed writer. A killed reader blocks writers, but not readers, until no process
// has the guard open any more.
TEST(Processes, LeaveAGuardThatWorksAtOnceOrAfterItsLastUser) {
  const Meeting meeting;
  CVekGuard guard;
  const auto open = [&] { return guard.Create(meeting.suffix.c_str()); };
  EXPECT_TRUE(open());
  EXPECT_EQ(Machine::end(meeting.start("owa"), true), -1);
  EXPECT_EQ(guard.AcquireWrite(kLimit), WAIT_ABANDONED);
  guard.ReleaseWrite();
  EXPECT_EQ(Machine::end(meeting.start("ora"), true), -1);
  EXPECT_EQ(guard.AcquireWrite(0), WAIT_TIMEOUT);
  EXPECT_EQ(guard.AcquireRead(0), WAIT_OBJECT_0);
  const auto last = meeting.start("ora");
  guard.Close();
  EXPECT_EQ(Machine::end(last, true), -1);
  EXPECT_TRUE(open());
  EXPECT_EQ(guard.AcquireWrite(0), WAIT_OBJECT_0);
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
