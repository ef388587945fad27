// A frame for tests of the tools on damaged files: a sample made through the engine.
#pragma once

#include "support/storecalls.h"

class SampleTest : public StoreTest {
 protected:
  // 302 records over several leaves below one internal page, two of them in runs; not inserted in
  // their order.
  SampleTest() {
    Create();
    for (unsigned n = 0; n < 302; ++n) {
      records.push_back(Record("k" + std::to_string(1000 + n), n == 100   ? 5000
                                                               : n == 200 ? 9000
                                                                          : 60));
    }
    for (std::size_t n = 0; n < 302; ++n) Fill({records[n * 7 % 302]});
    CloseAll();
    sample = Image();
    firstLeaf = Get16(sample, 8);
    root = Get16(sample, 10);
  }
  void EraseFirst(std::size_t many) {
    Open();
    for (std::size_t n = 0; n < many; ++n) ASSERT_EQ(Erase(file, records[n].substr(0, 6)), 0);
    CloseAll();
  }
  StoreReport Check(const Bytes& bytes) {
    host.Put(path, bytes);
    return CheckStore(path);
  }

  std::vector<Bytes> records;
  Bytes sample;
  unsigned firstLeaf = 0;
  unsigned root = 0;
};
