// The main program of each client: runs one operation many times and prints its cost.
//
//   bench-CLIENT get URL COUNT THREADS
//   bench-CLIENT download URL COUNT THREADS FILE     the body goes to FILE.THREAD
//   bench-CLIENT upload URL COUNT THREADS FILE       FILE is sent
//
// It prints one line of JSON: the seconds from the start of the first command to the end of the
// last, the processor seconds between them, and the resident memory in KiB, before the first
// command and at its peak. Threads and clients are created before the clock starts. The reply to
// every other command than a download is checked. The last file that each thread downloaded is
// checked after the clock has stopped.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "clients/Client.h"
#include "clients/files.h"
#include "clients/process.h"

namespace {

using bench::Client;
using bench::Server;
using Clock = std::chrono::steady_clock;

constexpr char kSmallReply[] = "5.10.1234";

struct Job {
  std::string operation;
  Server server;
  int count = 0;
  int threads = 1;
  std::string file;
};

Server parseUrl(const std::string& url) {
  const std::string scheme = "http://";
  const std::size_t colon = url.find(':', scheme.size());
  const std::size_t slash = url.find('/', scheme.size());
  if (!url.starts_with(scheme) || colon > slash || slash == std::string::npos)
    throw std::invalid_argument("not of the form http://ADDRESS:PORT/PATH: " + url);
  return {url.substr(scheme.size(), colon - scheme.size()),
          static_cast<std::uint16_t>(std::stoi(url.substr(colon + 1))), url.substr(slash)};
}

Job parseArguments(const std::vector<std::string>& arguments) {
  if (arguments.size() < 4) throw std::invalid_argument("OPERATION URL COUNT THREADS [FILE]");
  Job job{arguments[0], parseUrl(arguments[1]), std::stoi(arguments[2]), std::stoi(arguments[3]),
          arguments.size() > 4 ? arguments[4] : ""};
  if (job.operation != "get" && job.file.empty()) throw std::invalid_argument("FILE is missing");
  if (job.threads < 1 || job.count < job.threads) throw std::invalid_argument("too few commands");
  return job;
}

void require(const std::string& reply, const std::string& wanted) {
  if (reply != wanted) throw std::runtime_error("the reply is \"" + reply + "\", not " + wanted);
}

std::string threadFile(const Job& job, int thread) {
  return job.file + "." + std::to_string(thread);
}

/// Runs the thread's share of the commands.
void runShare(const Job& job, Client& client, int thread) {
  const int share = job.count / job.threads + (thread < job.count % job.threads ? 1 : 0);
  if (job.operation == "get") {
    const std::string target = job.server.path + bench::kGetQuery;
    for (int i = 0; i < share; ++i) require(client.get(target), kSmallReply);
  } else if (job.operation == "download") {
    const std::string file = threadFile(job, thread);
    for (int i = 0; i < share; ++i) client.download(job.server.path, file);
  } else if (job.operation == "upload") {
    const std::string target = job.server.path + bench::kUploadQuery;
    const std::string size = std::to_string(std::filesystem::file_size(job.file));
    for (int i = 0; i < share; ++i) require(client.upload(target, job.file), size);
  } else {
    throw std::invalid_argument("unknown operation " + job.operation);
  }
}

/// Checks the thread's downloaded file and removes it. The last part of the URL's path is its size.
void finishFile(const Job& job, int thread) {
  const std::string file = threadFile(job, thread);
  const std::string& path = job.server.path;
  bench::requirePattern(file, std::stoul(path.substr(path.rfind('/') + 1)));
  std::filesystem::remove(file);
}

/// Blocks the threads that call wait(), until open() is called.
class Gate {
 public:
  void wait() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
  }
  /// Blocks until `count` threads have called wait().
  void awaitThreads(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return waiting_ == count; });
  }
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
  bool open_ = false;
};

void run(const Job& job) {
  const auto threadCount = static_cast<std::size_t>(job.threads);
  std::vector<std::unique_ptr<Client>> clients(threadCount);
  for (auto& client : clients) client = bench::makeClient(job.server);
  std::vector<std::exception_ptr> failures(threadCount);
  Gate gate;

  std::vector<std::thread> threads;
  for (int i = 0; i < job.threads; ++i)
    threads.emplace_back([&, i, index = static_cast<std::size_t>(i)] {
      gate.wait();
      try {
        runShare(job, *clients[index], i);
      } catch (...) {
        failures[index] = std::current_exception();
      }
    });
  gate.awaitThreads(job.threads);
  const long idle = bench::residentKiB();
  const double processorBefore = bench::processorSeconds();
  const auto before = Clock::now();
  gate.open();
  for (std::thread& thread : threads) thread.join();
  const std::chrono::duration<double> elapsed = Clock::now() - before;
  const double processor = bench::processorSeconds() - processorBefore;
  const long peak = bench::peakResidentKiB();

  for (const std::exception_ptr& failure : failures)
    if (failure) std::rethrow_exception(failure);
  if (job.operation == "download")
    for (int i = 0; i < job.threads; ++i) finishFile(job, i);
  std::printf("{\"seconds\": %.9f, \"cpu\": %.6f, \"idle_kib\": %ld, \"peak_kib\": %ld}\n",
              elapsed.count(), processor, idle, peak);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run(parseArguments({argv + 1, argv + argc}));
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return EXIT_FAILURE;
  }
}
