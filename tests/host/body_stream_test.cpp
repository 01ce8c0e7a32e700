#include "host/body_stream.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "host/scripted_processor.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t START = DATA_FLAG_START;
constexpr std::uint32_t END = DATA_FLAG_END;

class RecordingSink final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &) noexcept override { ++blocked; }
  void OnStopped(StopReason reason) noexcept override { stops.push_back(reason); }

  int blocked = 0;
  std::vector<StopReason> stops;
};

/// One stream through a scripted processor.
struct StreamRun {
  explicit StreamRun(ScriptedProcessor::Process process = {}, StreamOptions stream_options = {})
      : processor(std::move(process)), options(stream_options) {}

  /// All that comes out for the given pieces; the last one is given with the end.
  std::string Feed(const std::vector<std::string_view> &pieces) {
    BodyStream stream(ProcessorPointer(&processor), transaction, options);
    std::string sent;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      auto out = i + 1 < pieces.size() ? stream.Push(pieces[i]) : stream.Finish(pieces[i]);
      for (; !out.empty(); out = stream.Next()) sent += out;
    }
    state = stream.State();
    EXPECT_EQ(stream.Next(), "");
    return sent;
  }

  RecordingSink sink;
  Transaction transaction{{.content_type = "text/html"}, sink};
  ScriptedProcessor processor;
  StreamOptions options;
  StreamState state{};
};

StreamOptions SlicesOf(std::uint32_t size) {
  return {.slice_size = size, .limits = {}};
}

/// Holds back what follows the last "|", and removes every "-".
void EditAndHold(IDataBuffer &buffer, std::uint32_t) {
  const auto text = [&] {
    return std::string_view(reinterpret_cast<const char *>(buffer.GetData()), buffer.GetSize());
  };
  for (std::size_t dash; (dash = text().find('-')) != text().npos;) {
    buffer.Replace(static_cast<std::uint32_t>(dash), 1, nullptr, 0);
  }
  if (const std::size_t bar = text().rfind('|'); bar != text().npos) {
    buffer.SetCommitted(static_cast<std::uint32_t>(bar));
  }
}

TEST(BodyStream, CallsTheProcessorSliceBySliceWithWhatItHeldBackInFront) {
  struct {
    std::vector<std::string_view> pieces;
    std::vector<ProcessorCall> calls;
    std::string_view sent;
  } const cases[] = {
      {{""}, {{"", START | END}}, ""},
      {{"ab"}, {{"ab", START | END}}, "ab"},
      {{"abcdef"}, {{"abcd", START}, {"ef", END}}, "abcdef"},
      {{"ab", "cd", ""}, {{"ab", START}, {"cd", 0}, {"", END}}, "abcd"},
      {{"", "ab"}, {{"ab", START | END}}, "ab"},
      // A slice is new bytes; what was held comes on top.
      {{"a|bcdefg"}, {{"a|bc", START}, {"|bcdefg", END}}, "a|bcdefg"},
      {{"a-b|", "c-d", "|e-f"}, {{"a-b|", START}, {"|c-d", 0}, {"|cd|e-f", END}}, "ab|cd|ef"},
      // What is held at the end goes out too.
      {{"x|y", ""}, {{"x|y", START}, {"|y", END}}, "x|y"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.sent);
    StreamRun run(EditAndHold, SlicesOf(4));
    EXPECT_EQ(run.Feed(c.pieces), c.sent);
    EXPECT_EQ(run.processor.calls, c.calls);
    EXPECT_EQ(run.state, StreamState::FINISHED);
    EXPECT_EQ(run.processor.context, &run.transaction);
    EXPECT_EQ(run.processor.references, 0);
  }
}

TEST(BodyStream, FinalBytesComeOutAfterEachSlice) {
  StreamRun run({}, SlicesOf(2));
  BodyStream stream(ProcessorPointer(&run.processor), run.transaction, run.options);
  EXPECT_EQ(stream.Push("abcde"), "ab");
  EXPECT_THAT(run.processor.calls, ElementsAre(ProcessorCall{"ab", START}));
  EXPECT_EQ(stream.Next(), "cd");
  EXPECT_EQ(stream.Next(), "e");
  EXPECT_EQ(stream.Next(), "");
  EXPECT_EQ(stream.State(), StreamState::FILTERING);
}

TEST(BodyStream, NoCallSeesMoreThanASliceAndWhatIsHeld) {
  // An edit moves at most what the call sees, so this bounds the cost of each edit of a large
  // piece.
  std::uint32_t most = 0;
  StreamRun run(
      [&](IDataBuffer &buffer, std::uint32_t) { most = std::max(most, buffer.GetSize()); });
  run.processor.records_calls = false;
  const std::string piece(20U << 20, 'x');
  EXPECT_EQ(run.Feed({piece}), piece);
  EXPECT_EQ(most, run.options.slice_size);
}

TEST(BodyStream, AnUnwantedBodyPassesUntouchedAndUncopied) {
  StreamRun run;
  run.processor.supported = false;
  BodyStream stream(ProcessorPointer(&run.processor), run.transaction);
  EXPECT_EQ(run.processor.references, 0);
  const std::string_view piece = "abc";
  EXPECT_EQ(stream.Push(piece).data(), piece.data());
  EXPECT_EQ(stream.Next(), "");
  EXPECT_EQ(stream.State(), StreamState::PASSING);
  EXPECT_EQ(stream.Finish("def"), "def");
  EXPECT_EQ(stream.Next(), "");
  EXPECT_EQ(stream.State(), StreamState::FINISHED);
  EXPECT_THAT(run.processor.calls, IsEmpty());
}

/// Ways to go beyond a limit at the second slice of four bytes.
struct LimitCase {
  StopReason reason;
  Limits limits;
  ScriptedProcessor::Process process;
};

std::vector<LimitCase> LimitCases() {
  using std::chrono::milliseconds;
  return {
      {StopReason::HELD_BYTES,
       {.held_bytes = {4}},
       [](IDataBuffer &buffer, std::uint32_t) { buffer.SetCommitted(0); }},
      {StopReason::FILTER_TIME,
       {.filter_time = {milliseconds(200)}},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         const auto end = std::chrono::steady_clock::now() + milliseconds(201);
         while (calls == 1 && std::chrono::steady_clock::now() < end) {
         }
         ++calls;
       }},
      {StopReason::OUT_OF_MEMORY,
       {},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         const std::uint8_t byte = 0;
         if (++calls == 2) buffer.Replace(0, 0, &byte, 0xFFFFFFFF);
       }},
  };
}

TEST(BodyStream, BeyondALimitTheRestPassesUnfiltered) {
  for (const LimitCase &c : LimitCases()) {
    SCOPED_TRACE(Describe(c.reason));
    StreamRun run(c.process, {.slice_size = 4, .limits = c.limits});
    EXPECT_EQ(run.Feed({"0123456789", "abc", ""}), "0123456789abc");
    EXPECT_THAT(run.sink.stops, ElementsAre(c.reason));
    EXPECT_EQ(run.processor.calls.size(), 2U);
    EXPECT_EQ(run.processor.references, 0);
    EXPECT_EQ(run.state, StreamState::FINISHED);
  }
}

TEST(BodyStream, BeyondALimitTheTransactionFailsWhenThePolicySaysSo) {
  for (LimitCase c : LimitCases()) {
    SCOPED_TRACE(Describe(c.reason));
    c.limits.beyond = BeyondLimit::FAIL;
    StreamRun run(c.process, {.slice_size = 4, .limits = c.limits});
    EXPECT_EQ(run.Feed({"0123456789", "abc", ""}), "");
    EXPECT_THAT(run.sink.stops, ElementsAre(c.reason));
    EXPECT_EQ(run.processor.references, 0);
    EXPECT_EQ(run.state, StreamState::FAILED);
  }
}

TEST(BodyStream, WithoutAProcessorThePolicyDecides) {
  StreamRun run;
  BodyStream passing(nullptr, run.transaction);
  EXPECT_EQ(passing.Finish("abc"), "abc");
  BodyStream failing(nullptr, run.transaction, {.limits = {.beyond = BeyondLimit::FAIL}});
  EXPECT_EQ(failing.Finish("abc"), "");
  EXPECT_EQ(failing.State(), StreamState::FAILED);
  EXPECT_THAT(run.sink.stops, ElementsAre(StopReason::OUT_OF_MEMORY, StopReason::OUT_OF_MEMORY));
}

TEST(BodyStream, AbortDropsWhatIsHeldAndReleasesTheProcessor) {
  StreamRun run([](IDataBuffer &buffer, std::uint32_t) { buffer.SetCommitted(1); });
  BodyStream stream(ProcessorPointer(&run.processor), run.transaction);
  EXPECT_EQ(stream.Push("abc"), "a");
  stream.Abort();
  EXPECT_EQ(stream.Next(), "");
  EXPECT_EQ(stream.State(), StreamState::FAILED);
  EXPECT_EQ(run.processor.references, 0);
  EXPECT_THAT(run.sink.stops, IsEmpty());
}

}  // namespace
}  // namespace velmora::host
