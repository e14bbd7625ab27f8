/*
 * orla: the command-line client of a management server.
 *
 * Results go to the standard output, progress and failures to the standard error stream. Exit code:
 * 0 done, 1 the server, the network or a local file said no, 2 a bad command line.
 */
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "Session.h"
#include "commands.h"
#include "system.h"

namespace {

struct Arguments {
  std::string url;
  std::string target;
  std::string file;
  std::string counter;
  std::string name;
  orla::PackageKind kind;
};

/* What goes into a request as it stands must not end or split its first line. */
std::string check_request_text(const std::string& text) {
  const bool bad = std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
  });
  return bad ? "blanks and control characters must be percent-encoded" : "";
}

void add_url(CLI::App* command, Arguments& arguments) {
  command->add_option("URL", arguments.url, "The server: http://host[:port]/path")->required();
}

void add_kind(CLI::App* command, Arguments& arguments) {
  command->add_option("--type", arguments.kind.type, "The package's type, 1 to 65535")
      ->required()
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""));
  command
      ->add_option("--identity", arguments.kind.identities,
                   "What the package belongs to; several values, or several times")
      ->required()
      ->type_name("TEXT");
}

std::string base_name(const std::string& file) {
  const std::u8string utf8(file.begin(), file.end());
  const std::u8string name = std::filesystem::path(utf8).filename().u8string();
  return {name.begin(), name.end()};
}

int run(int argc, char** argv) {
  Arguments arguments;
  CLI::App app{"The command-line client of a management server."};
  app.name("orla");
  // A download's target starts with a slash, on every system.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "orla " ORLA_VERSION);
  app.require_subcommand(1);
  CLI::App* version = app.add_subcommand("version", "Print the server's version");
  add_url(version, arguments);

  CLI::App* name =
      app.add_subcommand("name", "Print the name under which the server stores a package");
  add_url(name, arguments);
  add_kind(name, arguments);

  CLI::App* send = app.add_subcommand("send", "Upload a package and print the server's answer");
  add_url(send, arguments);
  send->add_option("FILE", arguments.file, "The package")->required();
  add_kind(send, arguments);
  CLI::Option* given_name =
      send->add_option("--name", arguments.name,
                       "Name that the server is told; FILE's own by default, none if empty");

  CLI::App* get = app.add_subcommand("get", "Download a file; Ctrl-C keeps the old one");
  add_url(get, arguments);
  get->add_option("TARGET", arguments.target,
                  "What to ask the server for: /path?query, sent as it stands")
      ->required()
      ->check([](const std::string& text) { return check_request_text(text); });
  get->add_option("FILE", arguments.file, "Where to put it")->required();
  get->add_option("--counter", arguments.counter, "Sent along as the download's counter")
      ->check([](const std::string& text) { return check_request_text(text); });

  // Last, so that the commands' own help does not repeat it.
  app.footer(
      "An https URL is spoken to in plain HTTP, on port 80 unless it names one.\n"
      "Exit code: 0 done; 1 the server, the network or a file said no; 2 bad usage.\n"
      "\n"
      "  orla version http://server/agent\n"
      "  orla name http://server/agent --type 7 --identity ws0042 inventory\n"
      "  orla send http://server/agent result.pkg --type 7 --identity ws0042 inventory\n"
      "  orla get  http://server/agent /7-ws0042-inventory.pkg result.pkg");

  try {
    std::vector<std::string> words = orla::command_line(argc, argv);
    std::reverse(words.begin(), words.end());
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }

  const std::string command = app.get_subcommands().front()->get_name();
  try {
    if (version->parsed()) orla::print_version(arguments.url);
    if (name->parsed()) orla::print_name(arguments.url, arguments.kind);
    if (send->parsed()) {
      if (given_name->empty()) arguments.name = base_name(arguments.file);
      orla::send_package(arguments.url, arguments.file, arguments.kind, arguments.name);
    }
    if (get->parsed()) {
      if (!arguments.target.starts_with('/')) arguments.target.insert(0, 1, '/');
      orla::get_file(arguments.url, arguments.target, arguments.file, arguments.counter);
    }
    if (std::fflush(stdout) != 0) throw orla::CommandFailure("cannot write the result");
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "orla: %s: %s\n", command.c_str(), failure.what());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "orla: %s\n", failure.what());
    return 1;
  }
}
