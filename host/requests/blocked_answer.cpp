#include "host/requests/blocked_answer.h"

#include <array>
#include <cstdio>
#include <vexlar/requests.h>

#include "host/requests/block_page.h"

namespace velmora::host {
namespace {

/// GIF, one pixel, of which the only colour is transparent.
constexpr char TRANSPARENT_GIF[] =
    "GIF89a\1\0\1\0\x80\0\0\0\0\0\0\0\0!\xF9\4\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\1D\0;";

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

BlockedAnswer AnswerTo(const RequestHead &request, const RequestKind &kind,
                       const BlockedReason &reason) {
  BlockedAnswer answer;
  std::string_view type = TypeOfFailure(kind.types);
  // A browser takes no image, frame or page from the answer to what it sends.
  if (!request.has_body) {
    switch (kind.use) {
      case AnswerUse::IMAGE:
        type = "image/gif";
        answer.body.assign(TRANSPARENT_GIF, sizeof TRANSPARENT_GIF - 1);
        break;
      case AnswerUse::FRAME:
        type = "text/html; charset=utf-8";
        answer.body = "<!doctype html>";
        break;
      case AnswerUse::PAGE:
        type = "text/html; charset=utf-8";
        answer.body = BlockPage(request, reason);
        break;
      case AnswerUse::RESOURCE:
      case AnswerUse::TUNNEL:
        break;
    }
    if (kind.use == AnswerUse::IMAGE || kind.use == AnswerUse::FRAME) {
      answer.status = 200;
      answer.reason = "OK";
    }
  }
  answer.headers.emplace_back("Content-Type", type);
  // What is allowed a moment later is there at once.
  answer.headers.emplace_back("Cache-Control", "no-store");
  answer.headers.emplace_back("X-Velmora", "blocked; rule=" + Quoted(reason.rule) +
                                               "; list=" + Quoted(FileName(reason.list)) +
                                               "; id=" + std::string(reason.id));
  return answer;
}

}  // namespace velmora::host
