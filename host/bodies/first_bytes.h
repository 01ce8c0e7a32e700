// FirstBytes: the stage in which a body's first bytes tell what it is, and the plug-in is told in
// its own words.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "host/bodies/transaction.h"
#include "host/codings/stage.h"
#include "host/web/mime_type.h"
#include "host/web/sniffing.h"

namespace velmora::host {

/// How much of the web a host puts into the plug-in's words.
struct PresentationOptions {
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
};

/// What the header says of a body.
struct DeclaredBody {
  explicit DeclaredBody(const TransactionInfo &info);

  std::optional<MimeType> type;
  BodyKind kind;
};

/// The info with a type in the plug-in's words.
TransactionInfo Presented(TransactionInfo info, const DeclaredBody &body,
                          const PresentationOptions &options);

/// No bytes go on before it is known what they are.
class FirstBytes final : public Stage {
 public:
  /// The transaction, which outlives this, is told what the bytes say beyond the header.
  FirstBytes(Stage &before, Transaction &transaction, DeclaredBody body,
             const PresentationOptions &options) noexcept
      : before_(before), transaction_(transaction), body_(std::move(body)), options_(options) {}

  Part Next() noexcept override;

 private:
  /// What waits in front, with as much of a part as there is room for; the rest comes next.
  Part Joined(Part part) noexcept;
  /// These answer whether the body's first bytes, all of it if `is_all`, are enough.
  bool Read(std::string_view bytes, bool is_all) noexcept;
  bool Sniff(std::string_view bytes, bool is_all) noexcept;
  bool ReadCharset(std::string_view bytes, bool is_all) noexcept;

  Stage &before_;
  Transaction &transaction_;
  DeclaredBody body_;
  const PresentationOptions options_;
  std::array<char, SNIFFED_BYTES> waiting_{};
  std::size_t waiting_size_ = 0;
  Part rest_;
  bool is_known_ = false;
  bool is_unwanted_ = false;
};

}  // namespace velmora::host
