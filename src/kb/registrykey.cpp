// The key of the list of knowledge bases.
#include "kb/registrykey.h"

#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"

namespace kb {

namespace {

using platform::Hive;
using platform::RegistryAnswer;
using platform::RegistryError;

std::unique_ptr<platform::RegistryKey>& Handle() {
  static std::unique_ptr<platform::RegistryKey> handle;
  return handle;
}

void Report(const RegistryAnswer& answer) {
  if (answer || answer.error == RegistryError::NotThere) return;
  const std::string& text = answer.words;
  const std::u16string words = u8_w(text.data(), text.data() + text.size());
  LogMessage(MC_ALWAYS, u"!!!   %s %s   !!!\n", u"Registry:", words.c_str());
}

}  // namespace

platform::RegistryKey* OpenKey() { return Handle().get(); }

bool TryOpenKey() {
  if (OpenKey() != nullptr) return true;
  const RegistryAnswer answer = platform::OpenRegistryKey(
      Hive::CurrentUser, RegistryPath, platform::RegistryAccess::ReadWrite, Handle());
  Report(answer);
  return OpenKey() != nullptr;
}

bool CreateKey(std::u16string& msg) {
  if (OpenKey() != nullptr) return true;
  const RegistryAnswer answer =
      platform::CreateRegistryKey(Hive::CurrentUser, RegistryPath, Handle());
  return answer ? true : FailToCreate(msg, answer);
}

void CloseKey() { Handle().reset(); }

bool Fail(std::u16string& msg, const std::u16string& words, const RegistryAnswer& answer) {
  msg = words;
  Report(answer);
  return false;
}

bool FailToCreate(std::u16string& msg, const RegistryAnswer& answer) {
  return Fail(msg, std::u16string(u"Ошибка создания ключа ") + RegistryPath, answer);
}

std::u16string UpToZero(const std::u16string& text) { return text.substr(0, text.find(u'\0')); }

}  // namespace kb
