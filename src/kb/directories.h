// Where the folders of a knowledge base lie.
#pragma once

#include <string>

#include "kvorlib/knowledgebase.h"

namespace kb {

// Sets DataDir and TempDir by the setting Root, or by `folder` where there is none.
void SetDirs(KBEnv::KBData& base, const std::u16string& folder);

}  // namespace kb
