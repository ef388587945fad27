// Starting and stopping the library, and making complaints of what it says meanwhile.
#include "environment.h"

#include <algorithm>
#include <cstdarg>
#include <set>
#include <sstream>

#include "json.h"
#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/messages.h"
#include "outcome.h"

namespace kvor {

std::u16string Wide(const std::string& text) {
  return u8_w(text.data(), text.data() + text.size());
}

std::u16string WidePath(const std::string& path) {
  if (!IsUtf8(path)) throw Failure(path, "its name is not valid UTF-8");
  return Wide(path);
}

std::string Narrow(const std::u16string& text) {
  return w_u8(text.data(), text.data() + text.size());
}

std::string OneLine(const std::u16string& text) {
  constexpr const char* around = " \r\n\t!";
  const std::string words = Narrow(text);
  std::string line;
  for (std::size_t at = words.find_first_not_of(around); at != std::string::npos;) {
    const std::size_t end = std::min(words.find_first_of("\r\n", at), words.size());
    if (!line.empty()) line += "; ";
    line += words.substr(at, words.find_last_not_of(around, end - 1) - at + 1);
    at = words.find_first_not_of(around, end);
  }
  return line;
}

namespace {

// The library says the same thing each time that it meets it; one complaint is enough.
void ComplainOf(const std::u16string& text) {
  static std::set<std::string> said;
  const std::string line = OneLine(text);
  if (!line.empty() && said.insert(line).second) Complain("", line);
}

class ComplainingWriter : public LogWriter {
 public:
  bool Write(const std::u16string& text) override {
    // To the library, a registry that it cannot read is an empty one.
    registryUnread = registryUnread || OneLine(text).starts_with("Registry:");
    ComplainOf(text);
    return true;
  }
  bool vsWrite(const char16_t* format, va_list& args) override {
    return Write(FormatLogText(format, args));
  }

  bool registryUnread = false;
};

}  // namespace

struct Environment::Ears {
  ComplainingWriter writer;
  MessLogger logger{&writer, 'N'};

  Ears() {
    SetUserCallback(ComplainOf);
    MessLogger::SetMessLogger(&logger);
  }
  ~Ears() {
    SetUserCallback(nullptr);
    MessLogger::SetMessLogger(nullptr);
  }
  Ears(const Ears&) = delete;
  Ears& operator=(const Ears&) = delete;
};

Environment::Environment(const std::string& kb, Need need) : ears(std::make_unique<Ears>()) {
  std::u16string words;
  started = KBEnv::GetKBMap()->StartUp(words, Wide(kb));
  // A default taken from nowhere is not the one that the user has chosen.
  if (started && kb.empty() && ears->writer.registryUnread) {
    started = false;
    words = need == Need::Default ? u"the default is not known (--kb NAME names a base)" : u"";
  }
  if (!started && need == Need::Default) {
    KBEnv::GetKBMap()->ShutDown();
    throw Failure("", OneLine(words));
  }
  if (!started || need == Need::Default) ComplainOf(words);
}

Environment::~Environment() { KBEnv::GetKBMap()->ShutDown(); }

CLI::Option* AddBaseOption(CLI::App& command, std::string& kb) {
  return command.add_option("--kb", kb, "Work with this knowledge base instead of the default one")
      ->type_name("NAME");
}

std::string WordsOfException() {
  try {
    throw;
  } catch (const char16_t* words) {
    return OneLine(words);
  } catch (const char* words) {
    return words;
  } catch (const Except& failure) {
    return failure.GetText();
  } catch (const ErrBuf& failure) {
    return failure.GetMess();
  } catch (const ErrDescr& failure) {
    std::basic_ostringstream<char16_t> words;
    failure.GetErrDescr(words);
    return OneLine(words.str());
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

}  // namespace kvor
