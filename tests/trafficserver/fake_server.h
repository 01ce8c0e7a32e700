// As much of Traffic Server as the adapter asks for, in the test's own process and on its threads.
#pragma once

#include <list>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <ts/ts.h>
#include <utility>
#include <vector>

namespace velmora::testing {

struct FakeHead {
  std::string method = "GET";
  int status = 200;
  std::list<std::pair<std::string, std::string>> fields;
  /// Made, and in no head yet.
  std::list<std::pair<std::string, std::string>> loose;

  std::string Value(std::string_view name) const;
};

struct FakeBuffer {
  std::string bytes;
  std::size_t begin = 0;
};

struct FakeContinuation;

/// One direction of a connection.
struct FakeVio {
  FakeBuffer *buffer = nullptr;
  std::int64_t size = 0;
  std::int64_t done = 0;
  FakeContinuation *owner = nullptr;
};

struct FakeContinuation {
  TSEventFunc run = nullptr;
  void *data = nullptr;
  bool is_closed = false;
  bool is_scheduled = false;
  FakeVio input{};
  FakeVio output{};
  /// The last that it was told of its input, as the one who writes there.
  TSEvent told = TS_EVENT_NONE;
};

/// One request and its answer, from the first hook to the last.
class FakeTransaction {
 public:
  /// Of the adapter's allocations at the response's head so many succeed, the next one fails.
  long allocations = -1;
  /// Whether it did.
  bool has_failed = false;

  FakeHead request{};
  FakeHead response{};
  /// As they come from the origin.
  std::vector<std::string> pieces{};

  void Run();

  /// What the client gets; false when the adapter refused or broke off.
  bool is_complete = false;
  FakeHead sent{};
  std::string body{};

  // What the adapter's calls come to.
  const std::string url = "http://site.example/page";
  sockaddr_in client{};
  std::multimap<TSHttpHookID, FakeContinuation *> hooks{};
  TSEvent outcome = TS_EVENT_NONE;

 private:
  bool Passes(TSHttpHookID hook);
  void CallOwn(TSHttpHookID hook, TSEvent event);
  bool Transform(FakeContinuation &transformation);
};

/// Loads the adapter with the words of a line of plugin.config.
void StartAdapter(const std::vector<std::string> &words);
/// As `traffic_ctl plugin msg velmora reload`.
void Reload();

}  // namespace velmora::testing
