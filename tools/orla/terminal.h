#pragma once

#include <string>

namespace orla::cli {

/* True when the standard error stream is a terminal that shows colours, and NO_COLOR is not set or empty. */
bool colorWanted();

/* The text in red and bold for failures, in green for the bar; as it stands without colour. */
std::string inRed(const std::string& text);
std::string inGreen(const std::string& text);

}  // namespace orla::cli
