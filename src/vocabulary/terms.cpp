// The tables of the process, which of them is current, and the free functions that answer from it.
#include "kvorlib/terms.h"

#include <filesystem>
#include <fstream>

#include "kvorlib/encoding.h"
#include "util/utf8.h"
#include "vocabulary/termcode.h"
#include "vocabulary/termheader.h"
#include "vocabulary/termtable.h"

namespace {

using vocabulary::Terms;

struct Tables {
  Terms standard;
  std::unordered_map<std::u16string, std::unique_ptr<Terms>> keyed;
  std::unique_ptr<Terms> loose;  // of ReloadTerm, when there was none
  Terms* current = &standard;
};

Tables& TheTables() {
  static Tables tables;
  return tables;
}

// At load, before anybody else can ask, so that they go after everybody else at unload.
[[maybe_unused]] Tables const& built = TheTables();

Terms& Current() {
  Terms* const current = TheTables().current;
  if (current == nullptr) throw u"Internal error";
  return *current;
}

// The current table, with something in it.
Terms& Loaded() {
  Terms& table = Current();
  table.Require();
  return table;
}

}  // namespace

bool LoadTerm(const char16_t* fileName) { return Current().Load(fileName); }

bool ReloadTerm() {
  Tables& tables = TheTables();
  if (tables.current == nullptr) {
    tables.loose = std::make_unique<Terms>();
    tables.current = tables.loose.get();
  } else {
    tables.current->Unload();
  }
  return tables.current->Load(nullptr);
}

bool SetTermMap(const std::u16string* key) {
  Tables& tables = TheTables();
  if (key == nullptr) {
    tables.current = &tables.standard;
    return true;
  }
  std::unique_ptr<Terms>& table = tables.keyed[*key];
  if (table == nullptr) table = std::make_unique<Terms>();
  tables.current = table.get();
  return tables.current->Load(nullptr);
}

void UnloadTerm() {
  if (TheTables().current != nullptr) TheTables().current->Unload();
}

void CloseTerms() {
  Tables& tables = TheTables();
  tables.current = nullptr;
  tables.keyed.clear();
  tables.loose.reset();
}

std::uint16_t vocabulary::CodeOf(std::u16string_view name) { return Loaded().CodeOf(name); }

std::uint16_t vocabulary::CodeOf(std::string_view name) {
  const Terms& table = Loaded();
  return table.CodeOf(util::WideText(name).View());
}

std::uint16_t TermCode(const std::string& name) { return vocabulary::CodeOf(name); }

std::string TermName(std::uint16_t code) {
  const std::u16string& name = Loaded().NameOf(code);
  return w_u8(name.data(), name.data() + name.size());
}

const Term* GetTerm(const std::u16string& name) { return Loaded().Find(name); }

std::uint16_t TermGroup(std::uint16_t code) {
  const Term* const entry = Current().Find(code);
  return entry != nullptr && entry->parent != nullptr ? entry->parent->code : std::uint16_t{0};
}

bool IsTerm(std::uint16_t code) {
  const Term* const entry = Current().Find(code);
  return entry != nullptr && entry->nonrep == -1;
}

bool IsGroup(std::uint16_t code) {
  const Term* const entry = Current().Find(code);
  return entry != nullptr && entry->nonrep >= 0;
}

bool Belong(std::uint16_t code, std::uint16_t group, int depth) {
  return Loaded().Belong(code, group, depth);
}

bool InNonRepGroup(std::uint16_t a, std::uint16_t b) { return Loaded().InNonRepGroup(a, b); }

void GetTermList(std::uint16_t group, std::vector<Term*>& result) {
  result.clear();
  const Terms& table = Loaded();
  for (Term* const entry : table.InOrder()) {
    if (entry->nonrep == -1 && table.Belong(entry->code, group, -1)) result.push_back(entry);
  }
}

void GetTermListRec(std::uint16_t group, std::vector<std::uint16_t>& result) {
  result.clear();
  std::vector<Term*> leaves;
  GetTermList(group, leaves);
  for (const Term* const leaf : leaves) result.push_back(leaf->code);
}

bool CreateHeader(const char* fileName) {
  Terms& table = Current();
  const std::string_view utf8(fileName);
  const std::filesystem::path path(std::u8string(utf8.begin(), utf8.end()));
  // A file that cannot be written is told before terms that cannot be read, but a header that is
  // there loses nothing until there is something to put into it.
  if (!std::ofstream(path, std::ios::binary | std::ios::app)) return false;
  table.Require();
  std::ofstream file(path, std::ios::binary);
  file << vocabulary::HeaderText(table.InOrder());
  file.close();
  return !file.fail();
}
