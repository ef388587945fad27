// The local time as text. A port owes exactly what this header says.
#pragma once

#include <string>

namespace platform {

// The present local time in a format of strftime, in the process's locale. Empty when it comes to
// `limit` units or more, its end counted.
std::u16string FormatLocalTime(const std::u16string& format, std::size_t limit);

}  // namespace platform
