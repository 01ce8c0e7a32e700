#include "command/answers/worker_reports.h"

#include <vector>

#include "store/log_files.h"

namespace velmora::command {
namespace {

/// Workers tell of themselves twice a minute.
constexpr off_t MOST_OF_LOG = 64 << 20;
constexpr std::string_view MARK = "\"event\":\"counters\"";

}  // namespace

const WorkerReports::Workers &WorkerReports::Now() {
  if (!file_ && std::filesystem::exists(log_)) {
    ReadRotated();
    file_ = std::make_unique<FollowedFile>(log_);
    file_->SkipToLast(MOST_OF_LOG);
  }
  if (file_) Read(*file_);
  const auto oldest = std::chrono::system_clock::now() - MOST_AGE;
  std::erase_if(workers_, [&](const auto &worker) { return worker.second.time < oldest; });
  return workers_;
}

void WorkerReports::ReadRotated() {
  const auto files = store::FilesOfLog(log_);
  if (files.size() < 2 || files[files.size() - 2].extension() == ".gz") return;
  FollowedFile rotated(files[files.size() - 2]);
  rotated.SkipToLast(MOST_OF_LOG);
  Read(rotated);
}

void WorkerReports::Read(FollowedFile &file) {
  std::vector<std::string> lines;
  for (bool is_more = true; is_more; lines.clear()) {
    is_more = file.Read(lines);
    for (const std::string &line : lines) {
      // Few lines are meant, and reading one is dear.
      if (line.find(MARK) == line.npos) continue;
      const auto event = host::FromLine(line);
      if (!event || !event->counters) continue;
      workers_[{event->counters->member, event->pid}] = {event->time, event->counters};
    }
  }
}

}  // namespace velmora::command
