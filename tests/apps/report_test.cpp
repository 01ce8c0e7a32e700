// velmora report and velmora metrics.
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include <velmora/categories.h>

#include "apps/shell.h"
#include "host/events/event.h"

namespace velmora::command {
namespace {

using host::EventKind;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::string Ago(int hours, host::Event event) {
  event.time = std::chrono::system_clock::now() - std::chrono::hours(hours);
  return host::ToLine(event);
}

host::Event Request(const std::string &client, const std::string &site, const std::string &rule) {
  return {.kind = EventKind::BLOCKED,
          .client = client,
          .url = "http://ads.example/x.js",
          .category = host::CATEGORY_REQUESTS,
          .detail = "\"" + rule + "\"",
          .page = "http://" + site + "/",
          .list = "easylist.txt:7"};
}

TEST(Report, SumsUpWhatIsAskedFor) {
  const Shell shell;
  const std::string log = Ago(400, Request("192.0.2.1", "old.example", "||ads.example^")) +
                          Ago(50, Request("192.0.2.1", "news.example", "||ads.example^")) +
                          Ago(3, Request("192.0.2.2", "news.example", "/<script>&\"/")) +
                          Ago(2, Request("192.0.2.2", "games.example", "||ads.example^")) +
                          Ago(2, {.kind = EventKind::FILTERED,
                                  .client = "192.0.2.2",
                                  .url = "http://games.example/",
                                  .items = 1,
                                  .saved = 4711});
  shell.Write("log", log);
  shell.Write("velmora.toml", "[event-log]\nfile = \"log\"\nleave-out = [\"192.0.2.1\"]\n");
  const std::string names =
      "blocked,requests_saved,bodies,guarded,stopped,errors,missing,bytes_saved\r\n";
  const struct {
    const char *arguments;
    std::string output;
  } cases[] = {
      {"--week --by client --csv", "client," + names + "\"192.0.2.2\",2,2,1,0,0,0,0,4711\r\n" +
                                       "\"192.0.2.1\",1,1,0,0,0,0,0,0\r\n"},
      {"--day --by site --csv", "site," + names + "\"games.example\",1,1,1,0,0,0,0,4711\r\n" +
                                    "\"news.example\",1,1,0,0,0,0,0,0\r\n"},
      {"--month --without 192.0.2.2 --by rule --csv",
       "rule," + names + "\"||ads.example^\",2,2,0,0,0,0,0,0\r\n"},
      {"--by rule --most 1 --csv --site news.example --client 192.0.2.2",
       "rule," + names + "\"/<script>&\"\"/\",1,1,0,0,0,0,0,0\r\n"},
      {"--policy velmora.toml --store other.db --month --by client --csv",
       "client," + names + "\"192.0.2.2\",2,2,1,0,0,0,0,4711\r\n"},
  };
  for (const auto &row : cases) {
    const Result result = shell.Run(std::string("$velmora report --log log ") + row.arguments);
    EXPECT_EQ(0, result.exit_code) << result.errors;
    EXPECT_EQ(row.output, result.output) << row.arguments;
  }
  EXPECT_THAT(
      shell.Run("$velmora report --log log").output,
      AllOf(HasSubstr("3 blocked, 3 of them requests"), HasSubstr("4.7 kB saved in 1 pages")));
  EXPECT_THAT(shell.Run("$velmora report --log log --html").output,
              AllOf(HasSubstr("/&lt;script&gt;&amp;&quot;/"), Not(HasSubstr("<script")),
                    HasSubstr("<rect "), HasSubstr("default-src 'none'")));
  const auto json = nlohmann::json::parse(shell.Run("$velmora report --log log --json").output);
  EXPECT_EQ(3, json["total"]["blocked"]);
  EXPECT_EQ("easylist.txt:7", json["by rule"][0]["list"]);

  shell.Write("log.db",
              "not a database, and as long as the head of one has to be, or a little longer");
  const Result mended = shell.Run("$velmora report --log log");
  EXPECT_EQ(0, mended.exit_code);
  EXPECT_THAT(mended.errors, HasSubstr("is made anew from the log"));
  EXPECT_THAT(mended.output, HasSubstr("3 blocked"));

  for (const char *const wrong :
       {"--by colour", "--from soon", "--from 2026-02-01 --to 2026-01-01", "--client here"}) {
    EXPECT_EQ(2, shell.Run(std::string("$velmora report --log log ") + wrong).exit_code) << wrong;
  }
  EXPECT_EQ(1, shell.Run("$velmora report --log nowhere/log").exit_code);
}

host::Event Counted(std::int32_t pid, const std::string &member, std::uint64_t requests) {
  host::WorkerReport report{.member = member, .held = 5};
  report.counters.requests = requests;
  report.counters.filter_times[1] = 3;
  report.counters.filter_times.back() = 1;
  report.counters.filter_nanoseconds = 6'500'000'000;
  report.counters.stopped[0] = 2;
  report.counters.saved = static_cast<std::uint64_t>(-7);
  return {.kind = EventKind::COUNTERS,
          .pid = pid,
          .counters = std::make_shared<const host::WorkerReport>(report)};
}

TEST(Metrics, TellWhatWorkersToldLast) {
  const Shell shell;
  shell.Write("velmora.toml",
              "[event-log]\nfile = \"log\"\n[ads]\nurls = [\"http://lists.example/a.txt\"]\n");
  shell.Write("log.1", Ago(3, Counted(7, "a", 11)));
  shell.Write("log", "half a line\n" + Ago(30, Counted(6, "a", 1)) + Ago(2, Counted(8, "b", 20)) +
                         Ago(1, Counted(8, "b", 21)) + Ago(1, Request("c", "s", "r")));
  const Result result = shell.Run("$velmora metrics --policy velmora.toml");
  EXPECT_EQ(0, result.exit_code) << result.errors;
  for (const char *const line : {
           "velmora_requests_total{member=\"a\",worker=\"7\",outcome=\"judged\"} 11\n",
           "velmora_requests_total{member=\"b\",worker=\"8\",outcome=\"judged\"} 21\n",
           "velmora_saved_bytes{member=\"b\",worker=\"8\"} -7\n",
           "velmora_held_bytes{member=\"b\",worker=\"8\"} 5\n",
           "reason=\"more bytes held back than allowed\"} 2\n",
           "velmora_filter_seconds_bucket{member=\"b\",worker=\"8\",le=\"0.0001\"} 0\n",
           "velmora_filter_seconds_bucket{member=\"b\",worker=\"8\",le=\"5\"} 3\n",
           "velmora_filter_seconds_bucket{member=\"b\",worker=\"8\",le=\"+Inf\"} 4\n",
           "velmora_filter_seconds_sum{member=\"b\",worker=\"8\"} 6.5\n",
           "velmora_list_fetched_timestamp_seconds{list=\"http://lists.example/a.txt\"} 0\n",
           "velmora_policy_good 1\n",
       }) {
    EXPECT_THAT(result.output, HasSubstr(line));
  }
  EXPECT_THAT(result.output, Not(HasSubstr("worker=\"6\"")));

  // What the dashboard and the alarms speak of is there.
  const std::regex name("velmora_[a-z_]+");
  std::set<std::string> told;
  for (std::sregex_iterator found(result.output.begin(), result.output.end(), name), end;
       found != end; ++found) {
    told.insert(found->str());
  }
  const std::string spoken_of = shell
                                    .Run(
                                        "cat $source/packaging/grafana/velmora.json "
                                        "$source/packaging/prometheus/velmora.yml")
                                    .output;
  std::size_t count = 0;
  for (std::sregex_iterator found(spoken_of.begin(), spoken_of.end(), name), end; found != end;
       ++found, ++count) {
    EXPECT_TRUE(told.contains(found->str())) << found->str();
  }
  EXPECT_LT(20U, count);
}

TEST(Metrics, AnswerOverHttp) {
  const Shell shell;
  shell.Write("log", Ago(0, Counted(8, "b", 21)));
  const Result result = shell.Run(
      "$velmora metrics --policy none.toml --log log --listen 127.0.0.1:0 2>said & server=$!\n"
      "for i in $(seq 200); do grep -q port said && break; sleep 0.05; done\n"
      "curl -s http://127.0.0.1:$(sed 's/.* port \\([0-9]*\\),.*/\\1/' said)/metrics\n"
      "kill $server; wait $server");
  EXPECT_EQ(0, result.exit_code) << shell.Read("said");
  EXPECT_THAT(result.output, HasSubstr("worker=\"8\",outcome=\"judged\"} 21\n"));
  EXPECT_THAT(result.output, HasSubstr("velmora_policy_good 0\n"));
  EXPECT_EQ(1, shell.Run("$velmora metrics --log log --listen nowhere:x").exit_code);
}

}  // namespace
}  // namespace velmora::command
