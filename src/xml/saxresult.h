// The result codes that callers of XMLDoc know, whatever parser there is.
#pragma once

#include "platform/saxreader.h"

namespace xml {

// A handler's own stop, which is no fault by itself.
constexpr platform::SaxResult kStop = static_cast<platform::SaxResult>(0x80004005);
constexpr platform::SaxResult kFileNotFound = static_cast<platform::SaxResult>(0x800C0006);
constexpr platform::SaxResult kInvalidArgument = static_cast<platform::SaxResult>(0x80070057);

}  // namespace xml
