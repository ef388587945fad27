// The host's callbacks for messages and questions, and the progress object of long operations.
#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"

namespace {

UserCallback userCallback = nullptr;
UserQuestCallback userQuestCallback = nullptr;
int userCodePage = 0;

}  // namespace

void SetUserCP(int codePage) { userCodePage = codePage; }
void SetUserCallback(UserCallback callback) { userCallback = callback; }
void SetUserQuestCallback(UserQuestCallback callback) { userQuestCallback = callback; }

void UserMessage(const std::string& text) {
  if (userCallback != nullptr) userCallback(A2U(text, userCodePage, true));
}

void UserMessage(const std::u16string& text) {
  if (userCallback == nullptr) return;
  const std::u16string own = text;  // NOLINT: the callback may change the caller's
  userCallback(own);
}

bool UserQuestion(const std::u16string& text) {
  return userQuestCallback != nullptr && userQuestCallback(text);
}

ProcessMess::~ProcessMess() = default;

void ProcessMess::AddMessage(const std::u16string& line) {
  const std::u16string whole = line + u"\r\n";
  UserMessage(whole);
  messages += whole;
}
