// What other people's programs see of the library, in C and in C++.
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <velmora/host.h>

#include "compressed.h"
#include "support/temporary_directory.h"

namespace velmora {
namespace {

using ::testing::HasSubstr;

constexpr char PLUGIN[] = FAKE_MODULES "/fake_plugin.so";
const ResponseHead PAGE{.url = "http://www.example.com/", .content_type = "text/html"};

class Interface : public ::testing::Test {
 protected:
  Host Open(const std::string &policy) const {
    folder.Write("velmora.toml", policy + "\n[ads]\nenabled = false\n");
    return Host({.plugin = PLUGIN, .policy = folder.path() + "/velmora.toml"});
  }
  /// What comes out of a body that arrives in two pieces and is asked for to the end.
  static std::string Filtered(std::optional<HostResponse> response, std::string_view body) {
    std::string all;
    const auto take = [&](std::string_view out) {
      for (; !out.empty(); out = response->Next()) all += out;
    };
    if (!response) return "untouched";
    for (std::string piece : {std::string(body.substr(0, 3)), std::string(body.substr(3))}) {
      take(response->Push(piece));
      piece.assign(piece.size(), '?');  // it was copied
    }
    take(response->Finish());
    return response->HasFailed() ? all + " failed" : all;
  }

  testing::TemporaryDirectory folder;
};

TEST_F(Interface, FiltersWhatThePolicySays) {
  const Host host = Open("[filter]\nblock = 'ads'\n[[rule]]\nclients = '10.0.0.1'\nallow = 'ads'");
  const auto with = [](auto change) {
    ResponseHead head = PAGE;
    change(head);
    return head;
  };
  const struct {
    ResponseHead head;
    const char *result;
  } cases[] = {
      {PAGE, "abc"},
      {with([](auto &head) { head.client = "10.0.0.1"; }), "untouched"},
      {with([](auto &head) { head.status = 206; }), "abc"},
      {with([](auto &head) {
         head.status = 206;
         head.range = "bytes=0-";
       }),
       "untouched"},
      {with([](auto &head) { head.content_type = "text/plain"; }), "untouched"},
      {with([](auto &head) { head.content_type.clear(); }), "a<ad>b<ad>c"},
      {with([](auto &head) { head.block = "flash"; }), "a<ad>b<ad>c"},
      {with([](auto &head) { head.block = ""; }), "untouched"},
  };
  for (const auto &[head, result] : cases) {
    EXPECT_EQ(Filtered(host.Begin(head), "a<ad>b<ad>c"), result);
  }
  EXPECT_EQ(Filtered(Host({.plugin = PLUGIN}).Begin(PAGE), "a<ad>b"), "ab");
}

TEST_F(Interface, TellsWhatTheBrowserIsNotToRun) {
  const std::string rules =
      "[[rule]]\nclients = '10.0.0.1'\nallow = 'flash'\n[allow]\nclients = '::1'";
  const Host host = Open("[filter]\nblock = ['scripts', 'applets', 'activex', 'flash']\n" + rules);
  const Host off = Open("[responses]\nsecurity-policy = false\n[filter]\nblock = 'scripts'");
  const auto from = [](const char *client, std::optional<std::string> block = {}) {
    return ResponseHead{.url = "http://www.example.com/", .client = client, .block = block};
  };
  EXPECT_EQ(host.SecurityPolicy(from("10.0.0.2")), "script-src 'none'; object-src 'none'");
  EXPECT_EQ(host.SecurityPolicy(from("10.0.0.1")), "script-src 'none'");
  EXPECT_EQ(host.SecurityPolicy(from("10.0.0.1", "javascript,popups")), "");
  EXPECT_EQ(host.SecurityPolicy(from("::1", "scripts")), "");
  EXPECT_EQ(off.SecurityPolicy(from("10.0.0.2")), "");
}

TEST_F(Interface, TellsOfEvents) {
  const Host host = Open("[filter]\nblock = 'ads'\n[event-log]\nfile = 'log'");
  std::vector<std::string> events;
  const auto listener = [&](const HostEvent &event) {
    events.push_back(std::to_string(event.category) + " " + std::string(event.category_name) + " " +
                     std::string(event.item) + " " + std::string(event.detail) + " " +
                     std::string(event.reason));
  };
  Filtered(host.Begin(PAGE, listener), "a<ad>b");
  ResponseHead coded = PAGE;
  coded.content_encoding = "gzip";
  Filtered(host.Begin(coded, listener), "no gzip");
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0], "305 ad-urls <ad> www.example.com ");
  EXPECT_THAT(events[1], ::testing::AllOf(HasSubstr("0  "), HasSubstr("coding")));

  auto response = host.Begin(PAGE, [](const HostEvent &) { throw std::logic_error("heard"); });
  EXPECT_THROW(response->Push("a<ad>b"), std::logic_error);
}

TEST_F(Interface, JudgesRequests) {
  const Host host = Open(
      "[filter]\nsafe-search = 'moderate'\n[[category]]\nname = 'games'\nsites = 'games.example'\n"
      "[[group]]\nname = 'pupils'\nusers = 'anna'\n[[rule]]\ngroups = 'pupils'\nblock = 'games'");
  RequestHead head{.url = "http://games.example/",
                   .headers = {{"sec-fetch-dest", "document"}, {"X-Other", ""}}};
  EXPECT_FALSE(host.Judge(head));
  for (const bool is_by_name : {true, false}) {
    head.user = is_by_name ? "anna" : "";
    head.groups = is_by_name ? "" : "pupils";
    const auto answer = host.Judge(head);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 403);
    EXPECT_EQ(answer->reason, "Forbidden");
    EXPECT_THAT(answer->body, HasSubstr("games.example"));
    EXPECT_THAT(answer->headers, ::testing::Contains(std::pair<std::string, std::string>(
                                     "Content-Type", "text/html; charset=utf-8")));
  }
  head.has_body = true;
  EXPECT_EQ(host.Judge(head)->body, "");
  const auto search = host.Judge({.url = "https://www.google.com/search?q=a"});
  ASSERT_TRUE(search);
  EXPECT_EQ(search->status, 0);
  EXPECT_EQ(search->url, "https://www.google.com/search?q=a&safe=active");
  const auto video = host.Judge({.url = "https://www.youtube.com/"});
  EXPECT_THAT(video->headers,
              ::testing::ElementsAre(::testing::Pair("YouTube-Restrict", "Moderate")));

  velmora_request_head none = VELMORA_REQUEST_HEAD_INIT;
  velmora_request *request = nullptr;
  EXPECT_EQ(velmora_request_judge(nullptr, &none, &request), VELMORA_INVALID_ARGUMENT);
  EXPECT_EQ(velmora_request_result(nullptr), nullptr);
  velmora_request_end(nullptr);
  EXPECT_STREQ(velmora_host_request_headers()[0], "Referer");
}

TEST_F(Interface, FollowsANewPolicyOrKeepsTheOld) {
  Host host = Open("[filter]\nblock = 'ads'");
  auto before = host.Begin(PAGE);
  Open("[filter]\nblock = 'flash'");
  host.Renew();
  EXPECT_EQ(Filtered(host.Begin(PAGE), "a<ad>b"), "a<ad>b");
  EXPECT_EQ(Filtered(std::move(before), "a<ad>b"), "ab");

  folder.Write("velmora.toml", "[filter]\nblock = 'flsh'");
  try {
    host.Renew();
    FAIL();
  } catch (const HostError &error) {
    EXPECT_EQ(error.Code(), VELMORA_BAD_POLICY);
    EXPECT_THAT(error.what(), HasSubstr(":2:9: unknown category"));
  }
  EXPECT_EQ(Filtered(host.Begin(PAGE), "a<ad>b"), "a<ad>b");
}

TEST_F(Interface, ResponsesOutliveTheirHost) {
  std::optional<Host> host(Open("[filter]\nblock = 'ads'"));
  auto response = host->Begin(PAGE);
  host.reset();
  EXPECT_EQ(Filtered(std::move(response), "a<ad>b"), "ab");
}

TEST_F(Interface, PutsIntoGzipAgain) {
  const Host host = Open("[filter]\nblock = 'ads'\n[responses]\ngzip-again = true");
  ResponseHead head = PAGE;
  head.content_encoding = head.accept_encoding = "gzip";
  EXPECT_EQ(host.Begin(head)->Coding(), "gzip");
  head.accept_encoding = "br";
  EXPECT_EQ(host.Begin(head)->Coding(), "");
  EXPECT_EQ(Filtered(host.Begin(head), host::Compressed(host::ContentCoding::GZIP, "a<ad>b")),
            "ab");
}

TEST_F(Interface, BreaksOff) {
  const Host host = Open("[filter]\nblock = 'ads'\n[limits]\nbeyond = 'fail'");
  ResponseHead head = PAGE;
  head.content_encoding = "gzip";
  EXPECT_EQ(Filtered(host.Begin(head), "no gzip"), " failed");
  head.content_encoding = "unheard-of";
  try {
    host.Begin(head);
    FAIL();
  } catch (const HostError &error) {
    EXPECT_EQ(error.Code(), VELMORA_FAILED);
  }
  auto response = host.Begin(PAGE);
  response->Push("a<");
  response->Abort();
  EXPECT_EQ(response->Finish(), "");
  EXPECT_TRUE(response->HasFailed());
}

TEST_F(Interface, SaysWhatItCannotDo) {
  const auto open = [](velmora_host_options options) {
    char message[32] = "none";
    velmora_host *host = nullptr;
    const velmora_code code = velmora_host_open(&options, &host, message, sizeof message);
    velmora_host_close(host);
    return std::pair(code, std::string(message));
  };
  velmora_host_options options = VELMORA_HOST_OPTIONS_INIT;
  options.plugin = PLUGIN;
  EXPECT_EQ(open(options), std::pair(VELMORA_OK, std::string()));
  options.policy = "/no/such/folder/velmora.toml";
  EXPECT_EQ(open(options),
            std::pair(VELMORA_BAD_POLICY, std::string("/no/such/folder/velmora.toml: c")));
  options.size = offsetof(velmora_host_options, policy);  // of a program that knows less
  EXPECT_EQ(open(options).first, VELMORA_OK);
  options.plugin = "/no/such/plugin";
  EXPECT_EQ(open(options).first, VELMORA_CANNOT_LOAD);
  options.size = 0;
  EXPECT_EQ(open(options).first, VELMORA_INVALID_ARGUMENT);
  EXPECT_EQ(velmora_host_open(nullptr, nullptr, nullptr, 0), VELMORA_INVALID_ARGUMENT);
  EXPECT_EQ(velmora_response_begin(nullptr, nullptr, nullptr, nullptr, nullptr),
            VELMORA_INVALID_ARGUMENT);

  const Host host({.plugin = PLUGIN});
  ResponseHead head = PAGE;
  head.block = "flsh";
  EXPECT_THROW(host.Begin(head), HostError);
  auto response = host.Begin(PAGE);
  EXPECT_EQ(response->Push("a"), "a");
  EXPECT_THROW(response->Push("b"), HostError) << "before all of the first came out";
  EXPECT_EQ(response->Next(), "");
  response->Finish();
  EXPECT_THROW(response->Push("c"), HostError) << "after the end";
}

TEST_F(Interface, NamesHeadersThatDoNotHold) {
  std::vector<std::string> names;
  for (const char *const *name = velmora_host_stale_headers(); *name != nullptr; ++name) {
    names.emplace_back(*name);
  }
  EXPECT_THAT(names, ::testing::IsSupersetOf({"Content-Encoding", "ETag", "Accept-Ranges"}));
  EXPECT_EQ(velmora_host_api(), VELMORA_HOST_API);
}

}  // namespace
}  // namespace velmora
