// RequestKind: what a request is for.
//
// Browsers say so in Sec-Fetch-Dest, but only to sites with https and to this machine. Elsewhere
// Accept tells styles, images, pages and event streams; the rest asks for "*/*", and the address's
// extension has to tell.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/requests/request_head.h"

namespace velmora::host {

/// What the client does with an answer, and so what it is to be given in its place.
enum class AnswerUse {
  /// Runs it, lays out by it, reads it: it copes with a failure.
  RESOURCE,
  IMAGE,
  /// A page within a page.
  FRAME,
  /// A page that somebody looks at.
  PAGE,
  /// CONNECT: nothing of what is answered is shown.
  TUNNEL,
};

struct RequestKind {
  /// Bits of `VexlarType`; several where it cannot be told which.
  std::uint32_t types = 0;
  AnswerUse use = AnswerUse::RESOURCE;
  /// The address of the page that it is for, or of as much of it as is told; its own where nothing
  /// speaks of another one's. Empty: some other site's.
  std::string_view page{};
};

RequestKind KindOf(const RequestHead &request);

/// "script", "image", ...; of several "script, xmlhttprequest".
std::string NamesOfTypes(std::uint32_t types);

}  // namespace velmora::host
