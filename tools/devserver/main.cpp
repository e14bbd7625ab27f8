// orla-devserver: a management server for demonstrations, tests and the development of agents. It
// keeps its packages in one directory. It has no authentication and no encryption: every program
// that can connect may read and store packages.
//
// Exit code: 0 after SIGINT or SIGTERM, 1 if it cannot serve, 2 if the command line is invalid.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <malloc.h>
#include <signal.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "DevServer.h"
#include "Options.h"
#include "StatusPage.h"
#include "standard_streams.h"

namespace orla::devserver {
namespace {

/// Serves until SIGINT or SIGTERM, which the caller must have blocked in every thread.
bool serveUntilSignal(DevServer& server, const sigset_t& signals) {
  bool served = false;
  std::thread listener([&] {
    served = server.run();
    // Ends the wait below if the server failed.
    if (!served) ::kill(::getpid(), SIGTERM);
  });
  int signal = 0;
  ::sigwait(&signals, &signal);
  // A second signal ends the process immediately, even if requests are in progress.
  ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  server.stop();
  listener.join();
  return served;
}

/// Parses the command line into options, host and port. Throws CLI::ParseError if it is invalid.
void parse(int argc, char** argv, CLI::App& app, Options& options, std::string& host, int& port) {
  app.name("orla-devserver");
  app.set_version_flag("--version", "orla-devserver " ORLA_VERSION, "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");

  app.add_option("--dir", options.directory, "Directory of the packages; created if missing")
      ->type_name("DIRECTORY")
      ->required();
  app.add_option("--host", host, "Address or host name to listen on; 0.0.0.0 for all addresses")
      ->type_name("ADDRESS")
      ->capture_default_str();
  app.add_option("--port", port, "Port to listen on; 0 selects a free port")
      ->type_name("N")
      ->check(CLI::Range(0, 65535).description(""))
      ->capture_default_str();
  app.add_option("--server-version", options.version, "Answer to GetVersion")
      ->type_name("TEXT")
      ->capture_default_str();
  app.add_option("--max-upload", options.maxUpload,
                 "Maximum size of a package; suffixes K, M and G")
      ->type_name("BYTES")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->default_str("1G");
  app.add_flag("--silent", options.silent, "Do not log requests to standard error");

  const std::string testing =
      "Options to test an agent (they apply to every answer except those of the status page)";
  // The maximum of an hour is longer than any agent waits.
  app.add_option_function<int>(
         "--delay", [&](int ms) { options.delay = std::chrono::milliseconds(ms); },
         "Milliseconds to wait before each answer, up to 3600000")
      ->type_name("MS")
      ->check(CLI::Range(0, 3600000).description(""))
      ->group(testing);
  app.add_option("--fail", options.fail,
                 "Answer every command with this HTTP status, 300 to 599; store nothing")
      ->type_name("STATUS")
      ->check(CLI::Range(300, 599).description(""))
      ->group(testing);
  CLI::Option* chunked = app.add_flag_callback(
                                "--chunked", [&] { options.framing = Framing::kChunked; },
                                "Send bodies in chunks, without a length")
                             ->group(testing);
  CLI::Option* close = app.add_flag_callback(
                              "--close", [&] { options.framing = Framing::kClose; },
                              "Send bodies without a length; closing the connection ends them")
                           ->group(testing);
  chunked->excludes(close);

  app.footer(
      "The status page http://ADDRESS:N/orla-status/ shows the packages and the last requests;\n"
      "http://ADDRESS:N/orla-status/status.json has the same data for programs.\n"
      "\n"
      "There is no authentication and no encryption: every program that can connect may read\n"
      "and store packages. Requests that a browser sends for pages of other sites are refused.\n"
      "Stop the server with Ctrl-C or SIGTERM.\n"
      "Exit code: 0 stopped by a signal; 1 cannot serve; 2 invalid command line.\n"
      "\n"
      "  orla-devserver --dir packages                       then open the status page\n"
      "  orla-devserver --dir packages --fail 503            does the agent retry later?\n"
      "  orla-devserver --dir packages --delay 5000          does it stay responsive?\n"
      "  orla-devserver --dir packages --chunked             does it need a length?\n"
      "  orla-devserver --dir packages --host 0.0.0.0        for agents on other machines");
  app.parse(argc, argv);
  if (options.fail == 304 && options.framing != Framing::kLength) {
    throw CLI::ValidationError(
        "--fail 304 answers without a body: --chunked and --close do not apply to it");
  }
}

}  // namespace
}  // namespace orla::devserver

using namespace orla::devserver;

int main(int argc, char** argv) {
  if (!orla::openMissingStandardStreams()) return 1;
  Options options;
  std::string host = "127.0.0.1";
  int port = 8080;
  CLI::App app{
      "A management server for the development of agents: stores packages in a directory."};
  try {
    parse(argc, argv, app, options, host, port);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(stderr, "orla-devserver: %s; run \"orla-devserver --help\" for usage\n",
                 error.what());
    return 2;
  }

  // Few arenas are used, because each arena retains freed memory, and by default each thread may
  // have its own.
  ::mallopt(M_ARENA_MAX, 2);
  // The signals are blocked before any thread starts, because threads inherit the mask.
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  try {
    DevServer server(options);
    const int bound = server.bind(host, port);
    if (bound < 0) {
      std::fprintf(
          stderr,
          "orla-devserver: cannot listen on %s, port %d: the port is in use, or the address "
          "is not one of this machine; --port 0 selects a free port\n",
          host.c_str(), port);
      return 1;
    }
    const std::string shown = host.find(':') == std::string::npos ? host : "[" + host + "]";
    std::printf("orla-devserver: listening on http://%s:%d/\n", shown.c_str(), bound);
    std::printf("orla-devserver: status page http://%s:%d%s\n", shown.c_str(), bound,
                StatusPage::kPath);
    std::fflush(stdout);
    return serveUntilSignal(server, signals) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orla-devserver: %s\n", error.what());
    return 1;
  }
}
