// The named mutex: exclusion between processes, the memory that it guards, and the dead.
#include "platform/namedmutex.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/child.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using Wait = NamedMutex::Wait;

constexpr std::size_t Reserved = 1 << 20;
constexpr milliseconds Patience{5000};

// A name that no other test run has; its file goes with the test.
class NamedMutexTest : public testing::Test {
 protected:
  NamedMutexTest() : name("test" + std::to_string(getpid())) { unlink(Path().c_str()); }
  ~NamedMutexTest() override { unlink(Path().c_str()); }

  std::string Path() const {
    return "/dev/shm/kvorlib-" + std::to_string(geteuid()) + "-" + name + ".m" +
           std::to_string(8 * sizeof(void*));
  }
  std::unique_ptr<NamedMutex> Open() const { return OpenNamedMutex(name, Reserved); }

  std::string name;
};

// Whether another thread can take the mutex at once.
bool IsFree(NamedMutex& mutex) {
  Wait answer = Wait::Failed;
  std::thread([&] {
    answer = mutex.Lock(milliseconds{0});
    if (answer == Wait::Had) mutex.Unlock();
  }).join();
  return answer == Wait::Had;
}

TEST_F(NamedMutexTest, IsGivenBackAsManyTimesAsItWasTaken) {
  const auto mutex = Open();
  const auto other = Open();
  ASSERT_TRUE(mutex && other);
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  ASSERT_EQ(other->Lock(Patience), Wait::Had);
  mutex->Unlock();
  EXPECT_FALSE(IsFree(*mutex));
  other->Unlock();
  EXPECT_TRUE(IsFree(*mutex));
}

TEST_F(NamedMutexTest, WaitingEndsWithThePatience) {
  const auto mutex = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  const Child child([&](const auto& say) {
    const auto own = Open();
    say(own->Lock(milliseconds{30}) == Wait::TimedOut ? 'y' : 'n');
    say(mutex->Lock(milliseconds{1}) == Wait::TimedOut ? 'y' : 'n');  // a fork owns nothing
  });
  EXPECT_EQ(child.Hear(), 'y');
  EXPECT_EQ(child.Hear(), 'y');
  mutex->Unlock();
}

TEST_F(NamedMutexTest, ProcessesTakeTurns) {
  const auto mutex = Open();
  const auto count = [](NamedMutex& m) {
    for (int i = 0; i < 2000; ++i) {
      if (m.Lock(Patience) != Wait::Had || !m.Back(sizeof(int))) _exit(1);
      volatile int* const sum = reinterpret_cast<int*>(m.Memory());
      *sum = *sum + 1;
      m.Unlock();
    }
  };
  {
    const Child a([&](const auto& say) { count(*Open()), say('e'); });
    const Child b([&](const auto& say) { count(*mutex), say('e'); });
    count(*mutex);
    EXPECT_EQ(a.Hear(), 'e');
    EXPECT_EQ(b.Hear(), 'e');
  }
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_EQ(*reinterpret_cast<int*>(mutex->Memory()), 6000);
  mutex->Unlock();
}

TEST_F(NamedMutexTest, DeadHolderIsFollowedAtOnceAndWhatItLeftIsThere) {
  const auto mutex = Open();
  Child child([&](const auto& say) {
    const auto own = Open();
    own->Lock(Patience);
    own->Lock(Patience);
    own->Back(100'000);
    std::memcpy(own->Memory() + 99'000, "half done", 10);
    say('y');
    pause();
  });
  ASSERT_EQ(child.Hear(), 'y');
  EXPECT_EQ(mutex->Lock(milliseconds{1}), Wait::TimedOut);
  child.Kill();
  ASSERT_EQ(mutex->Lock(milliseconds{1}), Wait::Had);
  EXPECT_GE(mutex->Backed(), 100'000U);
  EXPECT_STREQ(reinterpret_cast<char*>(mutex->Memory() + 99'000), "half done");
  mutex->Unlock();
  EXPECT_TRUE(IsFree(*mutex)) << "the dead one had taken it twice";
}

TEST_F(NamedMutexTest, MemoryIsBackedUpToWhatWasReservedAndComesBackEmpty) {
  const auto mutex = Open();
  const auto other = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_FALSE(mutex->Back(Reserved + 1));
  ASSERT_TRUE(mutex->Back(Reserved));
  std::memset(mutex->Memory(), 'x', Reserved);
  EXPECT_EQ(other->Backed(), Reserved) << "what one backed is backed for all";
  mutex->Release(5000);
  EXPECT_GE(other->Backed(), 5000U);
  EXPECT_LT(other->Backed(), Reserved);
  struct stat status = {};
  ASSERT_EQ(stat(Path().c_str(), &status), 0);
  EXPECT_LT(static_cast<std::size_t>(status.st_blocks) * 512, Reserved / 2);
  ASSERT_TRUE(other->Back(Reserved));
  EXPECT_EQ(other->Memory()[4999], std::byte{'x'});
  EXPECT_EQ(other->Memory()[20'000], std::byte{0});
  mutex->Unlock();
}

TEST_F(NamedMutexTest, RacingOpenersEndWithOneWholeMutex) {
  for (int round = 0; round < 20; ++round) {
    unlink(Path().c_str());
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < 4; ++i) {
      children.push_back(std::make_unique<Child>([&](const auto& say) {
        const auto own = Open();
        if (own == nullptr || own->Lock(Patience) != Wait::Had || !own->Back(1)) return;
        own->Memory()[0] = static_cast<std::byte>(std::to_integer<int>(own->Memory()[0]) + 1);
        own->Unlock();
        say('y');
      }));
    }
    for (const auto& child : children) ASSERT_EQ(child->Hear(), 'y');
    const auto mutex = Open();
    ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
    EXPECT_EQ(mutex->Memory()[0], std::byte{4});
    mutex->Unlock();
  }
}

TEST_F(NamedMutexTest, ForeignFileByThatNameIsRefusedAndLeftAlone) {
  const auto put = [&](int mode, std::size_t size) {
    unlink(Path().c_str());
    const int fd = open(Path().c_str(), O_CREAT | O_RDWR | O_CLOEXEC, mode);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(size)), 0);
    close(fd);
  };
  const auto whole = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + Reserved;
  put(0600, whole);
  EXPECT_EQ(Open(), nullptr) << "no magic";
  put(0600, 5);
  EXPECT_EQ(Open(), nullptr) << "another size";
  unlink(Path().c_str());
  ASSERT_TRUE(Open());
  ASSERT_EQ(chmod(Path().c_str(), 0644), 0);
  EXPECT_EQ(Open(), nullptr) << "others may read it";
  unlink(Path().c_str());
  ASSERT_EQ(symlink("/dev/null", Path().c_str()), 0);
  EXPECT_EQ(Open(), nullptr) << "a link";
  EXPECT_EQ(OpenNamedMutex("../" + name, Reserved), nullptr);
}

TEST_F(NamedMutexTest, RemovedFileIsReplacedAtTheNextOutermostLock) {
  const auto mutex = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  unlink(Path().c_str());
  const auto later = Open();
  ASSERT_TRUE(later);
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);  // inside: stays with its own
  mutex->Unlock();
  mutex->Unlock();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_FALSE(IsFree(*later));
  mutex->Unlock();
  EXPECT_TRUE(IsFree(*later));
}

}  // namespace
}  // namespace platform
