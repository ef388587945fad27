// A disk that is full for a while: what was said before is in the files, what is said then is told
// to be lost, and all goes on when there is room again.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include "kvorlib/encoding.h"
#include "kvorlib/errorfile.h"
#include "kvorlib/loghtml.h"
#include "kvorlib/tables.h"
#include "kvorlib/textbuffer.h"
#include "support/tempfolder.h"

namespace {

// Files take no more than this many bytes as long as it lives.
class LittleRoom {
 public:
  explicit LittleRoom(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit = {bytes, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~LittleRoom() {
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
  }
  LittleRoom(const LittleRoom&) = delete;
  LittleRoom& operator=(const LittleRoom&) = delete;

 private:
  rlimit former{};
  void (*handler)(int);
};

struct FullDisk : testing::Test {
  std::u16string Name(const char* name) const { return A2U(folder.Path(name), 65001); }
  const TempFolder folder;
};

TEST_F(FullDisk, LogKeepsWhatItTookAndTakesMoreWhenThereIsRoom) {
  std::u16string expected = u"\uFEFF";
  LogHTML log;
  ASSERT_TRUE(log.OpenLog(Name("run"), false, 'S', nullptr));
  for (const rlim_t bytes : {rlim_t{1001}, rlim_t{2001}}) {
    const LittleRoom room(bytes);  // it ends in the middle of a character
    for (int i = 0; i < 200; ++i) LogStringMessage(MC_ALWAYS, u"кот");
    const std::size_t had = expected.size();
    while (expected.size() < bytes / 2) expected += u"кот"[(expected.size() - had) % 3];
  }
  LogStringMessage(MC_ALWAYS, u"!");
  log.CloseLog();
  LoadText<char16_t> text;
  ASSERT_TRUE(text.Load(Name("run.txt").c_str(), nullptr));
  const std::u16string read(text.GetText(), static_cast<std::size_t>(text.GetTextLen()));
  EXPECT_TRUE(read == expected.substr(1) + u"!") << read.size();
}

TEST_F(FullDisk, DiagnosticsAndTablesAreSaidToBeLostAndAreSavedWhenThereIsRoom) {
  PermanentErrProc errors;
  TableBuf table;
  for (int i = 0; i < 300; ++i) {
    errors.ProcError(ErrData::ERR_ERROR, u"message", u"name", i, -1, -1);
    table.AddLine({u"cell", u"another cell"});
  }
  TableBuf again = table;  // a table is saved once
  {
    const LittleRoom room(4096);
    EXPECT_THROW(errors.SaveDataToDisk(Name("e")), std::runtime_error);
    EXPECT_FALSE(table.SaveTable(Name("t")));
  }
  EXPECT_TRUE(errors.SaveDataToDisk(Name("e")) && again.SaveTable(Name("t")));
  PermanentErrProc back;
  EXPECT_TRUE(back.ReadDataFromDisk(Name("e")));
  EXPECT_EQ(back.GetENum(), 300U);
  EXPECT_EQ(std::filesystem::file_size(folder.Path("t")),
            2 + 300 * 2 * std::size("cell another cell\r"));
}

}  // namespace
