// The folders of a knowledge base, and the paths of files in them.
#include "kb/directories.h"

#include "kb/pathtext.h"
#include "kvorlib/filehelpers.h"
#include "platform/path.h"
#include "platform/session.h"

namespace kb {

namespace {

constexpr std::u16string_view StandardFolder = u"$STANDDIR\\";

void EndWithSeparator(std::u16string& folder) {
  if (!folder.ends_with(u'/')) folder += u'/';
}

// A user without a profile has none.
std::u16string UserDataFolder() {
  const auto profile = platform::EnvironmentVariable("USERPROFILE");
  if (!profile || profile->empty()) return {};
  return WidePath(*profile + '/' + platform::DocumentsFolderName() + "/kvordata");
}

std::u16string FolderOf(const KBEnv::KBData& base, KBEnv::enDirCode code) {
  switch (code) {
    case KBEnv::DIR_TEMP:
      return base.TempDir;
    case KBEnv::DIR_DATA:
      return base.DataDir;
    case KBEnv::DIR_CONFIG:
      return base.DataDir + u"/Config";
    case KBEnv::DIR_BINARY:
      return base.DataDir + u"/Binary";
    case KBEnv::DIR_SOURCE:
      return base.DataDir + u"/Source";
    case KBEnv::DIR_AUXILIAR:
      return base.DataDir + u"/Auxiliar";
    case KBEnv::DIR_DUMP:
      return base.DataDir + u"/Dump";
    case KBEnv::DIR_COMPARE:
      return base.DataDir + u"/Compare";
    case KBEnv::DIR_REGRESSION:
      return base.DataDir + u"/test_systems/regression";
    default:
      return {};
  }
}

}  // namespace

void SetDirs(KBEnv::KBData& base, const std::u16string& folder) {
  const auto setting = base.Env.find(u"Root");
  std::u16string root = setting == base.Env.end() ? folder : platform::NativePath(setting->second);
  EndWithSeparator(root);
  base.TempDir = UserDataFolder();
  if (base.TempDir.empty()) base.TempDir = root + u"Temp";
  base.DataDir = root + u"Data";
}

}  // namespace kb

namespace KBEnv {

std::u16string KBMap::GetDir(enDirCode code, const std::u16string& kb) const {
  const KBData* const base = _GetKBData(kb, true);
  if (base == nullptr) return {};
  const std::string folder = kb::NarrowPath(kb::FolderOf(*base, code));
  const auto full = platform::FullPath(folder.empty() ? "." : folder);
  if (!full) return {};
  std::u16string path = kb::WidePath(*full);
  if (!MakeDir(path, base->DataDir)) return {};
  kb::EndWithSeparator(path);
  return path;
}

std::u16string KBMap::FormName(enDirCode code, const std::u16string& name,
                               const std::u16string& kb) {
  std::u16string value = name;
  if (GetEnv(name, value, kb)) value = platform::NativePath(value);
  return GetDir(code, {}) + value;
}

bool KBMap::ReplStdDir(std::u16string& text, enDirCode code, const std::u16string& kb) const {
  const std::size_t at = text.find(kb::StandardFolder);
  if (at == std::u16string::npos) return true;
  const std::size_t scheme = text.find(u"://");
  const std::u16string folder =
      GetDir(code, scheme == std::u16string::npos ? kb : text.substr(0, scheme));
  if (folder.empty()) return false;
  text.replace(at, kb::StandardFolder.size(), folder);
  return true;
}

}  // namespace KBEnv
