// Whole replies, read with the client's buffer and without it. The first line of an input controls
// the reads. Each of its characters is the size of one read: '0' is 0 bytes, '1' is 1 byte, and so
// on. A read of 0 bytes means that no data has arrived yet. If the line starts with "H", the
// request is a HEAD. The other lines are the data that the server sends.
#include "fuzz.h"
#include "http/RWBufferedPortal.h"
#include "http/RWHttpPortal.h"
#include "http/RWHttpReply.h"
#include "support/PortalFixture.h"

namespace orla {

static std::size_t sizeOf(char c) {
  return static_cast<unsigned char>(c - '0');
}

struct Outcome {
  bool isComplete() const { return head.starts_with("HTTP/"); }
  bool operator==(const Outcome& o) const { return head == o.head && body == o.body; }
  RWCString head;    // The error instead, if the reply failed.
  RWCString body;    // Incomplete if the reply failed.
  std::size_t used;  // Bytes taken from the source.
};

static Outcome deliver(const RWCString& method, const RWCString& bytes, const RWCString& sizes = "",
                       bool buffered = false) {
  std::vector<std::size_t>
      pieces;  // The sizes repeat; a read of size 0 occurs only in the first cycle.
  for (std::size_t i = 0; !sizes.empty() && i <= bytes.size() + sizes.size(); ++i)
    pieces.push_back(std::max<std::size_t>(sizeOf(sizes[i % sizes.size()]), i >= sizes.size()));
  const test::PortalFixture source(bytes, pieces);
  RWPortal portal = source.portal();
  if (buffered) portal = RWPortal(new RWBufferedPortalImp(portal));
  Outcome outcome;
  const RWCString error = test::errorOf([&] {
    RWHttpLineReader lines(portal);
    RWHttpReply reply(lines);
    while (reply.is1XX()) reply = RWHttpReply(lines);
    const auto body = makeBodyPortal(method, reply, portal);
    // Of exactly the requested size, so that a sanitizer reports every excess byte.
    std::vector<char> piece(sizes.empty() ? 4096 : sizeOf(sizes.front()) + 1);
    while (const int count = body->recv(piece.data(), static_cast<int>(piece.size()), nullptr))
      outcome.body.append(piece.data(), static_cast<std::size_t>(count));
    if (body->isDone()) outcome.head = reply.asString();
  });
  if (!outcome.isComplete()) outcome.head = error;
  outcome.used = bytes.size() - source.unread().size();
  return outcome;
}

void fuzz(const RWCString& input) {
  const std::size_t line = std::min(input.find('\n'), input.size() - 1);
  const RWCString sizes = input.substr(0, line), bytes = input.substr(line + 1);
  const RWCString method = sizes[0] == 'H' ? "HEAD" : "GET";
  const Outcome whole = deliver(method, bytes), more = deliver(method, bytes + "x");
  const bool untilClose = whole.isComplete() && more.body.size() > whole.body.size();
  RWCString steady = sizes;
  std::erase(steady, '0');
  for (const bool buffered : {false, true}) {
    REQUIRE(deliver(method, bytes, steady, buffered) == whole);
    // After a pause a reply may fail, but must not end early.
    const Outcome paused = deliver(method, bytes, sizes, buffered);
    REQUIRE(whole.body.starts_with(paused.body));
    REQUIRE(!paused.isComplete() || untilClose || paused == whole);
  }
  if (!whole.isComplete()) return;
  REQUIRE(deliver(method, bytes.substr(0, whole.used)) == whole);
  for (const std::size_t cut : {whole.used - 1, whole.used * sizeOf(sizes[0]) / 256}) {
    const Outcome part = deliver(method, bytes.substr(0, cut), steady);
    REQUIRE(whole.body.starts_with(part.body) && (!part.isComplete() || untilClose));
  }
}

}  // namespace orla
