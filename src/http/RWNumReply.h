// Replies of line-oriented protocols. Each line begins with a three-digit code.
//
//   "250-first"    code 250, text "first", more lines follow
//   "250 last"     code 250, text "last", completes the reply
//   "204"          code 204, no text, completes the reply
//
// Replies are plain values. One thread at a time uses one.
#pragma once

#include <utility>

#include "foundation/RWCString.h"
#include "foundation/RWTValOrderedVector.h"

namespace orla {

/// One line of a reply.
class RWReplyLine {
 public:
  /// An invalid line.
  RWReplyLine() = default;
  /// Parses `line`, which has no line end. Throws as parse() does.
  explicit RWReplyLine(RWCString line) { parse(std::move(line)); }

  /// Replaces the line. If `line` is not a reply line, throws RWReplySyntaxError; then this object
  /// is invalid, and rawLine() returns `line`.
  void parse(RWCString line);

  bool isValid() const noexcept { return class_ != 0; }
  /// The number at the beginning of the three characters of the code: 2 for "2x0". Throws
  /// RWReplyError if the line is invalid.
  int code() const;
  /// The first digit of the code, 1 to 5, or 0 if the line is invalid.
  int replyClass() const noexcept { return class_; }
  /// Returns true if more lines of the same reply follow.
  bool isContinuation() const noexcept { return continuation_; }
  /// The text after the code and its separator. Empty if the line is invalid.
  const RWCString& text() const noexcept { return text_; }
  /// The whole line, unchanged.
  const RWCString& rawLine() const noexcept { return rawLine_; }

  /// For diagnostics: "replyline=[valid=true][cont=false][type=2][text=OK][code=200]".
  RWCString asString() const;

 private:
  void clear() noexcept;
  [[noreturn]] void fail();

  int class_ = 0;
  int code_ = 0;
  bool continuation_ = false;
  RWCString text_;
  RWCString rawLine_;
};

/// The base of replies.
class RWReply {
 public:
  virtual ~RWReply() = default;

  /// Returns true if the reply has at least one line.
  virtual bool isValid() const = 0;
  /// Returns true if the reply has its last line.
  virtual bool isComplete() const = 0;
  /// For diagnostics.
  virtual RWCString asString() const = 0;

 protected:
  RWReply() = default;
  RWReply(const RWReply&) = default;
  RWReply(RWReply&&) = default;
  RWReply& operator=(const RWReply&) = default;
  RWReply& operator=(RWReply&&) = default;
};

/// A reply that consists of reply lines. The first line that is not a continuation completes it.
/// The code and the class of the first line are those of the reply.
class RWNumReply : public RWReply {
 public:
  /// Adds a line, and calls onComplete() if the line completes the reply. Throws RWReplyError and
  /// changes nothing if the reply is already complete or the line is invalid.
  void append(RWReplyLine line);

  bool isValid() const override { return !lines_.isEmpty(); }
  bool isComplete() const override { return complete_; }
  const RWTValOrderedVector<RWReplyLine>& lines() const noexcept { return lines_; }

  /// These throw RWReplyError if the reply has no lines.
  int getStatusCode() const;
  bool is1XX() const;
  bool is2XX() const;
  bool is3XX() const;
  bool is4XX() const;
  bool is5XX() const;

  /// For diagnostics: "[valid=true] [complete=false]", then each reply line on a separate line.
  RWCString asString() const override;

 protected:
  /// Called once, when append() has added the last line.
  virtual void onComplete() {}

 private:
  /// Returns the first line. Throws RWReplyError with the name `query` if there is none.
  const RWReplyLine& statusLine(const char* query) const;

  bool complete_ = false;
  RWTValOrderedVector<RWReplyLine> lines_;
};

}  // namespace orla
