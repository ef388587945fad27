// Writes logs for the browser tests into the current folder: odd texts, and a long row of sections.
// The texts that a reader of the page has to see stand in UTF-8 in the file texts.txt, each ended
// by a zero byte.
#include <fstream>
#include <string>
#include <vector>

#include "kvorlib/encoding.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/loghtml.h"

namespace {

const std::vector<std::u16string> Texts = {
    u"<b>not bold</b> &amp; \"double\" 'single' <!-- no comment --> "
    u"</pre></main><script>x</script>",
    u"tab\tvertical\vform feed\f bell\a escape\x1B delete\x7F end",
    u"line separator\u2028 paragraph separator\u2029 no-break\u00A0 zero width\u200B mark\uFEFF",
    u"Съешь ещё этих мягких булок — ЁЖИК; 日本語; עברית; é e\u0301",
    u"beyond the first plane: 😀 𝄞 👩‍👩‍👧",
    u"  leading, trailing  and   inner blanks  ",
    std::u16string(20000, u'x') + u"END",
};

// Every text in a folded section of a folded one; beside them what may go wrong around sections.
bool WriteOdd() {
  LogHTML log;
  if (!log.OpenLog(u"./odd.html", true, 'S', nullptr)) return false;
  LogStringMessage(MC_LOG, u"Before all sections\r\n");
  log.foldNext = true;
  const int outer = log.OpenDiv(Texts[0], u"", u"header");
  std::ofstream expected("texts.txt", std::ios::binary);
  for (const std::u16string& text : Texts) {
    log.foldNext = true;
    const int inner = log.OpenDiv(u"Text", u"", u"header");
    LogStringMessage(MC_LOG, (text + u"\r\n").c_str());
    log.CloseDiv(inner, 0);
    expected << U2A(text, 65001) << '\0';
  }
  log.CloseDiv(outer, 0);
  log.CloseDiv(log.OpenDiv(u"Empty", u"", u"header"), 0);
  const int plain = log.OpenDiv(u"Without a heading, 100%%", u"plain", u"");
  log.Error(u"An <i>error</i>");
  log.CloseDiv(plain, 0);
  log.InsertImageRef(u"png");  // which nobody has written
  log.OpenDiv(u"Unclosed", u"", u"header");
  LogStringMessage(MC_LOG, u"The end");
  log.CloseLog();
  return true;
}

// One section of a row has a long row of its own.
bool WriteLong() {
  constexpr int Rows = 2000;
  LogHTML log;
  if (!log.OpenLog(u"./long.html", true, 'S', nullptr)) return false;
  for (int row = 1; row <= Rows; ++row) {
    const int section = log.OpenDiv(u"Row", u"", u"header");
    LogMessage(MC_LOG, u"row %d\r\n", row);
    for (int inner = 1; row == Rows / 2 && inner <= Rows / 2; ++inner)
      log.CloseDiv(log.OpenDiv(u"Inner", u"", u"header"), 0);
    log.CloseDiv(section, 0);
    if (row == 7) log.Error(u"odd one");
    if (row % 10 == 0) LogMessage(MC_LOG, u"between %d\r\n", row);
  }
  log.CloseLog();
  return true;
}

}  // namespace

int main() {
  std::u16string words;
  KBEnv::KBMap& bases = *KBEnv::GetKBMap();
  if (!bases.StartUp(words, u"<LOCAL>")) return 2;
  const bool written = WriteOdd() && WriteLong();
  bases.ShutDown();
  return written ? 0 : 1;
}
