#include "command/body_filter.h"

#include <memory>
#include <stdexcept>
#include <system_error>

#include "command/body_type.h"
#include "command/commands.h"
#include "command/files.h"
#include "host/bodies/transaction.h"
#include "host/policy/policy_values.h"

namespace velmora::command {
namespace {

/// The policy of the file; without one, everything is blocked and a body that passes a limit is
/// given up. What the command line says stands above it.
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
  const std::string message = host::Describe(reason);
  if (reason == host::StopReason::HELD_BYTES) return message + " (see --max-held)";
  return reason == host::StopReason::FILTER_TIME ? message + " (see --max-time)" : message;
}

/// Where a body's result goes; null when its edits are shown in its place.
std::unique_ptr<Output> OpenOutput(const Job &job, bool is_diff) {
  if (job.output.has_parent_path()) std::filesystem::create_directories(job.output.parent_path());
  if (job.output.empty() && is_diff) return nullptr;
  return std::make_unique<Output>(job.output);
}

}  // namespace

BodyFilter::BodyFilter(const FilterOptions &options)
    : options_(options),
      policy_(ReadPolicy(options)),
      answer_(Answer(policy_, options)),
      plugin_(options.plugin.value_or(host::DefaultPlugin()), policy_.ads) {}

FileResult BodyFilter::FilterFile(const Job &job, std::string_view shown_name, Report &report,
                                  Totals &totals) const {
  Input input(job.input);
  std::string piece = input.Read(options_.chunk_size);
  FileResult result;
  FindType(job.input, piece, result);
  ReportSink sink(report, totals, shown_name);
  host::Transaction transaction({.url = options_.url,
                                 .content_type = result.type,
                                 .categories = answer_.categories,
                                 .settings = answer_.settings,
                                 .option_block = answer_.option_block},
                                sink);
  host::EditList edits;
  std::string original;
  host::StreamOptions stream_options = policy_.responses.stream;
  if (options_.is_diff) stream_options.edits = &edits;
  host::BodyStream stream(plugin_.CreateProcessor(), transaction, stream_options);
  if (answer_.is_allowed) stream.PassRest();
  result.was_filtered = stream.State() == host::StreamState::FILTERING;

  const std::unique_ptr<Output> output = OpenOutput(job, options_.is_diff);
  const auto write_all = [&](std::string_view out) {
    for (; !out.empty(); out = stream.Next()) {
      if (output) output->Write(out);
      result.bytes_out += out.size();
    }
  };
  for (bool is_last = false; !is_last;) {
    result.bytes_in += piece.size();
    if (options_.is_diff) original += piece;
    std::string next = input.Read(options_.chunk_size);
    is_last = next.empty();
    write_all(is_last ? stream.Finish(piece) : stream.Push(piece));
    if (stream.State() == host::StreamState::FAILED) {
      throw std::runtime_error(Message(sink.Stopped().value()));
    }
    piece = std::move(next);
  }
  if (output) output->Finish();
  if (edits.IsBroken()) throw std::runtime_error("out of memory for its edits");
  if (options_.is_diff) {
    Output shown({});
    shown.Write(DiffText(shown_name, original, edits));
    shown.Finish();
  }
  result.blocked = sink.BlockedItems();
  result.stopped = sink.Stopped();
  totals.bytes_in += result.bytes_in;
  totals.bytes_out += result.bytes_out;
  return result;
}

void BodyFilter::FindType(const std::string &name, std::string_view first_bytes,
                          FileResult &result) const {
  result.type = options_.type.empty() ? TypeOfName(name) : FullType(options_.type);
  result.is_type_guessed = result.type.empty();
  if (result.is_type_guessed) result.type = TypeOfBytes(first_bytes);
  if (!options_.charset.empty()) result.type += "; charset=" + options_.charset;
}

}  // namespace velmora::command
