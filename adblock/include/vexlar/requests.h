// Judges requests before they leave, by their URL, the page that they are for, and their type.
//
// The plug-in asks about what stands in a page and cannot tell what it will be requested as; a
// proxy sees each request and often can (Sec-Fetch-Dest). This is the question for that: the
// request types of the filter syntax told apart, so that all rules about requests count, by the
// lists that are in force (see <vexlar/vexlar.h>). It may be asked by any number of threads at once
// and never waits. Rules about the answer's headers (`$header`) are not in force, since there is no
// answer yet.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct VexlarChoice;

/// Types of requests, as bits. Several at once: a rule applies if it is for any of them.
enum VexlarType : std::uint32_t {
  VEXLAR_TYPE_SCRIPT = 1U << 0,
  VEXLAR_TYPE_IMAGE = 1U << 1,
  VEXLAR_TYPE_STYLESHEET = 1U << 2,
  VEXLAR_TYPE_FONT = 1U << 3,
  /// Sound and video.
  VEXLAR_TYPE_MEDIA = 1U << 4,
  VEXLAR_TYPE_OBJECT = 1U << 5,
  /// A page within a page.
  VEXLAR_TYPE_SUBDOCUMENT = 1U << 6,
  /// What scripts fetch.
  VEXLAR_TYPE_XMLHTTPREQUEST = 1U << 7,
  VEXLAR_TYPE_WEBSOCKET = 1U << 8,
  VEXLAR_TYPE_PING = 1U << 9,
  /// A page that another one opens in a window of its own.
  VEXLAR_TYPE_POPUP = 1U << 10,
  /// A page. Only rules that name this type are for it.
  VEXLAR_TYPE_DOCUMENT = 1U << 11,
  VEXLAR_TYPE_OTHER = 1U << 12,
};

struct VexlarTypeName {
  const char *name;
  VexlarType type;
};

/// The usual name of each type in the filter syntax.
inline constexpr VexlarTypeName VEXLAR_TYPE_NAMES[] = {
    {"script", VEXLAR_TYPE_SCRIPT},
    {"image", VEXLAR_TYPE_IMAGE},
    {"stylesheet", VEXLAR_TYPE_STYLESHEET},
    {"font", VEXLAR_TYPE_FONT},
    {"media", VEXLAR_TYPE_MEDIA},
    {"object", VEXLAR_TYPE_OBJECT},
    {"subdocument", VEXLAR_TYPE_SUBDOCUMENT},
    {"xmlhttprequest", VEXLAR_TYPE_XMLHTTPREQUEST},
    {"websocket", VEXLAR_TYPE_WEBSOCKET},
    {"ping", VEXLAR_TYPE_PING},
    {"popup", VEXLAR_TYPE_POPUP},
    {"document", VEXLAR_TYPE_DOCUMENT},
    {"other", VEXLAR_TYPE_OTHER},
};

/// The type with a name of the filter syntax: "script", "xmlhttprequest" or "xhr", ... 0 for
/// another text and for null.
std::uint32_t VexlarTypeOfName(const char *name);

/// A request. Texts are the caller's, need no NUL after them, and are only read during the call.
struct VexlarRequest {
  /// `sizeof(VexlarRequest)`.
  std::uint32_t size;
  /// Bits of `VexlarType`.
  std::uint32_t types;
  /// The absolute URL. Its first 2048 bytes are looked at.
  const char *url;
  std::size_t url_size;
  /// The URL or the host of the page that it is for; for a page itself its own counts where
  /// none is given. Of size 0: unknown, so that the request is a third party's.
  const char *page;
  std::size_t page_size;
  /// "GET", ... Of size 0: unknown, so that rules for certain methods do not apply.
  const char *method;
  std::size_t method_size;
};

enum VexlarVerdict : std::uint32_t {
  /// No rule matches; also for what is no absolute URL, and before lists are loaded.
  VEXLAR_NONE = 0,
  VEXLAR_BLOCKED = 1,
  /// Expressly allowed.
  VEXLAR_ALLOWED = 2,
};

/// The rule that has decided. Texts end in a NUL and are cut where there is no room.
struct VexlarReason {
  /// `sizeof(VexlarReason)`.
  std::uint32_t size;
  /// The rule's line in its list, from 1 on.
  std::uint32_t line;
  char rule[1024];
  char list[512];
};

/// Judges a request. `reason` may be null; it is written when there is a rule, and otherwise its
/// texts are empty.
VexlarVerdict VexlarJudge(const VexlarRequest *request, VexlarReason *reason);

/// Rules that are asked by themselves, beside those in force in the process: for some clients, say.
struct VexlarRules;

/// Reads the lists and rules of a choice, and no others: where it names no lists, none of the
/// system's are read, and the environment is not heard. For `VexlarClose`; null when it holds no
/// rule, a list cannot be read, or there is no memory.
VexlarRules *VexlarOpen(const VexlarChoice *choice);
/// As `VexlarJudge`, by these. Any number of threads ask at once.
VexlarVerdict VexlarJudgeBy(const VexlarRules *rules, const VexlarRequest *request,
                            VexlarReason *reason);
/// Nobody asks them any more. Null is allowed.
void VexlarClose(VexlarRules *rules);

}  // extern "C"
