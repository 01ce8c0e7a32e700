// A contender of the comparison: the plug-in, and what is done to the same bytes by others.
//
//   bench_side_by_side PAGES SCRIPTS [log]
//
// With "log", the debug log is on (and its lines go nowhere).
#include <cstdio>
#include <string_view>

#include "diag/log.h"
#include "rows.h"

int main(int count, char **arguments) {
  using namespace velmora;
  if (count < 3) {
    std::fprintf(stderr, "usage: bench_side_by_side PAGES SCRIPTS [log]\n");
    return 2;
  }
  bench::Rows rows;
  bench::AddPageRows(rows, arguments[1]);
  bench::AddScriptRows(rows, arguments[2]);
  CDebugLog log(count > 3 && std::string_view(arguments[3]) == "log" ? LOG_TO_DEBUGGER : 0, "",
                [](std::string_view line) noexcept { bench::Keep(line.size()); });
  InstallLog(&log);
  bench::AnswerRows(rows);
  InstallLog(nullptr);
  return 0;
}
