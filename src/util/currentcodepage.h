// The process-wide code page.
#pragma once

namespace util {

// The current code page with 0, the system's default, turned into its number.
int EffectiveCodePage();

}  // namespace util
