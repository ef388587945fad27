// The sections of an HTML log and the errors in it.
#include <algorithm>

#include "kvorlib/loghtml.h"

namespace {

// Each run of white space as one blank, and safe for HTML.
std::u16string CleanTitle(const std::u16string& title) {
  std::u16string clean;
  for (char16_t unit : title) {
    if (unit == u'\t' || unit == u'\v' || unit == u'\r' || unit == u'\n') unit = u' ';
    if (unit != u' ' || !clean.ends_with(u' ')) clean += unit;
  }
  return ToSafeHtmlText(clean);
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes both by value
int LogHTML::OpenDiv(const std::u16string& title, std::u16string cssClass, std::u16string kind) {
  if (GetLogWriter() == nullptr) return -1;
  if (!isHtml) {
    LogMessage(MC_LOG, u"\r\n%s\r\n", title.c_str());
    return sectionCounter;
  }
  const std::u16string clean = CleanTitle(title);
  const SafeModeGuard markup(false);
  const int id = ++sectionCounter;
  openSections.push_back(id);
  const std::u16string attributes = cssClass.empty() ? u"" : u"class=\"" + cssClass + u"\"";
  const bool hasHeading = kind == u"header";
  if (hasHeading)
    LogMessage(MC_LOG, u"<h1 id=\"h%d\" onclick=\"toggle('_%d')\"%s>%s</h1>", id, id,
               foldNext ? u" class=\"fh\"" : u"", clean.c_str());
  LogMessage(MC_LOG, u"<pre id=\"_%d\" style=\"display: %s;\" %s>\r\n", id,
             foldNext ? u"none" : u"block", attributes.c_str());
  // The title stands for a format here. It has no arguments, so other directives stay text.
  if (!hasHeading) LogMessage(MC_LOG, u"%s", Replace(clean, u"%%", u"%").c_str());
  foldNext = false;
  return id;
}

void LogHTML::LogClosing(const char16_t* format, int id) {
  openSections.pop_back();
  LogMessage(MC_LOG, format, id);
}

int LogHTML::CloseDiv(int id, int /*flag*/) {
  if (GetMode() == 'N') return -1;
  if (id == -1 || !isHtml) return 0;
  if (openSections.empty()) {
    LogMessage(MC_LOG,
               u"<div class=\"error\">LogHTML: Stack пуст, закрытие скобки id=%d "
               u"недопустимо.</div>\r\n",
               id);
    return -1;
  }
  if (std::find(openSections.begin(), openSections.end(), id) == openSections.end()) {
    LogMessage(MC_LOG,
               u"<div class=\"error\">LogHTML: Ошибка: Скобка с id=%d отсутствует в стеке. "
               u"Закрытие невозможно.</div>\r\n",
               id);
    return -1;
  }
  while (openSections.back() != id)
    LogClosing(u"</pre><!-- Emergency closing of %d !-->\r\n", openSections.back());
  LogClosing(u"</pre><!-- %d -->\r\n", id);
  return 0;
}

int LogHTML::CloseTo(int id) {
  if (openSections.empty()) return -1;
  const auto found = std::find(openSections.rbegin(), openSections.rend(), id);
  if (found == openSections.rend()) return 0;
  const std::deque<std::int32_t> inner(openSections.rbegin(), found);
  for (const std::int32_t section : inner) CloseDiv(section, 0);
  return 0;
}

int LogHTML::Error(const std::u16string& text) {
  LogMessage(MC_LOG,
             mainWriter.GetSafeMode() ? u"<div class=\"error\">%s</div>\r\n" : u"\r\n%s\r\n",
             text.c_str());
  return 0;
}

void LogHTML::LegendError(const std::u16string& text) {
  if (isHtml) {
    LogMessage(MC_LOG, u"<span class=\"KvorError\">%s</span>", ToSafeHtmlText(text).c_str());
  } else {
    LogMessage(MC_LOG, u"\r\n--------------\r\n%s\r\n--------------\r\n", text.c_str());
  }
}
