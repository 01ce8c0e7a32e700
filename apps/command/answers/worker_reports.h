// WorkerReports: what the workers of a proxy last told of themselves in its event log.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "command/answers/followed_file.h"
#include "host/events/event.h"

namespace velmora::command {

class WorkerReports {
 public:
  /// A worker that has told nothing for so long has most likely ended.
  static constexpr std::chrono::hours MOST_AGE{24};

  struct Told {
    std::chrono::system_clock::time_point time{};
    std::shared_ptr<const host::WorkerReport> report{};
  };
  /// By machine and process.
  using Workers = std::map<std::pair<std::string, std::int32_t>, Told>;

  /// The log need not be there yet.
  explicit WorkerReports(std::filesystem::path log) : log_(std::move(log)) {}

  /// What they have told by now. The first time the end of the log is read, and of the file that
  /// was rotated last; later what is new. Throws `std::system_error`.
  const Workers &Now();

 private:
  void ReadRotated();
  void Read(FollowedFile &file);

  const std::filesystem::path log_;
  std::unique_ptr<FollowedFile> file_;
  Workers workers_;
};

}  // namespace velmora::command
