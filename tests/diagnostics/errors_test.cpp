// Diagnostics: their text, what a collector merges, counts and throws, the report target, and the
// exceptions.
#include "kvorlib/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <vector>

#include "kvorlib/encoding.h"

namespace {

using Type = ErrData::ERRTYPE;

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
  const struct {
    ErrDescr descr;
    std::u16string text;
  } cases[] = {
      {{}, u" \r\n"},
      {{{ErrData::ERR_ERROR, u"text"}, {12, 5, 9, u"name"}}, u"name(12,5) Error: text\r\n"},
      {{{ErrData::ERR_ERROR, u"text"}, {12, -1, 9, u"name"}}, u"name(12) Error: text\r\n"},
      {{{ErrData::ERR_WARNING, u"text"}, {-1, 5, -1, u"name"}}, u"name(5) Warning: text\r\n"},
      {{{ErrData::ERR_FATAL, u"text\r\n"}, {0, -2, -1, u""}}, u"(0,-2) Fatal error: text\r\n"},
      {{{static_cast<Type>(7), u"\n"}, {-1, -1, 4, u"Имя"}}, u"Имя \n\r\n"},
      {{{ErrData::ERR_NONE, u"\r\n"}, {}}, u" \r\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(TextOf(c.descr), c.text);
}

TEST(ErrDescr, EqualityTakesEveryField) {
  const ErrDescr one = Descr(ErrData::ERR_ERROR, u"a");
  EXPECT_TRUE(one == Descr(ErrData::ERR_ERROR, u"a"));
  EXPECT_FALSE(one == Descr(ErrData::ERR_WARNING, u"a"));
  EXPECT_FALSE(one == Descr(ErrData::ERR_ERROR, u"b"));
  EXPECT_FALSE(one == Descr(ErrData::ERR_ERROR, u"a", 7));
  EXPECT_FALSE(one == Descr(ErrData::ERR_ERROR, u"a", 1, u"other"));
}

TEST(ErrProc, MergesAtOnePlaceAndRaisesTheEntryAlone) {
  struct Listening : ErrProc {
    void CheckType(Type type) override {
      heard.push_back(type);
      ErrProc::CheckType(type);
    }
    std::vector<Type> heard;
  } errors;
  errors.ProcError(ErrData::ERR_WARNING, u"one", u"doc", 1, 2, 3);
  errors.ProcError(ErrData::ERR_ERROR, u"two\n", u"doc", 1, 2, 3);
  errors.ProcError(ErrData::ERR_WARNING, u"three", u"doc", 1, 2, 3);
  ASSERT_EQ(errors.GetENum(), 1U);
  EXPECT_EQ(errors.GetError(0).GetEMessage(), u"one\r\ntwo\nthree");
  EXPECT_EQ(errors.GetError(0).GetEType(), ErrData::ERR_ERROR);
  EXPECT_EQ(errors.GetMostSeriousError(), ErrData::ERR_WARNING);

  errors.ProcError(ErrData::ERR_ERROR, u"elsewhere", u"doc", 1, 2, 4);
  errors.ProcError(ErrData::ERR_WARNING, u"back", u"doc", 1, 2, 3);
  EXPECT_EQ(errors.GetENum(), 3U) << "only the last entry is merged into";
  EXPECT_EQ(errors.GetMostSeriousError(), ErrData::ERR_ERROR);
  EXPECT_EQ(errors.heard,
            (std::vector<Type>{ErrData::ERR_WARNING, ErrData::ERR_ERROR, ErrData::ERR_WARNING}));
}

TEST(ErrProc, FatalIsNeverMergedButIsMergedInto) {
  ErrProc errors(0, false);
  errors.ProcError(Descr(ErrData::ERR_ERROR, u"error"));
  errors.ProcError(Descr(ErrData::ERR_FATAL, u""));
  errors.ProcError(Descr(ErrData::ERR_WARNING, u"warning"));
  ASSERT_EQ(errors.GetENum(), 2U);
  EXPECT_EQ(TextOf(errors), u"doc(1,2) Error: error\r\ndoc(1,2) Fatal error: warning\r\n");
  EXPECT_THROW(errors.GetError(2), std::out_of_range);
  EXPECT_THROW(errors.GetError(-1), std::out_of_range);
}

TEST(ErrProc, FirstFatalIsThrownOnceAndBothAreKept) {
  ErrProc errors;
  const ErrDescr fatal = Descr(ErrData::ERR_FATAL, u"end");
  try {
    errors.ProcError(fatal);
    FAIL() << "nothing was thrown";
  } catch (const ErrDescr& thrown) {
    EXPECT_TRUE(thrown == fatal);
    EXPECT_FALSE(errors.GetThrowMode());
    errors.ProcError(fatal);
  }
  EXPECT_EQ(errors.GetENum(), 2U);
  EXPECT_EQ(errors.GetMostSeriousError(), ErrData::ERR_FATAL);
}

TEST(ErrProc, NamelessDiagnosticTakesTheDocumentNameForGood) {
  ErrProc errors;
  errors.SetDocName(u"first");
  const ErrDescr mine = Descr(ErrData::ERR_ERROR, u"a", 1, u"");
  errors.ProcError(mine);
  errors.SetDocName(u"second");
  EXPECT_EQ(errors.GetError(0).GetEName(), u"first");
  EXPECT_EQ(mine.GetEName(), u"first") << "the caller's own record is named, too";
  errors.ProcError(ErrData::ERR_ERROR, u"a", u"", 1, 2, 3);
  EXPECT_EQ(errors.GetError(1).GetEName(), u"second");
}

TEST(ErrProc, OwnEntryMayBeReportedAgain) {
  ErrProc errors(0, false);
  errors.ProcError(Descr(ErrData::ERR_FATAL, u"once"));
  for (int i = 0; i < 10; ++i) errors.ProcError(errors.GetError(0));
  EXPECT_EQ(errors.GetENum(), 11U);
  errors.GetError(10).type = ErrData::ERR_ERROR;
  errors.ProcError(errors.GetError(10));
  EXPECT_EQ(errors.GetError(10).message, u"once\r\nonce");
}

TEST(ErrProc, LimitIsExceededOnlyByMoreThanIt) {
  ErrProc errors(3);
  const auto fill = [&](int n) {
    for (int i = 0; i < n; ++i) errors.ProcError(Descr(ErrData::ERR_WARNING, u"w", i));
  };
  fill(3);
  errors.CheckMaxNum();
  EXPECT_EQ(errors.GetENum(), 3U);
  fill(1);
  EXPECT_THROW(errors.CheckMaxNum(), ErrDescr);
  ASSERT_EQ(errors.GetENum(), 5U);
  EXPECT_EQ(errors.GetError(4).message, u"Limit of error messages (3) exceed");
  EXPECT_TRUE(errors.GetError(4).GetESource() == errors.GetError(3).GetESource());

  for (const int none : {0, -1}) {
    errors.SetDocName(u"stays");
    errors.Reset(none, true);
    EXPECT_EQ(errors.GetMostSeriousError(), ErrData::ERR_NONE);
    fill(10);
    errors.CheckMaxNum();
    EXPECT_EQ(errors.GetENum(), 10U);
    EXPECT_EQ(errors.GetDocName(), u"stays");
  }
}

// Puts back what was installed before.
class ErrorReportTest : public testing::Test {
 protected:
  ~ErrorReportTest() override { SetErrorReport(nullptr, false); }
};

TEST_F(ErrorReportTest, ReachesTheTargetAsErrorOrWarning) {
  ErrProc first;
  ErrProc second;
  ErrorReport(true, u"nobody hears", u"", 1, 1, 1);
  EXPECT_EQ(SetErrorReport(&first, false), nullptr);
  ErrorReport(false, u"w", u"doc", 1, 2, 3);
  EXPECT_EQ(SetErrorReport(&second, true), &first);
  EXPECT_TRUE(GetIgnWarn());
  ErrorReport(false, u"ignored", u"doc", 1, 2, 3);
  ErrorReport(true, u"e", u"doc", 4, 5, 6);
  EXPECT_EQ(TextOf(first), u"doc(1,2) Warning: w\r\n");
  EXPECT_EQ(TextOf(second), u"doc(4,5) Error: e\r\n");
  EXPECT_EQ(second.GetError(0).GetELength(), 6);
}

TEST_F(ErrorReportTest, NarrowTextsAreInTheCurrentCodePage) {
  ErrProc errors;
  SetErrorReport(&errors, false);
  const int before = SetCP(1251);
  ErrorReport(true, std::string("\xE4\xE0\n\xED\xE5\xF2"), std::string("\xFF"), 1, -1, -1);
  SetCP(before);
  EXPECT_EQ(TextOf(errors), u"я(1) Error: да\r\nнет\r\n");
}

TEST(Except, SaysTheSystemsCodeWhenThereIsOne) {
  const struct {
    const char* text;
    int code;
    const char* words;
  } cases[] = {
      {nullptr, 0, ""},
      {nullptr, 13, "Win32 Error: 13"},
      {"words", 0, "words\n"},
      {"words", 2, "words\nWin32 Error: 2"},
  };
  for (const auto& c : cases) {
    errno = c.code;
    try {
      Except::Win32ErrorReport(c.text);
    } catch (const Except& e) {
      EXPECT_EQ(e.GetText(), c.words);
    }
  }
  EXPECT_EQ(Except(nullptr).GetText(), "");
}

}  // namespace
