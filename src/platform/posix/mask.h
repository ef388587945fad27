// Masks of file names.
#pragma once

#include <string_view>

namespace platform {

// Whether a name fits a mask, by the rules of SearchFolder (platform/folder.h).
bool FitsMask(std::string_view name, std::string_view mask);

}  // namespace platform
