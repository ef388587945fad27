// All of the library's interface. IndexFile (indexfile.h) is where most callers begin.
#pragma once

#include "kvorlib/alffile.h"
#include "kvorlib/alffile.h"
#include "kvorlib/datatransfer.h"
#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "kvorlib/indexfile.h"
#include "kvorlib/keydescr.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/loghtml.h"
#include "kvorlib/mapfactory.h"
#include "kvorlib/memindexfile.h"
#include "kvorlib/messages.h"
#include "kvorlib/persistentmap.h"
#include "kvorlib/recordpool.h"
#include "kvorlib/storetools.h"
#include "kvorlib/terms.h"
