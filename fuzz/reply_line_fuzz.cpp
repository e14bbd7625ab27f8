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
    PROMISE(test::errorOf([&] { parsed.parse(line); }).starts_with(valid ? "nothing" : "RWReplyS"));
    PROMISE(parsed.replyClass() == (valid ? first - '0' : 0));
    PROMISE(parsed.isContinuation() == (valid && mark == '-'));
    PROMISE(parsed.text() == (valid && line.size() > 4 ? line.substr(4) : ""));
    PROMISE(!valid || parsed.code() == std::stoi(line.substr(0, 3)));
    const bool takes = valid && !reply.isComplete(), last = reply.isComplete() || mark == ' ';
    test::errorOf([&] { reply.append(parsed); });
    PROMISE(reply.lines().entries() == (entries += takes));
    PROMISE(!takes || reply.isComplete() == last);
  }
}
