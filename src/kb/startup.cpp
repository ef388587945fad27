// The start and the end of the library.
#include "kb/names.h"
#include "kb/pathtext.h"
#include "kb/registrykey.h"
#include "kvorlib/filehelpers.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/mapfactory.h"
#include "kvorlib/messages.h"
#include "kvorlib/plugins.h"
#include "kvorlib/terms.h"
#include "platform/file.h"
#include "platform/session.h"

namespace KBEnv {

bool KBMap::Init(std::u16string& msg) {
  if (Inited) {
    msg = u"Повторный вызов инициализации";
    return true;
  }
  Inited = true;
  const bool started = platform::StartServices();
  SetLocale(".ACP");
  if (!started) {
    msg = u"Init: ошибка CoInitialize";
    return false;
  }
  return _Init(::GetExecPath(), msg);
}

// Callbacks of the host, plug-ins and files of terms may throw anything, bare pointers among it.
bool KBMap::StartUp(std::u16string& msg, const std::u16string& defaultKB) {
  try {
    return StartUpUnguarded(msg, defaultKB);
  } catch (...) {
    msg = u"Ошибка системы";
    return false;
  }
}

bool KBMap::StartUpUnguarded(std::u16string& msg, const std::u16string& defaultKB) {
  if (!Init(msg)) return false;
  const std::vector<std::u16string> paths = ReadListFile(msg);
  const bool started = kb::TryOpenKey() ? StartFromRegistry(msg) : StartFromNames(paths, msg);
  if (!started) return false;
  for (const std::u16string& path : paths) StdNames.push_back(FormKBNameFromPath(path));
  return defaultKB.empty() || SetDefaultKB(defaultKB, msg);
}

std::vector<std::u16string> KBMap::ReadListFile(std::u16string& msg) {
  const std::u16string file = ExecPath + u"/stdkbnames.lst";
  std::vector<std::u16string> paths;
  if (!platform::FileExists(kb::NarrowPath(file))) return paths;
  StdNames.clear();
  if (!LoadNamesFromFile(file, paths, msg)) {
    UserMessage(msg);
  } else if (paths.empty()) {
    UserMessage(u"Default KB list from file " + file + u" is empty\r\n");
  }
  return paths;
}

bool KBMap::StartFromNames(const std::vector<std::u16string>& paths, std::u16string& msg) {
  if (!paths.empty())
    return LoadList(paths, msg) && SetDefaultKB(FormKBNameFromPath(paths.front()), msg) &&
           SaveFirstList(msg);
  if (Current != nullptr) return true;
  const KBData* const local = GetKB(std::u16string(kb::Local));
  msg = u"Локальная база знаний недоступна: (" +
        (local != nullptr ? local->Error : std::u16string()) + u"), остальные не указаны";
  return false;
}

bool KBMap::ShutDown() {
  kb::CloseKey();
  bases.clear();
  Current = nullptr;
  CloseTerms();
  FreeDlls();
  if (Inited) {
    udbShutDown();
    platform::StopServices();
  }
  Inited = false;
  return true;
}

}  // namespace KBEnv
