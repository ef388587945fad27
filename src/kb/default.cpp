// Choosing the default knowledge base, which binds the prefix of keyed files and the table of terms
// to it.
#include "kvorlib/indexfile.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/terms.h"
#include "maps/library.h"

namespace KBEnv {

bool KBMap::SetDefaultKB(const std::u16string& name, std::u16string& msg) {
  if (name.empty()) {
    msg = u"Не указано имя базы данных по умолчанию";
    return false;
  }
  KBData* const entry = GetKB(name);
  if (entry == nullptr) {
    msg = u"База " + name + u" не найдена";
    return false;
  }
  if (!entry->Valid) {
    msg = u"База " + name + u" имеет ошибки в описании";
    return false;
  }
  return SetDefaultKB(name, entry, msg);
}

// The table of terms is read from the folders of the current base, so that is the new one while the
// terms are set. A base that fails leaves all three as they were: the current base, the prefix, the
// table.
bool KBMap::SetDefaultKB(const std::u16string& name, KBData* entry, std::u16string& msg) {
  KBData* const former = Current;
  const std::string formerPrefix = maps::TheLibrary().stdPrefix;
  const std::u16string prefix = GetIndexPref(name);
  bool termsMoved = false;
  Current = entry;
  if (!IndexFile::SetStdPrefix(prefix.c_str())) {
    msg = u"KB " + name + u": Index file configuration error";
  } else if (SetTermMap(&name)) {
    DefaultName = name;
    return true;
  } else {
    msg = u"KB " + name + u": Term file open error";
    termsMoved = former != entry;
  }
  entry->Valid = false;
  entry->Error = msg;
  Current = former;
  maps::TheLibrary().stdPrefix = formerPrefix;
  if (termsMoved) SetTermMap(former == nullptr ? nullptr : &DefaultName);
  return false;
}

bool KBMap::TrySetDefault(const std::u16string& name, std::u16string& msg) {
  if (name != DefaultName) return true;
  for (const auto& [candidate, entry] : bases)
    if (entry.Valid) return SetDefaultKB(candidate, msg);
  Current = nullptr;
  DefaultName.clear();
  return true;
}

// Nothing leads to the entry any more when it goes, not even while the next default is tried.
bool KBMap::RemoveKB(const std::u16string& name, std::u16string& msg) {
  const auto found = bases.find(name);
  if (found == bases.end()) {
    msg = name + u" не найдена";
    return false;
  }
  if (Current == &found->second) Current = nullptr;
  bases.erase(found);
  return TrySetDefault(name, msg);
}

bool KBMap::CheckState(std::u16string& msg) const {
  bool valid = false;
  bool invalid = false;
  for (const auto& [name, entry] : bases) (entry.Valid ? valid : invalid) = true;
  if (!valid) {
    msg = u"Нет корректных баз знаний";
  } else if (invalid) {
    msg = u"Есть некорректные базы знаний";
  }
  return valid && !invalid;
}

}  // namespace KBEnv
