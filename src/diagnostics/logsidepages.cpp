// What lies beside the page of an HTML log: images, and side pages for groups of alternatives.
#include "diagnostics/decimal.h"
#include "diagnostics/logfolder.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/loghtml.h"

namespace {

// Formatted text to a file, whatever the logger's sink and mode are.
void Print(FileLogWriter& writer, const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  writer.vsWrite(format, args);
  va_end(args);
}

}  // namespace

std::u16string LogHTML::ImageName(const std::u16string& extension) const {
  return u"tree-" + diagnostics::Decimal(imageCounter) + u"-" + baseName + u"." + extension;
}

std::u16string LogHTML::GetImageFileName(const std::u16string& extension) {
  return InFolder(u"/" + ImageName(extension));
}

void LogHTML::InsertImageRef(const std::u16string& extension) {
  LogMessage(MC_ALWAYS, u"<img src=\"%s\" class=\"tree\"/>\r\n", ImageName(extension).c_str());
  ++imageCounter;
}

bool LogHTML::SwitchAltLogger() {
  if (!CheckMode(MC_LOG) || !isHtml || altThreshold == -1) return true;
  if (altCounter++ < altThreshold) return true;
  CloseSidePage();
  const int page = ++altPage;
  const std::u16string relative =
      u"/alts-" + diagnostics::Decimal(page) + u"-" + baseName + u".html";
  const std::u16string path = InFolder(relative);
  diagnostics::CopyTemplate(KBEnv::GetKBMap()->GetDir(KBEnv::DIR_CONFIG, u"") + u"header.html",
                            path, false);
  altWriter.OpenLog(path, u"a+b");
  Print(mainWriter,
        u"<h1 id=\"h%d\" class=\"hlink\" onclick=\"openPopup('%s','Группа альтернатив №%d')\">"
        u"Группа альтернатив №%d</h1>",
        sectionCounter + 1, relative.c_str(), page, page);
  SetLogWriter(&altWriter);
  altCounter = 0;
  return true;
}

void LogHTML::ResetAlternatives(bool clear) {
  if (isHtml && GetLogWriter() == &altWriter) {
    CloseSidePage();
    SetLogWriter(&mainWriter);
  }
  if (!clear) return;
  altThreshold = -1;
  altCounter = 0;
}

void LogHTML::CloseSidePage() {
  if (GetLogWriter() != &altWriter) return;
  Print(altWriter, u"</body></html>");
  altWriter.CloseLog();
}
