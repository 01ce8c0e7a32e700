// What the process's ad-blocking library is asked while it is let go.
#include "core/ad_blocking.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "support/fake_object.h"

namespace velmora {
namespace {

/// Says what is done with it; its answers are all yes.
class Library final : public testing::FakeObject<IAdBlocker> {
 public:
  std::int32_t Release() noexcept override {
    EXPECT_EQ(asked, 0) << "a question is under way";
    ++releases;
    return 0;
  }
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *, const char *, char *, std::size_t, bool *) noexcept override {
    return Answer();
  }
  std::uint8_t CheckUrlText(const char *, const char *, std::uint32_t, char *, std::size_t,
                            bool *) noexcept override {
    return Answer();
  }
  std::uint8_t CheckSize(const char *, std::int32_t, std::int32_t) noexcept override {
    return Answer();
  }
  std::uint8_t CheckLink(const char *, const char *, const char *) noexcept override {
    return Answer();
  }

  std::function<void()> meanwhile;
  std::atomic<int> asked{0};
  std::atomic<int> releases{0};

 private:
  std::uint8_t Answer() {
    ++asked;
    EXPECT_EQ(releases, 0);
    if (meanwhile) meanwhile();
    --asked;
    return 1;
  }
};

TEST(AdBlocking, ClosesBehindTheQuestionUnderWay) {
  Library library;
  AdBlocking ads(&library);
  EXPECT_TRUE(ads.CheckSize("h", 1, 1));
  library.meanwhile = [&] { ads.Close(); };
  EXPECT_TRUE(ads.CheckSize("h", 1, 1));
  EXPECT_EQ(library.releases, 1);
  EXPECT_FALSE(ads.IsBound());
  EXPECT_FALSE(ads.CheckSize("h", 1, 1));
  ads.Close();
  EXPECT_EQ(library.releases, 1);
}

TEST(AdBlocking, ClosesWhileThreadsAsk) {
  for (int round = 0; round < 50; ++round) {
    Library library;
    AdBlocking ads(&library);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        std::string reason;
        bool exempt = false;
        while (ads.CheckUrl("h", "u", reason, exempt) != 0) {
        }
      });
    }
    std::this_thread::yield();
    ads.Close();
    threads.clear();
    EXPECT_EQ(library.releases, 1);
  }
}

}  // namespace
}  // namespace velmora
