// The current code page and what sets it.

#include "util/currentcodepage.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "kvorlib/encoding.h"
#include "platform/codepage.h"
#include "platform/locale.h"

namespace {

std::int32_t currentCodePage = 0;

}  // namespace

int util::EffectiveCodePage() {
  return currentCodePage != 0 ? currentCodePage : platform::SystemCodePage();
}

int SetCP(int codePage) {
  const int former = currentCodePage;
  currentCodePage = codePage == -1 ? platform::kUtf8CodePage : codePage;
  return former;
}

int GetLocal() { return currentCodePage; }

int SetLocale(const char* name) {
  const std::optional<std::string> locale = platform::SetProcessLocale(name);
  if (!locale.has_value()) return 0;
  const auto dot = locale->find('.');
  if (dot == std::string::npos) return 0;
  return SetCP(std::atoi(locale->c_str() + dot + 1));  // NOLINT: the seam promises a number
}

int SetLocale(const std::u16string& name) {
  return SetLocale(w_u8(name.data(), name.data() + name.size()).c_str());
}
