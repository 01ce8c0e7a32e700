#include "host/bodies/body_stream.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/limits/processor_timer.h"
#include "host/scripted_processor.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t START = DATA_FLAG_START;
constexpr std::uint32_t END = DATA_FLAG_END;
/// A sanitizer's allocator tells nobody that there is no memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool IS_SANITIZED = true;
#else
constexpr bool IS_SANITIZED = false;
#endif

/// Not a constant, for compilers that know that it cannot be had.
volatile std::size_t MORE_THAN_THERE_IS = std::size_t{1} << 60;

/// A stream that draws from what is pushed.
class PushedStream {
 public:
  explicit PushedStream(ProcessorPointer processor, Transaction &transaction,
                        const StreamOptions &options = {})
      : stream_(pieces_, std::move(processor), transaction, options) {}

  std::string_view Push(std::string_view piece) {
    pieces_.Push(piece);
    return Next();
  }
  std::string_view Finish(std::string_view last_piece) {
    pieces_.Finish(last_piece);
    return Next();
  }
  std::string_view Next() { return stream_.Next().bytes; }
  void Abort() { stream_.Abort(); }
  StreamState State() const { return stream_.State(); }

 private:
  PushedPieces pieces_;
  BodyStream stream_;
};

/// One stream through a scripted processor.
struct StreamRun {
  explicit StreamRun(ScriptedProcessor::Process process = {}, StreamOptions stream_options = {})
      : processor(std::move(process)), options(stream_options) {}

  /// All that comes out for the given pieces, until the stream fails; the last one is given with
  /// the end.
  std::string Feed(const std::vector<std::string_view> &pieces) {
    PushedStream stream(ProcessorPointer::Adopt(&processor), transaction, options);
    std::string sent;
    for (std::size_t i = 0; i < pieces.size() && stream.State() != StreamState::FAILED; ++i) {
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
  const std::tuple<std::vector<std::string_view>, std::vector<ProcessorCall>, std::string_view>
      cases[] = {
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
  for (const auto &[pieces, calls, sent] : cases) {
    SCOPED_TRACE(sent);
    StreamRun run(EditAndHold, {.slice_size = 4, .limits = {}});
    EXPECT_EQ(run.Feed(pieces), sent);
    EXPECT_EQ(run.processor.calls, calls);
    EXPECT_EQ(run.state, StreamState::FINISHED);
    EXPECT_EQ(run.processor.context, &run.transaction);
    EXPECT_EQ(run.processor.references, 0);
  }
}

TEST(BodyStream, FinalBytesComeOutAfterEachSlice) {
  StreamRun run({}, {.slice_size = 2, .limits = {}});
  PushedStream stream(ProcessorPointer::Adopt(&run.processor), run.transaction, run.options);
  EXPECT_EQ(stream.Push("abcde"), "ab");
  EXPECT_EQ(run.processor.calls.size(), 1U);
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
  PushedStream stream(ProcessorPointer::Adopt(&run.processor), run.transaction);
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

void TellTrouble(IDataContext &context, StopReason reason) {
  void *answer = nullptr;
  ASSERT_EQ(context.QueryInterface(&ID_TroubleListener, &answer), RESULT_OK);
  auto *const listener = static_cast<ITroubleListener *>(answer);
  if (reason == StopReason::MISREAD_BYTES) {
    EXPECT_EQ(listener->MostMisreadBytes(), 7U);
    listener->OnMisreadBytes();
  } else {
    listener->OnUnexamined();
  }
  listener->Release();
}

TEST(BodyStream, BeyondALimitThePolicyDecides) {
  using std::chrono::milliseconds;
  static constexpr std::uint8_t ADDED[] = {'+', '+', '+', '+'};
  const struct {
    StopReason reason;
    Limits limits;
    /// Goes beyond the limit at the second slice of four bytes.
    ScriptedProcessor::Process process;
    bool tells = false;
    std::string passed = "0123456789abc";
  } cases[] = {
      {StopReason::HELD_BYTES,
       {.held_bytes = {4}},
       [](IDataBuffer &buffer, std::uint32_t) { buffer.SetCommitted(0); }},
      {StopReason::ADDED_BYTES,
       {.added_bytes = {2}},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         if (++calls == 1) return;
         // What goes makes room; what is refused is refused whole, and so is all after it.
         buffer.Replace(0, 2, ADDED, 1);
         buffer.Replace(0, 1, ADDED, 4);
         buffer.Replace(0, 0, ADDED, 1);
         buffer.Replace(0, 4, nullptr, 0);
       },
       false,
       "++++23456789abc"},
      {StopReason::FILTER_TIME,
       {.filter_time = {milliseconds(20)}},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         // Only work counts.
         const auto begin = ThreadTime();
         if (++calls == 1) std::this_thread::sleep_for(milliseconds(60));
         while (calls == 2 && ThreadTime() - begin < milliseconds(21)) {
         }
       }},
      {StopReason::OUT_OF_MEMORY,
       {.added_bytes = {0xFFFFFFFF}},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         const std::uint8_t byte = 0;
         if (++calls == 2) buffer.Replace(0, 0, &byte, 0xFFFFFFFF);
       }},
      // The plug-in notices, and says nothing; or it says so.
      {StopReason::OUT_OF_MEMORY,
       {},
       [calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
         buffer.SetCommitted(0);
         if (++calls == 2) delete[] new (std::nothrow) char[MORE_THAN_THERE_IS];
       },
       IS_SANITIZED},
      {StopReason::OUT_OF_MEMORY, {}, {}, true},
      {StopReason::MISREAD_BYTES, {.misread_bytes = {7}}, {}, true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(Describe(c.reason));
    for (const BeyondLimit beyond : {BeyondLimit::PASS_UNFILTERED, BeyondLimit::FAIL}) {
      const bool passes = beyond == BeyondLimit::PASS_UNFILTERED;
      Limits limits = c.limits;
      limits.beyond = beyond;
      StreamRun run(c.process, {.slice_size = 4, .limits = limits});
      if (c.tells) {
        run.processor.process = [&, calls = 0](IDataBuffer &buffer, std::uint32_t) mutable {
          buffer.SetCommitted(0);
          if (++calls == 2) TellTrouble(*run.processor.context, c.reason);
        };
      }
      EXPECT_EQ(run.Feed({"0123456789", "abc", ""}), passes ? c.passed : "");
      EXPECT_THAT(run.sink.stops, ElementsAre(c.reason));
      EXPECT_EQ(run.processor.calls.size(), 2U);
      EXPECT_EQ(run.processor.references, 0);
      EXPECT_EQ(run.state, passes ? StreamState::FINISHED : StreamState::FAILED);
    }
  }
}

TEST(BodyStream, OfAllThatIsHeldOnlyTheGreedyGiveTheirsUp) {
  const auto hold = [](IDataBuffer &buffer, std::uint32_t) { buffer.SetCommitted(0); };
  const StreamOptions options{.limits = {.all_held_bytes = {.most = 2 * AllHeldBytesLimit::SMALL}}};
  StreamRun small(hold, options);
  StreamRun greedy[] = {StreamRun(hold, options), StreamRun(hold, options),
                        StreamRun(hold, options)};
  const std::string piece(AllHeldBytesLimit::SMALL + 1, 'x');
  {
    PushedStream kept(ProcessorPointer::Adopt(&greedy[0].processor), greedy[0].transaction,
                      options);
    EXPECT_EQ(kept.Push(piece), "");
    EXPECT_EQ(small.Feed({"abc", ""}), "abc");
    EXPECT_EQ(greedy[1].Feed({piece, ""}), piece);
  }
  EXPECT_EQ(greedy[2].Feed({piece, ""}), piece);
  EXPECT_THAT(small.sink.stops, IsEmpty());
  EXPECT_THAT(greedy[0].sink.stops, IsEmpty());
  EXPECT_THAT(greedy[1].sink.stops, ElementsAre(StopReason::ALL_HELD_BYTES));
  EXPECT_THAT(greedy[2].sink.stops, IsEmpty()) << "those before gave theirs back";
}

TEST(BodyStream, WhatThePlugInTakesCountsAsHeld) {
  const StreamOptions options{.limits = {.all_held_bytes = {.most = 2 * AllHeldBytesLimit::SMALL}}};
  const std::uint64_t before = all_held_bytes.Bytes();
  StreamRun run({}, options);
  run.processor.process = [&](IDataBuffer &, std::uint32_t) {
    void *listener = nullptr;
    ASSERT_EQ(run.processor.context->QueryInterface(&ID_PageListener, &listener), RESULT_OK);
    static_cast<IPageListener *>(listener)->OnMemory(3 * AllHeldBytesLimit::SMALL);
    static_cast<IPageListener *>(listener)->Release();
  };
  EXPECT_EQ(run.Feed({"abc", "def", ""}), "abcdef");
  EXPECT_THAT(run.sink.stops, ElementsAre(StopReason::ALL_HELD_BYTES));
  EXPECT_EQ(run.processor.calls.size(), 1U) << "the rest goes by";
  EXPECT_EQ(all_held_bytes.Bytes(), before) << "given back with the processor";
}

TEST(BodyStream, WithoutAProcessorThePolicyDecides) {
  StreamRun run;
  PushedStream passing(ProcessorPointer(), run.transaction);
  EXPECT_EQ(passing.Finish("abc"), "abc");
  PushedStream failing(ProcessorPointer(), run.transaction,
                       {.limits = {.beyond = BeyondLimit::FAIL}});
  EXPECT_EQ(failing.Finish("abc"), "");
  EXPECT_EQ(failing.Push("more"), "") << "and nothing is left to be said";
  EXPECT_EQ(failing.State(), StreamState::FAILED);
  EXPECT_THAT(run.sink.stops, ElementsAre(StopReason::OUT_OF_MEMORY, StopReason::OUT_OF_MEMORY));
}

TEST(BodyStream, AbortDropsWhatIsHeldAndReleasesTheProcessor) {
  StreamRun run([](IDataBuffer &buffer, std::uint32_t) { buffer.SetCommitted(1); });
  PushedStream stream(ProcessorPointer::Adopt(&run.processor), run.transaction);
  EXPECT_EQ(stream.Push("abc"), "a");
  stream.Abort();
  EXPECT_EQ(stream.Next(), "");
  EXPECT_EQ(stream.State(), StreamState::FAILED);
  EXPECT_EQ(run.processor.references, 0);
  EXPECT_THAT(run.sink.stops, IsEmpty());
}

}  // namespace
}  // namespace velmora::host
