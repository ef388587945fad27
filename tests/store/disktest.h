// The frame of a test on one file that lies on disk.
#pragma once

#include <memory>

#include "support/privatemutex.h"
#include "support/storecalls.h"
#include "support/tempfolder.h"

class DiskTest : public StoreTest {
 protected:
  DiskTest() { path = folder.Path("store.udb"); }
  ~DiskTest() override {
    CloseAll();
    store::SetHost(&host);
  }
  void Use(store::FileForm form) {
    CloseAll();
    store::SetHost(nullptr);
    system = mutex.MakeHost(form);
    store::SetHost(system.get());
    udbInit();
  }
  Bytes& Image() override { return image = folder.Read("store.udb"); }

  const TempFolder folder;
  const PrivateMutex mutex;  // what others do is seen in the memory of the common one

 private:
  std::unique_ptr<store::Host> system;
  Bytes image;
};
