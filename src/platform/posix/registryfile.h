// The file that keeps a hive: read whole, changed whole.
#pragma once

#include <functional>
#include <string>

#include "platform/posix/registrytext.h"
#include "platform/registry.h"

namespace platform {

class RegistryFile {
 public:
  // By the environment as it is now.
  explicit RegistryFile(Hive hive);

  const std::string& Path() const { return path; }

  // A file that is not there keeps no keys.
  RegistryAnswer Read(RegistryText& text) const;

  // Reads, lets `change` work on the text, and writes what came out, unless `change` fails or
  // leaves everything as it was. Whoever else changes the file meanwhile waits.
  using Change = std::function<RegistryAnswer(RegistryText&)>;
  RegistryAnswer Alter(const Change& change) const;

  // Whether Alter would be allowed to.
  RegistryAnswer MayAlter() const;

  RegistryAnswer Answer(RegistryError error, const std::string& why) const;
  RegistryAnswer SystemFailure(int code) const;

 private:
  RegistryAnswer Write(const std::string& bytes) const;

  std::string folder;
  std::string path;
  bool machine;
};

}  // namespace platform
