// The HTML log: its sections, its side pages, and the folder that it leaves.
#include "kvorlib/loghtml.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "kvorlib/encoding.h"
#include "kvorlib/knowledgebase.h"
#include "support/tempfolder.h"
#include "util/textsupport.h"

namespace {

namespace fs = std::filesystem;

// A knowledge base whose templates are short, and a current folder of the test's own.
struct HtmlLogTest : testing::Test {
  HtmlLogTest() {
    fs::create_directories(templates);
    fs::create_directory(folder.Path("run"));
    folder.Write("Data/Config/term.xml", "<t><term name='noun' code='1'/></t>");
    for (const auto& [name, text] : {std::pair("header.html", u"[H]"),
                                     {"footer.html", u"[F]"},
                                     {"plus.png", u"1"},
                                     {"minus.png", u"1"},
                                     {"nada.png", u"1"}})
      Put(std::string("Data/Config/") + name, text);
    fs::current_path(folder.Path("run"));
    std::u16string msg;
    EXPECT_TRUE(base.LoadFromBuf(u"logs", u"Root=\"" + folder.Wide("") + u'"', msg));
    EXPECT_TRUE(base.SetDefaultKB(u"logs", msg));
  }
  ~HtmlLogTest() override {
    fs::current_path(former);
    base.ShutDown();
  }
  void Put(const std::string& name, const std::u16string& text) const {
    folder.Write(name, Encoded(1200, text));
  }
  std::u16string Read(const std::string& name) const {
    const std::string bytes = folder.Read("run/" + name);
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * 2);
    return text;
  }
  bool Open(const std::u16string& name, bool html = true, char mode = 'S') {
    return log.OpenLog(folder.Wide("run/") + name, html, mode, nullptr);
  }

  KBEnv::KBMap& base = *KBEnv::GetKBMap();
  const fs::path former = fs::current_path();
  TempFolder folder;
  const fs::path templates = folder.Path("Data/Config");
  LogHTML log;
};

TEST_F(HtmlLogTest, SectionsAreMarkedUpAndTheirTitlesCleaned) {
  ASSERT_TRUE(Open(u"Разбор.log"));
  EXPECT_EQ(&GetLogHTML(), &log);
  EXPECT_EQ(log.OpenDiv(u"a\tb   c\r\n<\"&>", u"", u"header"), 1);
  log.foldNext = true;
  EXPECT_EQ(log.OpenDiv(u"x", u"tall", u"header"), 2);
  EXPECT_EQ(log.OpenDiv(u"50%% of %s<", u"c", u""), 3);
  LogStringMessage(MC_LOG, u"<1>");
  LogMessage(MC_LOG, u"%s", u"<b>");
  log.Error(u"<i>");
  log.LegendError(u"<2>");
  EXPECT_EQ(log.CloseDiv(2, 0), 0);
  EXPECT_EQ(log.CloseLog(), folder.Wide("run/Разбор.html"));
  LogStringMessage(MC_ALWAYS, u"swallowed");
  EXPECT_EQ(Read("Разбор.html"),
            u"[H]\uFEFF<h1 id=\"h1\" onclick=\"toggle('_1')\">a b c &lt;&quot;&amp;&gt;</h1>"
            u"<pre id=\"_1\" style=\"display: block;\" >\r\n"
            u"<h1 id=\"h2\" onclick=\"toggle('_2')\" class=\"fh\">x</h1>"
            u"<pre id=\"_2\" style=\"display: none;\" class=\"tall\">\r\n"
            u"<pre id=\"_3\" style=\"display: block;\" class=\"c\">\r\n"
            u"50% of %s&lt;&lt;1&gt;<b><div class=\"error\"><i></div>\r\n"
            u"<span class=\"KvorError\">&lt;2&gt;</span>"
            u"</pre><!-- Emergency closing of 3 !-->\r\n</pre><!-- 2 -->\r\n[F]");
}

TEST_F(HtmlLogTest, ClosingRepairsThePageOrLeavesAnErrorInIt) {
  ASSERT_TRUE(Open(u"a.html"));
  for (int i = 0; i < 3; ++i) log.OpenDiv(u"", u"", u"header");
  const std::size_t opened = Read("a.html").size();
  EXPECT_EQ(log.CloseDiv(5, 0), -1);
  EXPECT_TRUE(log.CloseDiv(-1, 0) == 0 && log.CloseTo(9) == 0) << "nothing to close";
  log.SetMode('N');
  EXPECT_EQ(log.CloseDiv(1, 0), -1);
  log.CloseTo(1);
  log.SetMode('S');
  EXPECT_EQ(log.CloseTo(1), 0);
  EXPECT_EQ(log.CloseDiv(1, 0), 0);
  EXPECT_TRUE(log.CloseDiv(1, 0) == -1 && log.CloseTo(1) == -1);
  EXPECT_EQ(
      Read("a.html").substr(opened),
      u"<div class=\"error\">LogHTML: Ошибка: Скобка с id=5 отсутствует в стеке. Закрытие "
      u"невозможно.</div>\r\n"
      u"</pre><!-- 3 -->\r\n</pre><!-- 2 -->\r\n</pre><!-- 1 -->\r\n"
      u"<div class=\"error\">LogHTML: Stack пуст, закрытие скобки id=1 недопустимо.</div>\r\n");
}

TEST_F(HtmlLogTest, SidePagesOpenBehindTheThresholdAndImagesAreNumbered) {
  ASSERT_TRUE(Open(u"b.html"));
  EXPECT_TRUE(log.SwitchAltLogger()) << "no side pages yet";
  log.altThreshold = 2;
  for (const char16_t* text : {u"1", u"2", u"3", u"4", u"5", u"6"}) {
    EXPECT_TRUE(log.SwitchAltLogger());
    LogStringMessage(MC_LOG, text);
  }
  log.ResetAlternatives(true);
  EXPECT_EQ(log.altThreshold, -1);
  EXPECT_EQ(log.GetImageFileName(u"png"), folder.Wide("run") + u"//tree-100-b.png");
  log.InsertImageRef(u"png");
  log.InsertImageRef(u"svg");
  const auto link = [](const std::u16string& k) {
    return u"<h1 id=\"h1\" class=\"hlink\" onclick=\"openPopup('/alts-" + k +
           u"-b.html','Группа альтернатив №" + k + u"')\">Группа альтернатив №" + k + u"</h1>";
  };
  EXPECT_EQ(Read("b.html"), u"[H]\uFEFF12" + link(u"1") + link(u"2") +
                                u"<img src=\"tree-100-b.png\" class=\"tree\"/>\r\n"
                                u"<img src=\"tree-101-b.svg\" class=\"tree\"/>\r\n");
  EXPECT_EQ(Read("alts-1-b.html"), u"[H]\uFEFF345</body></html>");
  EXPECT_EQ(Read("alts-2-b.html"), u"[H]\uFEFF6</body></html>");
}

TEST_F(HtmlLogTest, FolderTakesNewerTemplatesAndLosesTheFilesOfEarlierRuns) {
  for (const char* name : {"tree-1-b*.png", "alts-7-b*.html", "tree-b*", "tree-1-bc.png"})
    Put(std::string("run/") + name, u"");
  Put("run/plus.png", u"0");
  fs::last_write_time(folder.Path("run/plus.png"), fs::last_write_time(templates / "plus.png"));
  ASSERT_TRUE(Open(u"b*"));
  EXPECT_EQ(Read("plus.png"), u"0") << "as old as its template";
  EXPECT_EQ(Read("minus.png"), u"1");
  std::string left;
  for (const char* name :
       {"tree-1-b*.png", "alts-7-b*.html", "tree-b*", "tree-1-bc.png", "nada.png"})
    if (fs::exists(folder.Path(std::string("run/") + name))) left += name;
  EXPECT_EQ(left, "tree-b*tree-1-bc.png") << "none.png is missing, so nada.png is not reached";
}

TEST_F(HtmlLogTest, TextLogHasTitlesAlone) {
  ASSERT_TRUE(Open(u"a.b.log", false));
  EXPECT_EQ(log.OpenDiv(u"a  b", u"", u"header"), 0);
  EXPECT_TRUE(log.CloseDiv(7, 0) == 0 && log.CloseTo(7) == -1);
  log.Error(u"<1>");
  log.LegendError(u"<2>");
  log.altThreshold = 0;
  EXPECT_TRUE(log.SwitchAltLogger());
  log.CloseLog();
  EXPECT_EQ(Read("a.b.txt"),
            u"\uFEFF\r\na  b\r\n\r\n<1>\r\n\r\n--------------\r\n<2>\r\n--------------\r\n");
}

TEST_F(HtmlLogTest, WithoutAHeaderTheRunGoesOnAsTextAndWithoutAFileNotAtAll) {
  ASSERT_TRUE(log.OpenLog(folder.Wide("run/c.html"), true, 'S', u"nowhere.html"));
  EXPECT_EQ(log.OpenDiv(u"<", u"", u"header"), 0);
  EXPECT_EQ(Read("c.html"), u"\uFEFF\r\n<\r\n");
  log.CloseLog();
  EXPECT_EQ(log.OpenDiv(u"", u"", u"header"), -1);

  MessLogger::SetMessLogger(nullptr);
  EXPECT_FALSE(Open(u"no/where.html") || Open(u"no/where.txt", false));
  EXPECT_EQ(pGetLogHTML(), nullptr);
  EXPECT_THROW(GetLogHTML(), const char16_t*);

  ASSERT_TRUE(log.OpenLog(u"abc", true, 'S', nullptr));
  const std::u16string name = log.CloseLog();
  EXPECT_EQ(name, base.GetDir(KBEnv::DIR_TEMP, u"") + u"kvor.html");
  fs::remove(U2A(name, 65001));
}

TEST(ReplaceText, GoesOnBehindWhatItPutIn) {
  EXPECT_EQ(Replace(u"aaa", u"a", u"aa"), u"aaaaaa");
  EXPECT_EQ(Replace(u"abab", u"ab", u""), u"");
  EXPECT_EQ(Replace(u"abc", u"", u"x"), u"abc");
}

}  // namespace
