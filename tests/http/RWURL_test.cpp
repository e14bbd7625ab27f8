#include "http/RWURL.h"

#include <gtest/gtest.h>
#include <utility>

namespace orla {
namespace {

/// All components of the URL, without the empty ones.
RWCString describe(const RWURL& url) {
  RWCString text = url.scheme() + (url.isHttpForm() ? "*" : ".");
  const std::pair<const char*, const RWCString&> fields[] = {
      {" user=", url.user()}, {" pw=", url.password()}, {" h=", url.host()},
      {" p=", url.port()},    {" /", url.path()},       {" ?", url.query()},
      {" type=", url.type()}, {" g=", url.group()},     {" a=", url.article()}};
  for (const auto& [name, value] : fields)
    if (!value.empty()) text += name + value;
  return url.isValid() ? text + url.errorText() : text + "!" + url.errorText();
}

TEST(RWURL, SplitsEachScheme) {
  const std::pair<RWCString, const char*> cases[] = {
      {"https:srv/", "*!HTTP url format unrecognized"},
      {"Gopher://srv", "gopher.!format unrecognized"},
      {"ftp://me:p:w@x@srv:21/a/b;TYPE=i", "ftp. user=me pw=p:w@x h=srv p=21 /a/b type=i"},
      {"telnet://me@srv:23/", "telnet. user=me h=srv p=23"},
      {"file:///C:/a", "file. /C:/a"},
      {"file://srv", ".!FILE url format unrecognized"},
      {"nntp://srv:119/g/12", "nntp. h=srv p=119 g=g a=12"},
      {"news:comp.x", "news. g=comp.x"},
      {"news:1.2@srv", "news. h=srv a=1.2"},
      {"mailto:me@srv?x", "mailto. /me@srv?x"}};
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(describe(RWURL(text)), expected) << text;
    EXPECT_EQ(RWURL(text).text(), text);
  }
}

}  // namespace
}  // namespace orla
