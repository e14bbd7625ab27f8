#pragma once

#include <string>

namespace orla::cli {

/// Returns true if standard error is a terminal that shows colors, and NO_COLOR is unset or empty.
bool colorWanted();

/// Returns the text in bold red, for failures, or in green, for the bar. If colors are off, returns
/// the text unchanged.
std::string inRed(const std::string& text);
std::string inGreen(const std::string& text);

}  // namespace orla::cli
