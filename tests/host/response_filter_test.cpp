#include "host/response_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "host/compressed.h"
#include "host/scripted_processor.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StopSink final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &) noexcept override {}
  void OnStopped(StopReason reason) noexcept override { stops.push_back(reason); }

  std::vector<StopReason> stops;
};

/// Takes the first "-" of each call away, and keeps the type that it is told.
struct DashRemover {
  ScriptedProcessor processor{[this](IDataBuffer &buffer, std::uint32_t) {
    type = processor.context->GetProperty(PROPERTY_CONTENT_TYPE);
    const std::string_view text(reinterpret_cast<const char *>(buffer.GetData()), buffer.GetSize());
    const std::size_t dash = text.find('-');
    if (dash != text.npos) buffer.Replace(static_cast<std::uint32_t>(dash), 1, nullptr, 0);
    buffer.SetCommitted(buffer.GetSize());
  }};
  std::string type;
};

struct Response {
  std::string type = "text/html";
  std::string coding{};
  std::string accepts{};
  ResponseOptions options{};
};

struct FilterRun {
  explicit FilterRun(const Response &response)
      : filter(ProcessorPointer(&remover.processor), {.content_type = response.type},
               {.content_encoding = response.coding, .accept_encoding = response.accepts}, sink,
               response.options) {}

  std::string Take(std::string_view out) {
    std::string taken;
    for (; !out.empty(); out = filter.Next()) taken += out;
    return taken;
  }
  std::string Feed(const std::vector<std::string> &pieces) {
    std::string sent;
    for (const std::string &piece : pieces) sent += Take(filter.Push(piece));
    return sent + Take(filter.Finish());
  }

  DashRemover remover;
  StopSink sink;
  ResponseFilter filter;
};

TEST(ResponseFilter, TellsThePluginATypeThatItKnows) {
  ResponseOptions no_types;
  no_types.maps_types = false;
  ResponseOptions no_labels;
  no_labels.maps_charsets = false;
  ResponseOptions no_reading;
  no_reading.reads_page_charset = false;
  struct {
    std::string type;
    std::vector<std::string> pieces;
    std::string told;
    ResponseOptions options;
  } const cases[] = {
      {"text/javascript; v=1", {"a"}, "application/x-javascript; v=1", {}},
      {"text/javascript; v=1", {"a"}, "text/javascript; v=1", no_types},
      {"application/xhtml+xml; charset=x-sjis", {"a"}, "text/html; charset=CP932", {}},
      {"text/html; charset=x-sjis", {"a"}, "text/html; charset=x-sjis", no_labels},
      {"text/html; charset=who-knows", {"a"}, "text/html; charset=who-knows", {}},
      {"text/html", {"<meta charset=koi8-r>"}, "text/html; charset=KOI8-R", {}},
      {"text/html", {"", "\xEF\xBB\xBF"}, "text/html; charset=UTF-8", {}},
      {"text/html", {"<meta charset=koi8-r>"}, "text/html", no_reading},
      // Only what arrives first is looked at, and only where the header names nothing.
      {"text/html", {"<meta cha", "rset=koi8-r>"}, "text/html", {}},
      {"text/html; charset=utf-8", {"<meta charset=koi8-r>"}, "text/html; charset=UTF-8", {}},
      {"text/javascript", {"<meta charset=koi8-r>"}, "application/x-javascript", {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.type + " " + c.pieces.back());
    FilterRun run({.type = c.type, .options = c.options});
    run.Feed(c.pieces);
    EXPECT_EQ(run.remover.type, c.told);
  }
}

TEST(ResponseFilter, AGifThatIsNoneIsNotHandedOver) {
  ResponseOptions unchecked;
  unchecked.checks_gifs = false;
  struct {
    std::string type;
    std::vector<std::string> pieces;
    std::string sent;
    ResponseOptions options;
  } const cases[] = {
      {"image/gif", {"GIF89a-"}, "GIF89a", {}},
      {"image/gif", {"GI", "F89a-"}, "GIF89a", {}},
      {"image/gif", {"\x89PNG-", "-"}, "\x89PNG--", {}},
      {"image/gif", {"GI-"}, "GI-", {}},
      {"image/gif", {"\x89PNG-"}, "\x89PNG", unchecked},
      {"text/html", {"\x89PNG-"}, "\x89PNG", {}},
  };
  for (const auto &c : cases) {
    FilterRun run({.type = c.type, .options = c.options});
    EXPECT_EQ(run.Feed(c.pieces), c.sent);
    EXPECT_EQ(run.filter.State(), StreamState::FINISHED);
  }
}

TEST(ResponseFilter, DecodesFiltersAndSendsPlainOrInGzip) {
  const std::string text = SampleText(500) + "-" + SampleText(200'000);
  const std::string filtered = SampleText(500) + SampleText(200'000);
  for (const char *const coding : {"gzip", "deflate", "br", "zstd"}) {
    SCOPED_TRACE(coding);
    const std::string bytes = Compressed(*ParseContentCoding(coding), text);
    const std::vector<std::string> pieces = {bytes.substr(0, 1000), bytes.substr(1000)};
    FilterRun plain({.coding = coding, .accepts = "gzip"});
    EXPECT_EQ(plain.filter.SentCoding(), ContentCoding::IDENTITY);
    EXPECT_EQ(plain.Feed(pieces), filtered);

    FilterRun again({.coding = coding, .accepts = "gzip", .options = {.gzips_again = true}});
    EXPECT_EQ(again.filter.SentCoding(), ContentCoding::GZIP);
    const std::string sent = again.Feed(pieces);
    EXPECT_EQ(again.filter.State(), StreamState::FINISHED);
    DecodedBody decoded(ContentCoding::GZIP, {});
    decoded.Finish(sent);
    std::string back;
    for (auto out = decoded.Next(); !out.empty(); out = decoded.Next()) back += out;
    EXPECT_EQ(decoded.Trouble(), std::nullopt);
    EXPECT_EQ(back, filtered);
  }
  FilterRun refused({.coding = "gzip", .accepts = "br", .options = {.gzips_again = true}});
  EXPECT_EQ(refused.filter.SentCoding(), ContentCoding::IDENTITY);
}

TEST(ResponseFilter, WhatCameInCanBeReadAtOnceInGzipToo) {
  FilterRun run({.coding = "gzip", .accepts = "gzip", .options = {.gzips_again = true}});
  DecodedBody decoded(ContentCoding::GZIP, {});
  // Two members, so that each is whole when it arrives.
  for (const std::string text : {"first part", "second part"}) {
    const std::string sent = run.Take(run.filter.Push(Compressed(ContentCoding::GZIP, text)));
    decoded.Push(sent);
    EXPECT_EQ(decoded.Next(), text);
    EXPECT_EQ(decoded.Next(), "");
  }
}

TEST(ResponseFilter, WhatThePluginDoesNotWantIsNotTouched) {
  DashRemover remover;
  remover.processor.supported = false;
  StopSink sink;
  ResponseFilter filter(ProcessorPointer(&remover.processor), {.content_type = "image/png"},
                        {.content_encoding = "compress"}, sink, {});
  EXPECT_FALSE(filter.IsWanted());
  EXPECT_THAT(sink.stops, IsEmpty());

  FilterRun undecoded({.coding = "gzip", .options = {.decodes = false}});
  EXPECT_FALSE(undecoded.filter.IsWanted());
  EXPECT_THAT(undecoded.sink.stops, IsEmpty());
}

/// Ways in which a coding ends before its time, and what was decoded until then.
struct TroubleCase {
  StopReason reason;
  std::string coding;
  std::vector<std::string> pieces;
  std::string decoded;
};

std::vector<TroubleCase> TroubleCases() {
  const std::string gzip = Compressed(ContentCoding::GZIP, "page-");
  std::string bad_checksum = gzip;
  bad_checksum[gzip.size() - 5] ^= 1;
  return {
      {StopReason::CORRUPT_CODING, "gzip", {"<html>", "more"}, ""},
      {StopReason::CORRUPT_CODING, "gzip", {bad_checksum, "more"}, "page"},
      {StopReason::TRUNCATED_CODING, "gzip", {gzip.substr(0, gzip.size() - 1)}, "page"},
      {StopReason::DECODED_SIZE, "gzip", {gzip + gzip, "more"}, "page"},
  };
}

TEST(ResponseFilter, ACodingThatGoesWrongEndsTheBody) {
  for (const TroubleCase &c : TroubleCases()) {
    SCOPED_TRACE(Describe(c.reason));
    ResponseOptions options;
    options.decoding = {.size = 6};
    options.stream.slice_size = 5;
    FilterRun passing({.coding = c.coding, .options = options});
    EXPECT_THAT(passing.Feed(c.pieces), ::testing::StartsWith(c.decoded));
    EXPECT_EQ(passing.filter.State(), StreamState::FINISHED);
    EXPECT_THAT(passing.sink.stops, ElementsAre(c.reason));

    options.stream.limits.beyond = BeyondLimit::FAIL;
    FilterRun failing({.coding = c.coding, .options = options});
    failing.Feed(c.pieces);
    EXPECT_EQ(failing.filter.State(), StreamState::FAILED);
    EXPECT_THAT(failing.sink.stops, ElementsAre(c.reason));
  }
}

TEST(ResponseFilter, AnUnknownCodingPassesOrIsRefused) {
  FilterRun passing({.coding = "gzip, br"});
  EXPECT_FALSE(passing.filter.IsWanted());
  EXPECT_EQ(passing.filter.State(), StreamState::PASSING);
  EXPECT_THAT(passing.sink.stops, ElementsAre(StopReason::UNKNOWN_CODING));

  ResponseOptions options;
  options.stream.limits.beyond = BeyondLimit::FAIL;
  FilterRun failing({.coding = "gzip, br", .options = options});
  EXPECT_FALSE(failing.filter.IsWanted());
  EXPECT_EQ(failing.filter.State(), StreamState::FAILED);
}

TEST(ResponseFilter, BeyondALimitTheRestIsStillDecoded) {
  ResponseOptions options;
  options.stream.limits.filter_time.most = std::chrono::nanoseconds(-1);
  options.stream.slice_size = 4;
  FilterRun run({.coding = "br", .options = options});
  const std::string text = SampleText(1000) + "-";
  EXPECT_EQ(run.Feed({Compressed(ContentCoding::BROTLI, text)}), text);
  EXPECT_THAT(run.sink.stops, ElementsAre(StopReason::FILTER_TIME));
}

}  // namespace
}  // namespace velmora::host
