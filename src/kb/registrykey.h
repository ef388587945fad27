// The one key of the registry in which the list of knowledge bases is kept. It is open from its
// first opening until the library is shut down.
#pragma once

#include <string>

#include "platform/registry.h"

namespace kb {

inline const char16_t* const RegistryPath = u"Software\\Kvor-3\\KBase";

// Null while it is not open.
platform::RegistryKey* OpenKey();

// Each answers whether the key is open now; nothing happens if it is already.
bool TryOpenKey();
bool CreateKey(std::u16string& msg);
void CloseKey();

// Makes `words` the message. Their reason is told to the log, but for what is just not there.
// False, for the caller to answer.
bool Fail(std::u16string& msg, const std::u16string& words, const platform::RegistryAnswer& answer);
// The same with the words for a key that could not be made.
bool FailToCreate(std::u16string& msg, const platform::RegistryAnswer& answer);

// Names and values of other programs may hold zero characters; they end there.
std::u16string UpToZero(const std::u16string& text);

}  // namespace kb
