// The logger's filter, the free functions past it, the file sinks, and the host's callbacks.
#include "kvorlib/messages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

#include "support/tempfolder.h"
#include "util/wideformat.h"

namespace {

struct Recorder : LogWriter {
  bool Write(const std::u16string& text) override {
    said += u"[" + text + u"]";
    return answer;
  }
  bool vsWrite(const char16_t* format, va_list& args) override {
    return Write(u"%" + util::FormatWide(format, args));
  }
  std::u16string said;
  bool answer = true;
};

// Leaves no logger and no code page behind.
struct MessLoggerTest : testing::Test, protected TempFolder {
  ~MessLoggerTest() override {
    MessLogger::SetMessLogger(nullptr);
    SetLogCP(-1);
    SetCP(0);
  }
  // The units of the log file; a byte too many shows as '!'.
  std::u16string Logged() const {
    const std::string bytes = Read("Журнал 🗒");
    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), bytes.size() & ~std::size_t{1});
    return bytes.size() % 2 == 0 ? units : units + u'!';
  }

  const std::u16string file = Wide("Журнал 🗒");
  Recorder sink;
};

TEST_F(MessLoggerTest, ModeDecidesWhichClassesPass) {
  MessLogger::SetLogMode('M');
  EXPECT_EQ(GetLogMode(), 'N') << "nobody is there";
  MessLogger logger(&sink);
  MessLogger::SetMessLogger(&logger);
  for (const char mode : {'N', 'S', 'M'}) {
    MessLogger::SetLogMode(mode);
    EXPECT_EQ(GetLogMode(), mode);
    for (const char16_t digit : {u'0', u'1', u'2', u'3'})
      EXPECT_TRUE(logger.LogStringMessage(static_cast<enMessageClass>(digit - u'0'), {digit}));
  }
  EXPECT_EQ(sink.said, u"[0][3][0][1][3][0][1][2][3]");

  logger.SetLogWriter(nullptr);
  EXPECT_EQ(MessLogger::GetMessLogger(), &logger);
  EXPECT_EQ(MessLogger::GetMessLogger(MC_ALWAYS), nullptr);
  EXPECT_TRUE(logger.LogMessage(MC_ALWAYS, u"%d", 1));
}

TEST_F(MessLoggerTest, FreeFunctionsGoToTheSinkPastTheLogger) {
  struct Deaf : MessLogger {
    using MessLogger::MessLogger;
    bool LogMessage(enMessageClass, const char16_t*, ...) override { return false; }
    bool LogStringMessage(enMessageClass, const std::u16string&) override { return false; }
  };
  LogMessage(MC_ALWAYS, "nobody is there");
  Deaf logger(&sink, 'S');
  MessLogger::SetMessLogger(&logger);
  LogMessage(MC_LOG, u"%d%%", 5);
  LogMessage(MC_LOG, "%d%%\n", 6);
  LogStringMessage(MC_LOG, u"100%\n");
  LogStringMessage(MC_LOG, "a\nb\r\n");
  LogMessage(MC_DETAIL, u"never");
  EXPECT_EQ(sink.said, u"[%5%][6%\r\n][100%\n][a\r\nb\r\n]");

  sink.answer = false;
  EXPECT_FALSE(logger.MessLogger::LogMessage(MC_LOG, u"%d", 7)) << "the writer's answer";
  EXPECT_TRUE(logger.MessLogger::LogMessage(MC_DETAIL, u"%d", 8)) << "filtered";
}

TEST_F(MessLoggerTest, NarrowTextsAreUtf8UntilToldOtherwiseAndBounded) {
  MessLogger logger(&sink);
  MessLogger::SetMessLogger(&logger);
  SetCP(866);
  LogMessage(MC_ALWAYS, "%s", "да");
  SetLogCP(1251);
  LogMessage(MC_ALWAYS, "%s", "\xE4\xE0");
  LogStringMessage(MC_ALWAYS, "\xE4\xE0");
  EXPECT_EQ(sink.said, u"[да][да][да]");
  LogMessage(MC_ALWAYS, "%s", std::string(20'000, 'x').c_str());
  EXPECT_EQ(sink.said.size(), 12 + 8191U + 2);
}

TEST_F(MessLoggerTest, FileTakesAMarkInEveryModeAndEverythingAtOnce) {
  FileLogWriter writer;
  MessLogger logger(&writer);
  EXPECT_EQ(writer.CloseLog(), u"");
  EXPECT_FALSE(writer.Write(u"nowhere") || logger.LogMessage(MC_ALWAYS, u"%d", 1));

  ASSERT_TRUE(writer.OpenLog(file, u"wb"));
  EXPECT_EQ(Logged(), u"\uFEFF");
  EXPECT_TRUE(writer.Write(u"один\n") && logger.LogMessage(MC_ALWAYS, u"%s %d", u"🗒", 2));
  EXPECT_EQ(Logged(), u"\uFEFFодин\n🗒 2");
  EXPECT_EQ(writer.CloseLog(), file);
  EXPECT_EQ(writer.CloseLog(), u"");
  EXPECT_TRUE(writer.OpenLog(file, u"a+b") && writer.Write(u"."));
  EXPECT_EQ(Logged(), u"\uFEFFодин\n🗒 2\uFEFF.");

  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_TRUE(writer.OpenLog(file, u"a+b") && writer.Write(u"."));
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "no log takes the place of a standard stream";
  dup2(input, STDIN_FILENO);
  close(input);
  EXPECT_EQ(Logged(), u"\uFEFFодин\n🗒 2\uFEFF.\uFEFF.");

  EXPECT_FALSE(writer.OpenLog(Wide("no/where"), u"wb") || writer.Write(u"lost"));
  ASSERT_TRUE(writer.OpenLog(u"/dev/full", u"wb"));
  EXPECT_FALSE(writer.Write(u"x") || logger.LogMessage(MC_ALWAYS, u"%d", 1));
}

// Does it while files take no more than this many bytes.
template <class Work>
void InLittleRoom(rlim_t bytes, Work work) {
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  const rlimit limit = {bytes, former.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  work();
  setrlimit(RLIMIT_FSIZE, &former);
  std::signal(SIGXFSZ, handler);
}

TEST_F(MessLoggerTest, FullDiskTakesWholeCharactersAndMoreOfThemWhenThereIsRoom) {
  FileLogWriter writer;
  ASSERT_TRUE(writer.OpenLog(file, u"wb"));
  std::u16string expected = u"\uFEFF";
  for (const std::size_t room : {1001, 2001}) {  // which ends in the middle of a character
    InLittleRoom(room, [&] {
      for (int i = 0; i < 200; ++i) writer.Write(u"кот");
    });
    for (std::size_t i = 0; expected.size() < room / 2; ++i) expected += u"кот"[i % 3];
  }
  EXPECT_TRUE(writer.Write(u"!"));
  EXPECT_TRUE(Logged() == expected + u'!') << Logged().size();
}

TEST_F(MessLoggerTest, SafeWriterEscapesPlainTextAlone) {
  const SafeModeGuard noLogger(true);
  SafeHtmlWriter writer;
  ASSERT_TRUE(writer.Write(u"nowhere") && writer.OpenLog(file, u"wb"));
  MessLogger logger(&writer);
  MessLogger::SetMessLogger(&logger);
  LogStringMessage(MC_ALWAYS, u"<1>");
  {
    const SafeModeGuard safe(true);
    for (const char16_t* const text : {u"\"2\"", u"\"<3>\"&"}) LogStringMessage(MC_ALWAYS, text);
    LogMessage(MC_ALWAYS, u"<%s>", u"&");
    const SafeModeGuard markup(false);
    LogStringMessage(MC_ALWAYS, u"<4>");
  }
  LogStringMessage(MC_ALWAYS, u"<5>");
  EXPECT_EQ(Logged(), u"\uFEFF<1>\"2\"&quot;&lt;3&gt;&quot;&amp;<&><4><5>");

  logger.SetLogWriter(&sink);
  const SafeModeGuard otherWriter(true);
  LogStringMessage(MC_ALWAYS, u"<>");
  EXPECT_EQ(sink.said, u"[<>]");
}

std::u16string shown;

TEST(UserCallbacks, ShowAndAskOnlyWhenInstalled) {
  struct Copying : ProcessMess {
    bool Progress(int, int) override { return true; }
  } progress;
  progress.AddMessage(u"unheard");
  EXPECT_FALSE(UserQuestion(u"?"));

  SetUserCallback([](const std::u16string& text) { shown += u"[" + text + u"]"; });
  SetUserQuestCallback([](const std::u16string& text) { return text == u"yes?"; });
  UserMessage(u"wide\n");
  const int before = SetCP(1251);
  UserMessage("\xE4\xE0\n");
  SetUserCP(866);
  UserMessage("\xAD\xA5\xE2");
  SetUserCP(0);
  SetCP(before);
  progress.AddMessage(u"heard");
  EXPECT_TRUE(UserQuestion(u"yes?") && !UserQuestion(u"no?"));
  SetUserCallback(nullptr);
  SetUserQuestCallback(nullptr);
  EXPECT_EQ(shown, u"[wide\n][да\r\n][нет][heard\r\n]");
  EXPECT_EQ(progress.GetMessages(), u"unheard\r\nheard\r\n");
}

}  // namespace
