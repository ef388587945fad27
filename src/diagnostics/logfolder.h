// The folder of an HTML log: templates copied into it, and what earlier runs left.
#pragma once

#include <span>
#include <string>

namespace diagnostics {

// Appends to the file `to`, or makes it anew. False if either file cannot be opened, and if not
// every byte arrives; a source that cannot be opened leaves `to` alone.
bool CopyTemplate(const std::u16string& from, const std::u16string& to, bool append);

// Copies the files `names` that are missing in `folder` or differ in their time of last write from
// those in `templates`. The first that is no template ends it.
void RefreshCopies(std::span<const std::u16string> names, const std::u16string& templates,
                   const std::u16string& folder);

// Deletes the files "tree-*-NAME*" and "alts-*-NAME*" in the current folder of the process.
void RemoveFormerPages(const std::u16string& name);

}  // namespace diagnostics
