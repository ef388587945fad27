// The list of knowledge bases as data: its order of settings, its copies, and the answers that need
// no folder.
#include "kvorlib/knowledgebase.h"

#include <algorithm>
#include <string_view>

#include "kb/names.h"
#include "kvorlib/encoding.h"
#include "platform/locale.h"

namespace KBEnv {

bool lessstr::operator()(const std::u16string& left, const std::u16string& right) const {
  return std::lexicographical_compare(
      left.begin(), left.end(), right.begin(), right.end(),
      [](char16_t a, char16_t b) { return platform::ToLower(a) < platform::ToLower(b); });
}

// A copied pointer would lead into the other object's list.
KBMap::KBMap(const KBMap& other) { *this = other; }

KBMap& KBMap::operator=(const KBMap& other) {
  if (this == &other) return *this;
  bases = other.bases;
  Current = nullptr;
  for (const auto& [name, entry] : other.bases)
    if (&entry == other.Current) Current = GetKB(name);
  DefaultName = other.DefaultName;
  ExecPath = other.ExecPath;
  Inited = other.Inited;
  StdNames = other.StdNames;
  ListBroken = other.ListBroken;
  return *this;
}

KBMap* GetKBMap() {
  static KBMap map;
  return &map;
}

namespace {

[[maybe_unused]] const KBMap* const atLoad = GetKBMap();

}  // namespace

const KBData* KBMap::_GetKBData(const std::u16string& name, bool checkValid) const {
  if (name.empty()) return Current;
  const auto found = bases.find(name);
  if (found == bases.end() || (checkValid && !found->second.Valid)) return nullptr;
  return &found->second;
}

const KBData* KBMap::GetKBData(const std::u16string& name, bool checkValid) const {
  return _GetKBData(name, checkValid);
}

KBData* KBMap::GetKB(const std::u16string& name) {
  const auto found = bases.find(name);
  return found == bases.end() ? nullptr : &found->second;
}

bool KBMap::GetEnv(const std::u16string& name, std::u16string& value,
                   const std::u16string& kb) const {
  const KBData* const base = _GetKBData(kb, true);
  if (base == nullptr) return false;
  const auto setting = base->Env.find(name);
  if (setting == base->Env.end()) return false;
  value = setting->second;
  return true;
}

std::u16string KBMap::GetIndexPref(std::u16string kb) const {
  if (kb.empty()) kb = DefaultName;
  std::u16string unused;
  return GetEnv(u"Plugin", unused, kb) ? kb + u"://" : std::u16string(u"std://");
}

bool KBMap::KBIsLocal(const std::u16string& name) {
  return to_lower(name) == to_lower(std::u16string(kb::Local));
}

std::u16string KBMap::FormKBNameFromPath(const std::u16string& path) {
  std::u16string_view name = path;
  name.remove_prefix(name.find_last_of(u"/\\") + 1);
  return to_lower(std::u16string(name.substr(0, name.find_last_of(u'.'))));
}

int KBMap::GetKBArray(std::vector<std::u16string>& names, bool onlyValid) const {
  names.clear();
  int index = -1;
  for (const auto& [name, entry] : bases) {
    if (onlyValid && !entry.Valid) continue;
    if (name == DefaultName) index = static_cast<int>(names.size());
    names.push_back(name);
  }
  return index;
}

}  // namespace KBEnv
