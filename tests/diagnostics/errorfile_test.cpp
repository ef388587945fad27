// Diagnostics saved and loaded, and what becomes of files that are none.
#include "kvorlib/errorfile.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "diagnostics/errortypes.h"
#include "support/tempfolder.h"
#include "xml/eventlog.h"

namespace {

std::u16string Saved(PermanentErrProc& errors) {
  std::u16string text;
  EXPECT_TRUE(errors.SaveDataToString(text));
  return text;
}

// Level and message of each entry.
std::u16string Entries(const PermanentErrProc& errors) {
  std::u16string all;
  for (unsigned i = 0; i < errors.GetENum(); ++i) {
    const ErrDescr& e = errors.GetError(static_cast<int>(i));
    all += Wide(std::to_string(e.type)) + u" " + e.message + u"; ";
  }
  return all;
}

TEST(ErrorFile, SavesWhatIsKnownAndNothingElse) {
  PermanentErrProc errors(7);
  EXPECT_EQ(Saved(errors), u"<errors/>");
  errors.SetDocName(u"a");
  EXPECT_EQ(Saved(errors), u"<errors fname=\"a\" mnum=\"7\" throw=\"true\"/>");
  errors.Reset(-1, false);
  errors.ProcError(ErrData::ERR_NONE, u"", u"", 0, -1, -1);
  errors.ProcError(Error, u"1\r\n\\<", u"b", -1, 5, 6);
  EXPECT_EQ(Saved(errors),
            u"<errors fname=\"a\" mtype=\"Error\" throw=\"false\">"
            u"<error><coord line=\"0\" name=\"a\"/></error>"
            u"<error message=\"1\\n\\\\&lt;\" type=\"Error\">"
            u"<coord column=\"5\" length=\"6\" name=\"b\"/></error></errors>");
}

TEST(ErrorFile, BringsEntriesBackUnmerged) {
  PermanentErrProc errors(7), back;
  errors.SetThrowMode(false);
  errors.ProcError(ErrDescr({Fatal, u"один\r\n\\n"}, {1, 2, 3, u"д"}));
  errors.ProcError(ErrDescr({Fatal, u""}, {1, 2, 3, u"д"}));
  errors.ProcError(ErrDescr({Error, u"x"}, {}));
  errors.ProcError(ErrDescr({Error, u"a b\r\n\\n 😀"}, {9, 1, -1, u"\r\n"}));
  errors.ProcError(ErrDescr({Error, u"\x01\x1F\xFFFE\xDE00\xD83D"}, {10, 1, -1, u"e"}));
  errors.SetDocName(u"doc");

  const TempFolder folder;
  const std::u16string path = folder.Wide("ошибки.err");
  EXPECT_TRUE(errors.SaveDataToDisk(path) && back.ReadDataFromDisk(path));
  ASSERT_EQ(back.GetENum(), 5U);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(back.GetError(i) == errors.GetError(i)) << i;
  EXPECT_EQ(back.GetError(4).GetEMessage(), std::u16string(5, u'\uFFFD')) << "no XML has them";
  EXPECT_TRUE(
      Saved(back).starts_with(u"<errors fname=\"doc\" mnum=\"7\" mtype=\"Fatal error\" throw=\"f"));
}

TEST(ErrorFile, FailureIsAnEntryAndTheFileDecidesWhetherWrongDataIsOne) {
  const std::u16string wrong = u"3 Wrong data in error file; ";
  const std::u16string failed = u"3 Failed reading a file; ";
  const std::u16string ok = u"<error message='m' type='Warning'/>";
  const std::tuple<std::u16string, bool, std::u16string> cases[] = {
      {u"<error/>", false, wrong + failed},
      {u"<errors throw='true'>" + ok + u"<coord/></errors>", false, u"1 m; " + wrong + failed},
      {u"<errors throw='false'>" + ok + u"<errors/></errors>", true, u"1 m; " + wrong},
      {u"<errors>" + ok + u"<b/>" + ok + u"</errors>", true, u"1 m; " + wrong},
      {u"<errors throw='no'>" + ok + u"<", false, u"1 m; " + failed},
      {u"<errors throw='true'>" + ok + u"<", false, u"1 m; " + failed + failed},
      {u"<errors><error type='error'><coord line='12x'/></error></errors>", true, u"0 ; "}};
  PermanentErrProc errors;
  for (const auto& [text, answer, entries] : cases) {
    EXPECT_EQ(errors.ReadDataFromString(text), answer);
    EXPECT_EQ(Entries(errors), entries);
  }
  EXPECT_EQ(errors.GetError(0).GetELine(), 12);

  // What is thrown by the load of a file is a failure, too.
  TempFolder folder;
  folder.Write("bad", "<?xml version='1.0' encoding='klingon'?><errors/>");
  EXPECT_FALSE(errors.ReadDataFromDisk(folder.Wide("bad")));
  EXPECT_EQ(Entries(errors), failed);
  EXPECT_FALSE(errors.SaveDataToDisk(u"/none/e.err"));
  EXPECT_EQ(Entries(errors), failed + u"3 Failed writing a file; ");
  EXPECT_THROW(errors.SaveDataToDisk(u"/dev/full"), std::runtime_error);
  EXPECT_TRUE(errors.SaveDataToDisk(folder.Wide("bad")) &&
              errors.ReadDataFromDisk(folder.Wide("bad")));
}

TEST(ErrorFile, CopiesShareOneDocumentAndOutliveEachOther) {
  auto first = std::make_unique<PermanentErrProc>();
  PermanentErrProc copy = *first, other;
  other = copy;
  EXPECT_EQ(Saved(*first), u"<errors/>");
  first.reset();
  EXPECT_EQ(Saved(copy), u"<errors/>");
  EXPECT_TRUE(other.ReadDataFromString(u"<errors/>"));
}

}  // namespace
