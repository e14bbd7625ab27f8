#include "http/RWNumReply.h"

#include <charconv>
#include <utility>

#include "http/RWReplyErrors.h"

namespace orla {

namespace {

constexpr std::size_t kCodeLength = 3;

const char* boolText(bool value) {
  return value ? "true" : "false";
}

}  // namespace

void RWReplyLine::clear() noexcept {
  class_ = 0;
  code_ = 0;
  continuation_ = false;
  text_.clear();
}

void RWReplyLine::fail() {
  clear();
  throw RWReplySyntaxError(rawLine_);
}

void RWReplyLine::parse(RWCString line) {
  rawLine_ = std::move(line);
  clear();
  if (rawLine_.size() < kCodeLength) fail();
  std::size_t textStart = kCodeLength;
  if (rawLine_.size() > kCodeLength) {
    const char separator = rawLine_[kCodeLength];
    if (separator != ' ' && separator != '-') fail();
    continuation_ = separator == '-';
    ++textStart;
  }
  const char first = rawLine_[0];
  if (first < '1' || first > '5') fail();
  // Reads the digits at the beginning: the code "20x" of a sloppy server is 20.
  std::from_chars(rawLine_.data(), rawLine_.data() + kCodeLength, code_);
  text_ = rawLine_.substr(textStart);
  class_ = first - '0';
}

int RWReplyLine::code() const {
  if (!isValid()) throw RWReplyError("Attempt to read invalid reply code");
  return code_;
}

RWCString RWReplyLine::asString() const {
  return RWCString("replyline=[valid=") + boolText(isValid()) +
         "][cont=" + boolText(continuation_) + "][type=" + std::to_string(class_) +
         "][text=" + text_ + "][code=" + std::to_string(code_) + "]";
}

void RWNumReply::append(RWReplyLine line) {
  if (complete_) throw RWReplyError("attempt to append reply to complete set");
  if (!line.isValid()) throw RWReplyError("attempt to append invalid reply");
  const bool isLast = !line.isContinuation();
  lines_.append(std::move(line));
  if (!isLast) return;
  complete_ = true;
  onComplete();
}

const RWReplyLine& RWNumReply::statusLine(const char* query) const {
  if (lines_.isEmpty()) {
    throw RWReplyError(RWCString("attempt to call ") + query + "() on empty reply");
  }
  return lines_[0];
}

int RWNumReply::getStatusCode() const {
  return statusLine("getStatusCode").code();
}

bool RWNumReply::is1XX() const {
  return statusLine("is1XX").replyClass() == 1;
}

bool RWNumReply::is2XX() const {
  return statusLine("is2XX").replyClass() == 2;
}

bool RWNumReply::is3XX() const {
  return statusLine("is3XX").replyClass() == 3;
}

bool RWNumReply::is4XX() const {
  return statusLine("is4XX").replyClass() == 4;
}

bool RWNumReply::is5XX() const {
  return statusLine("is5XX").replyClass() == 5;
}

RWCString RWNumReply::asString() const {
  RWCString text =
      RWCString("[valid=") + boolText(isValid()) + "] [complete=" + boolText(isComplete()) + "]";
  for (const RWReplyLine& line : lines_) text += "\n" + line.asString();
  return text;
}

}  // namespace orla
