#include "http/RWHttpHeader.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "http/RWHttpErrors.h"

namespace orla {

namespace {

constexpr char kContentLength[] = "Content-Length";
constexpr char kHost[] = "Host";

// Room for the usual head of a reply.
constexpr std::size_t kInitialText = 512;
constexpr std::size_t kInitialLines = 16;

void requireLabel(const RWHttpGenericHeader& header, const char* label) {
  if (!equalIgnoringCase(header.getLabel(), label))
    throw RWHttpHeaderParseError("Label information does not match");
}

/// Reads a number in the same way as atol() with a long of 32 bits. Returns 0 if the text has no
/// number, if the number is above 2^32 - 1, or if it is below -2^31.
std::int32_t readDecimal(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  text.remove_prefix(std::min(start, text.size()));
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (negative || text.front() == '+')) text.remove_prefix(1);

  const std::uint64_t limit = negative ? 0x80000000 : 0xFFFFFFFF;
  std::uint64_t magnitude = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  if (result.ec != std::errc() || magnitude > limit) return 0;
  const auto value = static_cast<std::uint32_t>(magnitude);
  return static_cast<std::int32_t>(negative ? 0 - value : value);
}

/// Returns the number in `text`. Throws RWHttpHeaderParseError with the message `error` if there is
/// none.
std::int32_t requireDecimal(std::string_view text, const char* error) {
  const std::int32_t value = readDecimal(text);
  if (value == 0 && text != "0") throw RWHttpHeaderParseError(error);
  return value;
}

bool sortsBefore(const RWHttpHeaderBase& a, const RWHttpHeaderBase& b) {
  if (a.getSortClass() != b.getSortClass()) return a.getSortClass() < b.getSortClass();
  return a.getLabel() < b.getLabel();
}

}  // namespace

RWHttpHeaderBase::RWHttpHeaderBase(RWCString label, unsigned sortClass)
    : label_(std::move(label)), sortClass_(sortClass) {}

RWCString RWHttpHeaderBase::asString() const {
  return getLabel() + ": " + getValueText();
}

RWHttpGenericHeader::RWHttpGenericHeader(RWCString label, RWCString value, unsigned sortClass)
    : RWHttpHeaderBase(std::move(label), sortClass), value_(std::move(value)) {}

RWHttpGenericHeader::RWHttpGenericHeader(const RWHttpHeaderBase& other)
    : RWHttpHeaderBase(other), value_(other.getValueText()) {}

RWHttpContentLengthHeader::RWHttpContentLengthHeader(std::int32_t length)
    : RWHttpHeaderBase(kContentLength, kContentLengthSortClass), length_(length) {}

RWHttpContentLengthHeader::RWHttpContentLengthHeader(const RWHttpGenericHeader& header)
    : RWHttpContentLengthHeader(0) {
  requireLabel(header, kContentLength);
  length_ = requireDecimal(header.getValue(), "Invalid value for Content-Length header");
}

RWCString RWHttpContentLengthHeader::getValueText() const {
  return std::to_string(length_);
}

RWHttpHostHeader::RWHttpHostHeader(RWCString host, std::uint32_t port)
    : RWHttpHeaderBase(kHost, kHostSortClass), value_{std::move(host), port} {}

RWHttpHostHeader::RWHttpHostHeader(const RWHttpGenericHeader& header) : RWHttpHostHeader("") {
  requireLabel(header, kHost);
  const std::string_view value = header.getValue();
  const std::size_t colon = value.find(':');
  value_.host = value.substr(0, colon);
  if (colon == std::string_view::npos) return;
  const std::string_view port = value.substr(colon + 1, value.find(':', colon + 1) - colon - 1);
  if (!port.empty())
    value_.port = static_cast<std::uint32_t>(requireDecimal(port, "Invalid value for Host header"));
}

RWCString RWHttpHostHeader::getValueText() const {
  return value_.host + ":" + std::to_string(value_.port);
}

bool RWHttpHeaderList::insert(const RWHttpHeaderBase& header) {
  if (find(header.getLabel()) != npos) return false;
  const auto place =
      std::partition_point(begin(), end(), [&](const auto& h) { return sortsBefore(h, header); });
  headers_.insertAt(static_cast<std::size_t>(place - begin()), RWHttpGenericHeader(header));
  return true;
}

std::size_t RWHttpHeaderList::find(std::string_view label) const noexcept {
  const auto found = std::find_if(
      begin(), end(), [&](const auto& h) { return equalIgnoringCase(h.getLabel(), label); });
  return found == end() ? npos : static_cast<std::size_t>(found - begin());
}

RWCString RWHttpHeaderList::getValue(std::string_view label) const {
  const std::size_t index = find(label);
  return index == npos ? RWCString() : headers_[index].getValue();
}

bool RWHttpHeaderList::remove(std::string_view label) {
  const std::size_t index = find(label);
  if (index == npos) return false;
  headers_.removeAt(index);
  return true;
}

RWCString RWHttpHeaderList::asString() const {
  RWCString text;
  appendTo(text);
  return text;
}

void RWHttpHeaderList::appendTo(RWCString& text) const {
  for (const RWHttpGenericHeader& header : headers_)
    text.append(header.getLabel()).append(": ").append(header.getValue()).append("\r\n");
}

void RWHttpHeaderCollector::add(std::string_view label, std::string_view value) {
  if (lines_.empty()) {
    text_.reserve(kInitialText);
    lines_.reserve(kInitialLines);
  }
  lines_.push_back({text_.size(), label.size(), value.size()});
  // The line feed gives every line a different start, even if label and value are empty, because
  // take() sorts by it.
  text_.append(label).append(value).append("\n");
}

std::string_view RWHttpHeaderCollector::labelOf(const Line& line) const {
  return std::string_view(text_).substr(line.start, line.labelSize);
}

std::string_view RWHttpHeaderCollector::valueOf(const Line& line) const {
  return std::string_view(text_).substr(line.start + line.labelSize, line.valueSize);
}

RWHttpHeaderList RWHttpHeaderCollector::take() {
  // Sort the lines of one label next to each other, in the order in which they were added.
  std::sort(lines_.begin(), lines_.end(), [this](const Line& a, const Line& b) {
    const int comparison = compareIgnoringCase(labelOf(a), labelOf(b));
    return comparison != 0 ? comparison < 0 : a.start < b.start;
  });
  std::vector<RWHttpGenericHeader> headers;
  headers.reserve(std::min(lines_.size(), kInitialLines));
  for (auto line = lines_.begin(); line != lines_.end();) {
    RWCString value(valueOf(*line));
    auto last = line++;
    for (; line != lines_.end() && equalIgnoringCase(labelOf(*line), labelOf(*last)); last = line++)
      value.append(", ").append(valueOf(*line));
    headers.emplace_back(RWCString(labelOf(*last)), std::move(value));
  }
  // The headers are sorted without regard to case, but the order of a list depends on case.
  std::sort(headers.begin(), headers.end(), sortsBefore);
  RWHttpHeaderList list;
  list.headers_ = RWTValOrderedVector<RWHttpGenericHeader>(std::move(headers));
  text_.clear();
  lines_.clear();
  return list;
}

}  // namespace orla
