// Diagnostics: their text, what a collector merges, counts and throws, the report target, and the
// exceptions.
#include "kvorlib/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "diagnostics/errortypes.h"
#include "util/textsupport.h"

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

}  // namespace
