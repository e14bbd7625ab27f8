#include "http/RWURL.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <utility>

using namespace std::string_literals;

namespace orla {
namespace {

/// All that the URL tells, the empty components left out.
std::string describe(const RWURL& url) {
  std::string text = url.isValid() ? "valid" : "invalid";
  const std::pair<const char*, const RWCString&> fields[] = {
      {"scheme", url.scheme()},   {"user", url.user()},      {"password", url.password()},
      {"host", url.host()},       {"port", url.port()},      {"path", url.path()},
      {"query", url.query()},     {"type", url.type()},      {"group", url.group()},
      {"article", url.article()}, {"error", url.errorText()}};
  for (const auto& [name, value] : fields) {
    if (!value.empty()) text += std::string(" ") + name + "=<" + value + ">";
  }
  return text;
}

struct Case {
  RWCString url;
  RWCString expected;
};

void check(std::initializer_list<Case> cases, bool httpForm) {
  for (const Case& c : cases) {
    const RWURL url(c.url);
    EXPECT_EQ(describe(url), c.expected) << c.url;
    EXPECT_EQ(url.text(), c.url);
    EXPECT_EQ(url.isHttpForm(), httpForm) << c.url;
  }
}

TEST(RWURL, SplitsTheHttpForm) {
  check(
      {
          {"http://srv:8080/cmd/run?x=1",
           "valid scheme=<http> host=<srv> port=<8080> path=<cmd/run> query=<x=1>"},
          {"http://srv", "valid scheme=<http> host=<srv>"},
          {"http://srv/", "valid scheme=<http> host=<srv>"},
          {"https://srv//a/", "valid scheme=<https> host=<srv> path=</a/>"},
          {"HTtP://Srv/Path", "valid scheme=<http> host=<Srv> path=<Path>"},
          {"http://srv:/p", "valid scheme=<http> host=<srv> path=<p>"},
          {"http://:80/p", "valid scheme=<http> port=<80> path=<p>"},
          {"http://a:b:c/p", "valid scheme=<http> host=<a> port=<b:c> path=<p>"},
          {"http://me@srv/p", "valid scheme=<http> host=<me@srv> path=<p>"},
          {"http://me:pw@srv/p", "valid scheme=<http> host=<me> port=<pw@srv> path=<p>"},
          {"http://srv/p?a?b", "valid scheme=<http> host=<srv> path=<p> query=<a?b>"},
          {"http://srv/?", "valid scheme=<http> host=<srv>"},
          // A "?" splits the path only: without a "/" it belongs to the authority.
          {"http://srv?a=b", "valid scheme=<http> host=<srv?a=b>"},
          {"http://srv?a/b", "valid scheme=<http> host=<srv?a> path=<b>"},
          {"http://srv/a:b@c", "valid scheme=<http> host=<srv> path=<a:b@c>"},
          {"http://srv/%41#f", "valid scheme=<http> host=<srv> path=<%41#f>"},
          {"http://", "valid scheme=<http>"},
          {"http:///p", "valid scheme=<http> path=<p>"},
          {"http://s\0v/p"s, "valid scheme=<http> host=<s\0v> path=<p>"s},
      },
      true);
}

TEST(RWURL, RejectsWhatIsNoUrl) {
  const RWCString kHttp = "invalid error=<HTTP url format unrecognized>";
  const RWCString kError = " error=<format unrecognized>";
  check({{"http:", kHttp}, {"http:/", kHttp}, {"https:srv/", kHttp}, {"HTTP: //srv", kHttp}}, true);
  check({{"", "invalid" + kError},
         {"srv/path", "invalid" + kError},
         {"://srv", "invalid" + kError},
         {"Gopher://srv", "invalid scheme=<gopher>" + kError},
         {"srv:80/path", "invalid scheme=<srv>" + kError},
         {" http://srv", "invalid scheme=< http>" + kError}},
        false);
  EXPECT_EQ(describe(RWURL()), "invalid");
}

TEST(RWURL, SplitsTheOtherSchemes) {
  const char* const kFtpError = "invalid error=<FTP url format unrecognized>";
  const char* const kTelnetError = "invalid error=<Telnet url format unrecognized>";
  const char* const kFileError = "invalid error=<FILE url format unrecognized>";
  const char* const kNntpError = "invalid error=<NNTP url format unrecognized>";
  check(
      {
          {"ftp://me:p:w@x@srv:21/a/b;TYPE=i",
           "valid scheme=<ftp> user=<me> password=<p:w@x> host=<srv> port=<21> path=<a/b> "
           "type=<i>"},
          {"ftp://srv", "valid scheme=<ftp> host=<srv>"},
          {"ftp://srv/;type=", "valid scheme=<ftp> host=<srv>"},
          {"ftp://srv/a@b:c", "valid scheme=<ftp> host=<srv> path=<a@b:c>"},
          {"ftp:srv/a", kFtpError},
          {"ftp://me@/a", kFtpError},
          {"ftp://srv/a;mode=i", kFtpError},
          {"ftp://srv/a;", kFtpError},
          {"telnet://me@srv:23/", "valid scheme=<telnet> user=<me> host=<srv> port=<23>"},
          {"telnet:srv", kTelnetError},
          {"telnet://", kTelnetError},
          {"telnet://srv/p", kTelnetError},
          {"file://srv/a/b", "valid scheme=<file> host=<srv> path=<a/b>"},
          {"file:///C:/a", "valid scheme=<file> path=<C:/a>"},
          {"file:/a", kFileError},
          {"file://srv", kFileError},
          {"nntp://srv:119/g/12",
           "valid scheme=<nntp> host=<srv> port=<119> group=<g> article=<12>"},
          {"nntp://srv/g", "valid scheme=<nntp> host=<srv> group=<g>"},
          {"nntp:g", kNntpError},
          {"nntp://srv/", kNntpError},
          {"nntp:///g", kNntpError},
          {"news:comp.x", "valid scheme=<news> group=<comp.x>"},
          {"news:1.2@srv", "valid scheme=<news> host=<srv> article=<1.2>"},
          {"mailto:me@srv?x", "valid scheme=<mailto> path=<me@srv?x>"},
      },
      false);
}

}  // namespace
}  // namespace orla
