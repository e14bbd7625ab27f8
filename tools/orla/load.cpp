#include "load.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <future>
#include <mutex>
#include <string>
#include <utility>

#include "Session.h"
#include "system.h"

namespace orla::cli {
namespace {

/// The state that the threads share.
struct Run {
  std::int64_t repeat;
  std::atomic<std::int64_t> begun{0};
  std::mutex mutex;  // guards the members below
  ProgressMeter& meter;
  LoadResult load;
};

/// Runs commands until all threads together have begun `repeat` commands, or the user presses
/// Ctrl-C.
void work(Run& run, const Request& request, std::uint32_t handle) {
  while (!interrupted() && run.begun++ < run.repeat) {
    const Outcome outcome = perform(request, handle, nullptr);
    const bool failed = hasFailed(request, outcome);
    // Read the message immediately: the next failure of any thread replaces it.
    Failure failure = failed ? describe(request, outcome, lastMessage()) : Failure();
    const std::scoped_lock lock(run.mutex);
    if (outcome.canceled) return;
    LoadResult& load = run.load;
    ++load.commands;
    if (failed) {
      Failures& failures = load.failures[outcome.status];
      ++failures.count;
      failures.last = std::move(failure);
    } else {
      load.times.push_back(outcome.seconds);
      load.bytes += outcome.bytes;
    }
    run.meter.update(static_cast<std::uint64_t>(load.commands));
  }
}

}  // namespace

LoadResult runLoad(const Request& request, std::int64_t repeat, unsigned parallel,
                   ProgressMeter& meter) {
  Run run{repeat, {}, {}, meter, {}};
  // This thread creates all connections, so that an invalid URL is reported once.
  std::deque<Connection> connections;
  std::deque<Request> requests;
  for (unsigned thread = 1; thread <= std::min<std::int64_t>(parallel, repeat); ++thread) {
    connections.emplace_back(request.url);
    requests.push_back(request);
    if (request.command == Command::kGet && parallel > 1) {
      requests.back().file += "." + std::to_string(thread);
    }
  }

  const auto start = std::chrono::steady_clock::now();
  {
    std::vector<std::future<void>> threads;
    try {
      for (std::size_t i = 0; i < connections.size(); ++i) {
        threads.push_back(std::async(std::launch::async, work, std::ref(run),
                                     std::cref(requests[i]), connections[i].handle()));
      }
      for (std::future<void>& thread : threads) thread.get();
    } catch (...) {
      run.begun = repeat;  // The other threads stop after their current command.
      throw;
    }
  }
  LoadResult load = std::move(run.load);
  load.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  load.canceled = interrupted() && load.commands < repeat;
  std::sort(load.times.begin(), load.times.end());
  return load;
}

std::optional<double> percentile(const std::vector<double>& times, unsigned percent) {
  if (times.empty()) return std::nullopt;
  // The nearest rank, counted from 1.
  const std::size_t rank = (times.size() * percent + 99) / 100;
  return times[std::max<std::size_t>(rank, 1) - 1];
}

}  // namespace orla::cli
