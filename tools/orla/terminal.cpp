#include "terminal.h"

#include <cstdio>
#include <cstdlib>

#include "system.h"

namespace orla {
namespace {

std::string in_colour(const char* start, const std::string& text) {
  return colour_wanted() ? start + text + "\x1b[0m" : text;
}

}  // namespace

bool colour_wanted() {
  static const bool wanted = [] {
    const char* refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') && enable_colour(stderr);
  }();
  return wanted;
}

std::string in_red(const std::string& text) {
  return in_colour("\x1b[1;31m", text);
}

std::string in_green(const std::string& text) {
  return in_colour("\x1b[32m", text);
}

}  // namespace orla
