// The registry: keys that hold named wide texts and outlast the process, one set of keys (a hive)
// for the current user and one for the machine. A port owes exactly what this header says.
//
//   std::unique_ptr<RegistryKey> key;
//   RegistryAnswer answer = CreateRegistryKey(Hive::CurrentUser, u"Software\\Kvor-3\\KBase", key);
//   if (answer) answer = key->Write(u"", u"english");       // the unnamed default value
//   if (!answer) report(answer.words);
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace platform {

enum class Hive { CurrentUser, Machine };

enum class RegistryAccess { Read, ReadWrite };

enum class RegistryError {
  None,
  NotThere,  // no such key, or the key of an open object has been deleted
  NoAccess,  // not allowed; also: writing through a key opened for reading alone, deleting a key
             // that has others below it
  Broken,    // what the hive is kept in is damaged, or of a kind that only later versions
             // understand. Nothing of it is used, and nothing changes it
  Failed,    // anything else: no room, an input or output error, a lock that nobody gives back
};

// How a call went, and for a person to read (UTF-8) why it did not: what was touched, and where in
// it the damage is. Empty words when it went well.
struct [[nodiscard]] RegistryAnswer {
  RegistryError error = RegistryError::None;
  std::string words;

  explicit operator bool() const { return error == RegistryError::None; }
};

// Pairs of name and value; no name twice.
using RegistryValues = std::vector<std::pair<std::u16string, std::u16string>>;

// An open key. Names, values and the paths of keys may be any wide text whatever, lone surrogates
// and zero characters among it. Case tells neither names nor paths apart, but is kept as it was
// first written. The empty name is that of the key's default value, a value like others.
//
// Every call goes to the registry as it stands at that moment, and changes it whole or not at all.
// A change is on disk when the call returns, and processes that change it at the same time lose
// nothing of each other. One object belongs to one thread at a time.
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;  // closes

  // All values, as they stood together at one moment, in no order to rely on. On failure `values`
  // is left alone.
  virtual RegistryAnswer Read(RegistryValues& values) = 0;
  virtual RegistryAnswer Write(const std::u16string& name, const std::u16string& value) = 0;
  // Lets go of the key; every later call but this one is answered with Failed.
  virtual RegistryAnswer Close() = 0;
};

// Opens a key that is there. A path is made of names with backslashes between them. To have the key
// for ReadWrite, the caller must be allowed to change the hive. `key` is null on failure.
RegistryAnswer OpenRegistryKey(Hive hive, const std::u16string& path, RegistryAccess access,
                               std::unique_ptr<RegistryKey>& key);

// Opens a key for reading and writing, and makes it if it is not there, with the keys above it.
RegistryAnswer CreateRegistryKey(Hive hive, const std::u16string& path,
                                 std::unique_ptr<RegistryKey>& key);

// Deletes a key with its values. Objects on which it is open answer NotThere from then on, until a
// key of this path is made again.
RegistryAnswer DeleteRegistryKey(Hive hive, const std::u16string& path);

// In one step, so that nobody ever finds less and nobody else's change comes between: gives
// `change` the values of the key, none if it is not there, and, unless that answers false, has the
// key hold what it leaves and nothing else. The key is made for that. What `change` throws goes
// through. REQUIRES: `change` does not call the registry.
RegistryAnswer ChangeRegistryKey(Hive hive, const std::u16string& path,
                                 const std::function<bool(RegistryValues&)>& change);

// The same with values that do not hang on what was there.
inline RegistryAnswer ReplaceRegistryKey(Hive hive, const std::u16string& path,
                                         const RegistryValues& values) {
  return ChangeRegistryKey(hive, path, [&](RegistryValues& all) {
    all = values;
    return true;
  });
}

// Where the hive is kept, for a person to read (UTF-8): here the path of a file, there or not.
std::string RegistryPlace(Hive hive);

}  // namespace platform
