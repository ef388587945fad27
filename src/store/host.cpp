// The system's own host: real files, and one named mutex for all processes of this user.
#include "store/host.h"

#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/namedmutex.h"

namespace store {

namespace {

constexpr const char* MutexName = "stdindfile";
constexpr std::chrono::milliseconds Patience(10'000);

class SystemHost : public Host {
 public:
  explicit SystemHost(FileForm chosenForm, const char* mutexName = MutexName)
      : form(chosenForm),
        mutex(platform::OpenNamedMutex(mutexName, {Areas, AreaSize, OpenMemorySize})) {}

  std::unique_ptr<VirtualFile> Open(const std::string& path, platform::OpenMode mode,
                                    platform::Sharing sharing, int& error) override {
    return form == FileForm::Mapped ? platform::OpenMappedFile(path, mode, sharing, error)
                                    : platform::OpenFile(path, mode, sharing, error);
  }
  int Remove(const std::string& path) override { return platform::RemoveFile(path); }
  int Replace(const std::string& from, const std::string& to) override {
    return platform::ReplaceFile(from, to);
  }
  std::string Absolute(const std::string& path) override {
    std::error_code failed;
    const std::u8string name(path.begin(), path.end());
    const std::u8string whole = std::filesystem::absolute(name, failed).u8string();
    return failed ? path : std::string(whole.begin(), whole.end());
  }

  bool Lock() override {
    return mutex == nullptr || mutex->Lock(Patience) == platform::NamedMutex::Wait::Had;
  }
  void Unlock() override {
    if (mutex != nullptr) mutex->Unlock();
  }
  std::byte* LockedMemory(unsigned area, std::size_t bytes) override {
    if (mutex == nullptr) return nullptr;
    if (bytes > mutex->Backed(area) && !mutex->Back(area, bytes)) return nullptr;
    return mutex->Memory(area);
  }
  void TrimLockedMemory(unsigned area, std::size_t bytes) override {
    if (mutex != nullptr) mutex->Release(area, bytes);
  }
  std::byte* OpenMemory() override { return mutex != nullptr ? mutex->OpenMemory() : nullptr; }
  bool StillShares(const void* place) override {
    return mutex != nullptr && mutex->StillShares(place);
  }

 private:
  FileForm form;
  std::unique_ptr<platform::NamedMutex> mutex;
};

Host& SystemsOwn() {
#ifdef KVORLIB_MAPPED_STORE
  static SystemHost host(FileForm::Mapped);
#else
  static SystemHost host(FileForm::Plain);
#endif
  return host;
}

Host* chosen = nullptr;

}  // namespace

std::unique_ptr<Host> MakeSystemHost(FileForm form, const char* mutexName) {
  return std::make_unique<SystemHost>(form, mutexName != nullptr ? mutexName : MutexName);
}

Host& CurrentHost() { return chosen != nullptr ? *chosen : SystemsOwn(); }

void SetHost(Host* host) { chosen = host; }

}  // namespace store
