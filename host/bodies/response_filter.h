// ResponseFilter: the way of one HTTP response's body through the plug-in, with all that a host
// must know of the real web.
//
//   ResponseFilter filter(plugin.CreateProcessor(), info, response, sink, options);
//   if (!filter.IsWanted()) pass the response on untouched, or refuse it if State() is FAILED;
//   drop the headers that no longer hold, name SentCoding();
//   for each piece that arrives:
//     for (auto out = filter.Push(piece); !out.empty(); out = filter.Next()) send(out);
//   at the end:
//     for (auto out = filter.Finish(); !out.empty(); out = filter.Next()) send(out);
//   if (filter.State() == StreamState::FAILED) break the response off;
//
// Bytes are worked on only when the next ones are asked for, so that a slow client slows all of it
// down, and nothing piles up here but what the plug-in holds back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/bodies/body_stream.h"
#include "host/bodies/transaction.h"
#include "host/codings/decoded_body.h"
#include "host/codings/gzip_encoder.h"
#include "host/web/mime_type.h"

namespace velmora::host {

struct ResponseOptions {
  StreamOptions stream{};
  /// Types that mean the same as one that the plug-in knows are presented as that one; bodies
  /// without a type as what they look like; SVG and XML as pages, where active content is blocked.
  bool maps_types = true;
  /// Charset labels are presented as the converter's names.
  bool maps_charsets = true;
  /// The charset of a page is looked for in its first bytes: a byte-order mark stands above the
  /// header, a declaration in the page counts where the header names none.
  bool reads_page_charset = true;
  /// A "GIF" that does not begin as one is not handed over.
  bool checks_gifs = true;
  /// Bodies with a content coding are decoded; otherwise they pass by unfiltered.
  bool decodes = true;
  DecodingLimits decoding{};
  /// What was decoded is put into gzip again if the client takes it; otherwise it goes on plain.
  bool gzips_again = false;
  /// Where scripts are blocked, the response tells the browser not to run any.
  bool adds_security_policy = true;
};

/// The headers that matter beyond what the plug-in's context tells.
struct ResponseHeaders {
  /// Of the response: Content-Encoding.
  std::string_view content_encoding{};
  /// Of its request: Accept-Encoding.
  std::string_view accept_encoding{};
};

/// Used by one thread at a time. The sink outlives it.
class ResponseFilter {
 public:
  /// A null processor counts as memory that could not be had. Throws `std::bad_alloc`.
  ResponseFilter(ProcessorPointer processor, TransactionInfo info, const ResponseHeaders &headers,
                 TransactionSink &sink, const ResponseOptions &options);

  /// Is there anything to do? When not, the response goes on as it is, headers and all; or not at
  /// all, if `State` says `FAILED`.
  bool IsWanted() const noexcept { return is_wanted_; }
  /// The coding in which the body goes on: `IDENTITY`, or `GZIP` where it was put into it again.
  ContentCoding SentCoding() const noexcept {
    return encoder_ ? ContentCoding::GZIP : ContentCoding::IDENTITY;
  }

  /// As `BodyStream`'s functions of these names.
  std::string_view Push(std::string_view piece) noexcept;
  std::string_view Finish(std::string_view last_piece = {}) noexcept;
  std::string_view Next() noexcept;
  void Abort() noexcept { stream_.Abort(); }
  StreamState State() const noexcept { return stream_.State(); }

 private:
  /// A part of the body on its way to the plug-in.
  struct Part {
    std::string_view bytes;
    bool is_last;
  };

  void PrepareCoding(const ResponseHeaders &headers) noexcept;
  std::string_view NextFiltered() noexcept;
  Part NextPart() noexcept;
  /// Sees to it that the plug-in gets nothing before it is known what the body is. False when more
  /// bytes must come: then all of the part waits in the stream.
  bool TakeFirstBytes(Part &part) noexcept;
  /// The same for the body's first bytes; `is_all` says that there are no others.
  bool ReadFirstBytes(std::string_view bytes, bool is_all) noexcept;
  bool Sniff(std::string_view bytes, bool is_all) noexcept;
  bool ReadCharset(std::string_view bytes, bool is_all) noexcept;
  /// Says what is wrong with the coding and fails if the policy says so.
  void ReportCoding(StopReason reason) noexcept;

  const ResponseOptions options_;
  const std::optional<MimeType> type_;
  BodyKind kind_;
  Transaction transaction_;
  BodyStream stream_;
  std::optional<DecodedBody> decoded_;
  std::optional<GzipEncoder> encoder_;
  bool is_wanted_ = false;
  bool has_read_first_bytes_ = false;
  std::string_view piece_;
  bool piece_is_last_ = false;
};

}  // namespace velmora::host
