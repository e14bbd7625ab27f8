#include "StatusPage.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "CommandTarget.h"
#include "Refusal.h"
#include "page.h"

namespace orla::devserver {
namespace {

using Json = nlohmann::ordered_json;

/// The browser loads everything from this server, and never interprets a text as markup.
constexpr char kContentSecurityPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'";

/// Returns the path of the download, percent-encoded.
std::string packagePath(const std::string& name) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string path = "/";
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      path += c;
    } else {
      path += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return path;
}

const char* framingText(Framing framing) {
  switch (framing) {
    case Framing::kChunked:
      return "chunked";
    case Framing::kClose:
      return "close";
    case Framing::kLength:
      break;
  }
  return "length";
}

Json toJson(const PackageStore::Listing::Entry& package) {
  return {{"name", package.name},
          {"path", packagePath(package.name)},
          {"size", package.size},
          {"stored", utcText(package.stored)}};
}

Json toJson(const RequestRecord& record) {
  Json parameters = Json::array();
  for (const auto& [name, value] : record.target.parameters) {
    parameters.push_back({{"name", name}, {"value", value}});
  }
  return {{"id", record.id},
          {"time", utcText(record.time)},
          {"peer", record.peer},
          {"method", record.method},
          {"command", record.target.command},
          {"path", record.target.path},
          {"parameters", std::move(parameters)},
          {"status", record.status},
          {"reason", record.reason},
          {"received", record.received},
          {"sent", record.sent},
          {"duration_ms", static_cast<double>(record.duration.count()) / 1000}};
}

/// Parses the query, which is empty or "after=ID". Returns the id, or 0 if the query is
/// empty. Only requests with a larger id are listed.
std::uint64_t parseAfter(std::string_view query) {
  constexpr std::string_view kAfter = "after=";
  if (query.empty()) return 0;
  std::uint64_t id = 0;
  const char* end = query.data() + query.size();
  if (query.starts_with(kAfter)) {
    const auto [stop, error] = std::from_chars(query.data() + kAfter.size(), end, id);
    if (error == std::errc() && stop == end) return id;
  }
  throw Refusal(400, "the query must be after=ID, with the number of a request");
}

}  // namespace

StatusPage::StatusPage(const Options& options, const PackageStore& store, const RequestLog& log)
    : options_(options), store_(store), log_(log), started_(std::chrono::system_clock::now()) {}

bool StatusPage::owns(std::string_view target) {
  return target.starts_with(kPath) && !namesCommand(target);
}

void StatusPage::answer(const httplib::Request& request, httplib::Response& response) const {
  response.set_header("Content-Security-Policy", kContentSecurityPolicy);
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("Cache-Control", "no-store");
  if (request.method != "GET" && request.method != "HEAD") {
    throw Refusal(405, "only GET and HEAD are served here");
  }
  std::string_view part(request.target);
  part.remove_prefix(sizeof kPath - 1);
  const std::string_view query = part.substr(std::min(part.find('?'), part.size()));
  part.remove_suffix(query.size());
  if (part.empty()) {
    response.set_content(kPageHtml, "text/html; charset=utf-8");
  } else if (part == "page.css") {
    response.set_content(kPageCss, "text/css; charset=utf-8");
  } else if (part == "page.js") {
    response.set_content(kPageJs, "text/javascript; charset=utf-8");
  } else if (part == "status.json") {
    response.set_content(json(parseAfter(query.substr(query.empty() ? 0 : 1))), "application/json");
  } else {
    throw Refusal(404, "no such part of the status page");
  }
}

std::string StatusPage::json(std::uint64_t after) const {
  const PackageStore::Listing listing = store_.list(kListed);
  const RequestLog::Extract extract = log_.after(after);
  Json status = {{"program", "orla-devserver"},
                 {"version", ORLA_VERSION},
                 {"started", utcText(started_)},
                 {"server_version", options_.version},
                 {"max_upload", options_.maxUpload},
                 {"delay_ms", options_.delay.count()},
                 {"fail", options_.fail},
                 {"framing", framingText(options_.framing)},
                 {"packages_total", listing.total},
                 {"packages", Json::array()},
                 {"requests_total", extract.total},
                 {"requests", Json::array()}};
  for (const auto& package : listing.newest) status["packages"].push_back(toJson(package));
  for (const auto& record : extract.records) status["requests"].push_back(toJson(record));
  return status.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace orla::devserver
