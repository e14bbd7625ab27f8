#include "http/RWNumReply.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <utility>

#include "http/RWReplyErrors.h"

namespace orla {
namespace {

/// The message of the `Error` that `action` throws.
template <class Error, class Action>
std::string errorOf(const Action& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.why();
  }
  return "nothing was thrown";
}

TEST(RWReplyLine, ParsesCodeSeparatorAndText) {
  struct Case {
    RWCString line;
    int code;
    int replyClass;
    bool continuation;
    RWCString text;
  };
  const Case cases[] = {
      {"200 OK", 200, 2, false, "OK"},
      {"204", 204, 2, false, ""},
      {"404 ", 404, 4, false, ""},
      {"250-first", 250, 2, true, "first"},
      {"100-", 100, 1, true, ""},
      {"599  two -blanks ", 599, 5, false, " two -blanks "},
      {"2x0 Y", 2, 2, false, "Y"},
      {"30  Y", 30, 3, false, "Y"},
      {"4--", 4, 4, false, ""},
      {RWCString("200 a\0b", 7), 200, 2, false, RWCString("a\0b", 3)},
  };
  for (const Case& c : cases) {
    const RWReplyLine line(c.line);
    EXPECT_TRUE(line.isValid()) << c.line;
    EXPECT_EQ(std::tuple(line.code(), line.replyClass(), line.isContinuation(), line.text()),
              std::tuple(c.code, c.replyClass, c.continuation, c.text))
        << c.line;
    EXPECT_EQ(line.rawLine(), c.line);
  }
}

TEST(RWReplyLine, RefusedLineLeavesAnInvalidLineThatKeepsItsText) {
  for (const char* text : {"", "2", "20", "600 X", "000", "099 X", "x00 X", " 200 OK", "-20 X",
                           "200OK", "200\tOK", "2000"}) {
    RWReplyLine line("250-first");
    EXPECT_EQ(errorOf<RWReplySyntaxError>([&] { line.parse(text); }),
              "RWReplySyntaxError: reply was '" + RWCString(text) + "'");
    EXPECT_FALSE(line.isValid());
    EXPECT_FALSE(line.isContinuation());
    EXPECT_EQ(line.text(), "");
    EXPECT_EQ(line.rawLine(), text);
    EXPECT_EQ(errorOf<RWReplyError>([&] { line.code(); }),
              "RWReplyError: Attempt to read invalid reply code");
  }
}

TEST(RWReplyLine, ParsesItsOwnText) {
  RWReplyLine line("250 404 Not Found");
  line.parse(line.text());
  EXPECT_EQ(line.code(), 404);
  EXPECT_EQ(line.text(), "Not Found");
}

class CountingReply : public RWNumReply {
 public:
  int completions = 0;

 private:
  void onComplete() override { completions += isComplete() ? 1 : 100; }
};

TEST(RWNumReply, CompletesWithTheFirstLineThatIsNoContinuation) {
  CountingReply reply;
  EXPECT_EQ(errorOf<RWReplyError>([&] { reply.append(RWReplyLine()); }),
            "RWReplyError: attempt to append invalid reply");
  EXPECT_FALSE(reply.isValid());
  reply.append(RWReplyLine("250-first"));
  reply.append(RWReplyLine("250-second"));
  EXPECT_TRUE(reply.isValid());
  EXPECT_FALSE(reply.isComplete());
  EXPECT_EQ(reply.completions, 0);
  reply.append(RWReplyLine("404 last"));
  EXPECT_TRUE(reply.isComplete());
  EXPECT_EQ(reply.completions, 1);
  EXPECT_EQ(reply.getStatusCode(), 250);

  EXPECT_EQ(errorOf<RWReplyError>([&] { reply.append(RWReplyLine("250 more")); }),
            "RWReplyError: attempt to append reply to complete set");
  EXPECT_EQ(reply.lines().entries(), 3u);
  EXPECT_EQ(reply.completions, 1);
}

TEST(RWNumReply, QueriesAnswerByTheFirstDigitAndRefuseAnEmptyReply) {
  using Query = std::pair<const char*, bool (RWNumReply::*)() const>;
  const Query queries[] = {{"is1XX", &RWNumReply::is1XX},
                           {"is2XX", &RWNumReply::is2XX},
                           {"is3XX", &RWNumReply::is3XX},
                           {"is4XX", &RWNumReply::is4XX},
                           {"is5XX", &RWNumReply::is5XX}};
  const RWNumReply empty;
  for (int c = 1; c <= 5; ++c) {
    RWNumReply reply;
    reply.append(RWReplyLine(std::to_string(c) + "x1 text"));
    for (int q = 1; q <= 5; ++q) EXPECT_EQ((reply.*queries[q - 1].second)(), q == c) << c << q;
    const auto& [name, is] = queries[c - 1];
    EXPECT_EQ(errorOf<RWReplyError>([&, query = is] { (empty.*query)(); }),
              RWCString("RWReplyError: attempt to call ") + name + "() on empty reply");
  }
  EXPECT_EQ(errorOf<RWReplyError>([&] { empty.getStatusCode(); }),
            "RWReplyError: attempt to call getStatusCode() on empty reply");
}

TEST(RWNumReply, PrintsForDiagnostics) {
  RWNumReply reply;
  EXPECT_EQ(reply.asString(), "[valid=false] [complete=false]");
  reply.append(RWReplyLine("250-first"));
  reply.append(RWReplyLine("2x0 last"));
  EXPECT_EQ(reply.asString(),
            "[valid=true] [complete=true]\n"
            "replyline=[valid=true][cont=true][type=2][text=first][code=250]\n"
            "replyline=[valid=true][cont=false][type=2][text=last][code=2]");
  EXPECT_EQ(RWReplyLine().asString(), "replyline=[valid=false][cont=false][type=0][text=][code=0]");
}

TEST(RWReplyErrors, TellWhoseFaultItIs) {
  EXPECT_EQ(errorOf<RWExternalErr>([] { throw RWURLError("u"); }), "RWURLError: u");
  EXPECT_EQ(errorOf<RWInternalErr>([] { throw RWProtocolClientError("c"); }),
            "RWProtocolClientError: c");
}

}  // namespace
}  // namespace orla
