// Plug-ins: real shared libraries, loaded by the real library, through public headers alone.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <kvorlib/encoding.h>
#include <kvorlib/filehelpers.h>
#include <kvorlib/indexfile.h>
#include <kvorlib/knowledgebase.h>
#include <kvorlib/mapfactory.h>
#include <kvorlib/persistentmap.h>
#include <kvorlib/plugins.h>
#include <kvorlib/recordpool.h>

#include "support/tempfolder.h"

namespace {

std::string const Folder = U2A(GetExecPath(), 65001) + "/test-plugins/";

struct PluginTest : testing::Test {
  ~PluginTest() override { udbShutDown(); }

  static void NameFor(std::string const& scheme, std::string const& value) {
    std::u16string msg;
    std::string const text = "_Plugin=\"" + value + "\"\n";
    ASSERT_TRUE(KBEnv::GetKBMap()->LoadFromBuf(A2U(scheme), A2U(text, 65001), msg));
  }
  static bool Resident(std::string const& name) {
    void* const module = dlopen((Folder + name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module != nullptr) dlclose(module);
    return module != nullptr;
  }
  static IndexFile Created(char const* uri) {
    IndexFile file;
    EXPECT_TRUE(file.Create(uri, IndexFile::KD_TEXT0)) << uri;
    return file;
  }
  // "record|record|" of what the pool has left.
  static std::u16string Rest(RecordPool& pool) {
    std::u16string all, record, key;
    while (pool.GetNext(record, key)) all += record + u'|';
    return all;
  }

  TempFolder const folder;
};

TEST_F(PluginTest, KeyedFilesAreServedUnderTheSchemeOfTheKnowledgeBase) {
  NameFor("mem", "test-plugins/memory.so");
  NameFor("mem2", "..\\kvorlib\\test-plugins\\memory.so");
  IndexFile file = Created("mem://слова"), missing, stored;
  for (auto const* record : {u"кот cat", u"аист stork", u"як yak"}) EXPECT_TRUE(file.Put(record));
  EXPECT_FALSE(file.Put(std::u16string(u"кот tomcat")));
  EXPECT_EQ(file.GetState(), 1);
  EXPECT_TRUE(file.Update(std::u16string(u"кот tomcat")));
  RecordPool pool;
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"кот"), -1));
  EXPECT_EQ(Rest(pool), u"кот tomcat|як yak|") << "the key came with a zero at its end";
  EXPECT_TRUE(file.Find(DataTransfer("кот"))) << "and this one, too";
  EXPECT_TRUE(file.GetPool(pool) && file.Erase(std::u16string(u"аист")));
  EXPECT_EQ(Rest(pool), u"кот tomcat|як yak|");
  EXPECT_EQ(file.Get(std::u16string(u"аист")), u"");
  EXPECT_FALSE(file.CheckError()) << "not found is no failure";

  EXPECT_EQ(Created("mem2://слова").Size(), 0) << "another scheme, another factory";
  EXPECT_FALSE(missing.Open("mem://words", true));
  EXPECT_EQ(missing.GetIndHandle()->get_err_mess(), "No such table");
  EXPECT_TRUE(stored.Copy(("std://" + folder.Path("copy")).c_str(), "mem://слова",
                          IndexFile::KD_TEXT0, nullptr));
  EXPECT_EQ(stored.Size(), 2);
}

TEST_F(PluginTest, MapsEndBeforeTheirModuleAndCursorsKeepIt) {
  NameFor("mem", "test-plugins/memory.so");
  RecordPool pool, closed;
  IndexFile file = Created("mem://a");
  IndexFile const shared = file;
  ASSERT_TRUE(file.Put(std::u16string(u"a b")) && file.GetPool(pool) && file.GetPool(closed));
  Created("mem://b").GetPool(closed);
  udbShutDown();
  EXPECT_EQ(file.Get(std::u16string(u"a")), u"");
  EXPECT_FALSE(shared.IsValid() || pool.is_valid() || closed.is_valid());
  EXPECT_EQ(Rest(pool), u"");
  udbShutDown();
  EXPECT_TRUE(Resident("memory.so"));
  static_cast<void>(IndexFile::EmptyFile.GetPool(closed));
  udbShutDown();
  EXPECT_TRUE(Resident("memory.so")) << "one of two cursors is still there";
  static_cast<void>(IndexFile::EmptyFile.GetPool(pool));
  udbShutDown();
  EXPECT_FALSE(Resident("memory.so"));
  EXPECT_EQ(Created("mem://a").Size(), 0) << "loaded afresh";
  udbShutDown();
  EXPECT_FALSE(Resident("memory.so"));
}

TEST_F(PluginTest, NamedPluginThatCannotBeHadLeavesNoTraceAndNoStoreFile) {
  std::ofstream(Folder + "text.so") << "no library";
  std::pair<std::string, std::string> const cases[] = {
      {"a", "missing.so"},  {"b", "text.so"},   {"c", "library.so"},
      {"throws", "odd.so"}, {"null", "odd.so"}, {"full", Folder + "memory.so"}};
  for (auto const& [scheme, module] : cases) {
    NameFor(scheme, scheme == "full" ? module : "test-plugins/" + module);
    IndexFile file;
    std::string const uri = scheme + "://" + folder.Path("x");
    EXPECT_FALSE(file.Create(uri.c_str(), IndexFile::KD_TEXT0)) << scheme;
    EXPECT_EQ(file.GetIndHandle(), nullptr);
    EXPECT_FALSE(Resident(scheme == "full" ? "memory.so" : module)) << scheme;
    int length = 0;
    EXPECT_TRUE(IndexFile::SystemCommand(6, &length)) << "the chain is whole";
  }
  EXPECT_FALSE(std::filesystem::exists(folder.Path("x")));
  EXPECT_TRUE(Created(("unnamed://" + folder.Path("x")).c_str()).IsValid());
  EXPECT_TRUE(std::filesystem::exists(folder.Path("x"))) << "nobody named a plug-in";
}

TEST_F(PluginTest, ProcessThatEndsWithOpenMapsEndsThemBeforeTheModule) {
  EXPECT_EXIT(
      {
        for (auto const* scheme : {"one", "two"}) NameFor(scheme, "test-plugins/odd.so");
        static IndexFile file;
        if (file.Create("one://a", IndexFile::KD_TEXT0) && Created("two://b").IsValid())
          std::exit(0);
      },
      testing::ExitedWithCode(0), "^map map factory module $");
}

TEST_F(PluginTest, QueriesGoToTheFactoryOfThePrefix) {
  NameFor("mem", "test-plugins/memory.so");
  EXPECT_EQ(IndexFile::GetMaxRecLen(), 0xFFFFFF);
  EXPECT_EQ(IndexFile::GetMaxRecLen(u"mem://"), -1) << "not loaded yet";
  std::vector<ArchiveRecord> records;
  EXPECT_FALSE(IndexFile::GetArchiveRecords(u"a", records, u"mem://"));
  EXPECT_EQ(IndexFile::GetMaxRecLen(u"mem://"), 0xFFFFFF);
  std::string valid;
  for (int cmd = 0; cmd < 8; ++cmd) valid += IndexFile::IsValidCommand(cmd) ? 'y' : 'n';
  EXPECT_EQ(valid, "nyynnnyn");
}

TEST_F(PluginTest, FunctionsAreFoundBesideTheLibraryWhichIsLoadedOnce) {
  std::u16string error;
  void* const found = GetProcAddr(u"test-plugins/library.so", "CountCalls", error);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(found)(), 1);
  EXPECT_EQ(GetProcAddr(u"test-plugins/library.so", "CountCalls", error), found);
  EXPECT_EQ(error, u"");
  EXPECT_EQ(GetProcAddr(u"test-plugins/library.so", "Счёт", error), nullptr);
  EXPECT_EQ(error, u"Function Счёт could not be loaded");
  FreeDlls();
  EXPECT_FALSE(Resident("library.so"));
  EXPECT_EQ(GetProcAddr(u"нет.so", "f", error), nullptr);
  EXPECT_EQ(error, u"DLL нет.so could not be loaded");
}

}  // namespace
