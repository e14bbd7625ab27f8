#pragma once

#include <string>

namespace orla {

/* True when the standard error stream is a terminal that shows colours, and NO_COLOR is not set or empty. */
bool colour_wanted();

/* The text in red and bold for failures, in green for the bar; as it stands without colour. */
std::string in_red(const std::string& text);
std::string in_green(const std::string& text);

}  // namespace orla
