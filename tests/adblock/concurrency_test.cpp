// Many threads ask while lists are replaced. Run under the thread sanitizer this shows that no
// question meets a set that is half there or gone.
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "matcher/blocker.h"
#include "support.h"

namespace velmora::adblock::testing {
namespace {

TEST(Blocker, AnswersWhileListsAreReplaced) {
  const TemporaryDirectory folder;
  // Of the two rules exactly one is in force at any time, whichever set is asked.
  const std::string lists[] = {
      folder.Write("even.txt", "[Adblock]\n/even.\n/shared[0-9]\\./\nsize:10x20\n"),
      folder.Write("odd.txt", "[Adblock]\n/odd.\n/shared[0-9]\\./\nsize:10x20\n")};
  Blocker blocker(folder.Path("cache"));
  ASSERT_TRUE(blocker.Load({.lists = {lists[0]}}));

  std::atomic<bool> done = false;
  std::atomic<long> questions = 0;
  std::atomic<int> wrong = 0;
  const auto ask = [&] {
    while (!done) {
      const Blocker::Rules rules = blocker.Current();
      const bool even = NameOf(rules->Judge({"p.com", "http://a.com/even.js"})) == "blocked";
      const bool odd = NameOf(rules->Judge({"p.com", "http://a.com/odd.js"})) == "blocked";
      const Verdict shared = rules->Judge({"p.com", "http://a.com/shared1.js"});
      wrong += even == odd;
      wrong += rules->OriginOf(shared.rule).text != "/shared[0-9]\\./";
      wrong += !rules->IsAdSize(10, 20);
      ++questions;
    }
  };
  std::vector<std::thread> threads;
  for (int count = 0; count < 4; ++count) threads.emplace_back(ask);
  for (int round = 1; round <= 60 || questions < 1000; ++round) {
    ASSERT_TRUE(blocker.Load({.lists = {lists[round % 2]}}));
    // Two threads may load at once.
    if (round % 10 == 0) {
      std::thread other([&] { blocker.Reload(); });
      blocker.Reload();
      other.join();
    }
  }
  done = true;
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

/// Counts those that are alive.
struct Tracked {
  explicit Tracked(std::atomic<int> &count) : alive(count) { ++alive; }
  ~Tracked() { --alive; }
  std::atomic<int> &alive;
};

TEST(Guarded, DestroysAValueWhenItsLastReaderIsDone) {
  std::atomic<int> alive = 0;
  {
    Guarded<Tracked> guarded;
    guarded.Replace(std::make_unique<const Tracked>(alive));
    std::atomic<bool> replaced = false;
    std::thread writer;
    {
      const Guarded<Tracked>::Reading reading(guarded);
      writer = std::thread([&] {
        guarded.Replace(std::make_unique<const Tracked>(alive));
        replaced = true;
      });
      while (Guarded<Tracked>::Reading(guarded).Get() == reading.Get()) std::this_thread::yield();
      EXPECT_EQ(alive, 2);
      EXPECT_FALSE(replaced);
    }
    writer.join();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST(Guarded, DoesNotWaitForEverForAReaderThatIsGone) {
  std::atomic<int> alive = 0;
  Guarded<Tracked> guarded(std::chrono::milliseconds(20));
  guarded.Replace(std::make_unique<const Tracked>(alive));
  const Guarded<Tracked>::Reading stuck(guarded);
  guarded.Replace(std::make_unique<const Tracked>(alive));
  EXPECT_EQ(alive, 2);
  EXPECT_EQ(&stuck->alive, &alive);
}

}  // namespace
}  // namespace velmora::adblock::testing
