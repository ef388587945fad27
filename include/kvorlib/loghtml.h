// Text for the HTML log.
#pragma once

#include <string>

#include "kvorlib/export.h"

// The text with each of the characters "<>&\"" written as its entity.
KVORLIB_API std::u16string ToSafeHtmlText(const std::u16string& text);
