/*
 * orla-devserver: a management server on one folder, for demonstrations, tests and the development
 * of agents. It trusts whoever reaches it: no authentication, plain HTTP.
 *
 * Exit code: 0 after SIGINT or SIGTERM, 1 when it cannot serve, 2 for a bad command line.
 */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <signal.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "DevServer.h"

namespace {

/* Serves until SIGINT or SIGTERM; the caller's threads have both blocked. */
bool serve_until_signal(orla::DevServer& server, const sigset_t& signals) {
  bool served = false;
  std::thread listener([&] {
    served = server.run();
    // Wakes the wait below when the server failed by itself.
    if (!served) ::kill(::getpid(), SIGTERM);
  });
  int signal = 0;
  ::sigwait(&signals, &signal);
  // A second signal ends the process at once, whatever requests are in progress.
  ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  server.stop();
  listener.join();
  return served;
}

}  // namespace

int main(int argc, char** argv) {
  orla::DevServer::Options options;
  options.version = "1.0.0";
  options.max_upload = std::uint64_t{1} << 30;
  std::string host = "127.0.0.1";
  int port = 8080;

  CLI::App app{
      "A management server for development: answers the agent's commands on a folder of its own.\n"
      "Stop it with Ctrl-C or SIGTERM."};
  app.name("orla-devserver");
  app.set_version_flag("--version", "orla-devserver " ORLA_VERSION);
  app.add_option("--dir", options.folder, "Folder of the packages, made when missing")->required();
  app.add_option("--port", port, "Port; 0 takes a free one")
      ->type_name("N")
      ->check(CLI::Range(0, 65535).description(""))
      ->capture_default_str();
  app.add_option("--host", host, "Address to listen on")->capture_default_str();
  app.add_option("--server-version", options.version, "Answer to GetVersion")
      ->capture_default_str();
  app.add_option("--max-upload", options.max_upload, "Largest package; 64M and the like are read")
      ->type_name("BYTES")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->default_str("1G");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }

  // Blocked before any thread starts, so that none of them is interrupted.
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  try {
    orla::DevServer server(options);
    port = server.bind(host, port);
    if (port < 0) {
      std::fprintf(stderr, "orla-devserver: cannot listen on %s\n", host.c_str());
      return 1;
    }
    const std::string shown = host.find(':') == std::string::npos ? host : "[" + host + "]";
    std::printf("orla-devserver: listening on http://%s:%d/\n", shown.c_str(), port);
    std::fflush(stdout);
    return serve_until_signal(server, signals) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orla-devserver: %s\n", error.what());
    return 1;
  }
}
