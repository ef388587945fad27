// The name that the knowledge-base environment reserves.
#pragma once

#include <string_view>

namespace kb {

inline constexpr std::u16string_view Local = u"<LOCAL>";

}  // namespace kb
