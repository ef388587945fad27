// One function for each engine: it adds the engine's contenders to the list.
#pragma once

#include <vector>

#include "engine.h"

namespace bench {

void AddStore(std::vector<Contender>& list);      // our store through its plain functions
void AddIndexFile(std::vector<Contender>& list);  // our store as callers of the library see it
void AddLmdb(std::vector<Contender>& list);
void AddBerkeleyDb(std::vector<Contender>& list);
void AddGdbm(std::vector<Contender>& list);
void AddSqlite(std::vector<Contender>& list);
void AddKyotoCabinet(std::vector<Contender>& list);
void AddTkrzw(std::vector<Contender>& list);

}  // namespace bench
