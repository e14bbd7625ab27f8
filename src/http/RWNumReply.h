// Replies of line-oriented protocols: lines that each begin with a three-digit code.
//
//   "250-first"    code 250, text "first", more lines follow
//   "250 last"     code 250, text "last", completes the reply
//   "204"          code 204, no text, completes the reply
//
// Plain values; one thread at a time uses a reply.
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
  /// Parses `line`, given without its line end. Throws as parse() does.
  explicit RWReplyLine(RWCString line) { parse(std::move(line)); }

  /// Replaces the line. Throws RWReplySyntaxError when `line` is no reply line; this one is then
  /// invalid and still has `line` as its raw line.
  void parse(RWCString line);

  bool isValid() const noexcept { return class_ != 0; }
  /// The number that the three characters of the code begin with: "2x0" gives 2. Throws
  /// RWReplyError on an invalid line.
  int code() const;
  /// 1 to 5, the code's first digit; 0 for an invalid line.
  int replyClass() const noexcept { return class_; }
  /// True when more lines of the same reply follow.
  bool isContinuation() const noexcept { return continuation_; }
  /// What follows the code and its separator; empty for an invalid line.
  const RWCString& text() const noexcept { return text_; }
  /// The whole line as it was given.
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

  /// True once the reply holds something.
  virtual bool isValid() const = 0;
  /// True once nothing more belongs to the reply.
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

/// A reply made of reply lines, complete with the first line that is no continuation. The first
/// line speaks for all of them: its code and class are the reply's.
class RWNumReply : public RWReply {
 public:
  /// Adds a line, and calls onComplete() when it completes the reply. Throws RWReplyError, and
  /// changes nothing, when the reply is complete already or the line is invalid.
  void append(RWReplyLine line);

  bool isValid() const override { return !lines_.isEmpty(); }
  bool isComplete() const override { return complete_; }
  const RWTValOrderedVector<RWReplyLine>& lines() const noexcept { return lines_; }

  /// The queries below throw RWReplyError on a reply without lines.
  int getStatusCode() const;
  bool is1XX() const;
  bool is2XX() const;
  bool is3XX() const;
  bool is4XX() const;
  bool is5XX() const;

  /// "[valid=true] [complete=false]" and then each line on a line of its own.
  RWCString asString() const override;

 protected:
  /// Called once, by the append that completes the reply, with the last line already in place.
  virtual void onComplete() {}

 private:
  /// Throws RWReplyError, naming `query`, when there is no line.
  const RWReplyLine& statusLine(const char* query) const;

  bool complete_ = false;
  RWTValOrderedVector<RWReplyLine> lines_;
};

}  // namespace orla
