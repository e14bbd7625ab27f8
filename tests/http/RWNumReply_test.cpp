#include "http/RWNumReply.h"

#include <gtest/gtest.h>
#include <utility>

#include "support/ErrorOf.h"

namespace orla {
namespace {

using test::errorOf;

TEST(RWReplyLine, ParsesCodeSeparatorAndText) {
  const std::pair<const char*, const char*> cases[] = {
      {"250-first", "true][type=2][text=first][code=250]"},
      {"599  two -blanks ", "false][type=5][text= two -blanks ][code=599]"},
      {"2x0 Y", "false][type=2][text=Y][code=2]"},
      {"4--", "false][type=4][text=][code=4]"}};
  RWReplyLine line;
  for (const auto& [text, expected] : cases) {
    line.parse(text);
    EXPECT_EQ(line.asString(), RWCString("replyline=[valid=true][cont=") + expected);
  }
  for (const char* bad : {"", "20", "600 X", "099 X", "x00 X", "200OK"}) {
    line.parse("250-first");
    EXPECT_EQ(errorOf([&] { line.parse(bad); }),
              "RWReplySyntaxError: reply was '" + RWCString(bad) + "'");
    EXPECT_EQ(line.asString(), "replyline=[valid=false][cont=false][type=0][text=][code=0]");
    EXPECT_EQ(errorOf([&] { line.code(); }), "RWReplyError: Attempt to read invalid reply code");
  }
}

TEST(RWNumReply, CompletesWithTheFirstLineThatIsNoContinuation) {
  struct : RWNumReply {
    void onComplete() override { completions += isComplete() ? 1 : 100; }
    int completions = 0;
  } reply;
  EXPECT_EQ(errorOf([&] { reply.append(RWReplyLine()); }),
            "RWReplyError: attempt to append invalid reply");
  reply.append(RWReplyLine("250-first"));
  reply.append(RWReplyLine("404 last"));
  EXPECT_EQ(errorOf([&] { reply.append(RWReplyLine("250 more")); }),
            "RWReplyError: attempt to append reply to complete set");
  EXPECT_EQ(reply.completions, 1);
  EXPECT_TRUE(reply.asString().starts_with("[valid=true] [complete=true]\nreplyline=[valid=true]"));
}

TEST(RWNumReply, QueriesAnswerByTheFirstDigitAndRefuseAnEmptyReply) {
  using R = RWNumReply;
  bool (R::*const queries[])() const = {&R::is1XX, &R::is2XX, &R::is3XX, &R::is4XX, &R::is5XX};
  for (char c = '1'; c <= '5'; ++c) {
    R reply, empty;
    reply.append(RWReplyLine(c + RWCString("00")));
    for (char q = '1'; q <= '5'; ++q) EXPECT_EQ((reply.*queries[q - '1'])(), q == c) << c << q;
    EXPECT_EQ(errorOf([&] { (empty.*queries[c - '1'])(); }),
              RWCString("RWReplyError: attempt to call is") + c + "XX() on empty reply");
  }
}

}  // namespace
}  // namespace orla
