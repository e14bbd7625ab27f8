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

constexpr char kOutcome[] =
    "Exit code: 0 done; 1 the server, the network or a file said no; 2 bad usage.\n"
    "Environment: no colour is shown if NO_COLOR is set and not empty.";

constexpr char kAppText[] =
    "\"orla SUBCOMMAND --help\" tells a subcommand's arguments and shows examples.\n"
    "Results go to the standard output, progress and failures to the standard error.\n"
    "An https URL is spoken to in plain HTTP, on port 80 unless it names one.\n"
    "\n"
    "Examples:\n"
    "  orla version http://server/agent\n"
    "  orla name http://server/agent --type 7 --identity ws0042 inventory\n"
    "  orla send http://server/agent result.pkg --type 7 --identity ws0042 inventory\n"
    "  orla get http://server/agent /result.pkg copy.pkg";

constexpr char kVersionText[] =
    "The version is printed as \"major.minor\". This is the quickest way to see that\n"
    "a management server answers.\n"
    "\n"
    "Examples:\n"
    "  orla version http://server/agent\n"
    "  orla version http://server:8080/agent --json\n"
    "  orla version http://server/agent --repeat 1000 --parallel 8";

constexpr char kNameText[] =
    "Nothing is uploaded: the server only tells which name a package would get.\n"
    "\n"
    "Examples:\n"
    "  orla name http://server/agent --type 7 --identity ws0042 inventory\n"
    "  orla name --type 7 --identity=ws0042 --identity=-x http://server/agent";

constexpr char kSendText[] =
    "The whole file is held in memory while it is sent, once for each command that\n"
    "--parallel runs at a time. The server's answer is, as a rule, the name under\n"
    "which it stored the package.\n"
    "\n"
    "Examples:\n"
    "  orla send http://server/agent result.pkg --type 7 --identity ws0042 inventory\n"
    "  orla send http://server/agent result.pkg --type 7 --identity i --name new.pkg";

constexpr char kGetText[] =
    "FILE is replaced only when the download is complete: Ctrl-C leaves it as it\n"
    "was. After it the rest of the reply is still read, and dropped; a second Ctrl-C\n"
    "ends at once.\n"
    "\n"
    "Examples:\n"
    "  orla get http://server /7-ws0042-inventory.pkg result.pkg\n"
    "  orla get http://server /7-ws0042-inventory.pkg result.pkg --size 8000000\n"
    "  orla get http://server '/a%20b.pkg?part=2' b.pkg --silent --json";

/* What goes into a request as it stands must not end or split its first line. */
std::string checkRequestText(const std::string& text) {
  const bool bad = std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
  });
  return bad ? "blanks and control characters must be percent-encoded" : "";
}

/// The library percent-encodes identities and names, but sends one unchanged if it takes more than
/// 2069 bytes in that form. Such a value must not need encoding, because it could end or split the
/// request's first line.
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
  added->footer(std::string(text) + "\n\n" + kOutcome);
  added->add_option("URL", arguments.request.url, "The server: http://host[:port]/path")
      ->required()
      ->type_name("")
      ->check([](const std::string& url) { return checkRequestText(url); });
  return added;
}

void addCommonOptions(CLI::App* command, Arguments& arguments) {
  command->add_flag("--json", arguments.json,
                    "Print one line of JSON in place of the result, also\n"
                    "on failure: ok, command, url, status, code, message,\n"
                    "advice, bytes, seconds, result");
  command->add_flag("--silent", arguments.silent,
                    "Show no progress; failures are shown all the same");
  CLI::Option* repeat = command
                            ->add_option("--repeat", arguments.repeat,
                                         "Run the command N times in all, 1 to 1000000, and\n"
                                         "print in place of the results how many failed and\n"
                                         "how long they took; Ctrl-C ends the run")
                            ->type_name("N")
                            ->check(CLI::Range(std::int64_t{1}, kMaxRepeat).description(""));
  command
      ->add_option("--parallel", arguments.parallel,
                   "Run M of them at a time, 1 to 30, each on a thread\n"
                   "and a connection of its own")
      ->type_name("M")
      ->check(CLI::Range(1, int{ORLA_MAX_CONNECTIONS}).description(""))
      ->needs(repeat);
}

void addKindOptions(CLI::App* command, Request& request) {
  command->add_option("--type", request.type, "The package's type, 1 to 65535")
      ->required()
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""));
  command
      ->add_option("--identity", request.identities,
                   "What the package belongs to; several values, or\n"
                   "several times; best put last")
      ->required()
      ->type_name("TEXT")
      ->check([](const std::string& text) { return checkEncodedText(text); });
}

/* Tells why the command line cannot be run; the exit code is that of bad usage. */
int reportBadUsage(const CLI::App& app, const CLI::ParseError& error,
                   const std::vector<std::string>& words) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  const std::string command = commands.empty() ? "" : commands.front()->get_name();
  const std::string help = command.empty() ? "orla --help" : "orla " + command + " --help";
  Failure failure{error.what(), "run \"" + help + "\" for what it takes"};
  if (!words.empty() && words.front().starts_with('-')) {
    failure.advice =
        "options stand behind the subcommand: orla version URL --json; " + failure.advice;
  } else if (command.empty() && !words.empty()) {
    failure.message = "no such subcommand: " + words.front();
  }
  printFailure(command, failure);
  const bool json = std::find(words.begin(), words.end(), "--json") != words.end();
  if (json) printJson({command, "", {}, {}, failure, {}});
  return 2;
}

}  // namespace

CommandLine readCommandLine(const std::vector<std::string>& words) {
  CommandLine line;
  Arguments& arguments = line.arguments;
  Request& request = arguments.request;
  CLI::App app{"The command-line client of a management server."};
  app.name("orla");
  app.get_formatter()->column_width(24);
  // A download's target starts with a slash, on every system.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "orla " ORLA_VERSION, "Print the program's version and exit");
  app.require_subcommand(1);

  CLI::App* version =
      addCommand(app, Command::kVersion, "Print the server's version", kVersionText, arguments);
  addCommonOptions(version, arguments);

  CLI::App* name =
      addCommand(app, Command::kName, "Print the name under which the server stores a package",
                 kNameText, arguments);
  addKindOptions(name, request);
  addCommonOptions(name, arguments);

  CLI::App* send = addCommand(app, Command::kSend, "Upload a package and print the server's answer",
                              kSendText, arguments);
  send->add_option("FILE", request.file, "The package, of less than 4 GiB")
      ->required()
      ->type_name("");
  addKindOptions(send, request);
  CLI::Option* givenName =
      send->add_option("--name", request.name,
                       "Name that the server is told; FILE's own by default,\n"
                       "none if empty")
          ->check([](const std::string& text) { return checkEncodedText(text); });
  addCommonOptions(send, arguments);

  CLI::App* get = addCommand(app, Command::kGet, "Download a file", kGetText, arguments);
  get->add_option("TARGET", request.target,
                  "What to ask the server for: /path?query, sent as it\n"
                  "stands; a missing first / is added. Of URL only host\n"
                  "and port count")
      ->required()
      ->type_name("")
      ->check([](const std::string& text) { return checkRequestText(text); });
  get->add_option("FILE", request.file,
                  "Where to put it; with --parallel 2 or more, thread K\n"
                  "writes FILE.K")
      ->required()
      ->type_name("");
  get->add_option("--counter", request.counter, "Sent along as the download's counter")
      ->check([](const std::string& text) { return checkRequestText(text); });
  get->add_option("--size", request.size,
                  "The size to expect, in bytes: progress then tells\n"
                  "the time left, and a file of another size is a\n"
                  "failure, though it is in place")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, INT64_MAX).description(""));
  addCommonOptions(get, arguments);

  // Last, so that the commands' own help does not repeat it.
  app.footer(std::string(kAppText) + "\n\n" + kOutcome);

  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    if (send->parsed() && givenName->empty()) {
      request.name = baseName(request.file);
      const std::string problem = checkEncodedText(request.name);
      if (!problem.empty()) throw CLI::ValidationError("the name of FILE", problem);
    }
  } catch (const CLI::ParseError& error) {
    const bool told = error.get_exit_code() == 0;
    line.exitCode = told ? app.exit(error) : reportBadUsage(app, error, words);
    return line;
  }

  if (version->parsed()) request.command = Command::kVersion;
  if (name->parsed()) request.command = Command::kName;
  if (send->parsed()) request.command = Command::kSend;
  if (get->parsed()) {
    request.command = Command::kGet;
    if (!request.target.starts_with('/')) request.target.insert(0, 1, '/');
  }
  return line;
}

}  // namespace orla::cli
