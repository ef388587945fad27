// kvor store get, list, del: commands about single records.
#include <limits>
#include <memory>
#include <vector>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "kvorlib/recordpool.h"
#include "terminal.h"

namespace kvor {
namespace {

struct RecordOptions {
  std::string file;
  std::vector<std::string> keys;
  std::string from;
  std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
  bool keysOnly = false;
  bool hex = false;
};

void AddKey(Json& json, const TextForm& form, const std::string& key) {
  if (form.InHex()) {
    json("keyHex", form.KeyText(key));
  } else if (form.IsNumber() && key.size() == 4) {
    json.Raw("key", form.KeyText(key));
  } else {
    json("key", key);
  }
}

void AddRecord(Json& json, const TextForm& form, const std::string& record) {
  json("size", record.size())(form.InHex() ? "recordHex" : "record", form.ToLine(record));
}

// The key of a record that has just been read. A record of the file always has one.
std::string KeyOf(KeyedFile& file, const DataTransfer& record) {
  DataTransfer key;
  file.Index().ExtractKey(record, key);
  return BytesOf(key);
}

void ComplainOfKey(const std::string& file, const std::string& key, const std::string& reason) {
  Complain(file, key + ": " + reason);
}

int Get(Session& session, const RecordOptions& options) {
  KeyedFile file(options.file, KeyedFile::Access::Read);
  const TextForm form = file.Form(options.hex);
  int code = Fine;
  DataTransfer data;
  for (const std::string& text : options.keys) {
    const std::string key = KeyFrom(form, text, options.file);
    std::string reason = "absent";
    const bool found = file.Get(key, data, reason) == KeyedFile::Answer::Yes;
    if (!found) {
      session.out.Flush();
      ComplainOfKey(options.file, text, reason);
      code = Negative;
    }
    if (session.json) {
      Json json;
      AddKey(json, form, found ? KeyOf(file, data) : key);
      json("found", found);
      if (found) AddRecord(json, form, BytesOf(data));
      session.out << json.Text() << '\n';
    } else if (found) {
      session.out << form.ToLine(BytesOf(data)) << '\n';
    }
  }
  return code;
}

int Delete(Session& session, const RecordOptions& options) {
  KeyedFile file(options.file, KeyedFile::Access::Write);
  const TextForm form = file.Form(options.hex);
  const InterruptScope calm;
  int code = Fine;
  for (const std::string& text : options.keys) {
    if (InterruptScope::Requested()) throw Failure(options.file, "interrupted before " + text);
    const std::string key = KeyFrom(form, text, options.file);
    std::string reason = "absent";
    const bool erased = file.Erase(key, reason) == KeyedFile::Answer::Yes;
    if (!erased) {
      ComplainOfKey(options.file, text, reason);
      code = Negative;
    }
    if (session.json) {
      Json json;
      AddKey(json, form, key);
      session.out << json("deleted", erased).Text() << '\n';
    }
  }
  return code;
}

void PrintListed(Session& session, const RecordOptions& options, const TextForm& form,
                 const std::string& key, const std::string& record) {
  if (session.json) {
    Json json;
    AddKey(json, form, key);
    if (!options.keysOnly) AddRecord(json, form, record);
    session.out << json.Text() << '\n';
  } else {
    session.out << (options.keysOnly ? form.KeyText(key) : form.ToLine(record)) << '\n';
  }
}

int List(Session& session, const RecordOptions& options) {
  KeyedFile file(options.file, KeyedFile::Access::Read);
  const TextForm form = file.Form(options.hex);
  DataTransfer from;
  if (!options.from.empty()) {
    const std::string key = KeyFrom(form, options.from, options.file);
    from.SetData(key.data(), static_cast<int>(key.size()));
  }
  RecordPool pool;
  if (!file.Index().GetPool(pool, from, -1)) file.Fail();
  file.FailOnError();
  for (std::uint64_t n = 0; n < options.limit; ++n) {
    DataTransfer key;
    DataTransfer record;
    if (!pool.GetNext(key, record)) break;
    // The pool has read on already: a failure is about the record behind this one.
    PrintListed(session, options, form, BytesOf(key), BytesOf(record));
    if (n + 1 < options.limit) file.FailOnError();
  }
  return Fine;
}

}  // namespace

void AddRecordCommands(CLI::App& store, Session& session) {
  const auto options = std::make_shared<RecordOptions>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*command)(Session&, const RecordOptions&)) {
    CLI::App* app = AddCommand(store, session, name, description, examples);
    app->add_option("FILE", options->file, "The store file")->required();
    app->add_flag("--hex", options->hex, "Keys and records are bytes in hexadecimal");
    app->callback([&session, options, command] {
      session.run = [&session, options, command] { return command(session, *options); };
    });
    return app;
  };
  CLI::App* get = add("get", "Print the records with these keys",
                      "  kvor store get words.kv cat dog\n"
                      "  kvor store get numbers.kv 17 -5\n",
                      Get);
  get->add_option("KEY", options->keys, "Keys; behind -- they may begin with a dash")->required();

  CLI::App* list = add("list", "Print all records in the order of their keys",
                       "  kvor store list words.kv --from ca --limit 20\n"
                       "  kvor store list words.kv --keys\n"
                       "  kvor store list words.kv --hex > words.hex   (loses nothing: see load)\n",
                       List);
  list->add_option("--from", options->from, "Begin with the first key that is not below KEY")
      ->type_name("KEY");
  AddLimitOption(*list, options->limit);
  list->add_flag("--keys", options->keysOnly, "Print the keys alone");

  CLI::App* del = add("del", "Delete the records with these keys",
                      "  kvor store del words.kv cat dog\n", Delete);
  del->add_option("KEY", options->keys, "Keys; behind -- they may begin with a dash")->required();
}

}  // namespace kvor
