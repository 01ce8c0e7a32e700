#include "host/bodies/response_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "host/compressed.h"
#include "host/scripted_processor.h"
#include "host/web/page_charset.h"
#include "host/web/sniffing.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Takes the first "-" of each call away, and keeps the type that it is told.
struct DashRemover {
  ScriptedProcessor processor{[this](IDataBuffer &buffer, std::uint32_t) {
    type = processor.context->GetProperty(PROPERTY_CONTENT_TYPE);
    puts_in = processor.context->IsCategoryEnabled(CATEGORY_POPUPS);
    const std::string_view text(reinterpret_cast<const char *>(buffer.GetData()), buffer.GetSize());
    const std::size_t dash = text.find('-');
    if (dash != text.npos) buffer.Replace(static_cast<std::uint32_t>(dash), 1, nullptr, 0);
    buffer.SetCommitted(buffer.GetSize());
  }};
  std::string type;
  bool puts_in = false;
};

struct Response {
  std::string type = "text/html";
  std::string coding{};
  std::string accepts{};
  ResponseOptions options{};
  std::string_view blocked{};
};

std::string WithoutDashes(std::string text) {
  std::erase(text, '-');
  return text;
}

std::string Joined(const std::vector<std::string> &pieces) {
  std::string joined;
  for (const std::string &piece : pieces) joined += piece;
  return joined;
}

struct FilterRun {
  explicit FilterRun(const Response &response)
      : filter(ProcessorPointer(&remover.processor),
               {.content_type = response.type, .categories = CategorySet::Parse(response.blocked)},
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
  RecordingSink sink;
  ResponseFilter filter;
};

TEST(ResponseFilter, TellsThePluginATypeThatItKnows) {
  const ResponseOptions no_types{.presentation = {.maps_types = false}};
  const ResponseOptions no_labels{.presentation = {.maps_charsets = false}};
  const ResponseOptions no_reading{.presentation = {.reads_page_charset = false}};
  const ResponseOptions nothing{.presentation = {.maps_types = false, .maps_charsets = false}};
  // The body goes by.
  const std::string UNTOLD;
  struct {
    std::string type;
    std::vector<std::string> pieces;
    std::string told;
    ResponseOptions options;
    std::string_view blocked{};
  } const cases[] = {
      // Names for the same types; of the line go on the type and one charset.
      {"text/javascript; v=1", {"a"}, "application/x-javascript", {}},
      {"Application/JavaScript", {"a"}, "application/x-javascript", {}},
      {"text/vbs", {"a"}, "text/vbscript", {}},
      {"text/javascripts", {"a"}, "text/javascripts", {}},
      {"text/javascript; v=1", {"a"}, "text/javascript", no_types},
      {"text/html;charset=l9;v=1", {"a"}, "text/html;charset=l9;v=1", nothing},
      // Labels of the same character sets, where and as browsers read them.
      {"application/xhtml+xml; charset=x-sjis", {"a"}, "text/html; charset=CP932", {}},
      {" text/html ; Charset=\"L9\" ; a=b", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset=\"l9", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset=\"l\\9\"x", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; a=\"; charset=b\"; charset=l9", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset=; charset=l9", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset=l9; charset=koi8", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset0utf-16be; charset=utf-8", {"a"}, "text/html; charset=UTF-8", {}},
      {"text/html; charset=x-sjis", {"a"}, "text/html; charset=x-sjis", no_labels},
      // What no browser takes for a charset.
      {"text/html; charset='l9'", {"a"}, "text/html", {}},
      {"text/html; charset =l9", {"a"}, "text/html", {}},
      {"text/html; charset=\"\"; charset=l9", {"a"}, "text/html", {}},
      {"text/html; charset=ucs-2be", {"<meta charset=koi8-r>"}, "text/html; charset=KOI8-R", {}},
      // Several lines: the last good type, and a charset of the same type.
      {"text/html; charset=l9, text/html", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html; charset=l9, text/html; charset=koi8", {"a"}, "text/html; charset=KOI8-R", {}},
      {"text/css; charset=l9, text/html", {"a"}, "text/html", {}},
      {"text/html, text/css", {"a"}, "text/css", {}},
      {"text/html; a=\", text/css\", */*, nonsense", {"a"}, "text/html", {}},
      // Nearly a type, as browsers take it.
      {"text/html (a page); charset=l9", {"a"}, "text/html; charset=ISO-8859-15", {}},
      {"text/html charset=l9", {"a"}, "text/html", {}},
      // A byte-order mark stands above the header, the header above the page.
      {"text/html", {"", "\xEF\xBB\xBF"}, "text/html; charset=UTF-8", {}},
      {"text/html; charset=utf-16be", {"\xEF", "\xBB", "\xBF"}, "text/html; charset=UTF-8", {}},
      {"text/html; charset=utf-16be", {"\xEF", "a"}, "text/html; charset=UTF-16BE", {}},
      {"text/html; charset=utf-8", {"<meta charset=koi8-r>"}, "text/html; charset=UTF-8", {}},
      {"text/html;", {"<meta charset=koi8-r>"}, "text/html; charset=KOI8-R", {}},
      {"text/html", {"<meta charset=koi8-r>"}, "text/html", no_reading},
      {"text/html", {"<meta cha", "rset=koi8-r>"}, "text/html", {}},
      {"text/javascript", {"<meta charset=koi8-r>"}, "application/x-javascript", {}},
      // No type: what it looks like, whatever pieces it comes in.
      {"", {"\n <HTML>"}, "text/html", {}},
      {"*/*",
       {" ", "<", "!doc", "type html><meta charset=koi8-r>"},
       "text/html; charset=KOI8-R",
       {}},
      {"unknown/unknown", {"<p>"}, "text/html", {}},
      {"page", {"<!--"}, "text/html", {}},
      {"", {"<!--"}, UNTOLD, no_types},
      {"", {"<img>"}, UNTOLD, {}},
      {"", {"<", ""}, UNTOLD, {}},
      {"", {std::string(SNIFFED_BYTES - 2, ' ') + "<p>"}, "text/html", {}},
      {"", {std::string(SNIFFED_BYTES - 1, ' ') + "<p>"}, UNTOLD, {}},
      // Documents in which scripts run, where active content is blocked.
      {"image/svg+xml", {"<svg/>"}, "text/html", {}, "scripts"},
      {"text/xml",
       {"<?xml encoding='koi8-r'?><meta charset=l9>"},
       "text/html; charset=KOI8-R",
       {},
       "flash"},
      {"", {"<?xml version='1.0'?>"}, "text/html", {}, "scripts,popups"},
      {"", {"<?xml version='1.0'?>"}, UNTOLD, {}, "popups"},
      {"text/xml", {"<a/>"}, "text/xml", {}, "popups"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.type + " " + c.pieces.back());
    FilterRun run({.type = c.type, .options = c.options, .blocked = c.blocked});
    EXPECT_EQ(WithoutDashes(run.Feed(c.pieces)), WithoutDashes(Joined(c.pieces)));
    EXPECT_EQ(run.remover.type, c.told);
    EXPECT_FALSE(run.remover.puts_in && c.told != c.type) << "a pop-up script would break it";
  }
}

TEST(ResponseFilter, TellsThePluginTheCharsetThatAPageNames) {
  const std::string meta = "<meta charset=utf-8>";
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\xEF\xBB\xBF<meta charset=koi8-r>", "UTF-8"},
      {"\xFF\xFE<", "UTF-16LE"},
      {"\xFE\xFF", "UTF-16BE"},
      {"\xEF\xBB", ""},
      // The short form.
      {"<meta charset=utf-8>", "UTF-8"},
      {"<!doctype html><html lang=\"ru\"><META\n charset = 'koi8-r' />", "KOI8-R"},
      {"<meta name=x charset=\"x-sjis\" content=y>", "CP932"},
      {"<meta/charset=utf-8>", "UTF-8"},
      // The long form.
      {"<meta http-equiv=Content-Type content='text/html; charset=euc-kr'>", "CP949"},
      {"<meta content='text/html;charset = \"big5\"' http-equiv=\"content-type\">", "BIG5-HKSCS"},
      {"<meta content='charset; charset=utf-8;x' http-equiv=content-type>", "UTF-8"},
      {"<meta content='text/html; charset=utf-8'>", ""},
      {"<meta http-equiv=refresh content='0; charset=utf-8'>", ""},
      {"<meta http-equiv=content-type content='charset=\"utf-8'>", ""},
      // The first that names a known set counts.
      {"<meta charset=nonsense><meta charset=utf-8>", "UTF-8"},
      {"<meta charset=utf-8><meta charset=koi8-r>", "UTF-8"},
      {"<meta charset=nonsense http-equiv=content-type content='charset=koi8-r'>", "KOI8-R"},
      // A page that could be read so far is in no 16-bit set.
      {"<meta charset=utf-16le>", "UTF-8"},
      {"<meta http-equiv=content-type content='text/html;charset=utf-16'>", "UTF-8"},
      // What looks like one and is none.
      {"<!-- <meta charset=utf-8> -->", ""},
      {"<!--><meta charset=utf-8>", "UTF-8"},
      {"<a title='<meta charset=utf-8>'>", ""},
      {"</a title='<meta charset=utf-8>'><meta charset=koi8-r>", "KOI8-R"},
      {"<?xml encoding='koi8-r'?><meta charset=utf-8>", "UTF-8"},
      // An XML declaration, where there is no META.
      {"<?xml version=\"1.0\" encoding = \"koi8-r\"?><p>", "KOI8-R"},
      {"<?xml encoding='utf-16be'?>", "UTF-8"},
      {"<?xml encoding=koi8-r?>", ""},
      {"<?xml encoding='koi8-r'", ""},
      {std::string("<\0?\0x\0", 6), "UTF-16LE"},
      {"<? <meta charset=utf-8>", ""},
      {"<metadata charset=utf-8>", ""},
      {"1 < 2 <meta charset=utf-8>", "UTF-8"},
      {"<a =x y=><meta charset=utf-8>", "UTF-8"},
      // Cut off.
      {"<meta charset=utf-8", ""},
      {"<meta charset=utf-8 ", ""},
      {"<meta charset='utf-8", ""},
      {"<meta", ""},
      {"<!-- ", ""},
      {"<a ", ""},
      // Only the first bytes are looked at.
      {std::string(PAGE_CHARSET_BYTES - meta.size(), ' ') + meta, "UTF-8"},
      {std::string(PAGE_CHARSET_BYTES - meta.size() + 1, ' ') + meta, ""},
  };
  for (const auto &[page, charset] : cases) {
    FilterRun run({});
    run.Feed({page});
    EXPECT_EQ(run.remover.type, charset.empty() ? "text/html" : "text/html; charset=" + charset)
        << page;
  }
}

TEST(ResponseFilter, AGifThatIsNoneIsNotHandedOver) {
  const ResponseOptions unchecked{.presentation = {.checks_gifs = false}};
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
    PushedPieces gzip;
    DecodedBody decoded(gzip, ContentCoding::GZIP, {});
    gzip.Finish(sent);
    std::string back;
    for (Part part = decoded.Next(); !part.IsNothing(); part = decoded.Next()) {
      back += part.bytes;
      EXPECT_EQ(part.trouble, std::nullopt);
    }
    EXPECT_EQ(back, filtered);
  }
  FilterRun refused({.coding = "gzip", .accepts = "br", .options = {.gzips_again = true}});
  EXPECT_EQ(refused.filter.SentCoding(), ContentCoding::IDENTITY);
}

TEST(ResponseFilter, WhatCameInCanBeReadAtOnceInGzipToo) {
  FilterRun run({.coding = "gzip", .accepts = "gzip", .options = {.gzips_again = true}});
  PushedPieces gzip;
  DecodedBody decoded(gzip, ContentCoding::GZIP, {});
  // Two members, so that each is whole when it arrives.
  for (const std::string text : {"first part", "second part"}) {
    const std::string sent = run.Take(run.filter.Push(Compressed(ContentCoding::GZIP, text)));
    gzip.Push(sent);
    EXPECT_EQ(decoded.Next().bytes, text);
    EXPECT_TRUE(decoded.Next().IsNothing());
  }
}

TEST(ResponseFilter, WhatThePluginDoesNotWantIsNotTouched) {
  DashRemover remover;
  remover.processor.supported = false;
  RecordingSink sink;
  const ResponseFilter unsupported(ProcessorPointer(&remover.processor), {},
                                   {.content_encoding = "compress"}, sink, {});
  const FilterRun undecoded({.coding = "gzip", .options = {.decodes = false}});
  EXPECT_FALSE(unsupported.IsWanted());
  EXPECT_FALSE(undecoded.filter.IsWanted());
  EXPECT_THAT(sink.stops, IsEmpty());
  EXPECT_THAT(undecoded.sink.stops, IsEmpty());
}

TEST(ResponseFilter, ACodingThatGoesWrongEndsTheBody) {
  const std::string gzip = Compressed(ContentCoding::GZIP, "page-");
  std::string bad_checksum = gzip;
  bad_checksum[gzip.size() - 5] ^= 1;
  const std::tuple<StopReason, std::vector<std::string>, std::string> cases[] = {
      {StopReason::CORRUPT_CODING, {"<html>", "more"}, ""},
      {StopReason::CORRUPT_CODING, {bad_checksum, "more"}, "page"},
      {StopReason::TRUNCATED_CODING, {gzip.substr(0, gzip.size() - 1)}, "page"},
      {StopReason::DECODED_SIZE, {gzip + gzip, "more"}, "page"},
  };
  for (const auto &[reason, pieces, decoded] : cases) {
    SCOPED_TRACE(Describe(reason));
    ResponseOptions options;
    options.decoding = {.size = 6};
    options.stream.slice_size = 5;
    FilterRun passing({.coding = "gzip", .options = options});
    EXPECT_THAT(passing.Feed(pieces), ::testing::StartsWith(decoded));
    EXPECT_EQ(passing.filter.State(), StreamState::FINISHED);
    EXPECT_THAT(passing.sink.stops, ElementsAre(reason));

    options.stream.limits.beyond = BeyondLimit::FAIL;
    FilterRun failing({.coding = "gzip", .options = options});
    failing.Feed(pieces);
    EXPECT_EQ(failing.filter.State(), StreamState::FAILED);
    EXPECT_THAT(failing.sink.stops, ElementsAre(reason));
  }
}

TEST(ResponseFilter, AnUnknownCodingPassesOrIsRefused) {
  for (const BeyondLimit beyond : {BeyondLimit::PASS_UNFILTERED, BeyondLimit::FAIL}) {
    ResponseOptions options;
    options.stream.limits.beyond = beyond;
    const FilterRun run({.coding = "gzip, br", .options = options});
    EXPECT_FALSE(run.filter.IsWanted());
    EXPECT_EQ(run.filter.State(),
              beyond == BeyondLimit::PASS_UNFILTERED ? StreamState::PASSING : StreamState::FAILED);
    EXPECT_THAT(run.sink.stops, ElementsAre(StopReason::UNKNOWN_CODING));
  }
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
