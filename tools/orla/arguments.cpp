#include "arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "report.h"

namespace orla::cli {
namespace {

constexpr std::int64_t kMaxRepeat = 1'000'000;

constexpr char kExitCodeText[] =
    "Exit code: 0 success; 1 the command failed; 2 invalid command line.\n"
    "Environment: if NO_COLOR is set and not empty, no color is used.";

constexpr char kAppText[] =
    "\"orla SUBCOMMAND --help\" shows a subcommand's arguments, with examples.\n"
    "Results go to standard output, progress and errors to standard error.\n"
    "An https URL uses plain HTTP without encryption, on port 80 by default.\n"
    "\n"
    "Examples:\n"
    "  orla version http://server/agent\n"
    "  orla name http://server/agent --type 7 --identity ws0042 inventory\n"
    "  orla send http://server/agent result.pkg --type 7 --identity ws0042 inventory\n"
    "  orla get http://server/agent /result.pkg copy.pkg";

constexpr char kVersionText[] =
    "Prints the version as \"major.minor\". This is the quickest way to check that a\n"
    "management server answers.\n"
    "\n"
    "Examples:\n"
    "  orla version http://server/agent\n"
    "  orla version http://server:8080/agent --json\n"
    "  orla version http://server/agent --repeat 1000 --parallel 8";

constexpr char kNameText[] =
    "Nothing is uploaded. The server returns the name that the package would get.\n"
    "\n"
    "Examples:\n"
    "  orla name http://server/agent --type 7 --identity ws0042 inventory\n"
    "  orla name --type 7 --identity=ws0042 --identity=-x http://server/agent";

constexpr char kSendText[] =
    "The whole file is held in memory while it is sent, once for each command that\n"
    "--parallel runs at the same time. The server's answer is usually the name under\n"
    "which it stored the package.\n"
    "\n"
    "Examples:\n"
    "  orla send http://server/agent result.pkg --type 7 --identity ws0042 inventory\n"
    "  orla send http://server/agent result.pkg --type 7 --identity i --name new.pkg";

constexpr char kGetText[] =
    "FILE is replaced only when the download is complete. Ctrl-C cancels the download\n"
    "and leaves FILE unchanged, but the rest of the reply is still read and dropped.\n"
    "A second Ctrl-C ends the program immediately.\n"
    "\n"
    "Examples:\n"
    "  orla get http://server /7-ws0042-inventory.pkg result.pkg\n"
    "  orla get http://server /7-ws0042-inventory.pkg result.pkg --size 8000000\n"
    "  orla get http://server '/a%20b.pkg?part=2' b.pkg --silent --json";

/// Checks a text that is sent unchanged in the first line of a request. Refuses spaces and control
/// characters, because they would split or end that line. Returns the error, or an empty text.
std::string checkRequestText(const std::string& text) {
  const bool bad = std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
  });
  return bad ? "spaces and control characters must be percent-encoded" : "";
}

/// Checks an identity or a name. The library percent-encodes these, but sends one unchanged if its
/// encoded form has more than 2069 bytes. A value of that size is refused if it contains a byte
/// that must be encoded, because that byte could split or end the first line of the request.
/// Returns the error, or an empty text.
std::string checkEncodedText(const std::string& text) {
  constexpr std::string_view kUnescaped =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.*";
  constexpr std::size_t kMaxEncoded = 2069;
  const auto escaped =
      static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [&](char c) {
        return kUnescaped.find(c) == std::string_view::npos;
      }));
  const bool bad = escaped != 0 && text.size() + 2 * escaped > kMaxEncoded;
  return bad ? "more than 2069 bytes when percent-encoded; shorten it" : "";
}

std::string baseName(const std::string& file) {
  const std::u8string utf8(file.begin(), file.end());
  const std::u8string name = std::filesystem::path(utf8).filename().u8string();
  return {name.begin(), name.end()};
}

CLI::App* addCommand(CLI::App& app, Command command, const char* title, const char* text,
                     Arguments& arguments) {
  CLI::App* added = app.add_subcommand(commandName(command), title);
  added->footer(std::string(text) + "\n\n" + kExitCodeText);
  added->add_option("URL", arguments.request.url, "The server: http://host[:port]/path")
      ->required()
      ->type_name("")
      ->check([](const std::string& url) { return checkRequestText(url); });
  return added;
}

void addCommonOptions(CLI::App* command, Arguments& arguments) {
  command->add_flag("--json", arguments.json,
                    "Print one line of JSON instead of the result, also\n"
                    "on failure. Members: ok, command, url, status, code,\n"
                    "message, advice, bytes, seconds, result");
  command->add_flag("--silent", arguments.silent, "Show no progress; errors are still shown");
  CLI::Option* repeat = command
                            ->add_option("--repeat", arguments.repeat,
                                         "Run the command N times in total, 1 to 1000000, and\n"
                                         "print how many failed and how long they took instead\n"
                                         "of the results; Ctrl-C ends the run")
                            ->type_name("N")
                            ->check(CLI::Range(std::int64_t{1}, kMaxRepeat).description(""));
  command
      ->add_option("--parallel", arguments.parallel,
                   "Run M commands at the same time, 1 to 30, each with\n"
                   "its own thread and connection")
      ->type_name("M")
      ->check(CLI::Range(1, int{ORLA_MAX_CONNECTIONS}).description(""))
      ->needs(repeat);
}

void addPackageOptions(CLI::App* command, Request& request) {
  command->add_option("--type", request.type, "The package's type, 1 to 65535")
      ->required()
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""));
  command
      ->add_option("--identity", request.identities,
                   "What the package belongs to. Accepts several values\n"
                   "and may be repeated. It is best put last.")
      ->required()
      ->type_name("TEXT")
      ->check([](const std::string& text) { return checkEncodedText(text); });
}

/// Prints why the command line is invalid. Returns the exit code.
int reportBadUsage(const CLI::App& app, const CLI::ParseError& error,
                   const std::vector<std::string>& words) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  const std::string command = commands.empty() ? "" : commands.front()->get_name();
  const std::string help = command.empty() ? "orla --help" : "orla " + command + " --help";
  Failure failure{error.what(), "run \"" + help + "\" to see the arguments"};
  if (!words.empty() && words.front().starts_with('-')) {
    failure.advice = "options follow the subcommand: orla version URL --json; " + failure.advice;
  } else if (command.empty() && !words.empty()) {
    failure.message = "no such subcommand: " + words.front();
  }
  printFailure(command, failure);
  const bool json = std::find(words.begin(), words.end(), "--json") != words.end();
  if (json) printJson({command, "", {}, {}, failure, {}});
  return 2;
}

}  // namespace

ParseResult parseCommandLine(const std::vector<std::string>& words) {
  ParseResult result;
  Arguments& arguments = result.arguments;
  Request& request = arguments.request;
  CLI::App app{"The command-line client of a management server."};
  app.name("orla");
  app.get_formatter()->column_width(24);
  // On Windows too, the slash at the start of a download's target does not begin an option.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "orla " ORLA_VERSION, "Print the program's version and exit");
  app.require_subcommand(1);

  CLI::App* version =
      addCommand(app, Command::kVersion, "Print the server's version", kVersionText, arguments);
  addCommonOptions(version, arguments);

  CLI::App* name =
      addCommand(app, Command::kName, "Print the name under which the server stores a package",
                 kNameText, arguments);
  addPackageOptions(name, request);
  addCommonOptions(name, arguments);

  CLI::App* send = addCommand(app, Command::kSend, "Upload a package and print the server's answer",
                              kSendText, arguments);
  send->add_option("FILE", request.file, "The package, less than 4 GiB")->required()->type_name("");
  addPackageOptions(send, request);
  CLI::Option* givenName =
      send->add_option("--name", request.name,
                       "The file name to send; by default that of FILE.\n"
                       "An empty name is not sent.")
          ->check([](const std::string& text) { return checkEncodedText(text); });
  addCommonOptions(send, arguments);

  CLI::App* get = addCommand(app, Command::kGet, "Download a file", kGetText, arguments);
  get->add_option("TARGET", request.target,
                  "What to request: /path?query, sent unchanged. If the\n"
                  "first / is missing, it is added. Only the host and\n"
                  "the port of URL are used.")
      ->required()
      ->type_name("")
      ->check([](const std::string& text) { return checkRequestText(text); });
  get->add_option("FILE", request.file,
                  "The local file; with --parallel 2 or more, thread K\n"
                  "writes FILE.K")
      ->required()
      ->type_name("");
  get->add_option("--counter", request.counter, "The text to send as the parameter Counter")
      ->check([](const std::string& text) { return checkRequestText(text); });
  get->add_option("--size", request.size,
                  "The expected size in bytes. Progress then shows the\n"
                  "time left. If the size differs, the command fails,\n"
                  "but FILE is kept.")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, INT64_MAX).description(""));
  addCommonOptions(get, arguments);

  // Set last, because subcommands inherit the footer that exists when they are added.
  app.footer(std::string(kAppText) + "\n\n" + kExitCodeText);

  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    if (send->parsed() && givenName->empty()) {
      request.name = baseName(request.file);
      const std::string problem = checkEncodedText(request.name);
      if (!problem.empty()) throw CLI::ValidationError("the name of FILE", problem);
    }
  } catch (const CLI::ParseError& error) {
    const bool isHelp = error.get_exit_code() == 0;
    result.exitCode = isHelp ? app.exit(error) : reportBadUsage(app, error, words);
    return result;
  }

  if (version->parsed()) request.command = Command::kVersion;
  if (name->parsed()) request.command = Command::kName;
  if (send->parsed()) request.command = Command::kSend;
  if (get->parsed()) {
    request.command = Command::kGet;
    if (!request.target.starts_with('/')) request.target.insert(0, 1, '/');
  }
  return result;
}

}  // namespace orla::cli
