// Diagnostics: their text, what a collector merges, counts and throws, the report target, and the
// exceptions.
#include "kvorlib/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <stdexcept>

#include "kvorlib/errorfile.h"
#include "support/tempfolder.h"
#include "xml/eventlog.h"

namespace {

using Type = ErrData::ERRTYPE;
constexpr Type Warning = ErrData::ERR_WARNING;
constexpr Type Error = ErrData::ERR_ERROR;
constexpr Type Fatal = ErrData::ERR_FATAL;

ErrDescr Descr(Type type, const std::u16string& message, int line = 1,
               const std::u16string& name = u"doc") {
  return {ErrData(type, message), ErrCoord(line, 2, 3, name)};
}

template <typename Written>
std::u16string TextOf(const Written& written) {
  std::basic_ostringstream<char16_t> stream;
  written.GetErrDescr(stream);
  return stream.str();
}

TEST(ErrDescr, TextLeavesOutWhatIsNotKnown) {
  const std::pair<ErrDescr, std::u16string> cases[] = {
      {{}, u" \r\n"},
      {{{Error, u"text"}, {12, 5, 9, u"name"}}, u"name(12,5) Error: text\r\n"},
      {{{Error, u"text"}, {12, -1, 9, u"name"}}, u"name(12) Error: text\r\n"},
      {{{Warning, u"text"}, {-1, 5, -1, u"name"}}, u"name(5) Warning: text\r\n"},
      {{{Fatal, u"text\r\n"}, {0, -2, -1, u""}}, u"(0,-2) Fatal error: text\r\n"},
      {{{static_cast<Type>(7), u"\n"}, {-1, -1, 4, u"Имя"}}, u"Имя \n\r\n"}};
  for (const auto& [descr, text] : cases) EXPECT_EQ(TextOf(descr), text);
}

TEST(ErrProc, MergesAtOnePlaceAndNamesTheNamelessAfterTheDocument) {
  ErrProc errors;
  errors.SetDocName(u"doc");
  const ErrDescr mine = Descr(Warning, u"one", 1, u"");
  errors.ProcError(mine);
  EXPECT_EQ(mine.GetEName(), u"doc") << "the caller's own record is named, too";
  errors.ProcError(Error, u"two\n", u"doc", 1, 2, 3);
  errors.ProcError(Warning, u"three", u"", 1, 2, 3);
  EXPECT_EQ(errors.GetMostSeriousError(), Warning) << "the entry alone was raised";
  errors.SetDocName(u"next");
  errors.ProcError(Warning, u"renamed", u"", 1, 2, 3);
  errors.ProcError(Error, u"longer", u"", 1, 2, 4);
  errors.ProcError(Warning, u"back", u"", 1, 2, 3);
  EXPECT_EQ(TextOf(errors),
            u"doc(1,2) Error: one\r\ntwo\nthree\r\nnext(1,2) Warning: renamed\r\n"
            u"next(1,2) Error: longer\r\nnext(1,2) Warning: back\r\n");
  EXPECT_EQ(errors.GetMostSeriousError(), Error);
}

TEST(ErrProc, FatalIsNeverMergedButIsMergedIntoAndThrownOnce) {
  ErrProc errors;
  errors.ProcError(Descr(Error, u"error"));
  try {
    errors.ProcError(Descr(Fatal, u"end\n"));
    FAIL() << "nothing was thrown";
  } catch (const ErrDescr& thrown) {
    EXPECT_TRUE(thrown == Descr(Fatal, u"end\n"));
    EXPECT_FALSE(errors.GetThrowMode());
    errors.ProcError(Descr(Fatal, u""));
  }
  errors.ProcError(Descr(Warning, u"warning"));
  EXPECT_EQ(TextOf(errors),
            u"doc(1,2) Error: error\r\ndoc(1,2) Fatal error: end\n\r\n"
            u"doc(1,2) Fatal error: warning\r\n");
  EXPECT_EQ(errors.GetMostSeriousError(), Fatal);
  for (int none : {-1, 3}) EXPECT_THROW(errors.GetError(none), std::out_of_range);

  // Its own entry may be reported again, though it moves when another is added.
  for (int i = 0; i < 10; ++i) errors.ProcError(errors.GetError(2));
  EXPECT_EQ(errors.GetENum(), 13U);
  errors.GetError(12).type = Error;
  errors.ProcError(errors.GetError(12));
  EXPECT_EQ(errors.GetError(12).message, u"warning\r\nwarning");
}

TEST(ErrProc, LimitIsExceededOnlyByMoreThanIt) {
  ErrProc errors;
  for (const auto& [limit, count] : {std::pair(3, 3), {0, 10}, {-1, 10}, {3, 4}}) {
    errors.Reset(limit, true);
    EXPECT_EQ(errors.GetMostSeriousError(), ErrData::ERR_NONE);
    for (int i = 0; i < count; ++i) errors.ProcError(Descr(Warning, u"w", i));
    if (count == 4)
      EXPECT_THROW(errors.CheckMaxNum(), ErrDescr);
    else
      EXPECT_NO_THROW(errors.CheckMaxNum()) << limit;
  }
  EXPECT_EQ(errors.GetENum(), 5U);
  EXPECT_TRUE(errors.GetError(4) == Descr(Fatal, u"Limit of error messages (3) exceed", 3));
}

TEST(ErrorReport, ReachesTheTargetAsErrorOrWarningFromTheCurrentCodePage) {
  ErrProc first, second;
  ErrorReport(true, u"nobody hears", u"", 1, 1, 1);
  EXPECT_EQ(SetErrorReport(&first, false), nullptr);
  ErrorReport(false, u"w", u"doc", 1, 2, 3);
  EXPECT_EQ(SetErrorReport(&second, true), &first);
  EXPECT_TRUE(GetIgnWarn());
  ErrorReport(false, u"ignored", u"doc", 1, 2, 3);
  ErrorReport(true, u"e", u"doc", 4, 5, 6);
  const int before = SetCP(1251);
  ErrorReport(true, std::string("\xE4\xE0\n\xED\xE5\xF2"), std::string("\xFF"), 1, -1, -1);
  SetCP(before);
  SetErrorReport(nullptr, false);
  EXPECT_EQ(TextOf(first), u"doc(1,2) Warning: w\r\n");
  EXPECT_EQ(TextOf(second), u"doc(4,5) Error: e\r\nя(1) Error: да\r\nнет\r\n");
  EXPECT_EQ(second.GetError(0).GetELength(), 6);
}

TEST(Except, SaysTheSystemsCodeWhenThereIsOne) {
  const auto words = [](const char* text, int code) {
    return Words([=] { errno = code, Except::Win32ErrorReport(text); });
  };
  EXPECT_EQ(words(nullptr, 0), "");
  EXPECT_EQ(words("words", 0) + words(nullptr, 13), "words\nWin32 Error: 13");
}

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
      {u"<errors><error type='error'><coord line='12x' column='99999999999'/></error></errors>",
       true, u"0 ; "}};
  PermanentErrProc errors;
  for (const auto& [text, answer, entries] : cases) {
    EXPECT_EQ(errors.ReadDataFromString(text), answer);
    EXPECT_EQ(Entries(errors), entries);
  }
  EXPECT_EQ(errors.GetError(0).GetELine(), 12);
  EXPECT_EQ(errors.GetError(0).GetEColumn(), std::numeric_limits<int>::max());

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
