#include "host/codings/decoded_body.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>

#include "host/compressed.h"

namespace velmora::host {
namespace {

constexpr ContentCoding CODINGS[] = {ContentCoding::GZIP, ContentCoding::DEFLATE,
                                     ContentCoding::BROTLI, ContentCoding::ZSTD};

struct Decoded {
  std::string text;
  std::optional<StopReason> trouble;
  std::size_t encoded = 0;
};

/// Decodes a body that arrives in pieces of the given size; ends with an empty last piece.
Decoded Decode(ContentCoding coding, std::string_view bytes, std::size_t piece_size,
               const DecodingLimits &limits = {}) {
  PushedPieces pieces;
  DecodedBody body(pieces, coding, limits);
  Decoded result;
  bool is_at_end = false;
  const auto take = [&] {
    for (Part part = body.Next(); !part.IsNothing(); part = body.Next()) {
      EXPECT_FALSE(is_at_end);
      result.text += part.bytes;
      result.trouble = part.trouble;
      is_at_end = part.is_last;
    }
  };
  while (!bytes.empty() && !is_at_end) {
    const std::string piece(bytes.substr(0, piece_size));
    bytes.remove_prefix(piece.size());
    result.encoded += piece.size();
    pieces.Push(piece);
    take();
  }
  pieces.Finish({});
  take();
  EXPECT_TRUE(is_at_end);
  return result;
}

TEST(DecodedBody, IsTheSameHoweverTheBytesArrive) {
  const std::string text = SampleText(300'000);
  const std::string page = "<html><body>not compressed at all</body></html>";
  for (const ContentCoding coding : CODINGS) {
    SCOPED_TRACE(static_cast<int>(coding));
    const std::string bytes = Compressed(coding, text);
    ASSERT_LT(bytes.size(), text.size() / 2);
    for (const std::size_t piece_size : {1U, 2U, 1000U, 1U << 20}) {
      const Decoded decoded = Decode(coding, bytes, piece_size);
      EXPECT_EQ(decoded.text, text) << piece_size;
      EXPECT_EQ(decoded.trouble, std::nullopt);
    }
    const Decoded half = Decode(coding, bytes.substr(0, bytes.size() / 2), 500);
    EXPECT_EQ(half.trouble, StopReason::TRUNCATED_CODING);
    EXPECT_GT(half.text.size(), text.size() / 4);
    EXPECT_TRUE(text.starts_with(half.text));
    EXPECT_EQ(Decode(coding, "", 1).text, "");
    EXPECT_EQ(Decode(coding, "", 1).trouble, std::nullopt);
    EXPECT_EQ(Decode(coding, page, 3).trouble, StopReason::CORRUPT_CODING);
  }
}

TEST(DecodedBody, KnowsTheFormsThatServersSend) {
  const std::string gzip = Compressed(ContentCoding::GZIP, "one ");
  const std::string zstd = Compressed(ContentCoding::ZSTD, "one ");
  struct {
    const char *what;
    ContentCoding coding;
    std::string bytes;
    std::string_view text;
  } const cases[] = {
      {"deflate without zlib's header", ContentCoding::DEFLATE, Deflated("raw", -MAX_WBITS), "raw"},
      {"two members", ContentCoding::GZIP, gzip + Compressed(ContentCoding::GZIP, "two"),
       "one two"},
      {"two frames", ContentCoding::ZSTD, zstd + Compressed(ContentCoding::ZSTD, "two"), "one two"},
      {"a line end after", ContentCoding::GZIP, gzip + "\n", "one "},
      {"zeros after", ContentCoding::GZIP, gzip + std::string(100, '\0'), "one "},
      {"half a header after", ContentCoding::GZIP, gzip + "\x1F\x8B\x08", "one "},
      {"text after", ContentCoding::ZSTD, zstd + "stray bytes", "one "},
      {"text after", ContentCoding::BROTLI, Compressed(ContentCoding::BROTLI, "one") + "stray",
       "one"},
  };
  for (const auto &c : cases) {
    for (const std::size_t piece_size : {1U, 1000U}) {
      const Decoded decoded = Decode(c.coding, c.bytes, piece_size);
      EXPECT_EQ(decoded.text, c.text) << c.what;
      EXPECT_EQ(decoded.trouble, std::nullopt) << c.what;
    }
  }
}

TEST(DecodedBody, AWindowBeyondTheWebsIsRefused) {
  ZSTD_CCtx *const context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_windowLog, 24);
  ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, 0);
  const std::string text = SampleText(100'000);
  std::string bytes(ZSTD_compressBound(text.size()), '\0');
  ZSTD_outBuffer out{bytes.data(), bytes.size(), 0};
  ZSTD_inBuffer in{text.data(), text.size(), 0};
  ZSTD_compressStream2(context, &out, &in, ZSTD_e_continue);
  ASSERT_EQ(ZSTD_compressStream2(context, &out, &in, ZSTD_e_end), 0U);
  ZSTD_freeCCtx(context);
  bytes.resize(out.pos);
  EXPECT_EQ(Decode(ContentCoding::ZSTD, bytes, 1000).trouble, StopReason::CORRUPT_CODING);
}

TEST(DecodedBody, ABombStopsAtTheLimits) {
  const std::string zeros(8U << 20, '\0');
  const std::string text = SampleText(1U << 20);
  struct {
    const char *what;
    std::string_view body;
    DecodingLimits limits;
    std::size_t most;
  } const cases[] = {
      {"ratio", zeros, {.ratio = 100, .free_size = 1U << 20}, 2U << 20},
      {"size", zeros, {.ratio = 1U << 30, .size = 1U << 20}, 2U << 20},
      {"neither", zeros, {}, 0},
      {"within the free size", zeros, {.ratio = 1, .free_size = 8U << 20}, 0},
      {"an honest page", text, {.ratio = 20, .free_size = 0}, 0},
  };
  for (const ContentCoding coding : CODINGS) {
    for (const auto &c : cases) {
      SCOPED_TRACE(std::string(c.what) + ' ' + std::to_string(static_cast<int>(coding)));
      const Decoded decoded = Decode(coding, Compressed(coding, c.body), 10'000, c.limits);
      if (c.most == 0) {
        EXPECT_EQ(decoded.trouble, std::nullopt);
        EXPECT_EQ(decoded.text.size(), c.body.size());
      } else {
        EXPECT_EQ(decoded.trouble, StopReason::DECODED_SIZE);
        EXPECT_LT(decoded.text.size(), c.most);
      }
    }
  }
}

TEST(ContentCoding, IsReadFromTheHeader) {
  const std::pair<std::string_view, std::optional<ContentCoding>> cases[] = {
      {"", ContentCoding::IDENTITY},       {"identity", ContentCoding::IDENTITY},
      {"GZIP", ContentCoding::GZIP},       {" x-gzip ", ContentCoding::GZIP},
      {"deflate", ContentCoding::DEFLATE}, {"br", ContentCoding::BROTLI},
      {"zstd", ContentCoding::ZSTD},       {"compress", std::nullopt},
      {"gzip, br", std::nullopt},
  };
  for (const auto &[header, coding] : cases)
    EXPECT_EQ(ParseContentCoding(header), coding) << header;
}

TEST(ContentCoding, GzipIsSentToThoseWhoTakeIt) {
  for (const auto *accept : {"gzip", "br, GZip;q=0.5", "*", "gzip;x=0"}) {
    EXPECT_TRUE(AcceptsGzip(accept)) << accept;
  }
  for (const auto *accept :
       {"", "gzip;q=0", "gzip; q=0.000", "*, gzip;q=0", "*;q=0", "br, deflate"}) {
    EXPECT_FALSE(AcceptsGzip(accept)) << accept;
  }
}

}  // namespace
}  // namespace velmora::host
