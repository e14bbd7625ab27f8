// Runs operations of the library in which one call fails, and checks what must hold however they end.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "faults/Agent.h"
#include "support/FaultyPlatform.h"

namespace orla::test {

struct Operation {
  const char* name;
  Agent::Operation run;
  /// What the agent has before the operation.
  enum Start { kNothing, kLoaded, kConnected, kUploaded } start;

  /// Loading and unloading return nothing. What they did shows when the library is used.
  bool showsInUse() const { return run == &Agent::load || run == &Agent::unload; }
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

inline const Operation kLoad{"Load", &Agent::load, Operation::kNothing};
inline const Operation kUnload{"Unload", &Agent::unload, Operation::kConnected};
inline const Operation kInitialize{"Initialize", &Agent::initialize, Operation::kConnected};
inline const Operation kConnect{"Connect", &Agent::connect, Operation::kLoaded};
inline const Operation kDisconnect{"Disconnect", &Agent::disconnect, Operation::kConnected};
inline const Operation kCleanUp{"CleanUp", &Agent::cleanUp, Operation::kConnected};
inline const Operation kVersion{"Version", &Agent::version, Operation::kConnected};
inline const Operation kName{"Name", &Agent::name, Operation::kConnected};
inline const Operation kSend{"Send", &Agent::send, Operation::kConnected};
inline const Operation kDownload{"Download", &Agent::download, Operation::kUploaded};

/// How a run in which a call failed ended.
struct Ending {
  Outcome outcome;
  std::string failedCall;
  std::set<std::string> names;  // Of the files in the agent's directory.
  std::string old;              // The content of the file that a download replaces.

  bool isSuccess() const { return outcome == Outcome{0, ""}; }
  std::size_t temporaryFiles() const {
    return names.size() - names.count("old") - names.count("package");
  }
};

class FaultRun {
 public:
  using Check = std::function<void(const Ending&)>;

  /// The first use of the network allocates what the system keeps until the program ends. It is
  /// not counted, because it comes before all runs.
  FaultRun() {
    Agent agent(server_);
    for (const Agent::Operation operation : {&Agent::use, &Agent::send, &Agent::download})
      agent.run(operation);
  }

  /// Runs the operation with its first call failing, then its second, and so on until none fails.
  /// Passes each ending to `check`. Stops after the first run with an unexpected ending. Returns the
  /// names of the calls that failed.
  std::vector<std::string> failEach(const Operation& operation, faults::Fault fault,
                                    const Check& check) {
    constexpr int kMostCalls = 5000;
    const int failuresBefore = failures();
    std::vector<std::string> failedCalls;
    for (fault.call = 1; fault.call <= kMostCalls; ++fault.call) {
      SCOPED_TRACE("call " + std::to_string(fault.call));
      const char* const failedCall = runOnce(operation, fault, check);
      if (!failedCall || failures() != failuresBefore) return failedCalls;
      failedCalls.push_back(failedCall);
    }
    ADD_FAILURE() << "the operation does not end";
    return failedCalls;
  }

  CommandServer& server() { return server_; }

 private:
  /// Returns the name of the call that failed; null if none did.
  const char* runOnce(const Operation& operation, const faults::Fault& fault, const Check& check) {
    Agent agent(server_);
    const char* failedCall = nullptr;
    const int failuresBefore = failures();
    const faults::Books before = faults::books();
    prepare(agent, operation);
    {
      const faults::Injection injection(fault, &failedCall);
      agent.run(operation.run);
    }
    if (operation.showsInUse()) agent.run(&Agent::use);
    expectEnding(agent, operation, failedCall, check);
    expectNextSuccess(agent, operation);
    // A check that failed has allocated memory for its message.
    if (failures() == failuresBefore) {
      EXPECT_EQ(faults::books(), before);
    }
    return failedCall;
  }

  static void expectEnding(Agent& agent, const Operation& operation, const char* failedCall,
                           const Check& check) {
    const std::string call = failedCall ? failedCall : "";
    SCOPED_TRACE("failed call: " + call);
    const Ending ending{agent.outcome(), call, agent.folder().names(), agent.folder().read("old")};
    agent.expectResultsOf(operation.showsInUse() ? &Agent::version : operation.run);
    EXPECT_TRUE(agent.hasUntouchedCode());
    expectWholeFiles(operation, ending);
    if (failedCall) {
      check(ending);
    } else {
      EXPECT_EQ(ending.outcome, (Outcome{0, ""}));
    }
  }

  static int failures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  static void prepare(Agent& agent, const Operation& operation) {
    if (operation.start == Operation::kNothing) return;
    agent.run(&Agent::load);
    agent.run(&Agent::initialize);
    if (operation.start >= Operation::kConnected) agent.run(&Agent::connect);
    if (operation.start >= Operation::kUploaded) agent.run(&Agent::send);
    EXPECT_EQ(agent.outcome(), (Outcome{0, ""})) << "before the operation";
    agent.forgetErrors();
  }

  /// A download replaces the file if it succeeds and never damages it. Other operations leave it.
  static void expectWholeFiles(const Operation& operation, const Ending& ending) {
    EXPECT_TRUE(ending.names.contains("package"));
    if (operation.run == &Agent::download && ending.isSuccess()) {
      EXPECT_EQ(ending.old.size(), Agent::kPackage.size());
      EXPECT_TRUE(ending.old == Agent::kPackage);
    } else if (ending.names.contains("old")) {
      EXPECT_EQ(ending.old, "old");
    }
  }

  static void expectNextSuccess(Agent& agent, const Operation& operation) {
    if (operation.run == &Agent::load) agent.run(&Agent::unload);
    if (operation.showsInUse()) {
      agent.run(&Agent::use);
    } else {
      if (operation.run == &Agent::connect) agent.run(&Agent::initialize);
      agent.forgetErrors();
      agent.run(operation.run);
    }
    EXPECT_EQ(agent.outcome(), (Outcome{0, ""})) << "the next time";
    agent.expectResultsOf(operation.showsInUse() ? &Agent::version : operation.run);
    agent.run(&Agent::unload);
  }

  CommandServer& server_ = *new CommandServer;  // It lasts until the program ends.
};

}  // namespace orla::test
