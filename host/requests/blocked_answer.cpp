#include "host/requests/blocked_answer.h"

#include <array>
#include <cstdio>
#include <utility>
#include <vexlar/requests.h>

namespace velmora::host {
namespace {

/// GIF, one pixel, of which the only colour is transparent.
constexpr char TRANSPARENT_GIF[] =
    "GIF89a\1\0\1\0\x80\0\0\0\0\0\0\0\0!\xF9\4\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\1D\0;";

/// A page in a frame could have a button pressed unseen. The link of a page that may have been
/// meant as a frame is safe in one, so that the page shows there; see `WaysOn`.
constexpr char PAGE_POLICY[] =
    "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; base-uri 'none'";
constexpr char UNFRAMED[] = "; frame-ancestors 'none'";

struct TypeOfBody {
  std::uint32_t types;
  std::string_view content_type;
};

constexpr TypeOfBody BODY_TYPES[] = {
    {VEXLAR_TYPE_SCRIPT, "text/javascript"},
    {VEXLAR_TYPE_STYLESHEET, "text/css"},
};

std::string_view TypeOfFailure(std::uint32_t types) noexcept {
  for (const TypeOfBody &entry : BODY_TYPES) {
    if ((types & entry.types) != 0) return entry.content_type;
  }
  return "text/plain";
}

/// A string of a structured header field; bytes that cannot stand in one are written "%XX".
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7E) {
      std::array<char, 4> code{};
      std::snprintf(code.data(), code.size(), "%%%02X", unsigned{byte});
      quoted += code.data();
      continue;
    }
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

/// Where a list lies is not the clients' business.
std::string_view FileName(std::string_view path) noexcept {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

BlockedAnswer PageAnswer(const RequestHead &request, int status, std::string_view reason,
                         std::string page, bool may_be_framed) {
  BlockedAnswer answer{.status = status, .reason = reason};
  answer.headers.emplace_back("Content-Type", "text/html; charset=utf-8");
  // What is allowed a moment later is there at once.
  answer.headers.emplace_back("Cache-Control", "no-store");
  answer.headers.emplace_back("Content-Security-Policy",
                              std::string(PAGE_POLICY) + (may_be_framed ? "" : UNFRAMED));
  if (!request.has_body) answer.body = std::move(page);
  return answer;
}

BlockedAnswer AnswerTo(const RequestHead &request, const RequestKind &kind,
                       const BlockedReason &reason, const WaysOn &ways) {
  BlockedAnswer answer;
  // A browser takes no image, frame or page from the answer to what it sends.
  if (kind.use == AnswerUse::PAGE && !request.has_body) {
    answer =
        PageAnswer(request, 403, "Forbidden", BlockPage(request, reason, ways), !ways.link.empty());
  } else {
    std::string_view type = TypeOfFailure(kind.types);
    if (kind.use == AnswerUse::IMAGE && !request.has_body) {
      type = "image/gif";
      answer.body.assign(TRANSPARENT_GIF, sizeof TRANSPARENT_GIF - 1);
    } else if (kind.use == AnswerUse::FRAME && !request.has_body) {
      type = "text/html; charset=utf-8";
      answer.body = "<!doctype html>";
    }
    if (!answer.body.empty()) {
      answer.status = 200;
      answer.reason = "OK";
    }
    answer.headers.emplace_back("Content-Type", type);
    answer.headers.emplace_back("Cache-Control", "no-store");
  }
  answer.headers.emplace_back("X-Velmora", "blocked; rule=" + Quoted(reason.rule) +
                                               (reason.is_by_site ? "; category=" : "; list=") +
                                               Quoted(FileName(reason.list)) +
                                               "; id=" + std::string(reason.id));
  return answer;
}

}  // namespace velmora::host
