// Functions out of shared libraries that lie beside this one.
//
//   std::u16string error;
//   using Count = int (*)(char const* text);
//   auto const count = reinterpret_cast<Count>(GetProcAddr(u"counter.so", "CountWords", error));
//   if (count == nullptr) return Complain(error);
//
// Plug-ins that serve a scheme of files are loaded by themselves: see docs/plugins.md.
#pragma once

#include <string>

#include "kvorlib/export.h"

// The address of the function `function`, exported by that name (UTF-8), of the library in the file
// `dll` below this library's folder. The library is loaded the first time and stays until FreeDlls,
// at the latest to the end of the process. On failure the answer is null and `error` is
// "DLL … could not be loaded" or "Function … could not be loaded"; otherwise `error` is left alone.
KVORLIB_API void* GetProcAddr(std::u16string const& dll, std::string const& function,
                              std::u16string& error);

// Lets go of all libraries that GetProcAddr has loaded: what it has answered must not be called any
// more. KBEnv::KBMap::ShutDown does this.
KVORLIB_API void FreeDlls();
