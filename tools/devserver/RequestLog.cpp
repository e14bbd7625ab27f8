#include "RequestLog.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <nlohmann/json.hpp>

namespace orla::devserver {
namespace {

/// Escapes the text as in JSON, without the quotation marks. Bytes that are not UTF-8 become
/// U+FFFD.
std::string jsonText(const std::string& text, bool ascii) {
  const std::string quoted =
      nlohmann::json(text).dump(-1, ' ', ascii, nlohmann::json::error_handler_t::replace);
  return quoted.substr(1, quoted.size() - 2);
}

/// Escapes the text as in JSON, and also control characters, invisible characters and those that
/// change the direction of the text. page.js escapes the same characters.
std::string escaped(const std::string& text) {
  constexpr std::string_view kRanges[][2] = {{"\\u007f", "\\u009f"},
                                             {"\\u200b", "\\u200f"},
                                             {"\\u2028", "\\u202e"},
                                             {"\\u2060", "\\u2069"},
                                             {"\\ufeff", "\\ufeff"}};
  const std::string plain = jsonText(text, false);
  std::string result;
  for (std::size_t i = 0, size = 0; i < plain.size(); i += size) {
    size = 1;
    while (i + size < plain.size() && (plain[i + size] & 0xC0) == 0x80) ++size;
    const std::string character = plain.substr(i, size);
    const std::string code = jsonText(character, true);
    const bool hidden = std::any_of(std::begin(kRanges), std::end(kRanges), [&](const auto& range) {
      return range[0] <= code && code <= range[1];
    });
    result += hidden ? code : character;
  }
  return result;
}

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : escaped(text);
}

std::string inQuotes(const std::string& text) {
  return '"' + escaped(text) + '"';
}

std::string logLine(const RequestRecord& record) {
  std::string line = utcText(record.time) + ' ' + orDash(record.peer) + ' ' +
                     orDash(record.method) + ' ' +
                     (record.target.command.empty() ? "-" : inQuotes(record.target.command)) + ' ' +
                     inQuotes(record.target.path);
  for (const auto& [name, value] : record.target.parameters) {
    line += ' ' + escaped(name) + '=' + inQuotes(value);
  }
  char numbers[100];
  std::snprintf(numbers, sizeof numbers, ": %d, received %llu, sent %llu, %.1f ms", record.status,
                static_cast<unsigned long long>(record.received),
                static_cast<unsigned long long>(record.sent),
                static_cast<double>(record.duration.count()) / 1000);
  line += numbers;
  return record.reason.empty() ? line : line + ": " + escaped(record.reason);
}

}  // namespace

void RequestLog::add(RequestRecord record) {
  if (!silent_) std::fprintf(stderr, "%s\n", logLine(record).c_str());
  const std::lock_guard lock(mutex_);
  record.id = ++total_;
  records_.push_back(std::move(record));
  if (records_.size() > kKept) records_.pop_front();
}

RequestLog::Extract RequestLog::after(std::uint64_t id) const {
  const std::lock_guard lock(mutex_);
  Extract extract{{}, total_};
  for (const RequestRecord& record : records_) {
    if (record.id > id) extract.records.push_back(record);
  }
  return extract;
}

std::string utcText(std::chrono::system_clock::time_point time) {
  const auto milliseconds =
      std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  char text[64];
  const std::size_t size = std::strftime(text, sizeof text, "%FT%T", &parts);
  std::snprintf(text + size, sizeof text - size, ".%03dZ",
                static_cast<int>((milliseconds % 1000 + 1000) % 1000));
  return text;
}

}  // namespace orla::devserver
