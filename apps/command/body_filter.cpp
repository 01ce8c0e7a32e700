#include "command/body_filter.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "command/answers/files.h"
#include "command/body_type.h"
#include "command/commands.h"
#include "host/bodies/edit_list.h"
#include "host/bodies/response_filter.h"
#include "host/codings/decoded_body.h"
#include "host/policy/policy_values.h"

namespace velmora::command {
namespace {

constexpr std::size_t READ_AT_ONCE = 64U << 10;

/// What the plug-in gets when it is wanted alone: bodies as they are, under the types they have.
void UseAsTheyAre(host::ResponseOptions &responses) {
  responses.presentation = {.maps_types = false,
                            .maps_charsets = false,
                            .reads_page_charset = false,
                            .checks_gifs = false};
  responses.decodes = false;
}

/// The policy of the file; without one, what is blocked by default, and a body that passes a limit
/// is given up. What the command line says stands above it.
host::Policy ReadPolicy(const FilterOptions &options) {
  host::Policy policy;
  if (options.policy.empty()) {
    policy.everywhere.block = options.block;
    policy.responses.stream.limits.beyond = host::BeyondLimit::FAIL;
  } else {
    policy = host::ReadPolicy(options.policy);
  }
  host::StreamOptions &stream = policy.responses.stream;
  stream.slice_size = options.chunk_size;
  if (options.max_held) {
    stream.limits.held_bytes.most = static_cast<std::uint32_t>(*options.max_held);
  }
  if (!options.max_time.empty()) {
    stream.limits.filter_time.most = host::ParseDuration(options.max_time);
  }
  if (options.is_raw) UseAsTheyAre(policy.responses);
  if (options.ad_library) {
    policy.ads.is_used = true;
    policy.ads.library = *options.ad_library;
  }
  if (!options.ad_lists.empty()) {
    policy.ads.is_used = true;
    policy.ads.lists.assign(options.ad_lists.begin(), options.ad_lists.end());
  }
  if (options.has_no_ads) policy.ads.is_used = false;
  return policy;
}

/// What applies to the bodies, all of which come from the same URL.
host::PolicyAnswer Answer(const host::Policy &policy, const FilterOptions &options) {
  host::PolicyAnswer answer = policy.For(options.url, options.client);
  answer.categories = answer.categories.Without(options.allow);
  for (const std::string &setting : options.settings) {
    const std::size_t equals = setting.find('=');
    if (equals == setting.npos || equals == 0) {
      throw UsageError("--set: \"" + setting + "\" is not NAME=VALUE");
    }
    answer.settings[setting.substr(0, equals)] = setting.substr(equals + 1);
  }
  return answer;
}

std::string Message(host::StopReason reason) {
  std::string message = host::Describe(reason);
  if (reason == host::StopReason::HELD_BYTES) return message + " (see --max-held)";
  if (reason == host::StopReason::FILTER_TIME) return message + " (see --max-time)";
  return message;
}

void ShowEdits(std::string_view name, std::string_view original, const host::EditList &edits) {
  if (edits.IsBroken()) throw std::runtime_error("out of memory for its edits");
  Output shown({});
  shown.Write(DiffText(name, original, edits));
  shown.Finish();
}

/// Where a body's result goes; null when its edits are shown in its place.
std::unique_ptr<Output> OpenOutput(const std::filesystem::path &path, bool is_diff) {
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  if (path.empty() && is_diff) return nullptr;
  return std::make_unique<Output>(path);
}

/// The first bytes without their coding, as far as those at hand say.
std::string FirstPlainBytes(std::string_view coding, std::string_view bytes) {
  const auto known = host::ParseContentCoding(coding);
  if (!known || *known == host::ContentCoding::IDENTITY) return std::string(bytes);
  host::PushedPieces pieces;
  host::DecodedBody decoded(pieces, *known, {});
  pieces.Push(bytes);
  return std::string(decoded.Next().bytes);
}

/// All of a body without its coding.
std::string Decoded(std::string_view coding, std::string_view bytes,
                    const host::DecodingLimits &limits) {
  const auto known = host::ParseContentCoding(coding);
  if (!known || *known == host::ContentCoding::IDENTITY) return std::string(bytes);
  host::PushedPieces pieces;
  host::DecodedBody decoded(pieces, *known, limits);
  pieces.Finish(bytes);
  std::string plain;
  for (host::Part part; !part.is_last;) {
    part = decoded.Next();
    if (part.trouble) throw std::runtime_error(Message(*part.trouble));
    plain += part.bytes;
  }
  return plain;
}

}  // namespace

/// A body on its way from its file.
struct BodyFilter::Body {
  Input input;
  /// The next bytes; empty at the end.
  std::string piece;
  std::string coding{};
  std::string type{};
  bool is_type_guessed = false;

  explicit Body(const std::string &name) : input(name), piece(input.Read(READ_AT_ONCE)) {}
};

BodyFilter::BodyFilter(const FilterOptions &options)
    : options_(options),
      policy_(ReadPolicy(options)),
      answer_(Answer(policy_, options)),
      plugin_(options.plugin.value_or(host::DefaultPlugin()), policy_.ads) {}

void BodyFilter::Describe(const std::string &name, Body &body) const {
  const NamedBody named = BodyOfName(name);
  if (!options_.is_raw) {
    body.coding = !options_.coding.empty() ? options_.coding
                  : !named.coding.empty()  ? named.coding
                                           : CodingOfBytes(body.piece);
  }
  body.type = options_.type.empty() ? named.type : FullType(options_.type);
  body.is_type_guessed = body.type.empty();
  if (body.is_type_guessed) body.type = TypeOfBytes(FirstPlainBytes(body.coding, body.piece));
  if (body.type.empty()) body.type = "application/octet-stream";
  if (!options_.charset.empty()) body.type += "; charset=" + options_.charset;
}

FileResult BodyFilter::FilterFile(const Job &job, std::string_view shown_name, Report &report,
                                  Totals &totals) const {
  Body body(job.input);
  Describe(job.input, body);
  ReportSink sink(report, totals, shown_name);
  host::EditList edits;
  std::string original;
  host::ResponseOptions responses = policy_.responses;
  if (options_.is_diff) {
    responses.stream.edits = &edits;
    for (; !body.piece.empty(); body.piece = body.input.Read(READ_AT_ONCE)) original += body.piece;
    original = Decoded(std::exchange(body.coding, {}), original, responses.decoding);
    body.piece = original;
  }
  host::ResponseFilter filter(plugin_.CreateProcessor(),
                              {.url = options_.url,
                               .content_type = body.type,
                               .categories = answer_.categories,
                               .settings = answer_.settings,
                               .option_block = answer_.option_block,
                               .requests = &plugin_,
                               .protects_page = !options_.is_raw},
                              {.content_encoding = body.coding, .accept_encoding = "gzip"}, sink,
                              responses);
  FileResult result{.type = body.type,
                    .is_type_guessed = body.is_type_guessed,
                    .was_filtered = answer_.IsFiltered() && filter.IsWanted()};
  const bool is_plain = result.was_filtered && filter.SentCoding() == host::ContentCoding::IDENTITY;
  const std::unique_ptr<Output> output =
      OpenOutput(is_plain ? job.output : job.coded_output, options_.is_diff);
  const auto check = [&] {
    if (filter.State() != host::StreamState::FAILED) return;
    throw std::runtime_error(Message(sink.Stopped().value()));
  };
  const auto write = [&](std::string_view bytes) {
    if (output) output->Write(bytes);
    result.bytes_out += bytes.size();
  };
  check();
  for (bool is_last = false; !is_last;) {
    result.bytes_in += body.piece.size();
    std::string next = body.input.Read(READ_AT_ONCE);
    is_last = next.empty();
    if (result.was_filtered) {
      auto out = is_last ? filter.Finish(body.piece) : filter.Push(body.piece);
      for (; !out.empty(); out = filter.Next()) write(out);
      check();
    } else {
      write(body.piece);
    }
    body.piece = std::move(next);
  }
  if (output) output->Finish();
  if (options_.is_diff) ShowEdits(shown_name, original, edits);
  result.blocked = sink.BlockedItems();
  result.stopped = sink.Stopped();
  totals.bytes_in += result.bytes_in;
  totals.bytes_out += result.bytes_out;
  return result;
}

}  // namespace velmora::command
