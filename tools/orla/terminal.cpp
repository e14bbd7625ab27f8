#include "terminal.h"

#include <cstdio>
#include <cstdlib>

#include "system.h"

namespace orla::cli {
namespace {

std::string inColor(const char* start, const std::string& text) {
  return colorWanted() ? start + text + "\x1b[0m" : text;
}

}  // namespace

bool colorWanted() {
  static const bool wanted = [] {
    const char* noColor = std::getenv("NO_COLOR");
    return (noColor == nullptr || *noColor == '\0') && enableColor(stderr);
  }();
  return wanted;
}

std::string inRed(const std::string& text) {
  return inColor("\x1b[1;31m", text);
}

std::string inGreen(const std::string& text) {
  return inColor("\x1b[32m", text);
}

}  // namespace orla::cli
