// A mutex that all processes of one user share by its name, with a piece of memory that belongs to
// it. A port owes exactly what this header says.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace platform {

// Recursive: a thread that has it may take it again, and gives it back as many times. A holder that
// dies gives it back by dying; nobody waits for the dead.
class NamedMutex {
 public:
  enum class Wait {
    Had,       // the mutex is held
    TimedOut,  // somebody else held it all the time
    Failed,    // it cannot be waited for
  };

  virtual ~NamedMutex() = default;  // does not give back what is held

  virtual Wait Lock(std::chrono::milliseconds patience) = 0;
  // REQUIRES: this thread holds it.
  virtual void Unlock() = 0;

  // The memory shared by all who open the mutex by this name, in areas that grow and shrink each by
  // itself. All zero when the first of them made it; it outlives them, so that the next holder
  // finds what a dead one left. To be touched only while holding the mutex. The first Backed()
  // bytes of an area may be touched; Back asks for more and answers false when there is no memory
  // for that. The address may change with an outermost Lock.
  virtual std::byte* Memory(unsigned area) = 0;
  virtual std::size_t Backed(unsigned area) const = 0;
  virtual bool Back(unsigned area, std::size_t bytes) = 0;
  // Gives memory behind the first `bytes` back to the system; it reads as zero when backed again.
  virtual void Release(unsigned area, std::size_t bytes) = 0;

  // Memory shared likewise that is there from the start and never goes. It may be looked at without
  // the mutex; to be changed, by stores that others may see half way, only while holding it. The
  // address may change with an outermost Lock; what was there stays there to be looked at.
  virtual std::byte* OpenMemory() = 0;
  // Whether a place in it is still shared by whoever holds the mutex. False: others may have made
  // another memory by now, or this process has gone over to it. What was seen at the place, and
  // elsewhere on its word, is to be believed only if this is asked afterwards. Costs a look at a
  // coarse clock.
  virtual bool StillShares(const void* place) = 0;
};

// A mutex' memory: address space for areas, and open memory. Whoever opens a name with another
// shape gets another mutex.
struct MutexMemory {
  static constexpr unsigned MaxAreas = 16;

  unsigned areas;  // at most MaxAreas
  std::size_t bytesEach;
  std::size_t openBytes = 0;
};

// Opens the mutex of this name, or makes it. Null if it cannot be had: the name is taken by another
// user or by something else, or there is no shared memory on this system. Racing openers all end
// with the same, whole mutex. Two names never share anything, nor do two users, nor programs of
// different pointer width.
std::unique_ptr<NamedMutex> OpenNamedMutex(const std::string& name, MutexMemory memory);

}  // namespace platform
