// The HTML log as a whole: its start, its end, and how it is reached.
#include "kvorlib/loghtml.h"

#include <algorithm>

#include "diagnostics/logfolder.h"
#include "kvorlib/knowledgebase.h"

namespace {

std::u16string TemplateFolder() { return KBEnv::GetKBMap()->GetDir(KBEnv::DIR_CONFIG, u""); }

}  // namespace

LogHTML::LogHTML()
    : fixedFiles{u"plus.png", u"minus.png", u"none.png", u"nada.png", u"kvor.js", u"kvor.css"} {}

LogHTML::~LogHTML() {
  if (GetMessLogger() == this) SetMessLogger(nullptr);
}

bool LogHTML::OpenLog(std::u16string file, bool html, char mode, const char16_t* header) {
  constexpr std::size_t ShortestName = 4;
  constexpr std::int32_t FirstImage = 100;
  if (file.size() < ShortestName) file = u"kvor.html";
  SetMode(mode);
  foldNext = false;
  altCounter = 0;
  altPage = 0;
  sectionCounter = 0;
  imageCounter = FirstImage;
  spare.clear();
  isHtml = html;

  const std::size_t nameStart = file.rfind(u'/') + 1;  // 0 when there is no folder
  folder = file.substr(0, nameStart);
  baseName = file.substr(nameStart);
  baseName.erase(std::min(baseName.rfind(u'.'), baseName.size()));
  if (folder.empty()) folder = KBEnv::GetKBMap()->GetDir(KBEnv::DIR_TEMP, u"");

  if (html) {
    const std::u16string path = folder + baseName + u".html";
    const std::u16string templates = TemplateFolder();
    isHtml = diagnostics::CopyTemplate(templates + (header != nullptr ? header : u"header.html"),
                                       path, false);
    diagnostics::RefreshCopies(fixedFiles, templates, folder);
    diagnostics::RemoveFormerPages(baseName);
    if (!mainWriter.OpenLog(path, u"a+b")) return false;
  } else if (!mainWriter.OpenLog(folder + baseName + u".txt", u"wb")) {
    return false;
  }
  mainWriter.SetSafeMode(isHtml);
  SetLogWriter(&mainWriter);
  SetMessLogger(this);
  return true;
}

std::u16string LogHTML::CloseLog() {
  if (GetLogWriter() == nullptr) return mainWriter.GetFileName();
  if (isHtml) altWriter.CloseLog();
  std::u16string name = mainWriter.CloseLog();
  SetLogWriter(nullptr);
  if (isHtml) diagnostics::CopyTemplate(TemplateFolder() + u"footer.html", name, true);
  return name;
}

std::u16string LogHTML::InFolder(const std::u16string& relative) const {
  // Without a folder the separator in front would lead to the root.
  return folder.empty() ? relative.substr(1) : folder + relative;
}

LogHTML* pGetLogHTML() { return dynamic_cast<LogHTML*>(MessLogger::GetMessLogger()); }

LogHTML& GetLogHTML() {
  LogHTML* const log = pGetLogHTML();
  if (log == nullptr) throw u"LogHTML not install";
  return *log;
}
