// Reading a term file into a table, on top of what is there.
#include <functional>
#include <sstream>
#include <utility>

#include "kvorlib/knowledgebase.h"
#include "kvorlib/messages.h"
#include "vocabulary/numbertext.h"
#include "vocabulary/termtable.h"

namespace vocabulary {

namespace {

constexpr const char16_t* OldestVersion = u"1.0";
constexpr const char16_t* NewestVersion = u"1.1";

bool IsEntry(const std::u16string& element) { return element == u"group" || element == u"term"; }

std::u16string Attribute(const XMLAttrs& attributes, const char16_t* name) {
  const auto found = attributes.find(name);
  return found != attributes.end() ? found->second : std::u16string();
}

std::int32_t RepeatClass(bool isTerm, const XMLAttrs& attributes, const Term* parent) {
  if (isTerm) return -1;
  if (parent == nullptr) return 0;
  const auto own = static_cast<std::int32_t>(DecimalValue(Attribute(attributes, u"nonrep")));
  return own != 0 ? own : parent->nonrep;
}

bool SameContent(const Term& a, const Term& b) {
  return a.name == b.name && a.code == b.code && a.nonrep == b.nonrep && a.parent == b.parent;
}

std::size_t ContentHash(const Term& entry) {
  const std::size_t numbers = entry.code * std::size_t{65537} + static_cast<unsigned>(entry.nonrep);
  return (std::hash<std::u16string>()(entry.name) * 31 + numbers) * 31 +
         std::hash<const Term*>()(entry.parent);
}

std::u16string DefaultFile() {
  return KBEnv::GetKBMap()->GetDir(KBEnv::DIR_CONFIG, u"") + u"term.xml";
}

bool ReadFile(XMLDoc& document, const std::u16string& name) {
  try {
    return document.LoadFile(name);
  } catch (const Except& failure) {
    // An encoding that nobody knows: the document has no words of it.
    const std::string& words = failure.GetText();
    document.ProcError(ErrData::ERR_FATAL, {words.begin(), words.end()});
    return false;
  } catch (...) {  // whatever else is wrong with a file, it is one that cannot be read
    return false;
  }
}

}  // namespace

bool Terms::ReadStartElement(const std::u16string& element, const XMLAttrs& attributes) {
  if (!IsEntry(element)) return true;
  Term entry;
  entry.name = Attribute(attributes, u"name");
  entry.code = Cut16(HexadecimalValue(Attribute(attributes, u"code")));
  entry.nonrep = RepeatClass(element == u"term", attributes, current);
  entry.parent = current;
  current = Record(std::move(entry));
  codes[current->code] = current;
  names[current->name] = current;
  return true;
}

bool Terms::ReadEndElement(const std::u16string& element) {
  if (current != nullptr && IsEntry(element)) current = current->parent;
  return true;
}

// The parent of a new record is older than the record, and neither is ever changed: so no chain of
// parents can be a circle, whatever is loaded on top of what.
Term* Terms::Record(Term entry) {
  const std::size_t hash = ContentHash(entry);
  const auto [first, last] = records.equal_range(hash);
  for (auto known = first; known != last; ++known) {
    if (SameContent(*known->second, entry)) return known->second.get();
  }
  return records.emplace(hash, std::make_unique<Term>(std::move(entry)))->second.get();
}

bool Terms::Load(const char16_t* fileName) {
  const std::u16string name = fileName != nullptr ? std::u16string(fileName) : DefaultFile();
  XMLDoc document(XMLDoc::DEFAULT);
  document.SetCallback(this, XMLDoc::DC_READ);
  current = nullptr;
  const bool read = ReadFile(document, name);
  current = nullptr;  // a file that breaks off leaves elements open
  SetXMLDoc(nullptr);
  if (!read) {
    std::basic_ostringstream<char16_t> words;
    document.GetLastError().GetErrDescr(words);
    LogMessage(MC_ALWAYS, u"\n!!!   Cannot open term file %s \r\n%s  !!!\r\n", name.c_str(),
               words.str().c_str());
    return false;
  }
  loaded = AcceptVersion();
  if (!loaded) LogMessage(MC_ALWAYS, u"\n!!!   Wrong version!  !!!\r\n");
  return loaded;
}

bool Terms::AcceptVersion() {
  const std::u16string& written = NameOf(VersionCode);
  const std::u16string version = written == unknownName ? OldestVersion : written;
  return version >= OldestVersion && version <= NewestVersion;
}

void Terms::Unload() {
  names.clear();
  codes.clear();
  records.clear();
  loaded = false;
}

void Terms::Require() {
  if (!loaded && !Load(nullptr)) throw "Terms not loaded";
}

}  // namespace vocabulary
