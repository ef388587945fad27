// A record on its way to a caller.
#pragma once

#include "kvorlib/datatransfer.h"

namespace keyed {

// Has room for most records from the first, and the store copies and sums up in one go what there
// is room for.
class PassingRecord : public DataTransfer {
 public:
  PassingRecord() { _AllocData(Usual); }

 private:
  static constexpr int Usual = 256;
};

}  // namespace keyed
