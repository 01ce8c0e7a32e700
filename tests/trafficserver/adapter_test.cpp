#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/temporary_directory.h"
#include "trafficserver/fake_server.h"

/// The thread sanitizer asks. The process may end while the policy that was asked for last is read.
extern "C" [[gnu::visibility("default")]] const char *__tsan_default_options() {  // NOLINT
  return "report_thread_leaks=0";
}

namespace velmora::testing {
namespace {

constexpr std::string_view SCRIPT = "<script>alert(1)</script>";
constexpr const char *UNTOUCHED_CLIENT = "192.0.2.9";
constexpr int THREADS = 4;

/// The adapter is loaded once in a process.
const TemporaryDirectory &Folder() {
  static const TemporaryDirectory folder;
  static const bool is_started = [] {
    const std::string policy = folder.Path("velmora.toml");
    std::ofstream(policy)
        << "[filter]\nblock = \"scripts\"\n[ads]\nlists = []\n[allow]\nclients = [\""
        << UNTOUCHED_CLIENT << "\"]\n";
    StartAdapter({"policy=" + policy, std::string("plugin=") + VELMORA_PLUGIN,
                  "event-log=" + folder.Path("events")});
    return true;
  }();
  (void)is_started;
  return folder;
}

std::string Text(int number) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "<p>" + std::to_string(number) + "</p>";
  return text;
}

/// A page with scripts, in a few pieces, from an origin that says how long it is.
FakeTransaction Page(int number) {
  FakeTransaction page;
  const std::string text = Text(number);
  page.pieces = {text, std::string(SCRIPT.substr(0, 10)), std::string(SCRIPT.substr(10)), text};
  page.client.sin_family = AF_INET;
  inet_pton(AF_INET, "192.0.2.1", &page.client.sin_addr);
  page.response.fields = {{"Content-Type", "text/html"}, {"ETag", "\"1\""}};
  return page;
}

/// The same in chunks.
void Chunk(FakeTransaction &page) {
  page.response.fields.emplace_back("Transfer-Encoding", "chunked");
  for (std::string &piece : page.pieces) {
    std::array<char, 16> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", piece.size());
    piece = size.data() + piece + "\r\n";
  }
  page.pieces.emplace_back("0\r\n\r\n");
}

TEST(Adapter, WithoutMemoryAtAHeadTheHeadIsTheBodys) {
  Folder();
  const std::string filtered = Text(1) + Text(1);
  const std::string whole = Text(1) + std::string(SCRIPT) + Text(1);
  int failed = 0;
  for (long allocations = 0;; ++allocations) {
    SCOPED_TRACE(allocations);
    FakeTransaction page = Page(1);
    page.allocations = allocations;
    page.Run();
    ASSERT_TRUE(page.is_complete);
    const bool is_changed = page.sent.Value("ETag").empty();
    ASSERT_EQ(page.body, is_changed ? filtered : whole);
    if (!page.has_failed) break;
    ++failed;
  }
  EXPECT_GT(failed, 3);
}

TEST(Adapter, ThreadsAnswerWhileThePolicyIsReadAgain) {
  Folder();
  const char *const asked = std::getenv("VELMORA_ANSWERS");
  const int answers = asked == nullptr ? 2'000 : std::atoi(asked);
  std::atomic<int> wrong = 0;
  std::atomic<bool> is_over = false;
  const auto serve = [&](int thread) {
    for (int i = thread; i < answers; i += THREADS) {
      FakeTransaction page = Page(i);
      const bool is_allowed = i % 3 == 0;
      if (is_allowed) inet_pton(AF_INET, UNTOUCHED_CLIENT, &page.client.sin_addr);
      if (!is_allowed && i % 2 == 0) Chunk(page);
      page.Run();
      const std::string text = Text(i);
      if (!page.is_complete || page.body != text + std::string(is_allowed ? SCRIPT : "") + text)
        ++wrong;
    }
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < THREADS; ++thread) threads.emplace_back(serve, thread);
  std::thread reloads([&] {
    while (!is_over) {
      Reload();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  for (std::thread &thread : threads) thread.join();
  is_over = true;
  reloads.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace velmora::testing
