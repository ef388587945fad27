// Filling the list of knowledge bases, from files, from texts and from a list of files.
#include <algorithm>

#include "kb/description.h"
#include "kb/directories.h"
#include "kb/names.h"
#include "kb/pathtext.h"
#include "kvorlib/errors.h"
#include "kvorlib/filehelpers.h"
#include "platform/file.h"
#include "platform/path.h"

namespace KBEnv {

namespace {

// A text that its code page cannot make sense of counts as one that cannot be read.
bool ReadText(const std::u16string& path, std::u16string& text) {
  try {
    return GetText(path, text, 0);
  } catch (const Except&) {
    return false;
  }
}

}  // namespace

// Errors stay in the entry: with what could be read the base is as good as any.
bool KBMap::LoadFromText(KBData& entry, const std::u16string& text) const {
  dmProc reader;
  Settings settings;
  entry.Valid = reader.LoadFromText(text, settings);
  entry.Env = std::move(settings);
  entry.Error = reader.GetErrors();
  if (entry.Valid) kb::SetDirs(entry, ExecPath);
  return entry.Valid;
}

bool KBMap::LoadFromFile(const std::u16string& name, const std::u16string& path,
                         std::u16string& msg, bool checkDuplicate) {
  std::u16string scratch;
  if (name != FormKBNameFromPath(path)) {
    msg = u"База " + name + u": имя не соответствует имени файла";
    TrySetDefault(name, scratch);
    return false;
  }
  if (checkDuplicate && bases.contains(name)) {
    msg = u"База " + name + u" уже есть в списке";
    TrySetDefault(name, scratch);
    return false;
  }
  std::u16string text;
  if (!ReadText(path, text)) {
    msg = u"Базу " + name + u" не удалось загрузить из файла";
    return false;
  }
  KBData& entry = bases[name];
  entry.FileName = path;
  if (LoadFromText(entry, text)) return true;
  msg = entry.Error;
  TrySetDefault(name, scratch);
  return false;
}

bool KBMap::LoadFromFile(const std::u16string& path, std::u16string& msg) {
  return LoadFromFile(FormKBNameFromPath(path), path, msg, true);
}

bool KBMap::LoadFromBuf(const std::u16string& name, const std::u16string& text,
                        std::u16string& msg) {
  KBData& entry = bases[name];
  if (LoadFromText(entry, text)) return true;
  std::u16string scratch;
  msg = entry.Error;
  TrySetDefault(name, scratch);
  return false;
}

bool KBMap::LoadNamesFromFile(const std::u16string& path, std::vector<std::u16string>& names,
                              std::u16string& msg) {
  std::u16string text;
  if (!ReadText(path, text)) {
    msg = u"Can't load default KB list from file " + path + u"\r\n";
    return false;
  }
  constexpr const char16_t* white = u" \t\n\v\f\r";
  std::size_t begin = text.find_first_not_of(white);
  while (begin != std::u16string::npos) {
    const std::size_t end = std::min(text.find_first_of(white, begin), text.size());
    names.push_back(platform::NativePath(text.substr(begin, end - begin)));
    begin = text.find_first_not_of(white, end);
  }
  return true;
}

bool KBMap::LoadList(const std::vector<std::u16string>& paths, std::u16string& msg) {
  bool loaded = false;
  for (const std::u16string& path : paths) {
    std::u16string scratch;
    loaded |= LoadFromFile(path, scratch);
  }
  if (!loaded) msg = u"Ни одной базы из списка не загрузилось";
  return loaded;
}

bool KBMap::LoadListFromFile(const std::u16string& path, std::u16string& msg) {
  std::vector<std::u16string> paths;
  if (!LoadNamesFromFile(path, paths, msg)) return false;
  return _Init(ExecPath, msg) && LoadList(paths, msg) &&
         SetDefaultKB(FormKBNameFromPath(paths.front()), msg);
}

bool KBMap::_Init(const std::u16string& path, std::u16string& msg) {
  bases.clear();
  Current = nullptr;
  DefaultName.clear();
  if (!platform::FileExists(kb::NarrowPath(path))) {
    msg = u"Папки " + path + u" c модулями КВОР не найдено";
    return false;
  }
  ExecPath = path;
  const std::u16string local(kb::Local);
  KBData& entry = bases[local];
  entry.Valid = true;
  entry.Env[u"Root"] = path;
  kb::SetDirs(entry, path);
  std::u16string scratch;
  SetDefaultKB(local, &entry, scratch);
  return true;
}

}  // namespace KBEnv
