#include "http/RWHttpReply.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

#include "http/RWHttpErrors.h"
#include "http/RWReplyErrors.h"

namespace orla {

namespace {

/// Room for a usual line.
constexpr std::size_t kInitialLine = 128;

/// Returns the position after the digits at `start`.
std::size_t skipDigits(std::string_view text, std::size_t start) {
  while (start < text.size() && isDigitAscii(text[start])) ++start;
  return start;
}

/// Returns the value of a text of digits, or the largest int if it does not fit.
int toNumber(std::string_view digits) {
  int value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return result.ec == std::errc() ? value : std::numeric_limits<int>::max();
}

/// Adds a header line. Ignores colons at the beginning of the line. The label ends at the next ":".
/// The value is the rest of the line. Colons at its beginning are removed first, and then spaces,
/// but not tabs.
void addHeaderLine(RWHttpHeaderCollector& headers, std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(':'), line.size()));
  const std::size_t end = std::min(line.find(':'), line.size());
  std::string_view value = line.substr(end);
  value.remove_prefix(std::min(value.find_first_not_of(':'), value.size()));
  headers.add(line.substr(0, end), stripLeadingBlanks(value));
}

}  // namespace

RWHttpLineReader::RWHttpLineReader(const RWPortal& portal) : portal_(portal) {
  line_.reserve(kInitialLine);
}

const RWCString& RWHttpLineReader::readLine() {
  line_.clear();
  while (!line_.ends_with('\n')) {
    if (bytes_ == kMaxBytes) throw RWHttpReplyError("Reply header too large");
    const std::size_t count = portal_.recvThrough('\n', line_, kMaxBytes - bytes_);
    if (count == 0) throw RWReplyError("Connection closed by server");
    bytes_ += count;
  }
  line_.pop_back();
  // A CR that is not before the LF stays in the line together with the next byte, which may be
  // another CR. So pairs of CRs stay, and the last CR belongs to the line end only if the number of
  // CRs before the LF is odd.
  const std::size_t carriageReturns = line_.size() - (line_.find_last_not_of('\r') + 1);
  if (carriageReturns % 2 == 1) line_.pop_back();
  return line_;
}

RWHttpReply::RWHttpReply(RWHttpLineReader& lines) {
  const RWCString* line = &lines.readLine();
  while (line->empty()) line = &lines.readLine();
  append(RWReplyLine(takeVersion(*line)));
  while (!isComplete()) append(RWReplyLine(lines.readLine()));

  RWHttpHeaderCollector headers;
  while (!(line = &lines.readLine())->empty()) addHeaderLine(headers, *line);
  headers_ = headers.take();
}

RWCString RWHttpReply::takeVersion(RWCString line) {
  // Finds the first match of HTTP/[0-9]+\.[0-9]+ and a space anywhere in the line.
  constexpr std::string_view kName = "HTTP/";
  for (std::size_t start = 0; (start = line.find(kName, start)) != RWCString::npos; ++start) {
    const std::size_t major = start + kName.size();
    const std::size_t point = skipDigits(line, major);
    if (point == major || point == line.size() || line[point] != '.') continue;
    const std::size_t minor = point + 1;
    const std::size_t end = skipDigits(line, minor);
    if (end == minor || end == line.size() || line[end] != ' ') continue;

    majorVersion_ = toNumber(std::string_view(line).substr(major, point - major));
    minorVersion_ = toNumber(std::string_view(line).substr(minor, end - minor));
    line.erase(start, end + 1 - start);
    return line;
  }
  throw RWReplySyntaxError(line);
}

RWCString RWHttpReply::getHeaderValue(const RWCString& label) const {
  return headers_.getValue(label);
}

RWCString RWHttpReply::asString() const {
  if (lines().isEmpty()) return RWCString();
  RWCString text =
      "HTTP/" + std::to_string(majorVersion_) + "." + std::to_string(minorVersion_) + " ";
  for (const RWReplyLine& line : lines()) text.append(line.rawLine()).append("\r\n");
  return text + headers_.asString() + "\r\n";
}

}  // namespace orla
