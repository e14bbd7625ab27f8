#include "RequestLog.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

namespace orla {
namespace {

/*
 * The text as in JSON, less the quotation marks, so that no control character, of ASCII or of the C1
 * set, reaches a terminal. Bytes that are not UTF-8 become U+FFFD.
 */
std::string escaped(const std::string& text) {
  const std::string quoted =
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::string result;
  const auto escape = [&](char byte) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "\\u%04x", static_cast<unsigned char>(byte));
    result += digits;
  };
  for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
    if (quoted[i] == '\x7F') {
      escape(quoted[i]);
    } else if (quoted[i] == '\xC2' && static_cast<unsigned char>(quoted[i + 1]) < 0xA0) {
      escape(quoted[++i]);
    } else {
      result += quoted[i];
    }
  }
  return result;
}

std::string or_dash(const std::string& text) {
  return text.empty() ? "-" : escaped(text);
}

std::string log_line(const RequestRecord& record) {
  std::string line = utc_text(record.time) + ' ' + or_dash(record.peer) + ' ' +
                     or_dash(record.method) + ' ' + or_dash(record.target.command) + " \"" +
                     escaped(record.target.path) + '"';
  for (const auto& [name, value] : record.target.parameters) {
    line += ' ' + escaped(name) + "=\"" + escaped(value) + '"';
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
  if (!silent_) std::fprintf(stderr, "%s\n", log_line(record).c_str());
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

std::string utc_text(std::chrono::system_clock::time_point time) {
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

}  // namespace orla
