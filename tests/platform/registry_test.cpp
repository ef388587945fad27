// The registry: any text, many processes, damaged files, and what a person has written in the file.
#include "platform/registry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <map>
#include <set>

#include "platform/child.h"
#include "support/tempfolder.h"

namespace platform {
namespace {

using Key = std::unique_ptr<RegistryKey>;
using Error = RegistryError;

constexpr Hive User = Hive::CurrentUser;
const std::u16string Path = u"Software\\Kvor-3\\KBase";
const std::string HiveFile = "Конфиг 🙂/kvor/registry";

struct RegistryTest : testing::Test {
  RegistryTest() { setenv("XDG_CONFIG_HOME", home.Path("Конфиг 🙂").c_str(), 1); }
  ~RegistryTest() override { unsetenv("XDG_CONFIG_HOME"); }

  static Key Created(const std::u16string& path = Path) {
    Key key;
    const RegistryAnswer answer = CreateRegistryKey(User, path, key);
    EXPECT_TRUE(answer) << answer.words;
    return key;
  }
  static Error Opened(const std::u16string& path = Path,
                      RegistryAccess access = RegistryAccess::ReadWrite) {
    Key key;
    return OpenRegistryKey(User, path, access, key).error;
  }
  // The values by name.
  static std::map<std::u16string, std::u16string> Values(RegistryKey& key) {
    RegistryValues values;
    EXPECT_TRUE(key.Read(values));
    return {values.begin(), values.end()};
  }
  const TempFolder home;
};

TEST_F(RegistryTest, TextsOfAnyContentComeBackAsKeysNamesAndValues) {
  std::set<std::u16string> texts = {std::u16string(u"\0z\0", 3), std::u16string(100, u'\xD800')};
  for (const auto* text :
       {u"", u" ", u"word", u"a=b", u"[x]", u"\"", u"\\", u"\\\\", u"\\n", u"\n", u"\r\n", u"\t#",
        u"# c", u"Слово", u"😀", u"\xD83D", u"\xDE00\xD83D", u"\xFEFF\xFFFF\x2028", u"= \"\""})
    texts.insert(text);
  const auto valuesOf = [&](const std::u16string& text) {
    std::map<std::u16string, std::u16string> values;
    for (const auto& name : texts) values[name] = text + name;
    return values;
  };
  for (const auto& text : texts) {
    const auto values = valuesOf(text);
    ASSERT_TRUE(ReplaceRegistryKey(User, text, {values.begin(), values.end()}));
  }
  for (const auto& text : texts) EXPECT_EQ(Values(*Created(text)), valuesOf(text));
  EXPECT_NE(home.Read(HiveFile).find("\n\"Слово\" = \"😀Слово\"\n"), std::string::npos);
}

TEST_F(RegistryTest, FailuresAreToldApart) {
  EXPECT_EQ(Opened(), Error::NotThere) << "no folder yet";
  const Key key = Created();
  EXPECT_EQ(Opened(u"Software"), Error::None) << "the key above another is there";
  EXPECT_EQ(Opened(u"Soft"), Error::NotThere);
  Key reader;
  ASSERT_TRUE(OpenRegistryKey(User, Path, RegistryAccess::Read, reader));
  EXPECT_EQ(reader->Write(u"", u"x").error, Error::NoAccess);
  EXPECT_EQ(DeleteRegistryKey(User, u"Software").error, Error::NoAccess) << "a key lies below";

  EXPECT_TRUE(DeleteRegistryKey(User, Path));
  EXPECT_EQ(key->Write(u"", u"x").error, Error::NotThere) << "the key was deleted while open";
  RegistryValues values = {{u"a", u""}};
  EXPECT_EQ(key->Read(values).error, Error::NotThere);
  EXPECT_EQ(DeleteRegistryKey(User, Path).error, Error::NotThere);
  EXPECT_TRUE(key->Close());
  EXPECT_EQ(key->Read(values).error, Error::Failed);
  EXPECT_EQ(values.size(), 1U) << "left alone";
}

TEST_F(RegistryTest, WhoMayNotReadOrWriteIsToldSo) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can become somebody else";
  Created();
  const auto asNobody = [&](mode_t mode, const std::function<Error()>& call) {
    chmod(RegistryPlace(User).c_str(), mode);
    const Child child([&](const auto& say) {
      if (seteuid(65534) == 0) say(static_cast<char>('A' + static_cast<int>(call())));
    });
    return static_cast<Error>(child.Hear() - 'A');
  };
  for (const char* one : {"", "/Конфиг 🙂", "/Конфиг 🙂/kvor"})
    chmod((home.Path() + one).c_str(), 0755);
  const auto read = [] { return Opened(Path, RegistryAccess::Read); };
  EXPECT_EQ(asNobody(0600, read), Error::NoAccess);
  EXPECT_EQ(asNobody(0644, read), Error::None);
  EXPECT_EQ(asNobody(0666, [] { return Opened(); }), Error::NoAccess) << "the folder is not his";
  EXPECT_EQ(asNobody(0666, [] { return DeleteRegistryKey(User, Path).error; }), Error::NoAccess);
}

TEST_F(RegistryTest, DamagedFileIsNamedByItsLineAndNeverChanged) {
  const std::string head = "format = 1\n[\"k\"]\n";
  const std::pair<std::string, std::string> damaged[] = {
      {"", "not told"},
      {"[\"k\"]\n", "line 1: the format is not told"},
      {"# c\nformat = 2\n[\"k\"]\nnew thing\n", "line 2: a format that only later versions"},
      {"format = 1\n\"a\" = \"b\"\n", "line 2: a value of no key"},
      {head + "\"a\" = \"b", "line 3: no whole value"},
      {head + "\"a\" = \"\\u12\"", "line 3: no whole value"},
      {head + "\"a\" = \"b\" \"c\"", "line 3: something stands behind"},
      {head + "a = \"b\"", "line 3: neither"},
      {head + "\"a\" = \"b\"\n\"A\" = \"c\"\n", "line 4: the same name"},
      {head + "[\"K\"]\n", "line 3: the same name"},
      {head + "\"a\" = \"\xFF\"\n", "line 3: not UTF-8"},
      {head + std::string(1, '\0'), "line 3: neither"},
  };
  Created();
  for (const auto& [text, words] : damaged) {
    home.Write(HiveFile, text);
    Key key;
    for (const RegistryAnswer& answer :
         {OpenRegistryKey(User, u"k", RegistryAccess::Read, key),
          CreateRegistryKey(User, u"k", key), DeleteRegistryKey(User, u"k")}) {
      EXPECT_EQ(answer.error, Error::Broken) << text;
      EXPECT_NE(answer.words.find(words), std::string::npos) << answer.words;
      EXPECT_TRUE(answer.words.starts_with(RegistryPlace(User))) << answer.words;
    }
    EXPECT_EQ(home.Read(HiveFile), text);
  }
  unlink(RegistryPlace(User).c_str());
  mkdir(RegistryPlace(User).c_str(), 0700);
  EXPECT_EQ(Opened(), Error::Broken) << "a folder in its place";
}

TEST_F(RegistryTest, ChangesLeaveNamesInTheirCaseTheLinesOfAPersonAndALinkInPlace) {
  Created();
  home.Write(HiveFile,
             "# mine\r\n  format=1\r\n\n [ \"K\" ]\r\n# one\n\t\"Ёж\"=\"1\"\n\n# next\n[\"L\"]\n");
  const std::string real = home.Path("dotfile");
  rename(RegistryPlace(User).c_str(), real.c_str());
  chmod(real.c_str(), 0640);
  ASSERT_EQ(symlink(real.c_str(), RegistryPlace(User).c_str()), 0);
  const Key key = Created(u"k");
  ASSERT_TRUE(key->Write(u"b", u"2"));
  ASSERT_TRUE(key->Write(u"ёЖ", u"3"));
  ASSERT_TRUE(DeleteRegistryKey(User, u"l"));
  ASSERT_TRUE(ReplaceRegistryKey(User, u"M", {{u"c", u"4"}}));
  EXPECT_EQ(home.Read(HiveFile),
            "# mine\r\n  format=1\r\n\n [ \"K\" ]\r\n# one\n\"Ёж\" = \"3\"\n\"b\" = \"2\"\n\n"
            "# next\n\n[\"M\"]\n\"c\" = \"4\"\n");
  struct stat status = {};
  ASSERT_EQ(lstat(RegistryPlace(User).c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  ASSERT_EQ(stat(real.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(RegistryTest, ProcessesThatChangeValuesAtOnceLoseNothingWhileOthersRead) {
  const Key key = Created();
  std::unique_ptr<Child> writers[4];
  char letter = 'a';
  for (auto& writer : writers) {
    writer = std::make_unique<Child>([&, own = letter++](const auto& say) {
      for (int i = 0; i < 25; ++i) {
        const std::u16string name(static_cast<std::size_t>(i + 1), static_cast<char16_t>(own));
        if (!Created()->Write(name, name)) return;
      }
      say('y');
    });
  }
  std::unique_ptr<Child> doomed = std::make_unique<Child>([&](const auto& say) {
    say('y');
    while (Created()->Write(u"doomed", u"x")) static_cast<void>(DeleteRegistryKey(User, u"other"));
  });
  EXPECT_EQ(doomed->Hear(), 'y');
  for (int i = 0; i < 50; ++i) EXPECT_LE(Values(*key).size(), 101U);
  doomed = nullptr;  // killed, lock and all
  for (const auto& writer : writers) EXPECT_EQ(writer->Hear(), 'y');
  const auto values = Values(*key);
  EXPECT_EQ(values.size(), 100U + values.count(u"doomed"));
}

TEST_F(RegistryTest, WriteThatFindsNoRoomLeavesWhatWasThere) {
  const Key key = Created();
  ASSERT_TRUE(key->Write(u"a", u"1"));
  const std::string before = home.Read(HiveFile);
  const Child child([&](const auto& say) {
    const struct rlimit limit = {200, 200};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    say(key->Write(u"a", std::u16string(400, u'x')).error == Error::Failed ? 'y' : 'n');
  });
  EXPECT_EQ(child.Hear(), 'y');
  EXPECT_EQ(home.Read(HiveFile), before);
  EXPECT_EQ(access((RegistryPlace(User) + ".new").c_str(), F_OK), -1);
}

}  // namespace
}  // namespace platform
