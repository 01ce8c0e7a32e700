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
#include "host/bodies/first_bytes.h"
#include "host/bodies/transaction.h"
#include "host/bodies/worker_counters.h"
#include "host/codings/decoded_body.h"
#include "host/codings/gzip_encoder.h"

namespace velmora::host {

struct ResponseOptions {
  StreamOptions stream{};
  PresentationOptions presentation{};
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

  /// Counts the body, where it was wanted.
  ~ResponseFilter();
  ResponseFilter(const ResponseFilter &) = delete;
  ResponseFilter &operator=(const ResponseFilter &) = delete;

  /// Is there anything to do? When not, the response goes on as it is, headers and all; or not at
  /// all, if `State` says `FAILED`.
  bool IsWanted() const noexcept { return is_wanted_; }
  /// The coding in which the body goes on: `IDENTITY`, or `GZIP` where it was put into it again.
  ContentCoding SentCoding() const noexcept {
    return encoder_ ? ContentCoding::GZIP : ContentCoding::IDENTITY;
  }

  /// Gives the next piece and answers the first bytes that may go on now, as `Next` does. All of an
  /// earlier piece was taken before; the piece stays where it is until `Next` answers empty.
  std::string_view Push(std::string_view piece) noexcept;
  /// The same for the last piece, which may be empty (and is, when a body's end is only known after
  /// its last byte). What the plug-in held back to the end comes out too.
  std::string_view Finish(std::string_view last_piece = {}) noexcept;
  /// The next bytes that may go on; empty when there are none for now. They are good until the next
  /// call, and may lie in the piece itself.
  std::string_view Next() noexcept;
  /// Ends the transaction; bytes not taken are dropped.
  void Abort() noexcept { stream_.Abort(); }
  StreamState State() const noexcept { return stream_.State(); }
  /// Has anything been taken out of the body so far?
  bool HasBlocked() const noexcept { return transaction_.Blocked() != 0; }

 private:
  ResponseFilter(ProcessorPointer processor, DeclaredBody body, TransactionInfo &info,
                 const ResponseHeaders &headers, TransactionSink &sink,
                 const ResponseOptions &options);

  void CheckCoding(const ResponseHeaders &headers, const ResponseOptions &options) noexcept;

  Transaction transaction_;
  // The stages, in the order of the way; the first and the last but one are there for every body.
  PushedPieces pieces_;
  std::optional<DecodedBody> decoded_;
  FirstBytes first_bytes_;
  BodyStream stream_;
  std::optional<GzipEncoder> encoder_;
  bool is_wanted_ = false;
  BodyCounts counts_;
};

}  // namespace velmora::host
