// Requests judged for a host.
#include "vexlar/requests.h"

#include <string>

#include "matcher/request_types.h"
#include "module/opened_rules.h"
#include "module/texts.h"
#include "module/vexlar_blocker.h"

#define VEXLAR_EXPORT extern "C" __attribute__((visibility("default")))

namespace velmora::adblock {
namespace {

std::string_view View(const char *text, std::size_t size) noexcept {
  return text ? std::string_view(text, size) : std::string_view();
}

VexlarVerdict NameOf(Verdict::Kind kind) noexcept {
  switch (kind) {
    case Verdict::Kind::kNone:
      break;
    case Verdict::Kind::kBlocked:
      return VEXLAR_BLOCKED;
    case Verdict::Kind::kAllowed:
      return VEXLAR_ALLOWED;
  }
  return VEXLAR_NONE;
}

VexlarReason *Emptied(VexlarReason *reason) noexcept {
  if (!reason || reason->size < sizeof *reason) return nullptr;
  reason->line = 0;
  reason->rule[0] = reason->list[0] = '\0';
  return reason;
}

VexlarVerdict Judge(const Ruleset &rules, const VexlarRequest &request,
                    VexlarReason *reason) noexcept {
  const Verdict verdict =
      rules.JudgeRequest(View(request.page, request.page_size),
                         {{},
                          View(request.url, request.url_size),
                          static_cast<std::uint16_t>(request.types),
                          MethodOfName(View(request.method, request.method_size))});
  if (reason && verdict.kind != Verdict::Kind::kNone) {
    const RuleOrigin origin = rules.OriginOf(verdict.rule);
    reason->line = origin.line;
    CopyText(origin.text, reason->rule, sizeof reason->rule);
    CopyText(origin.list, reason->list, sizeof reason->list);
  }
  return NameOf(verdict.kind);
}

}  // namespace
}  // namespace velmora::adblock

using namespace velmora::adblock;

VEXLAR_EXPORT std::uint32_t VexlarTypeOfName(const char *name) {
  return name ? TypeOfName(name) : 0;
}

VEXLAR_EXPORT VexlarVerdict VexlarJudge(const VexlarRequest *request, VexlarReason *reason) {
  reason = Emptied(reason);
  if (!request || request->size < sizeof *request) return VEXLAR_NONE;
  LoadListsOnce();
  const Blocker::Rules rules = ProcessBlocker().Current();
  return rules ? Judge(*rules.Get(), *request, reason) : VEXLAR_NONE;
}

VEXLAR_EXPORT VexlarVerdict VexlarJudgeBy(const VexlarRules *rules, const VexlarRequest *request,
                                          VexlarReason *reason) {
  reason = Emptied(reason);
  if (!rules || !request || request->size < sizeof *request) return VEXLAR_NONE;
  return Judge(*rules->rules, *request, reason);
}
