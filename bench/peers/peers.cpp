// The list of engines. A peer whose library was not found at configuration is left out with a word.
#include "peers/peers.h"

namespace bench {

std::vector<Contender> Contenders([[maybe_unused]] std::vector<std::string>& absent) {
  std::vector<Contender> list;
  AddStore(list);
  AddIndexFile(list);
#ifdef BENCH_HAS_LMDB
  AddLmdb(list);
#else
  absent.emplace_back("LMDB (liblmdb-dev)");
#endif
#ifdef BENCH_HAS_SQLITE
  AddSqlite(list);
#else
  absent.emplace_back("SQLite (libsqlite3-dev)");
#endif
#ifdef BENCH_HAS_BERKELEYDB
  AddBerkeleyDb(list);
#else
  absent.emplace_back("Berkeley DB (libdb-dev)");
#endif
#ifdef BENCH_HAS_GDBM
  AddGdbm(list);
#else
  absent.emplace_back("GDBM (libgdbm-dev)");
#endif
#ifdef BENCH_HAS_KYOTOCABINET
  AddKyotoCabinet(list);
#else
  absent.emplace_back("Kyoto Cabinet (libkyotocabinet-dev)");
#endif
#ifdef BENCH_HAS_TKRZW
  AddTkrzw(list);
#else
  absent.emplace_back("tkrzw (libtkrzw-dev)");
#endif
  return list;
}

}  // namespace bench
