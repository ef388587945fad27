// Tests that work in a folder of their own.
#pragma once

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "kb/pathtext.h"
#include "support/tempfolder.h"

class InFolder : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder.Path(name); }
  std::u16string Wide(const std::string& name) const { return kb::WidePath(folder.Path(name)); }
  void Write(const std::string& name, const std::string& bytes = "") const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Content(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }

  TempFolder folder;
};
