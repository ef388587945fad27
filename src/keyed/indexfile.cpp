// IndexFile: opening, creating, copying and closing, what it tells of itself, and the operations on
// bytes, which go to the map. Texts and keys are in indexfilekeys.cpp.
#include "kvorlib/indexfile.h"

#include "keyed/utf8.h"
#include "kvorlib/errors.h"
#include "kvorlib/messages.h"
#include "kvorlib/persistentmap.h"
#include "kvorlib/recordpool.h"
#include "maps/library.h"
#include "maps/maps.h"
#include "platform/file.h"

using keyed::Narrow;
using keyed::OrEmpty;
using keyed::Wide;

constinit KEYDESCR const IndexFile::kdArray[9] = {
    {4, ' ', 39}, {4, ' ', 6}, {4, ' ', 4}, {4, ' ', 0},  {2, 0, 2},
    {0, 4, 2},    {2, 0, 0},   {0, 4, 0},   {4, '\n', 0},
};

IndexFile IndexFile::EmptyFile;

namespace {

constexpr char const* notInitialized = "Index file not initialized properly";
constexpr int keyDescrCommand = 1;

}  // namespace

KEYDESCR const& IndexFile::GetKDForType(KDTYPE t) {
  return t >= KD_TEXT39 && t < KD_STORED ? kdArray[t] : maps::NoLayout;
}

// The library's state is built first, so that it outlives a file that is a global object.
IndexFile::IndexFile() { maps::TheLibrary(); }

IndexFile::IndexFile(char const* uri, bool readOnly, KDTYPE t) : IndexFile() {
  Open(uri, readOnly, t);
}

IndexFile::IndexFile(char16_t const* uri, bool readOnly, KDTYPE t) : IndexFile() {
  Open(uri, readOnly, t);
}

IndexFile::IndexFile(IndexFile const& o) : IndexFile() {
  kdType = o.kdType;
  if (!o.IsValid()) return;
  o.map->add_ref();
  TakeMap(o.map);
  keyDescr = o.keyDescr;
  keyDefined = o.keyDefined;
}

// Every object has a claim of its own on the map that it holds, an unusable one too, so that each
// may close. Assigning what is held already changes no claim.
IndexFile& IndexFile::operator=(IndexFile const& o) {
  if (this == &o) return *this;
  if (!(*this == o)) {
    if (o.HoldsMap()) o.map->add_ref();
    TakeMap(o.map);
    mapNumber = o.mapNumber;
  }
  kdType = o.kdType;
  keyDescr = o.keyDescr;
  keyDefined = o.keyDefined;
  return *this;
}

bool IndexFile::operator==(IndexFile const& o) const {
  return map == o.map && mapNumber == o.mapNumber;
}

IndexFile::~IndexFile() { Close(); }

// An open map that is replaced stays open, as callers expect. An unusable one nobody can miss.
void IndexFile::TakeMap(PersistentMap* taken) {
  if (HoldsMap() && !maps::IsOpenMap(map)) maps::CloseMap(map);
  map = taken;
  mapNumber = maps::MapNumber(taken);
}

bool IndexFile::HoldsMap() const { return map != nullptr && maps::MapNumber(map) == mapNumber; }

bool IndexFile::check_map() const {
  return mapNumber != 0 && maps::OpenMapNumber(map) == mapNumber && map->is_usable();
}

bool IndexFile::Open(char const* uri, bool readOnly, KDTYPE t) {
  KEYDESCR kd = GetKDForType(t);
  TakeMap(maps::OpenMap(OrEmpty(uri), readOnly, &kd));
  if (!check_map()) return false;
  keyDefined = map->extra_command(keyDescrCommand, &keyDescr, false);
  if (t != KD_STORED) {
    if (!keyDefined) {
      keyDescr = kd;
      keyDefined = true;
    } else if (keyDescr != kd) {
      throw "Keydescr error";
    }
  }
  kdType = t;
  return true;
}

bool IndexFile::Open(char16_t const* uri, bool readOnly, KDTYPE t) {
  return Open(Narrow(uri).c_str(), readOnly, t);
}

bool IndexFile::Create(char const* uri, KDTYPE t) {
  KEYDESCR kd = GetKDForType(t);
  TakeMap(maps::CreateMap(OrEmpty(uri), 0, &kd));
  if (!check_map()) return false;
  map->extra_command(keyDescrCommand, &keyDescr, false);
  keyDescr = kd;
  keyDefined = true;
  kdType = t;
  return true;
}

bool IndexFile::Create(char16_t const* uri, KDTYPE t) { return Create(Narrow(uri).c_str(), t); }

bool IndexFile::TryOpen(char const* uri, bool readOnly, KDTYPE t) {
  if (Open(uri, readOnly, t)) return true;
  if (platform::FileExists(OrEmpty(uri))) return false;
  std::string const question =
      std::string("File ") + OrEmpty(uri) + " isn't exist. Try to create it?";
  return UserQuestion(Wide(question)) && Create(uri, t);
}

bool IndexFile::TryOpen(char16_t const* uri, bool readOnly, KDTYPE t) {
  return TryOpen(Narrow(uri).c_str(), readOnly, t);
}

bool IndexFile::Copy(char const* target, char const* source, KDTYPE t, ProcessMess* mess) {
  KEYDESCR kd = GetKDForType(t);
  TakeMap(maps::CopyMap(OrEmpty(target), OrEmpty(source), mess, 0, &kd));
  return check_map();
}

bool IndexFile::Copy(char16_t const* target, char16_t const* source, KDTYPE t, ProcessMess* mess) {
  return Copy(Narrow(target).c_str(), Narrow(source).c_str(), t, mess);
}

bool IndexFile::Copy(RecordPool& pool, ProcessMess* mess) {
  return check_map() && pool.is_valid() && map->copy(pool.cursor.get(), mess);
}

bool IndexFile::Close() {
  if (map == nullptr) return true;
  bool const closed = HoldsMap() && maps::CloseMap(map);
  map = nullptr;
  mapNumber = 0;
  return closed;
}

bool IndexFile::IsValid() const { return check_map(); }

bool IndexFile::isFail() const { return !HoldsMap() || map->get_err_level() != ErrData::ERR_NONE; }

bool IndexFile::CheckError() const { return !check_map() || map->has_error(); }

int IndexFile::GetState() const {
  return check_map() ? map->get_err_level() : static_cast<int>(ErrData::ERR_FATAL);
}

char const* IndexFile::ErrorMessage() const {
  return check_map() ? map->get_err_mess().c_str() : notInitialized;
}

std::u16string IndexFile::wErrorMessage() const { return Wide(ErrorMessage()); }

char const* IndexFile::GetURI() const { return check_map() ? map->get_uri().c_str() : nullptr; }

std::u16string IndexFile::wGetURI() const { return Wide(OrEmpty(GetURI())); }

PersistentMap* IndexFile::GetIndHandle() const { return HoldsMap() ? map : nullptr; }

bool IndexFile::Clear() { return check_map() && map->clear(); }

bool IndexFile::Empty() const { return check_map() && map->size() == 0; }

bool IndexFile::Rewind() { return check_map() && map->rewind(); }

long IndexFile::Size() const { return check_map() ? map->size() : -1; }

bool IndexFile::Erase(DataTransfer const& key) { return check_map() && map->erase(key); }

bool IndexFile::Find(DataTransfer const& key) const { return check_map() && map->find(key); }

bool IndexFile::Get(DataTransfer const& key, DataTransfer& record) const {
  return check_map() && map->get(key, record);
}

bool IndexFile::Put(DataTransfer const& key, DataTransfer const& record, bool overwrite) {
  return check_map() && map->put(key, record, overwrite);
}

bool IndexFile::Update(DataTransfer const& key, DataTransfer const& record) {
  return check_map() && map->update(key, record);
}

bool IndexFile::SetExactMatch(bool exact) const {
  return check_map() && map->set_exact_match(exact);
}

bool IndexFile::GetExactMatch() const { return check_map() && map->get_exact_match(); }

bool IndexFile::ExtraCommand(int cmd, void* arg, bool query) {
  return check_map() && map->extra_command(cmd, arg, query);
}

bool IndexFile::GetPool(RecordPool& pool, DataTransfer const& key, int n) const {
  pool.SetCursor(nullptr);
  if (check_map()) pool.SetCursor(map->create_cursor(key, n));
  return pool.is_valid();
}

bool IndexFile::GetPool(RecordPool& pool) const { return GetPool(pool, DataTransfer(), -1); }

bool IndexFile::GetKeyArray(std::list<std::u16string>& keys) const {
  RecordPool pool;
  return GetPool(pool) && pool.GetKeyArray(keys);
}

bool IndexFile::SetStdPrefix(char const* prefix) {
  if (prefix == nullptr || maps::FindFactory(prefix) == nullptr) return false;
  maps::TheLibrary().stdPrefix = prefix;
  return true;
}

bool IndexFile::SetStdPrefix(char16_t const* prefix) {
  return prefix != nullptr && SetStdPrefix(Narrow(prefix).c_str());
}

bool IndexFile::SystemCommand(int cmd, void* arg, char const* prefix) {
  return maps::RunSystemCommand(cmd, arg, prefix);
}

bool IndexFile::SystemCommand(int cmd, void* arg, std::u16string const& prefix) {
  return SystemCommand(cmd, arg, Narrow(prefix).c_str());
}
