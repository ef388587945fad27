// The list of knowledge bases in the user's registry, and any key of it as a map.
#include <utility>

#include "kb/registrykey.h"
#include "kvorlib/knowledgebase.h"
#include "platform/path.h"
#include "platform/session.h"

namespace KBEnv {

using platform::Hive;
using platform::RegistryAnswer;

namespace {

constexpr const char16_t* CannotRead = u"Ошибка при чтении реестра";
constexpr const char16_t* CannotReplace = u"Ошибка перезаписи реестра";
constexpr const char16_t* CannotClose = u"Ошибка при закрытии ключа";

platform::RegistryValues Pairs(const Settings& values) { return {values.begin(), values.end()}; }

Settings AsMap(const platform::RegistryValues& values) {
  Settings data;
  for (const auto& [name, value] : values) data[kb::UpToZero(name)] = kb::UpToZero(value);
  return data;
}

RegistryAnswer ChangeKey(Hive hive, const std::u16string& path,
                         const std::function<bool(Settings&)>& change) {
  return platform::ChangeRegistryKey(hive, path, [&](platform::RegistryValues& values) {
    Settings data = AsMap(values);
    if (!change(data)) return false;
    values = Pairs(data);
    return true;
  });
}

bool ReadKey(platform::RegistryKey& key, Settings& data, std::u16string& msg) {
  platform::RegistryValues values;
  const RegistryAnswer answer = key.Read(values);
  if (!answer) return kb::Fail(msg, CannotRead, answer);
  data = AsMap(values);
  return true;
}

}  // namespace

// List and default are read together, since another process may change both.
bool KBMap::StartFromRegistry(std::u16string& msg) {
  Settings stored;
  if (!ReadKey(*kb::OpenKey(), stored, msg) || !LoadListed(stored, msg)) return false;
  const auto name = stored.find(u"");
  if (name != stored.end()) return SetDefaultKB(name->second, msg);
  msg = u"Ошибка конфигурации KB в реестре: не указана база знаний по умолчанию";
  return false;
}

bool KBMap::FormListFromRegistry(std::u16string& msg) {
  Settings stored;
  return ReadKey(*kb::OpenKey(), stored, msg) && LoadListed(stored, msg);
}

// One that fails stops none of the others; `msg` is about the last that did.
bool KBMap::LoadListed(const Settings& listed, std::u16string& msg) {
  bool loaded = Current != nullptr;
  for (const auto& [name, path] : listed) {
    if (name.empty()) continue;
    if (LoadFromFile(name, platform::NativePath(path), msg, true)) {
      loaded = true;
    } else if (!bases.contains(name)) {
      ListBroken = true;
    }
  }
  if (!loaded) msg = u"Нет ни одной корректной базы знаний";
  return loaded;
}

Settings KBMap::ListToStore(bool onlyValid) const {
  Settings values;  // names of the registry differ without regard to case
  for (const auto& [name, entry] : bases)
    if (!KBIsLocal(name) && (entry.Valid || !onlyValid)) values[name] = entry.FileName;
  if (Current != nullptr) values[u""] = DefaultName;
  return values;
}

// In one step, so that whoever reads meanwhile, or after a crash, finds no part of a list.
bool KBMap::StoreList(std::u16string& msg, const std::function<void(Settings&)>& change) const {
  const bool open = kb::OpenKey() != nullptr;
  const RegistryAnswer answer = ChangeKey(Hive::CurrentUser, kb::RegistryPath, [&](Settings& data) {
    change(data);
    return true;
  });
  if (!answer) return open ? kb::Fail(msg, CannotReplace, answer) : kb::FailToCreate(msg, answer);
  ListBroken = false;
  return kb::CreateKey(msg) && (Current != nullptr || SaveDefaultToRegistry(msg));
}

// In a key that was not open the values of other bases stay.
bool KBMap::SaveListToRegistry(std::u16string& msg, bool onlyValid) const {
  return StoreList(msg, [&](Settings& stored) {
    if (kb::OpenKey() != nullptr) stored.clear();
    for (const auto& [name, value] : ListToStore(onlyValid)) stored[name] = value;
  });
}

// There was no key when the start looked for it. What it holds by now is the later change of
// another process, and stays.
bool KBMap::SaveFirstList(std::u16string& msg) const {
  return StoreList(msg, [&](Settings& stored) { stored.merge(ListToStore(false)); });
}

bool KBMap::SaveDefaultToRegistry(std::u16string& msg) const {
  if (Current == nullptr) {
    msg = u"Ошибка при записи в реестр базы: дефолтная база не указана";
    return false;
  }
  if (!kb::CreateKey(msg)) return false;
  const RegistryAnswer answer = kb::OpenKey()->Write(u"", DefaultName);
  if (answer) return true;
  return kb::Fail(msg, u"Ошибка при записи в реестр имени дефолтной базы " + DefaultName, answer);
}

bool KBMap::ReadDataFromKey(bool machine, const std::u16string& subKey, Settings& data,
                            std::u16string& msg) {
  const Hive hive = machine ? Hive::Machine : Hive::CurrentUser;
  std::unique_ptr<platform::RegistryKey> key;
  RegistryAnswer answer =
      platform::OpenRegistryKey(hive, subKey, platform::RegistryAccess::Read, key);
  if (!answer) return kb::Fail(msg, CannotRead, answer);
  if (!ReadKey(*key, data, msg)) return false;
  answer = key->Close();
  return answer ? true : kb::Fail(msg, CannotClose, answer);
}

// The words for a key that was not there are those for the one kind of data that callers once kept
// in such keys; they are told of it whatever they store.
bool KBMap::WriteDataFromKey(bool machine, const std::u16string& subKey, const Settings& data,
                             std::u16string& msg) {
  const Hive hive = machine ? Hive::Machine : Hive::CurrentUser;
  std::unique_ptr<platform::RegistryKey> key;
  const bool there(
      platform::OpenRegistryKey(hive, subKey, platform::RegistryAccess::ReadWrite, key));
  const RegistryAnswer answer = platform::ReplaceRegistryKey(hive, subKey, Pairs(data));
  if (answer) return true;
  return kb::Fail(msg, there ? CannotReplace : u"Cannot save speech description", answer);
}

bool KBMap::ChangeDataInKey(bool machine, const std::u16string& subKey,
                            const std::function<bool(Settings&)>& change, std::u16string& msg) {
  const RegistryAnswer answer =
      ChangeKey(machine ? Hive::Machine : Hive::CurrentUser, subKey, change);
  return answer ? true : kb::Fail(msg, CannotReplace, answer);
}

}  // namespace KBEnv

bool IsUserAdmin() { return platform::UserIsAdministrator(); }
