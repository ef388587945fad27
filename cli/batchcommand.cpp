// kvor store batch: a script of operations in one process, one command and one answer a line.
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <utility>

#include "commands.h"
#include "json.h"
#include "keyedfile.h"
#include "kvorlib/recordpool.h"
#include "linereader.h"
#include "terminal.h"

namespace kvor {
namespace {

struct BatchOptions {
  std::string file;
  std::string script = "-";
  bool hex = false;
};

// The answer to one command: a word, and what belongs to it.
struct Reply {
  std::string_view word;
  std::string text;  // the record, the number, or what is wrong
  std::string key;   // of the record; only with --hex
};

std::uint32_t SumOf(const std::string& bytes) {
  std::uint32_t sum = 0;
  for (const char c : bytes) sum += static_cast<std::uint8_t>(c);
  return sum;
}

class Batch {
 public:
  Batch(Session& theSession, const BatchOptions& options)
      : session(theSession),
        file(options.file, KeyedFile::Access::Write),
        form(file.Form(options.hex)) {}

  // Carries out one line and prints its answer.
  void Do(const std::string& line);
  bool Failed() const { return failed; }

 private:
  Reply Execute(std::string_view name, const std::string& argument);
  Reply Put(const std::string& argument, bool replace);
  Reply Get(const std::string& argument);
  Reply From(const std::string& argument);
  Reply Next();
  Reply Rewind();
  Reply Delete(const std::string& argument);
  Reply Count();
  // The record's reply: its text, or its length and checksum.
  Reply Record(const DataTransfer& record) const;
  static Reply Of(KeyedFile::Answer answer, std::string_view no, std::string reason);
  void Print(const Reply& reply);

  Session& session;
  KeyedFile file;
  TextForm form;
  RecordPool pool;
  bool walking = false;
  std::string brokenOff;  // why the walk ended before its time
  bool failed = false;
  DataTransfer data;
};

Reply Batch::Of(KeyedFile::Answer answer, std::string_view no, std::string reason) {
  switch (answer) {
    case KeyedFile::Answer::Yes:
      return {"ok", {}, {}};
    case KeyedFile::Answer::No:
      return {no, {}, {}};
    default:
      return {"error", std::move(reason), {}};
  }
}

Reply Batch::Put(const std::string& argument, bool replace) {
  std::string record;
  std::string reason;
  if (!form.ToRecord(argument, record, reason)) return {"error", reason, {}};
  const auto answer = file.Put(record, replace, reason);
  return Of(answer, "exists", reason);
}

Reply Batch::Record(const DataTransfer& record) const {
  const std::string bytes = BytesOf(record);
  if (!form.InHex()) return {"ok", form.ToLine(bytes), {}};
  std::array<char, 16> sum{};
  std::snprintf(sum.data(), sum.size(), "%08x", SumOf(bytes));
  return {"ok", std::to_string(bytes.size()) + ' ' + sum.data(), {}};
}

Reply Batch::Get(const std::string& argument) {
  std::string key;
  std::string reason;
  if (!form.ToKey(argument, key, reason)) return {"error", reason, {}};
  const auto answer = file.Get(key, data, reason);
  return answer == KeyedFile::Answer::Yes ? Record(data) : Of(answer, "absent", reason);
}

Reply Batch::Delete(const std::string& argument) {
  std::string key;
  std::string reason;
  if (!form.ToKey(argument, key, reason)) return {"error", reason, {}};
  const auto answer = file.Erase(key, reason);
  return Of(answer, "absent", reason);
}

Reply Batch::Rewind() {
  brokenOff.clear();
  walking = file.Index().GetPool(pool);
  file.FailOnError();
  return {"ok", {}, {}};
}

Reply Batch::From(const std::string& argument) {
  std::string key;
  std::string reason;
  if (!form.ToKey(argument, key, reason)) return {"error", reason, {}};
  brokenOff.clear();
  walking = file.Index().GetPool(pool, DataTransfer(key.data(), static_cast<int>(key.size())), -1);
  if (file.Index().CheckError()) return {"error", file.Words(), {}};
  return {"ok", {}, {}};
}

Reply Batch::Next() {
  if (!walking) Rewind();
  DataTransfer key;
  if (!pool.GetNext(key, data)) {
    if (brokenOff.empty()) return {"end", {}, {}};
    return {"error", std::exchange(brokenOff, {}), {}};
  }
  // The walk reads one record ahead. If that one failed, this one is still good.
  if (pool.empty() && file.Index().CheckError()) brokenOff = file.Words();
  Reply reply = Record(data);
  if (form.InHex()) reply.key = form.KeyText(BytesOf(key));
  return reply;
}

Reply Batch::Count() {
  const long count = file.Index().Size();
  if (count < 0) return {"error", file.Words(), {}};
  return {"ok", std::to_string(count), {}};
}

Reply Batch::Execute(std::string_view name, const std::string& argument) {
  try {
    if (name == "put") return Put(argument, false);
    if (name == "replace") return Put(argument, true);
    if (name == "get") return Get(argument);
    if (name == "next") return Next();
    if (name == "rewind") return Rewind();
    if (name == "from") return From(argument);
    if (name == "del") return Delete(argument);
    if (name == "count") return Count();
  } catch (const Failure& failure) {
    return {"error", failure.what(), {}};
  }
  return {"error", "unknown command", {}};
}

void Batch::Print(const Reply& reply) {
  if (session.json) {
    Json json("answer", reply.word);
    if (reply.word == "error") {
      json("words", reply.text);
    } else if (!reply.text.empty()) {
      json("text", reply.text);
    }
    if (!reply.key.empty()) json("keyHex", reply.key);
    session.out << json.Text() << '\n';
    return;
  }
  session.out << reply.word;
  if (!reply.key.empty()) session.out << ' ' << reply.key;
  if (!reply.text.empty()) session.out << ' ' << reply.text;
  session.out << '\n';
}

void Batch::Do(const std::string& line) {
  if (line.empty() || line[0] == '#') return;
  const std::size_t blank = line.find(' ');
  const std::string_view name = std::string_view(line).substr(0, blank);
  const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
  const Reply reply = Execute(name, argument);
  failed = failed || reply.word == "error";
  Print(reply);
}

int RunBatch(Session& session, const BatchOptions& options) {
  LineReader script(options.script);
  Batch batch(session, options);
  const InterruptScope calm;
  std::string line;
  while (!InterruptScope::Requested() && script.Next(line, session.out)) batch.Do(line);
  if (InterruptScope::Requested()) throw Failure(options.file, "interrupted");
  return batch.Failed() ? Negative : Fine;
}

}  // namespace

void AddBatchCommand(CLI::App& store, Session& session) {
  const auto options = std::make_shared<BatchOptions>();
  CLI::App* batch = AddCommand(
      store, session, "batch", "Carry out a script: one command a line, one answer a line",
      "  printf 'put cat a small animal\\nget cat\\ncount\\n' | kvor store batch words.kv\n"
      "\n"
      "Commands and their answers:\n"
      "  put RECORD       ok | exists            next        ok RECORD | end\n"
      "  replace RECORD   ok                     rewind      ok\n"
      "  get KEY          ok RECORD | absent     from KEY    ok\n"
      "  del KEY          ok | absent            count       ok NUMBER\n"
      "or `error WORDS`. Empty lines and lines that begin with # have no answer. With --hex the\n"
      "answer of get is `ok LENGTH CHECKSUM`, that of next `ok KEY LENGTH CHECKSUM`.\n"
      "Exit code 1 if an answer was an error; absent, exists and end are none.\n");
  batch->add_option("FILE", options->file, "The store file")->required();
  batch->add_option("SCRIPT", options->script,
                    "A file of commands, or - for standard input (the default)");
  batch->add_flag("--hex", options->hex, "Records and keys are bytes in hexadecimal");
  batch->callback([&session, options] {
    session.run = [&session, options] { return RunBatch(session, *options); };
  });
}

}  // namespace kvor
