#include "host/requests/trust_check.h"

#include <string_view>

namespace velmora::host {
namespace {

constexpr std::string_view ADDRESS = "https://check.velmora.invalid/trusted.svg";

constexpr char PICTURE[] =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 220 48\">"
    "<rect width=\"220\" height=\"48\" rx=\"8\" fill=\"#1a7f4b\"/>"
    "<path fill=\"none\" stroke=\"#fff\" stroke-width=\"4\" stroke-linecap=\"round\" "
    "stroke-linejoin=\"round\" d=\"m18 25 8 8 14-17\"/>"
    "<text x=\"54\" y=\"31\" fill=\"#fff\" font-family=\"sans-serif\" font-size=\"18\">"
    "Yes, it trusts it</text></svg>";

}  // namespace

std::optional<BlockedAnswer> AnswerToTrustCheck(const RequestHead &request) {
  if (request.url != ADDRESS) return std::nullopt;
  BlockedAnswer answer{.status = 200, .reason = "OK"};
  answer.headers.emplace_back("Content-Type", "image/svg+xml");
  // Trust may be gone a moment later.
  answer.headers.emplace_back("Cache-Control", "no-store");
  if (!request.has_body) answer.body = PICTURE;
  return answer;
}

}  // namespace velmora::host
