// KBMap: the registry of knowledge bases, and the start and the end of the library.
//
// A knowledge base is a named set of linguistic data in folders, described by a small text of
// settings. One of them is the default: files without a scheme are opened under its prefix, and
// terms come from its vocabulary. "<LOCAL>" stands for the data beside the library itself.
//
//   std::u16string words;
//   KBEnv::KBMap* const kb = KBEnv::GetKBMap();
//   if (!kb->StartUp(words, u"")) return Complain(words);
//   const std::u16string symbols = kb->FormName(KBEnv::DIR_CONFIG, u"symbols.dat", u"");
//   …
//   kb->ShutDown();
//
// Names of knowledge bases are compared as they stand, names of settings without regard to case.
// An empty `kb` stands for the default. Paths are the platform's; those that come out of data (a
// description, a list of bases, the registry) may have either separator and are turned on the way
// in. In every operation `msg` gets the words of a failure, in Russian, and is otherwise left alone
// unless told.
//
// One thread at a time, as nothing here is locked; the thread that starts the library also stops
// it.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kvorlib/export.h"

namespace KBEnv {

// The folders of a knowledge base. Any other number has none.
enum enDirCode : int {
  DIR_TEMP = 2,         // for temporary output
  DIR_DATA = 3,         // the root of the data
  DIR_CONFIG = 4,       // below the root: "Config", and so on
  DIR_BINARY = 5,       // "Binary"
  DIR_SOURCE = 6,       // "Source"
  DIR_AUXILIAR = 7,     // "Auxiliar"
  DIR_DUMP = 8,         // "Dump"
  DIR_COMPARE = 9,      // "Compare"
  DIR_REGRESSION = 10,  // "test_systems/regression"
};

// The order of names of settings: without regard to case, unit by unit.
struct KVORLIB_API lessstr {
  bool operator()(const std::u16string& left, const std::u16string& right) const;
};

using Settings = std::map<std::u16string, std::u16string, lessstr>;

// One knowledge base.
struct KBData {
  // The description was read and the folders are set; cleared when it fails as the default.
  bool Valid = false;
  Settings Env;
  // The description; empty for one that was given as text, and for the local one.
  std::u16string FileName;
  std::u16string TempDir;
  std::u16string DataDir;
  // What the description has wrong in it, a line each, or why it failed as the default.
  std::u16string Error;
};

// There is one that counts, GetKBMap(). A copy is a list of its own: its default is its own entry
// of the same name. All copies share the open key of the registry.
class KVORLIB_API KBMap {
 public:
  KBMap() = default;
  KBMap(const KBMap& other);
  KBMap& operator=(const KBMap& other);
  ~KBMap() = default;

  // ---- starting and stopping

  // Prepares the platform and makes the local knowledge base. A repeated call does nothing, puts a
  // note into `msg` and answers true.
  bool Init(std::u16string& msg);
  // Init, then the list: from the user's registry if it has one, else from "stdkbnames.lst" beside
  // the library, which then becomes the registry's. Last `defaultKB` becomes the default, unless it
  // is empty. False leaves what was reached: bases stay listed, and the default stays. A list file
  // that cannot be used is told through UserMessage and stops nothing. Never throws.
  bool StartUp(std::u16string& msg, const std::u16string& defaultKB);
  // Closes every map and keyed file, frees the terms and the loaded libraries, empties the list.
  // True always, and harmless when nothing was started.
  bool ShutDown();

  // ---- the list

  // Adds the knowledge base of a description file; its name is that of the file. False for a name
  // that is listed already and for a file that cannot be read. Errors in the description do not
  // count: see KBData::Error.
  bool LoadFromFile(const std::u16string& path, std::u16string& msg);
  // Adds one under `name`, or gives the one of that name a new description.
  bool LoadFromBuf(const std::u16string& name, const std::u16string& text, std::u16string& msg);
  // Replaces the whole list by that of a file of paths between white space; the first one becomes
  // the default. False when none of them can be loaded, or the first one cannot be the default.
  bool LoadListFromFile(const std::u16string& path, std::u16string& msg);
  // Makes `name` the default: sets the prefix of keyed files and the table of terms. On failure the
  // former default stays in force, and the base is not Valid any more.
  bool SetDefaultKB(const std::u16string& name, std::u16string& msg);
  // The names in order; the index of the default among them, or -1.
  int GetKBArray(std::vector<std::u16string>& names, bool onlyValid) const;
  // The name of the default; empty if there is none.
  const std::u16string& GetDefaultKB() const { return DefaultName; }
  // The names in "stdkbnames.lst".
  std::vector<std::u16string> GetStdNames() const { return StdNames; }

  // ---- what a knowledge base answers

  // The folder of the library's file, without a separator behind it.
  const std::u16string& GetExecPath() const { return ExecPath; }
  // A full path with a separator behind it. Empty if there is no such valid base, and if the folder
  // is missing and cannot be made: those directly below the root of the data are not made, deeper
  // ones and the folder for temporary output are. A code without a folder gives the current one.
  std::u16string GetDir(enDirCode code, const std::u16string& kb) const;
  // The path of a data file. The setting called `name` in `kb` stands for the name if there is one;
  // the folder is always that of the default.
  std::u16string FormName(enDirCode code, const std::u16string& name, const std::u16string& kb);
  // A setting; false, with `value` left alone, when there is no such valid base or setting.
  bool GetEnv(const std::u16string& name, std::u16string& value, const std::u16string& kb) const;
  // Puts a folder in the place of the first "$STANDDIR\" in `text`: that of the base whose name
  // stands in front of "://", otherwise of `kb`. True if there is nothing to replace.
  bool ReplStdDir(std::u16string& text, enDirCode code, const std::u16string& kb) const;
  // The prefix of keyed files: the name and "://" for a base with a setting "Plugin", else
  // "std://".
  std::u16string GetIndexPref(std::u16string kb) const;
  // Whether `name` is "<LOCAL>", in any case.
  static bool KBIsLocal(const std::u16string& name);
  // The name of the base that a description file holds: the file's, without extension, in lower
  // case.
  static std::u16string FormKBNameFromPath(const std::u16string& path);

  // ---- the registry: the key Software\Kvor-3\KBase of the current user

  // Writes the key anew, in one step: a value for each base but the local one, or only for those
  // that are Valid, and the default; false, with the bases written, if there is no default. As long
  // as this process has not had the key open (StartUp opens it), the key's other values stay.
  bool SaveListToRegistry(std::u16string& msg, bool onlyValid) const;
  // Writes the default alone; false if there is none.
  bool SaveDefaultToRegistry(std::u16string& msg) const;
  // Any key as a map, as it stands at one moment, the unnamed value under the empty name; `machine`
  // takes that of all users.
  bool ReadDataFromKey(bool machine, const std::u16string& subKey, Settings& data,
                       std::u16string& msg);
  // Replaces a key by a map, in one step. Keys below it stay.
  bool WriteDataFromKey(bool machine, const std::u16string& subKey, const Settings& data,
                        std::u16string& msg);
  // Reads a key, has `change` work on the map, empty if there is no such key, and writes it unless
  // `change` answers false: in one step, so that nothing is lost of what others change at the same
  // time. True, too, when nothing was to be written. REQUIRES: `change` does not go to the
  // registry.
  bool ChangeDataInKey(bool machine, const std::u16string& subKey,
                       const std::function<bool(Settings&)>& change, std::u16string& msg);

 protected:
  // Starts a list of the local base alone, with `path` as the library's folder, and tries to make
  // it the default; false only when there is no such folder.
  bool _Init(const std::u16string& path, std::u16string& msg);
  bool LoadFromFile(const std::u16string& name, const std::u16string& path, std::u16string& msg,
                    bool checkDuplicate);
  // True if one of the descriptions could be loaded; the others are passed over.
  bool LoadList(const std::vector<std::u16string>& paths, std::u16string& msg);
  static bool LoadNamesFromFile(const std::u16string& path, std::vector<std::u16string>& names,
                                std::u16string& msg);
  bool SetDefaultKB(const std::u16string& name, KBData* entry, std::u16string& msg);
  // `name` is about to go or has gone bad: if it is the default, the first valid base takes over.
  bool TrySetDefault(const std::u16string& name, std::u16string& msg);
  bool RemoveKB(const std::u16string& name, std::u16string& msg);
  // Whether there are valid bases and no others.
  bool CheckState(std::u16string& msg) const;
  // Loads what the key lists. REQUIRES: the key is open.
  bool FormListFromRegistry(std::u16string& msg);

  // The entry of `name`, the default for an empty one, null for none; with `checkValid` null too
  // for one that is found by its name and is not Valid.
  const KBData* _GetKBData(const std::u16string& name, bool checkValid) const;
  const KBData* GetKBData(const std::u16string& name, bool checkValid) const;
  // The entry of that very name, or null.
  KBData* GetKB(const std::u16string& name);

 private:
  bool StartUpUnguarded(std::u16string& msg, const std::u16string& defaultKB);
  bool StartFromNames(const std::vector<std::u16string>& paths, std::u16string& msg);
  bool StartFromRegistry(std::u16string& msg);
  bool LoadListed(const Settings& listed, std::u16string& msg);
  std::vector<std::u16string> ReadListFile(std::u16string& msg);
  bool LoadFromText(KBData& entry, const std::u16string& text) const;
  Settings ListToStore(bool onlyValid) const;
  bool StoreList(std::u16string& msg, const std::function<void(Settings&)>& change) const;
  bool SaveFirstList(std::u16string& msg) const;

  std::map<std::u16string, KBData> bases;
  KBData* Current = nullptr;  // the default, an entry of `bases`
  std::u16string DefaultName;
  std::u16string ExecPath;
  bool Inited = false;
  std::vector<std::u16string> StdNames;
  // A listed base left no entry; saving the list clears it.
  mutable bool ListBroken = false;
};

// The one list, from the loading of the library to its unloading.
KVORLIB_API KBMap* GetKBMap();

}  // namespace KBEnv

// Whether the process has the rights of an administrator.
KVORLIB_API bool IsUserAdmin();
