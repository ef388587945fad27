// Text tables: what is written, what of it comes back, and which rows are refused.
#include "kvorlib/tables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "kvorlib/messages.h"
#include "support/tempfolder.h"
#include "util/textsupport.h"

namespace {

using Row = std::vector<std::u16string>;

std::u16string told;

struct TablesTest : testing::Test {
  TablesTest() {
    told.clear();
    SetUserCallback([](const std::u16string& text) { told += text + u';'; });
  }
  ~TablesTest() override { SetUserCallback(nullptr); }

  // "[cell][cell];" for each row that is read, with '!' behind one that is refused.
  std::u16string Read(const std::string& bytes, int columns, const char16_t* separator = u"\t") {
    folder.Write("таблица", bytes);
    TxtRdTable table(separator);
    EXPECT_TRUE(table.Open(name, columns));
    EXPECT_FALSE(table.Open(name, columns)) << "taken";
    std::u16string all;
    for (Row row;;) {
      const bool good = table.Read(row);
      if (!good && Told().empty()) return all;
      for (const auto& cell : row) all += u'[' + cell + u']';
      all += good ? u";" : u"!";
    }
  }
  std::string Bytes() const { return folder.Read("таблица"); }
  // What was told since the last time.
  static std::u16string Told() { return std::exchange(told, u""); }

  const TempFolder folder;
  const std::u16string name = folder.Wide("таблица");
  const KeepCodePage keep;
};

TEST_F(TablesTest, LinesBecomeCellsAndWrongNumbersOfThemAreTold) {
  const std::string mark = "\xEF\xBB\xBF";
  const std::tuple<std::string, int, std::u16string> cases[] = {
      {"", -1, u""},
      {"a", -1, u"[a];"},
      {"a\tb\r\nc\n", -1, u"[a][b];[c];"},
      {"\n\na\t\n\t\n", -1, u";;[a][];[][];"},
      {"a\tb\n\nc\td\n", 2, u"[a][b];![c][d];"},
      {"a\tb\tc\nd\n", 1, u"[a][b][c]![d];"},
      {"a\tb\tc\td\ne\n", 1, u"[a][b]![e];"},
      {std::string("a\tb\0c\td\n\0\ne", 11), -1, u"[a][b];[];[e];"},
      {"a\rb\r\r\n", -1, u"[a\rb\r];"},
  };
  for (const auto& [text, columns, rows] : cases) EXPECT_EQ(Read(mark + text, columns), rows);
  EXPECT_EQ(Read("a::b:c\n", -1, u"::"), u"[a][b:c];");
  EXPECT_EQ(Read("a\tb\n", -1, u""), u"[a\tb];") << "no separator";
  const std::string line(4094, 'x');
  EXPECT_EQ(Read(line + "\n" + line + "xyz", -1).size(), 4094U + 3 + 4095 + 3 + 2 + 3);
  EXPECT_EQ(Read(line + "x\ny", -1), u'[' + std::u16string(4095, u'x') + u"];;[y];");
}

TEST_F(TablesTest, EncodingsAreFoundOut) {
  EXPECT_EQ(Read(Encoded(1200, u"\xFEFFкот\tcat\r\n"), 2), u"[кот][cat];");
  EXPECT_EQ(Read(Encoded(1200, u"кот\tcat and dog\r\n"), 2), u"[кот][cat and dog];");
  SetCP(1251);
  EXPECT_EQ(Read("\xEA\xEE\xF2\tcat\r\n", 2), u"[кот][cat];");
  EXPECT_EQ(Read("\xEF\xBB\xBFкот", 1), u"[кот];");
  SetCP(932);
  EXPECT_EQ(Read("a\x82\nb\n", -1).substr(4), u";[b];") << "half a character before the line end";
  SetCP(12345);
  EXPECT_FALSE(TxtRdTable().Open(name, 1)) << "no such code page";
  EXPECT_FALSE(TxtRdTable().Open(folder.Wide(""), 1)) << "a folder";
  SetCP(65001);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(write(ends[1], "a\n", 2), 2);
  EXPECT_FALSE(TxtRdTable().Open(u"/dev/fd/" + A2U(std::to_string(ends[0])), 1)) << "a pipe";
  for (const int end : ends) close(end);
}

TEST_F(TablesTest, WriterFillsShortRowsUpAndCutsLongOnes) {
  TxtWrTable table(u";");
  EXPECT_FALSE(table.Close() || table.Write({u"x"}));
  EXPECT_FALSE(table.Create(name + u"/no", 1));
  ASSERT_TRUE(table.Create(name, -1));
  EXPECT_TRUE(table.Write({u"a", u"", u"c"}));
  TxtWrTable copy(table);
  EXPECT_TRUE(copy.Write({u"д"}));
  EXPECT_FALSE(copy.Write({u"1", u"2", u"3", u"4"}));
  EXPECT_TRUE(copy.Close() && table.Close());
  EXPECT_FALSE(table.Write({u"x"}) || table.Create(name, 1)) << "taken for good";
  EXPECT_EQ(Bytes(), Encoded(1200, u"\uFEFFa;;c\r\nд;;\r\n1;2;3\r\n"));
}

struct Headed : TableBuf {
  using TableBuf::TableBuf;
  bool PutHeader() override { return Write(heading); }
  Row heading;
};

TEST_F(TablesTest, BufferWritesAllRowsAsWideAsTheWidest) {
  Headed buffer;
  EXPECT_TRUE(buffer.SaveTable(name));
  EXPECT_EQ(Bytes(), "") << "no rows, no file";
  buffer.heading = {u"h"};
  buffer.AddLine({u"a", u"b"});
  buffer.AddLine({u"1", u"2", u"3"});
  Headed copy(buffer);
  ASSERT_TRUE(copy.SaveTable(name));
  EXPECT_EQ(Read(Bytes(), 3), u"[h][][];[a][b][];[1][2][3];");
  EXPECT_FALSE(copy.SaveTable(name));
  EXPECT_EQ(Told(), u"Create table error;");
  EXPECT_TRUE(buffer.SaveTable(name)) << "has a file of its own";
  EXPECT_EQ(buffer.Size(), 2);

  TxtWrTable full, narrow;
  Headed lost(&full), wide(&narrow);
  lost.AddLine({u"a"});
  EXPECT_FALSE(lost.SaveTable(u"/dev/full"));
  EXPECT_EQ(Told(), u"Table write error;");
  wide.AddLine({u"a"});
  wide.heading = {u"too", u"wide"};
  EXPECT_FALSE(wide.SaveTable(name));
  EXPECT_EQ(Told(), u"Table write error;") << "once for a heading";
  EXPECT_FALSE(narrow.Write({u"x"})) << "closed";
}

}  // namespace
