// The logger's filter, the free functions past it, the file sinks, and the host's callbacks.
#include "kvorlib/messages.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "kvorlib/encoding.h"
#include "support/tempfolder.h"
#include "util/wideformat.h"

namespace {

struct Recorder : LogWriter {
  bool Write(const std::u16string& text) override {
    said += u"[" + text + u"]";
    return answer;
  }
  bool vsWrite(const char16_t* format, va_list& args) override {
    said += u"{" + util::FormatWide(format, args) + u"}";
    return answer;
  }
  std::u16string said;
  bool answer = true;
};

// Leaves no logger and no code page behind.
class MessLoggerTest : public testing::Test {
 protected:
  ~MessLoggerTest() override {
    MessLogger::SetMessLogger(nullptr);
    SetLogCP(-1);
    SetCP(0);
  }
};

TEST_F(MessLoggerTest, ModeDecidesWhichClassesPass) {
  const struct {
    char mode;
    std::u16string passed;
  } cases[] = {{'N', u"[0][3]"}, {'S', u"[0][1][3]"}, {'M', u"[0][1][2][3]"}};
  for (const auto& c : cases) {
    Recorder sink;
    MessLogger logger(&sink);
    EXPECT_EQ(GetLogMode(), 'N');
    MessLogger::SetMessLogger(&logger);
    MessLogger::SetLogMode(c.mode);
    EXPECT_EQ(GetLogMode(), c.mode);
    for (int i = 0; i < 4; ++i) {
      const std::u16string digit(1, static_cast<char16_t>(u'0' + i));
      EXPECT_TRUE(logger.LogStringMessage(static_cast<enMessageClass>(i), digit));
    }
    EXPECT_EQ(sink.said, c.passed);
    MessLogger::SetMessLogger(nullptr);
  }
}

TEST_F(MessLoggerTest, WithoutLoggerOrWriterNothingPasses) {
  LogMessage(MC_ALWAYS, u"%d", 1);
  LogStringMessage(MC_ALWAYS, "text");
  MessLogger::SetLogMode('M');
  EXPECT_EQ(GetLogMode(), 'N');
  MessLogger logger(nullptr, 'M');
  MessLogger::SetMessLogger(&logger);
  EXPECT_EQ(MessLogger::GetMessLogger(), &logger);
  EXPECT_EQ(MessLogger::GetMessLogger(MC_ALWAYS), nullptr);
  EXPECT_TRUE(logger.LogMessage(MC_ALWAYS, u"%d", 1));
  LogMessage(MC_ALWAYS, "%d", 1);
}

TEST_F(MessLoggerTest, AnswerIsTheWritersUnlessTheClassIsFiltered) {
  Recorder sink;
  sink.answer = false;
  MessLogger logger(&sink, 'N');
  EXPECT_FALSE(logger.LogMessage(MC_ALWAYS, u"%s %d", u"слово", 7));
  EXPECT_TRUE(logger.LogMessage(MC_LOG, u"%s %d", u"слово", 8));
  EXPECT_EQ(sink.said, u"{слово 7}");
}

TEST_F(MessLoggerTest, FreeFunctionsGoToTheSinkPastTheLogger) {
  struct Deaf : MessLogger {
    using MessLogger::MessLogger;
    bool LogMessage(enMessageClass, const char16_t*, ...) override { return false; }
    bool LogStringMessage(enMessageClass, const std::u16string&) override { return false; }
  };
  Recorder sink;
  Deaf logger(&sink, 'S');
  MessLogger::SetMessLogger(&logger);
  LogMessage(MC_LOG, u"%d%%", 5);
  LogMessage(MC_LOG, "%d%%\n", 6);
  LogStringMessage(MC_LOG, u"100%\n");
  LogStringMessage(MC_LOG, "a\nb\r\n");
  LogMessage(MC_DETAIL, u"never");
  EXPECT_EQ(sink.said, u"{5%}[6%\r\n][100%\n][a\r\nb\r\n]");
}

TEST_F(MessLoggerTest, NarrowTextsAreUtf8UntilToldOtherwiseAndBounded) {
  Recorder sink;
  MessLogger logger(&sink);
  MessLogger::SetMessLogger(&logger);
  SetCP(866);
  LogMessage(MC_ALWAYS, "%s", "да");
  SetLogCP(1251);
  LogMessage(MC_ALWAYS, "%s", "\xE4\xE0");
  LogStringMessage(MC_ALWAYS, "\xE4\xE0");
  EXPECT_EQ(sink.said, u"[да][да][да]");

  sink.said.clear();
  LogMessage(MC_ALWAYS, "%s", std::string(20'000, 'x').c_str());
  EXPECT_EQ(sink.said.size(), 8191U + 2);
}

// The units of a log file; a byte too many shows as '!'.
std::u16string UnitsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(stream)), {});
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                   static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return bytes.size() % 2 == 0 ? units : units + u'!';
}

bool Formatted(LogWriter& writer, const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  const bool answer = writer.vsWrite(format, args);
  va_end(args);
  return answer;
}

TEST(FileLogWriter, WritesAMarkInEveryModeAndEverythingAtOnce) {
  const TempFolder folder;
  const std::string path = folder.Path("Журнал 🗒.txt");
  const std::u16string name = A2U(path, 65001);
  FileLogWriter writer;
  EXPECT_EQ(writer.CloseLog(), u"");
  EXPECT_FALSE(writer.Write(u"nowhere"));
  EXPECT_FALSE(Formatted(writer, u"%d", 1));

  ASSERT_TRUE(writer.OpenLog(name, u"wb"));
  EXPECT_EQ(UnitsOf(path), u"\uFEFF");
  EXPECT_TRUE(writer.Write(u"один\n"));
  EXPECT_TRUE(Formatted(writer, u"%s %d", u"🗒", 2));
  EXPECT_EQ(UnitsOf(path), u"\uFEFFодин\n🗒 2");
  EXPECT_EQ(writer.GetFileName(), name);
  EXPECT_EQ(writer.CloseLog(), name);
  EXPECT_EQ(writer.CloseLog(), u"");

  ASSERT_TRUE(writer.OpenLog(name, u"a+b"));
  EXPECT_TRUE(writer.Write(u"."));
  EXPECT_EQ(UnitsOf(path), u"\uFEFFодин\n🗒 2\uFEFF.");

  EXPECT_FALSE(writer.OpenLog(A2U(folder.Path("no/where"), 65001), u"wb"));
  EXPECT_FALSE(writer.Write(u"lost"));
  EXPECT_EQ(writer.CloseLog(), u"");
}

TEST(FileLogWriter, TellsWhenWritingFails) {
  FileLogWriter writer;
  ASSERT_TRUE(writer.OpenLog(u"/dev/full", u"wb"));
  EXPECT_FALSE(writer.Write(u"x"));
  EXPECT_FALSE(Formatted(writer, u"%d", 1));
}

TEST_F(MessLoggerTest, SafeWriterEscapesPlainTextAlone) {
  const TempFolder folder;
  SafeHtmlWriter writer;
  EXPECT_TRUE(writer.Write(u"nowhere"));
  ASSERT_TRUE(writer.OpenLog(A2U(folder.Path("log"), 65001), u"wb"));
  MessLogger logger(&writer);
  MessLogger::SetMessLogger(&logger);
  LogStringMessage(MC_ALWAYS, u"<1>");
  {
    const SafeModeGuard safe(true);
    LogStringMessage(MC_ALWAYS, u"\"2\"");
    LogStringMessage(MC_ALWAYS, u"\"<3>\"&");
    LogMessage(MC_ALWAYS, u"<%s>", u"&");
    {
      const SafeModeGuard markup(false);
      LogStringMessage(MC_ALWAYS, u"<4>");
    }
    LogStringMessage(MC_ALWAYS, u">");
  }
  LogStringMessage(MC_ALWAYS, u"<5>");
  EXPECT_EQ(UnitsOf(folder.Path("log")), u"\uFEFF<1>\"2\"&quot;&lt;3&gt;&quot;&amp;<&><4>&gt;<5>");
}

TEST_F(MessLoggerTest, SafeModeGuardLeavesOtherWritersAlone) {
  const SafeModeGuard noLogger(true);
  Recorder sink;
  MessLogger logger(&sink);
  MessLogger::SetMessLogger(&logger);
  const SafeModeGuard otherWriter(true);
  LogStringMessage(MC_ALWAYS, u"<>");
  EXPECT_EQ(sink.said, u"[<>]");
}

std::u16string shown;

TEST(UserCallbacks, ShowAndAskOnlyWhenInstalled) {
  struct Copying : ProcessMess {
    bool Progress(int, int) override { return true; }
  } progress;
  shown.clear();
  progress.AddMessage(u"unheard");
  UserMessage(u"unheard");
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
  EXPECT_TRUE(UserQuestion(u"yes?"));
  EXPECT_FALSE(UserQuestion(u"no?"));
  SetUserCallback(nullptr);
  SetUserQuestCallback(nullptr);
  EXPECT_EQ(shown, u"[wide\n][да\r\n][нет][heard\r\n]");
  EXPECT_EQ(progress.GetMessages(), u"unheard\r\nheard\r\n");
}

}  // namespace
