// kvor kb list, add, remove, default, show, dirs: the knowledge bases that the user's registry
// lists, and where their data lie.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "commands.h"
#include "environment.h"
#include "json.h"
#include "listedbases.h"
#include "outcome.h"

namespace kvor {
namespace {

using KBEnv::KBData;
using KBEnv::KBMap;
using KBEnv::Settings;

struct BaseOptions {
  std::vector<std::string> files;
  std::string name;
};

constexpr const char* NotListed = "no such knowledge base is listed";

// What the library gives to its derived classes alone.
struct Inner : KBMap {
  using KBMap::RemoveKB;
};

KBMap& Map() { return *KBEnv::GetKBMap(); }
std::string Default() { return Narrow(Map().GetDefaultKB()); }

// ---- what is known of a base ------------------------------------------------------------------

struct Base {
  Json ToJson() const;
  std::string ErrorCount() const { return Counted(errors.size(), "error"); }

  std::string name;
  std::string file;
  bool isDefault = false;
  bool valid = false;
  std::vector<std::string> errors;
  KBData* data = nullptr;  // null for one that is in the registry and could not be loaded
};

std::vector<std::string> Lines(const std::u16string& text) {
  std::vector<std::string> lines;
  const std::string words = Narrow(text);
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t end = std::min(words.find("\r\n", at), words.size());
    lines.push_back(words.substr(at, end - at));
    at = end + 2;
  }
  return lines;
}

Base Describe(const std::string& name, const Registered& registered) {
  Base base;
  base.name = name;
  base.data = FindBase(name);
  base.isDefault = name == Default();
  const std::u16string* const file = registered.File(name);
  if (file != nullptr) base.file = Narrow(*file);
  if (base.data != nullptr) {
    base.valid = base.data->Valid;
    base.errors = Lines(base.data->Error);
  } else if (file != nullptr) {
    std::u16string words;
    KBMap alone;
    alone.LoadFromFile(*file, words);
    base.errors = Lines(words);
    if (words.empty()) base.errors = {"its name is not that of the file"};
  }
  return base;
}

// Of the name in any case.
Base Wanted(const std::string& asked, const Registered& registered) {
  const std::string name = registered.Listed(asked);
  if (!registered.Has(name)) throw Failure(name, NotListed);
  return Describe(name, registered);
}

Json Base::ToJson() const {
  std::string array;
  for (const std::string& error : errors) array += (array.empty() ? "" : ",") + Json::Quoted(error);
  Json json("name", name);
  json("default", isDefault)("valid", valid)("file", file).Raw("errors", "[" + array + "]");
  return json;
}

// ---- list, show, dirs -------------------------------------------------------------------------

int List(Session& session, const BaseOptions&) {
  const Environment environment({}, Environment::Need::ListOnly);
  const Registered registered;
  std::vector<std::u16string> loaded;
  Map().GetKBArray(loaded, false);
  std::vector<std::string> names = registered.Names();
  for (const std::u16string& name : loaded)
    if (registered.File(Narrow(name)) == nullptr) names.push_back(Narrow(name));
  std::sort(names.begin(), names.end());
  bool sound = environment.Started();
  for (const std::string& name : names) {
    const Base base = Describe(name, registered);
    sound = sound && base.errors.empty();
    if (session.json) {
      session.out << base.ToJson().Text() << '\n';
      continue;
    }
    session.out << (base.isDefault ? "* " : "  ") << name;
    if (!base.file.empty()) session.out << '\t' << base.file;
    if (!base.errors.empty())
      session.out << '\t' << base.ErrorCount() << ": " << base.errors.front();
    session.out << '\n';
  }
  return sound ? Fine : Negative;
}

std::string SettingsJson(const Settings& settings) {
  Json json;
  for (const auto& [name, value] : settings) json(Narrow(name), Narrow(value));
  return json.Text();
}

void PrintBase(Output& out, const Base& base) {
  const auto line = [&out](const char* name, const std::string& value) {
    if (!value.empty()) out << name << value << '\n';
  };
  line("name      ", base.name + (base.isDefault ? ", the default" : ""));
  line("file      ", base.file);
  line("state     ", base.valid ? "usable" : "not usable");
  if (base.data != nullptr) {
    line("data      ", Narrow(base.data->DataDir));
    line("temporary ", Narrow(base.data->TempDir));
    line("prefix    ", Narrow(Map().GetIndexPref(Wide(base.name))));
    for (const auto& [name, value] : base.data->Env)
      line("setting   ", Narrow(name) + " = \"" + Narrow(value) + '"');
  }
  line("errors    ", std::to_string(base.errors.size()));
  for (const std::string& error : base.errors) line("  ", error);
}

int Show(Session& session, const BaseOptions& options) {
  const Environment environment({}, Environment::Need::ListOnly);
  const Base base = Wanted(options.name, Registered());
  if (!session.json) {
    PrintBase(session.out, base);
  } else {
    Json json = base.ToJson();
    if (base.data != nullptr) {
      json("data", Narrow(base.data->DataDir))("temporary", Narrow(base.data->TempDir));
      json("prefix", Narrow(Map().GetIndexPref(Wide(base.name))));
      json.Raw("settings", SettingsJson(base.data->Env));
    }
    session.out << json.Text() << '\n';
  }
  return base.errors.empty() ? Fine : Negative;
}

int Dirs(Session& session, const BaseOptions& options) {
  const Environment environment({}, Environment::Need::ListOnly);
  const std::string name = options.name.empty() ? Default() : options.name;
  if (name.empty()) throw Failure("", "there is no default knowledge base");
  const Base base = Wanted(name, Registered());
  if (!base.valid) {
    throw Failure(name, base.errors.empty() ? "not usable" : base.errors.front());
  }
  constexpr std::pair<KBEnv::enDirCode, const char*> folders[] = {
      {KBEnv::DIR_TEMP, "temporary"},
      {KBEnv::DIR_DATA, "data"},
      {KBEnv::DIR_CONFIG, "config"},
      {KBEnv::DIR_BINARY, "binary"},
      {KBEnv::DIR_SOURCE, "source"},
      {KBEnv::DIR_AUXILIAR, "auxiliar"},
      {KBEnv::DIR_DUMP, "dump"},
      {KBEnv::DIR_COMPARE, "compare"},
      {KBEnv::DIR_REGRESSION, "regression"}};
  bool complete = true;
  for (const auto& [code, folder] : folders) {
    const std::string path = Narrow(Map().GetDir(code, Wide(name)));
    complete = complete && !path.empty();
    if (session.json) {
      session.out << Json("folder", folder)("path", path).Text() << '\n';
    } else {
      session.out << folder << '\t' << (path.empty() ? "-" : path) << '\n';
    }
  }
  return complete ? Fine : Negative;
}

// ---- add, remove, default ---------------------------------------------------------------------

// Makes a file known to the library and puts it among the values to be stored. Nothing, after a
// complaint, if it cannot be added.
std::optional<Base> AddOne(const std::string& file, Registered& registered) {
  std::error_code error;
  const std::string whole = std::filesystem::absolute(file, error).lexically_normal().string();
  const std::u16string path = Wide(whole);
  const std::u16string name = KBMap::FormKBNameFromPath(path);
  std::u16string words;
  if (!IsUtf8(whole)) {
    words = u"its name is not valid UTF-8";
  } else if (name.empty() || KBMap::KBIsLocal(name)) {
    words = u"no knowledge base can have this name";
  } else if (registered.File(Narrow(name)) != nullptr) {  // it may be one that could not be loaded
    words = u"База " + name + u" уже есть в списке";
  } else if (Map().LoadFromFile(path, words)) {
    registered.Set(Narrow(name), path);
    return Describe(Narrow(name), registered);
  }
  Complain(file, OneLine(words));
  return std::nullopt;
}

// A start wants a default: that in force, or else the first that will do, of those that are still
// listed. Empty words if there is one now.
std::string SettleDefault(Registered& registered) {
  std::vector<std::u16string> names;
  Map().GetKBArray(names, true);
  std::u16string words = u"no knowledge base is left that could be the default";
  const auto settled = [&] { return !Default().empty() && registered.Has(Default()); };
  for (const std::u16string& name : names)
    if (!settled() && registered.Has(Narrow(name))) Map().SetDefaultKB(name, words);
  if (!settled()) return OneLine(words);
  registered.Set("", Map().GetDefaultKB());
  return {};
}

int Add(Session& session, const BaseOptions& options) {
  const Environment environment({}, Environment::Need::ListOnly);
  Registered registered;
  std::vector<Base> added;
  registered.Change([&] {
    for (const std::string& file : options.files)
      if (auto base = AddOne(file, registered)) added.push_back(*std::move(base));
    if (added.empty() || !registered.Default().empty()) return !added.empty();
    const std::string words = SettleDefault(registered);
    if (!words.empty()) throw Failure("", words);
    return true;
  });
  if (added.empty()) return Failed;
  for (const Base& base : added) {
    if (session.json) {
      session.out << Describe(base.name, registered).ToJson().Text() << '\n';
      continue;
    }
    session.out << base.name << " added";
    if (!base.errors.empty()) session.out << ", with " << base.ErrorCount();
    session.out << '\n';
  }
  return added.size() == options.files.size() ? Fine : Negative;
}

int Remove(Session& session, const BaseOptions& options) {
  const Environment environment({}, Environment::Need::ListOnly);
  if (KBMap::KBIsLocal(Wide(options.name))) {
    throw Failure(options.name, "belongs to the library and stays");
  }
  Registered registered;
  std::string name;
  std::string complaint;
  bool moves = false;
  registered.Change([&] {
    const Base base = Wanted(options.name, registered);
    name = base.name;
    std::u16string words;
    if (base.data != nullptr && !(Map().*&Inner::RemoveKB)(Wide(name), words)) {
      throw Failure(name, OneLine(words) + " (the default cannot move; nothing is removed)");
    }
    registered.Erase(name);
    moves = registered.Default() == name;
    if (moves) {
      registered.Erase("");
      complaint = SettleDefault(registered);
    }
    return true;
  });
  if (session.json) {
    session.out << Json("removed", name)("default", registered.Default()).Text() << '\n';
  } else {
    session.out << name << " removed\n";
    if (moves && complaint.empty()) session.out << registered.Default() << " is the default now\n";
  }
  if (!complaint.empty()) Complain("", complaint);
  return complaint.empty() ? Fine : Negative;
}

int ChooseDefault(Session& session, const BaseOptions& options) {
  const Environment environment({}, Environment::Need::ListOnly);
  if (!options.name.empty()) {
    Registered registered;
    registered.Change([&] {
      const std::u16string chosen = Wide(registered.Listed(options.name));
      std::u16string words;
      if (!Map().SetDefaultKB(chosen, words)) throw Failure(options.name, OneLine(words));
      if (!registered.Has(Narrow(chosen))) throw Failure(options.name, NotListed);
      registered.Set("", chosen);
      return true;
    });
  }
  const std::string name = Default();
  if (session.json) {
    session.out << Json("default", name).Text() << '\n';
  } else if (!name.empty()) {
    session.out << name << '\n';
  }
  return name.empty() || (options.name.empty() && !environment.Started()) ? Negative : Fine;
}

}  // namespace

void AddBaseCommands(CLI::App& app, Session& session) {
  CLI::App* kb = app.add_subcommand("kb", "List, add, remove and look at knowledge bases");
  kb->require_subcommand(1);
  const auto options = std::make_shared<BaseOptions>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*command)(Session&, const BaseOptions&)) {
    CLI::App* chosen = AddCommand(*kb, session, name, description, examples);
    chosen->callback([&session, options, command] {
      session.run = [&session, options, command] { return command(session, *options); };
    });
    return chosen;
  };
  add("list", "List the knowledge bases, the default with a star", "", List);

  CLI::App* adding = add("add", "Add knowledge bases to the user's list",
                         "  kvor kb add ~/bases/english.kb\n", Add);
  adding->add_option("FILE", options->files, "Descriptions; each gives its base its name")
      ->required();

  CLI::App* removing =
      add("remove", "Take a knowledge base from the list; its files stay", "", Remove);
  removing->add_option("NAME", options->name, "The knowledge base")->required();

  CLI::App* choosing = add("default", "Tell the default knowledge base, or choose it",
                           "  kvor kb default english\n", ChooseDefault);
  choosing->add_option("NAME", options->name, "The new default");

  CLI::App* showing =
      add("show", "Tell what a description says, and what is wrong in it", "", Show);
  showing->add_option("NAME", options->name, "The knowledge base")->required();

  CLI::App* dirs =
      add("dirs", "Tell the folders of a knowledge base, making those made on demand", "", Dirs);
  dirs->add_option("NAME", options->name, "The knowledge base; the default one if not told");
}

}  // namespace kvor
