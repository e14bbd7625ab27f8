// Reply lines and the replies built from them, compared with the C library's parsing of the code.
#include <sstream>

#include "fuzz.h"
#include "http/RWNumReply.h"

void orla::fuzz(const RWCString& input) {
  std::istringstream lines(input);
  RWNumReply reply;
  std::size_t entries = 0;
  for (RWCString line; std::getline(lines, line);) {
    const char first = line[0], mark = line.size() > 3 ? line[3] : ' ';
    const bool valid =
        line.size() >= 3 && first >= '1' && first <= '5' && (mark == ' ' || mark == '-');
    RWReplyLine parsed;
    REQUIRE(test::errorOf([&] { parsed.parse(line); }).starts_with(valid ? "nothing" : "RWReplyS"));
    REQUIRE(parsed.replyClass() == (valid ? first - '0' : 0));
    REQUIRE(parsed.isContinuation() == (valid && mark == '-'));
    REQUIRE(parsed.text() == (valid && line.size() > 4 ? line.substr(4) : ""));
    REQUIRE(!valid || parsed.code() == std::stoi(line.substr(0, 3)));
    const bool appended = valid && !reply.isComplete(), last = reply.isComplete() || mark == ' ';
    test::errorOf([&] { reply.append(parsed); });
    REQUIRE(reply.lines().entries() == (entries += appended));
    REQUIRE(!appended || reply.isComplete() == last);
  }
}
