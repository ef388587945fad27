// The named mutex: exclusion between processes, the memory that it guards, and the dead.
#include "platform/namedmutex.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include "platform/child.h"
#include "platform/fdio.h"
#include "platform/file.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using Wait = NamedMutex::Wait;

constexpr std::size_t Reserved = 1 << 20;
constexpr std::size_t OpenBytes = 5000;
constexpr milliseconds Patience{5000};

// A name that no other test run has; its file goes with the test.
struct NamedMutexTest : testing::Test {
  ~NamedMutexTest() override { unlink(path.c_str()); }
  std::unique_ptr<NamedMutex> Open() const {
    return OpenNamedMutex(name, {2, Reserved, OpenBytes});
  }

  const std::string name = "test" + std::to_string(getpid());
  const std::string path = "/dev/shm/kvorlib-" + std::to_string(geteuid()) + "-" + name + ".m" +
                           std::to_string(8 * sizeof(void*)) + ".2x" + std::to_string(Reserved) +
                           "+" + std::to_string(OpenBytes);
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

TEST_F(NamedMutexTest, IsGivenBackAsManyTimesAsItWasTakenAndWaitingEnds) {
  const auto mutex = Open();
  const auto other = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  ASSERT_EQ(other->Lock(Patience), Wait::Had);
  mutex->Unlock();
  EXPECT_FALSE(IsFree(*mutex));
  const Child child([&](const auto& say) {
    say(Open()->Lock(milliseconds{30}) == Wait::TimedOut ? 'y' : 'n');
    say(mutex->Lock(milliseconds{1}) == Wait::TimedOut ? 'y' : 'n');  // a fork owns nothing
  });
  EXPECT_EQ(child.Hear(), 'y');
  EXPECT_EQ(child.Hear(), 'y');
  other->Unlock();
  EXPECT_TRUE(IsFree(*mutex));
}

TEST_F(NamedMutexTest, RacingOpenersEndWithOneWholeMutexAndTakeTurns) {
  for (int round = 0; round < 20; ++round) {
    unlink(path.c_str());
    const auto start = std::chrono::steady_clock::now() + milliseconds{5};
    std::unique_ptr<Child> children[4];
    for (auto& child : children) {
      child = std::make_unique<Child>([&](const auto& say) {
        while (std::chrono::steady_clock::now() < start) continue;
        const auto own = Open();
        for (int turn = 0; turn < 200; ++turn) {
          if (own == nullptr || own->Lock(Patience) != Wait::Had || !own->Back(0, 4)) return;
          volatile int* const sum = reinterpret_cast<int*>(own->Memory(0));
          *sum = *sum + 1;
          own->Unlock();
        }
        say('y');
      });
    }
    for (const auto& child : children) ASSERT_EQ(child->Hear(), 'y');
    ASSERT_EQ(*reinterpret_cast<int*>(Open()->Memory(0)), 800);
  }
}

TEST_F(NamedMutexTest, DeadHolderIsFollowedAtOnceAndWhatItLeftIsThere) {
  const auto mutex = Open();
  Child child([&](const auto& say) {
    const auto own = Open();
    own->Lock(Patience);
    own->Lock(Patience);
    own->Back(1, 100'000);
    std::memcpy(own->Memory(1) + 99'000, "half done", 10);
    say('y');
    pause();
  });
  ASSERT_EQ(child.Hear(), 'y');
  EXPECT_EQ(mutex->Lock(milliseconds{1}), Wait::TimedOut);
  child.Kill();
  ASSERT_EQ(mutex->Lock(milliseconds{1}), Wait::Had);
  EXPECT_GE(mutex->Backed(1), 100'000U);
  EXPECT_STREQ(reinterpret_cast<char*>(mutex->Memory(1) + 99'000), "half done");
  mutex->Unlock();
  EXPECT_TRUE(IsFree(*mutex)) << "the dead one had taken it twice";
  unlink(path.c_str());
  const auto later = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_FALSE(IsFree(*later)) << "the dead one's turns count no more";
  mutex->Unlock();
}

TEST_F(NamedMutexTest, MemoryIsBackedUpToWhatWasReservedAndComesBackEmpty) {
  const auto mutex = Open();
  const auto other = Open();
  EXPECT_FALSE(mutex->Back(0, Reserved + 1));
  ASSERT_TRUE(mutex->Back(0, Reserved));
  std::memset(mutex->Memory(0), 'x', Reserved);
  EXPECT_EQ(other->Backed(0), Reserved) << "what one backed is backed for all";
  mutex->Release(0, 5000);
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_LT(static_cast<std::size_t>(status.st_blocks) * 512, Reserved / 2);
  ASSERT_TRUE(other->Back(0, Reserved));
  EXPECT_EQ(other->Memory(0)[4999], std::byte{'x'});
  EXPECT_EQ(other->Memory(0)[20'000], std::byte{0});
}

TEST_F(NamedMutexTest, ForeignFileByThatNameIsRefused) {
  for (const off_t size : {2 * off_t{Reserved} + 3 * sysconf(_SC_PAGESIZE), off_t{5}}) {
    close(open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    ASSERT_EQ(truncate(path.c_str(), size), 0);
    EXPECT_EQ(Open(), nullptr) << "no magic, or another size";
  }
  unlink(path.c_str());
  ASSERT_TRUE(Open());
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  EXPECT_EQ(Open(), nullptr) << "others may read it";
  EXPECT_EQ(OpenNamedMutex("../" + name, {2, Reserved}), nullptr);
}

TEST_F(NamedMutexTest, OutputOfAProgramWithoutStandardStreamsDoesNotGetIntoIt) {
  const Child child([&](const auto& say) {
    for (int stream = 0; stream < 3; ++stream) close(stream);
    const auto own = Open();
    int error = 0;
    const auto file = OpenFile(path, OpenMode::ReadOnly, Sharing::All, error);
    const FileNumber text(OpenToRead(path));
    const bool closed = fcntl(0, F_GETFD) < 0 && fcntl(1, F_GETFD) < 0 && fcntl(2, F_GETFD) < 0;
    say(own != nullptr && file != nullptr && text.Get() > 2 && closed ? 'y' : 'n');
  });
  EXPECT_EQ(child.Hear(), 'y');
}

TEST_F(NamedMutexTest, RemovedFileIsReplacedAtTheNextOutermostLock) {
  const auto mutex = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  unlink(path.c_str());
  const auto later = Open();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_TRUE(IsFree(*later)) << "inside, it stays with its own";
  const std::byte* const place = mutex->OpenMemory();
  EXPECT_FALSE(mutex->StillShares(place)) << "and what is seen in its open memory counts no more";
  mutex->Unlock();
  mutex->Unlock();
  ASSERT_EQ(mutex->Lock(Patience), Wait::Had);
  EXPECT_FALSE(IsFree(*later));
  EXPECT_FALSE(mutex->StillShares(place)) << "though this process shares another one by now";
  EXPECT_TRUE(mutex->StillShares(mutex->OpenMemory()));
  later->OpenMemory()[OpenBytes - 1] = std::byte{7};
  EXPECT_EQ(mutex->OpenMemory()[OpenBytes - 1], std::byte{7});
  mutex->Unlock();
  EXPECT_TRUE(IsFree(*later));
}

}  // namespace
}  // namespace platform
