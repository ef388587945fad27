// Command lines as one text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

// The pieces of a command line, by the rules of StartProcess (platform/process.h).
std::vector<std::string> SplitCommandLine(std::string_view line);

}  // namespace platform
