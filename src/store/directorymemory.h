// The bound on what is kept of the pages of all open files, by whatever keeps it.
#pragma once

#include <cstddef>
#include <vector>

namespace store {

class DirectoryMemory {
 public:
  static constexpr std::size_t DefaultLimit = 32U << 20;

  class Holder {
   public:
    void KeepIn(DirectoryMemory& shared) { memory = &shared; }
    // Gives all that it holds back, and accounts for that.
    virtual void Clear() = 0;

   protected:
    Holder() = default;
    Holder(Holder&&) = default;
    Holder& operator=(Holder&&) = default;
    ~Holder() = default;

    void MakeRoom() { memory->MakeRoom(); }
    std::size_t Limit() const { return memory->limit; }
    std::size_t HeldByAll() const { return memory->used; }
    std::size_t Held() const { return held; }
    // So many bytes from here on.
    void Hold(std::size_t now) {
      if (now != held) memory->Account(*this, held, now);
      held = now;
    }

   private:
    DirectoryMemory* memory = nullptr;
    std::size_t held = 0;
  };

  std::size_t Used() const { return used; }
  std::size_t limit = DefaultLimit;  // overstepped by less than the latest piece

 private:
  // To be called ahead of making anything: at the limit all give back what they hold. Which of it
  // is in use shows soon enough.
  void MakeRoom() {
    if (used < limit) return;
    while (!holders.empty()) holders.back()->Clear();
  }
  void Account(Holder& holder, std::size_t before, std::size_t now) {
    if (before == 0 && now != 0) holders.push_back(&holder);
    if (before != 0 && now == 0) std::erase(holders, &holder);
    used += now - before;
  }

  std::size_t used = 0;
  std::vector<Holder*> holders;
};

}  // namespace store
