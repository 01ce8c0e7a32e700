// TextReport: what was blocked, in lines for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "host/transaction.h"

namespace velmora::command {

/// Prints a line for each blocked item and counts the items of all bodies by category.
class TextReport {
 public:
  explicit TextReport(bool is_quiet) : is_quiet_(is_quiet) {}

  /// The sink of one body, under the name that it has in the lines.
  class Body final : public host::TransactionSink {
   public:
    Body(TextReport &report, std::string_view name) : report_(report), name_(name) {}

    void OnBlocked(const host::BlockedItem &item) noexcept override;
    void OnStopped(host::StopReason reason) noexcept override { stopped_ = reason; }
    /// Why filtering stopped early, if it did.
    std::optional<host::StopReason> Stopped() const noexcept { return stopped_; }
    /// The body's closing line.
    void Close(std::string_view type, std::size_t bytes_in, std::size_t bytes_out,
               bool was_filtered);

   private:
    TextReport &report_;
    std::string_view name_;
    std::size_t blocked_ = 0;
    std::optional<host::StopReason> stopped_;
  };

  /// The counts by category.
  void PrintSummary() const;

 private:
  bool is_quiet_;
  std::map<std::int32_t, std::size_t> blocked_;
};

}  // namespace velmora::command
