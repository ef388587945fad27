// The names that stages have in a report of times.
#pragma once

#include <string_view>

namespace diagnostics {

// Empty for a number that is no stage.
std::u16string_view NameOfStage(int stage);

}  // namespace diagnostics
