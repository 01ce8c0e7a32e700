// Report: what the filter command says about its work.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "command/progress.h"
#include "host/bodies/edit_list.h"
#include "host/bodies/transaction.h"

namespace velmora::command {

/// How a file went through.
struct FileResult {
  std::string type;
  /// Neither the command line nor the file's name says the type: the first bytes do.
  bool is_type_guessed = false;
  bool was_filtered = false;
  std::size_t blocked = 0;
  std::size_t bytes_in = 0;
  std::size_t bytes_out = 0;
  /// Filtering ended early, and the rest went through as it came.
  std::optional<host::StopReason> stopped{};
};

/// How all of them did.
struct Totals {
  std::size_t files = 0;
  std::size_t failed = 0;
  std::size_t bytes_in = 0;
  std::size_t bytes_out = 0;
  std::map<std::int32_t, std::size_t> blocked{};
  std::chrono::steady_clock::duration time{};
};

class Report {
 public:
  virtual ~Report() = default;
  virtual void Blocked(std::string_view file, const host::BlockedItem &item) = 0;
  virtual void Done(std::string_view file, const FileResult &result) = 0;
  virtual void Failed(std::string_view file, std::string_view message) = 0;
  virtual void Summary(const Totals &totals) = 0;
};

/// Lines for people. A quiet one tells of failures alone. The progress stands below its lines.
std::unique_ptr<Report> MakeTextReport(Progress &progress, bool is_quiet);
/// A JSON object a line for each item, {"file","category","code","item","detail","offset"}, and for
/// each failure, {"file","error"}. An item that is no element's has no offset.
std::unique_ptr<Report> MakeJsonReport(Progress &progress);

/// The sink of one body: reports the items, counts them, and keeps why filtering stopped.
class ReportSink final : public host::TransactionSink {
 public:
  ReportSink(Report &report, Totals &totals, std::string_view file)
      : report_(report), totals_(totals), file_(file) {}

  void OnBlocked(const host::BlockedItem &item) noexcept override {
    ++blocked_;
    ++totals_.blocked[item.category];
    report_.Blocked(file_, item);
  }
  void OnStopped(host::StopReason reason) noexcept override { stopped_ = reason; }

  std::size_t BlockedItems() const noexcept { return blocked_; }
  std::optional<host::StopReason> Stopped() const noexcept { return stopped_; }

 private:
  Report &report_;
  Totals &totals_;
  std::string_view file_;
  std::size_t blocked_ = 0;
  std::optional<host::StopReason> stopped_;
};

/// Each edit of a body for people: where in the original, what went ("-"), what came ("+").
std::string DiffText(std::string_view file, std::string_view original, const host::EditList &edits);

}  // namespace velmora::command
