// Keys of the registry, each call of which goes to the file of its hive.
#include "platform/registry.h"

#include "platform/posix/registryfile.h"
#include "platform/posix/registrytext.h"

namespace platform {
namespace {

RegistryAnswer NoSuchKey(const RegistryFile& file) {
  return file.Answer(RegistryError::NotThere, "no such key");
}

class PosixRegistryKey final : public RegistryKey {
 public:
  PosixRegistryKey(RegistryFile kept, std::u16string keyPath, RegistryAccess allowed)
      : file(std::move(kept)), path(std::move(keyPath)), access(allowed) {}

  RegistryAnswer Read(RegistryValues& values) override {
    if (closed) return Closed();
    RegistryText text;
    if (auto read = file.Read(text); !read) return read;
    if (!text.Has(path)) return NoSuchKey(file);
    values = text.Values(path);
    return {};
  }

  RegistryAnswer Write(const std::u16string& name, const std::u16string& value) override {
    if (closed) return Closed();
    if (access != RegistryAccess::ReadWrite)
      return file.Answer(RegistryError::NoAccess, "opened for reading");
    return file.Alter([&](RegistryText& text) {
      if (!text.Has(path)) return NoSuchKey(file);
      text.Set(path, name, value);
      return RegistryAnswer();
    });
  }

  RegistryAnswer Close() override {
    closed = true;
    return {};
  }

 private:
  RegistryAnswer Closed() const { return file.Answer(RegistryError::Failed, "the key is closed"); }

  RegistryFile file;
  std::u16string path;
  RegistryAccess access;
  bool closed = false;
};

}  // namespace

RegistryAnswer OpenRegistryKey(Hive hive, const std::u16string& path, RegistryAccess access,
                               std::unique_ptr<RegistryKey>& key) {
  key = nullptr;
  const RegistryFile file(hive);
  RegistryText text;
  if (auto read = file.Read(text); !read) return read;
  if (!text.Has(path)) return NoSuchKey(file);
  if (access == RegistryAccess::ReadWrite) {
    if (auto allowed = file.MayAlter(); !allowed) return allowed;
  }
  key = std::make_unique<PosixRegistryKey>(file, path, access);
  return {};
}

RegistryAnswer CreateRegistryKey(Hive hive, const std::u16string& path,
                                 std::unique_ptr<RegistryKey>& key) {
  key = nullptr;
  const RegistryFile file(hive);
  auto made = file.Alter([&](RegistryText& text) {
    text.Add(path);
    return RegistryAnswer();
  });
  if (made) key = std::make_unique<PosixRegistryKey>(file, path, RegistryAccess::ReadWrite);
  return made;
}

RegistryAnswer DeleteRegistryKey(Hive hive, const std::u16string& path) {
  const RegistryFile file(hive);
  return file.Alter([&](RegistryText& text) {
    if (!text.Has(path)) return NoSuchKey(file);
    if (text.HasBelow(path))
      return file.Answer(RegistryError::NoAccess, "there are keys below the key");
    text.Erase(path);
    return RegistryAnswer();
  });
}

RegistryAnswer ChangeRegistryKey(Hive hive, const std::u16string& path,
                                 const std::function<bool(RegistryValues&)>& change) {
  return RegistryFile(hive).Alter([&](RegistryText& text) {
    RegistryValues values = text.Values(path);
    if (!change(values)) return RegistryAnswer();
    text.Add(path);
    text.Empty(path);
    for (const auto& [name, value] : values) text.Set(path, name, value);
    return RegistryAnswer();
  });
}

std::string RegistryPlace(Hive hive) { return RegistryFile(hive).Path(); }

}  // namespace platform
