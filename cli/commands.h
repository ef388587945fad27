// The commands: each adds itself to the command line and runs when it is chosen.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>

#include "output.h"

namespace kvor {

// What all commands share. `run` is set by the chosen command and gives the exit code.
struct Session {
  Output out;
  bool json = false;
  std::function<int()> run;
};

void AddFileCommands(CLI::App& store, Session& session);    // create, stat, clear, upgrade, copy
void AddRecordCommands(CLI::App& store, Session& session);  // get, list, del
void AddLoadCommand(CLI::App& store, Session& session);     // load
void AddBatchCommand(CLI::App& store, Session& session);    // batch
void AddRescueCommands(CLI::App& store, Session& session);  // check, salvage, compact

void AddBaseCommands(CLI::App& app, Session& session);  // kb
void AddTermCommands(CLI::App& app, Session& session);  // term
void AddDictCommands(CLI::App& app, Session& session);  // dict
// import, export, list, under `dict`
void AddDictTableCommands(CLI::App& dict, Session& session);

void AddTextCommands(CLI::App& app, Session& session);      // text
void AddTableCommand(CLI::App& app, Session& session);      // table
void AddXmlCommands(CLI::App& app, Session& session);       // xml
void AddErrorCommands(CLI::App& app, Session& session);     // errors
void AddDigestCommand(CLI::App& app, Session& session);     // md5
void AddLanguageCommands(CLI::App& app, Session& session);  // translit, detranslit, lexem, lang
void AddCondCommand(CLI::App& app, Session& session);       // cond
void AddLogCommand(CLI::App& app, Session& session);        // log

// A command under `store` or another group with its --json and a footer of examples.
CLI::App* AddCommand(CLI::App& store, Session& session, const std::string& name,
                     const std::string& description, const std::string& examples);

// The option --key N.
CLI::Option* AddLayoutOption(CLI::App& command, int& layout);

// The option --limit N.
void AddLimitOption(CLI::App& command, std::uint64_t& limit);

}  // namespace kvor
