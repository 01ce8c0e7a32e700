// Who gets what of the web page, and who is turned away.
#include "web/site.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "web/house.h"

namespace velmora::web {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const char *const PAGES[] = {"/", "/events", "/why", "/allowed", "/lists", "/policy", "/health"};

TEST(Site, ShowsNothingToWhoIsNotLoggedInButWhatDevicesNeed) {
  House house;
  Site site(house.Options());
  for (const std::string page : PAGES) {
    const Response response = site.Answer(Get(page));
    EXPECT_EQ(response.status, 303) << page;
    EXPECT_THAT(Header(response, "Location"), StartsWith("/login?next="));
  }
  for (const std::string page : {"/login", "/style.css", "/icon.svg", "/setup", "/proxy.pac"}) {
    EXPECT_EQ(site.Answer(Get(page)).status, 200) << page;
  }
  EXPECT_THAT(site.Answer(Get("/login")).body, HasSubstr("--set-password"));
  EXPECT_EQ(site.Answer(Get("/nothing")).status, 404);
  Request change = Get("/allow");
  change.method = "POST";
  change.fields["site"] = "evil.example";
  EXPECT_EQ(site.Answer(change).status, 403);
}

TEST(Site, KnowsTwoRoles) {
  House house;
  SetPassword(house.Options().passwords, Role::VIEW, VIEWER);
  SetPassword(house.Options().passwords, Role::CHANGE, CHANGER);
  struct stat file;
  ASSERT_EQ(stat(house.Options().passwords.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600U);
  EXPECT_THAT(house.Read("passwords"), StartsWith("change:$y$"));
  EXPECT_THROW(SetPassword(house.Options().passwords, Role::VIEW, "short"), std::invalid_argument);

  Site site(house.Options());
  const Visitor nobody(site, std::string("guessed it"));
  EXPECT_EQ(nobody.Login().status, 403);
  EXPECT_EQ(nobody.Cookie(), "");

  const Visitor viewer(site, VIEWER);
  EXPECT_THAT(Header(viewer.Login(), "Set-Cookie"), HasSubstr("; HttpOnly; SameSite=Strict"));
  EXPECT_THAT(Header(viewer.Login(), "Set-Cookie"), Not(HasSubstr("Secure")));
  for (const std::string page : PAGES) {
    const Response response = viewer.Open(page);
    EXPECT_EQ(response.status, 200) << page << response.body;
    EXPECT_THAT(response.body, Not(HasSubstr("action=\"/allow\"")));
  }
  EXPECT_EQ(site.Answer(viewer.Sent("/allow", {{"site", "a.example"}})).status, 403);
  EXPECT_EQ(house.Read("velmora.exceptions"), "");

  const Visitor changer(site, CHANGER);
  EXPECT_EQ(site.Answer(changer.Sent("/allow", {{"site", "a.example"}})).status, 200);
  EXPECT_EQ(site.Answer(changer.Sent("/logout", {})).status, 303);
  EXPECT_EQ(changer.Open("/").status, 303);
}

TEST(Site, LogsInOnceByItsLink) {
  House house;
  Site site(house.Options());
  Request start = Get("/start");
  start.fields["word"] = "guessed";
  EXPECT_EQ(Visitor(site, start).Cookie(), "");
  start.fields["word"] = site.MakeStartWord();
  const Visitor visitor(site, start);
  EXPECT_EQ(visitor.Open("/allowed").status, 200);
  EXPECT_EQ(Visitor(site, start).Cookie(), "");
}

TEST(Site, LetsNobodyTryPasswordsForLong) {
  House house;
  SetPassword(house.Options().passwords, Role::CHANGE, CHANGER);
  Site site(house.Options());
  for (std::size_t at = 0; at < Attempts::MOST; ++at) {
    EXPECT_EQ(Visitor(site, std::string("guess ") + std::to_string(at)).Login().status, 403);
  }
  const Response late = Visitor(site, CHANGER).Login();
  EXPECT_EQ(late.status, 429);
  EXPECT_NE(Header(late, "Retry-After"), "");
  // Somebody else still can.
  Request other = LoginForm(CHANGER);
  other.client = "192.0.2.1";
  EXPECT_EQ(site.Answer(other).status, 303);
}

TEST(Attempts, AreForgottenInTime) {
  Attempts attempts;
  const auto start = Attempts::Clock::now();
  const auto minute = std::chrono::seconds(60);
  for (std::size_t at = 0; at < Attempts::MOST; ++at) {
    EXPECT_EQ(attempts.Begin("2001:db8::1", start + at * minute).count(), 0);
  }
  // The whole network.
  EXPECT_EQ(attempts.Begin("2001:db8::2", start + 270 * std::chrono::seconds(1)).count(), 30);
  EXPECT_EQ(attempts.Begin("2001:db8::2", start + Attempts::WITHIN).count(), 0);
}

TEST(Site, TakesNoFormsFromElsewhere) {
  House house;
  Site site(house.Options());
  const Visitor visitor = Welcome(site);
  const auto with = [&](auto change) {
    Request request = visitor.Sent("/allow", {{"site", "a.example"}});
    change(request);
    return site.Answer(request).status;
  };
  EXPECT_EQ(with([](Request &request) { request.origin = "http://localhost:3180"; }), 200);
  EXPECT_EQ(with([](Request &request) { request.origin = "http://evil.example"; }), 403);
  EXPECT_EQ(with([](Request &request) { request.origin = "http://localhost:8080"; }), 403);
  EXPECT_EQ(with([](Request &request) { request.origin = "null"; }), 403);
  EXPECT_EQ(with([](Request &request) { request.fetch_site = "cross-site"; }), 403);
  EXPECT_EQ(with([](Request &request) { request.fetch_site = "same-site"; }), 403);
  EXPECT_EQ(with([](Request &request) { request.fields["form"] = ""; }), 403);
  EXPECT_EQ(with([](Request &request) { request.fields.erase("form"); }), 403);
  EXPECT_EQ(with([](Request &request) { request.fields["form"][0] ^= 1; }), 403);
  EXPECT_EQ(with([](Request &request) { request.method = "GET"; }), 404);
}

TEST(Site, IsKnownByItsNamesAlone) {
  House house;
  Site site(house.Options());
  const std::pair<std::string, int> cases[] = {
      {"localhost:3180", 200},
      {"127.0.0.1:3180", 200},
      {"[::1]:3180", 200},
      {"192.168.1.2", 200},
      {"filter.home", 200},
      {"FILTER.home:3180", 200},
      {"evil.example", 421},
      {"evil.example:3180", 421},
      {"localhost.evil.example", 421},
      {"127.0.0.1.evil.example", 421},
      {"", 421},
      {"localhost:3180@evil.example", 421},
      {"[::1", 421},
      {"[evil.example]", 421},
  };
  for (const auto &[host, status] : cases) {
    Request request = Get("/login");
    request.host = host;
    EXPECT_EQ(site.Answer(request).status, status) << host;
  }
}

TEST(Site, GoesOnToItsOwnPagesAlone) {
  House house;
  SetPassword(house.Options().passwords, Role::CHANGE, CHANGER);
  Site site(house.Options());
  const std::pair<std::string, std::string> cases[] = {{"/why", "/why"},
                                                       {"//evil.example/", "/"},
                                                       {"/\\evil.example/", "/"},
                                                       {"http://evil.example/", "/"},
                                                       {"/a\r\nX: y", "/"}};
  for (const auto &[next, place] : cases) {
    Request request = LoginForm(CHANGER);
    request.fields["next"] = next;
    EXPECT_EQ(Header(site.Answer(request), "Location"), place);
  }
}

TEST(Site, AllowsAndTakesBackAsTheCommandDoes) {
  House house;
  Site site(house.Options());
  const Visitor visitor = Welcome(site);
  for (const std::string name : {"a.example", "b.example"}) {
    site.Answer(visitor.Sent("/allow", {{"site", name}, {"client", "192.0.2.7"}}));
  }
  EXPECT_EQ(site.Answer(visitor.Sent("/allow", {{"site", "no host"}})).status, 400);
  EXPECT_EQ(site.Answer(visitor.Sent("/allow", {{"site", "a.example"}, {"for", "soon"}})).status,
            400);
  EXPECT_THAT(house.Read("velmora.exceptions"),
              HasSubstr(R"("site":"a.example","client":"192.0.2.7/32")"));
  EXPECT_THAT(visitor.Open("/policy", "url", "http://www.a.example/").body, HasSubstr("preset"));
  // Not the last one.
  site.Answer(
      visitor.Sent("/take-back", {{"exception", "a.example for 192.0.2.7/32: everything"}}));
  EXPECT_THAT(house.Read("velmora.exceptions"), Not(HasSubstr("a.example")));
  EXPECT_THAT(house.Read("velmora.exceptions"), HasSubstr("b.example"));
  EXPECT_THAT(visitor.Open("/allowed").body, HasSubstr(R"(<option value="group pupils">)"));
  site.Answer(visitor.Sent("/allow", {{"site", "c.example"}, {"client", "group pupils"}}));
  EXPECT_THAT(house.Read("velmora.exceptions"),
              HasSubstr(R"("site":"c.example","group":"pupils")"));
  EXPECT_EQ(
      site.Answer(visitor.Sent("/allow", {{"site", "c.example"}, {"client", "group x"}})).status,
      400);
}

TEST(Site, ChoosesPresetsAndNothingElse) {
  House house;
  Site site(house.Options());
  const Visitor visitor = Welcome(site);
  EXPECT_EQ(site.Answer(visitor.Sent("/preset", {{"preset", "strict"}})).status, 303);
  EXPECT_EQ(house.Read("velmora.preset"), "strict\n");
  EXPECT_THAT(visitor.Open("/policy").body, HasSubstr("<strong>strict</strong> was chosen"));
  const Response none = site.Answer(visitor.Sent("/preset", {{"preset", "<ads>"}}));
  EXPECT_EQ(none.status, 500);
  EXPECT_THAT(none.body, AllOf(HasSubstr("&lt;ads&gt;"), HasSubstr("href=\"/health\"")));
  EXPECT_EQ(house.Read("velmora.preset"), "strict\n");
  EXPECT_EQ(site.Answer(visitor.Sent("/preset", {})).status, 303);
  EXPECT_THAT(visitor.Open("/policy").body, HasSubstr("As the policy says."));
}

TEST(Site, MakesADamagedStoreAnew) {
  House house;
  house.Write("events", R"({"time":"2026-03-01T12:34:56.789Z","event":"error","reason":"lost"})"
                        "\n");
  Site site(house.Options());
  const Visitor visitor = Welcome(site);
  EXPECT_EQ(visitor.Open("/").status, 200);
  // What feeding, with nothing new, does not look at.
  SQLite::Database(house.Folder() + "/events.db", SQLite::OPEN_READWRITE)
      .exec("INSERT INTO text_blocks VALUES (1, x'01')");
  EXPECT_EQ(visitor.Open("/events", "text", "lost").status, 500);
  EXPECT_EQ(visitor.Open("/events", "text", "lost").status, 200);
}

TEST(Site, ShowsHostileEventsListsAndRulesAsText) {
  House house;
  house.Write(
      "events",
      R"({"time":"2026-03-01T12:34:56.789Z","pid":1,"event":"blocked","client":"192.0.2.7",)"
      R"("url":"http://x.example/<script>alert(1)</script>","category":"ad-urls","code":305,)"
      R"("item":"<img src=x onerror=alert(1)>","detail":"\"'><svg/onload=x>","id":"0123456789"})"
      "\n");
  Site site(house.Options());
  const Visitor visitor = Welcome(site);
  const Response why = visitor.Open("/why", "id", "0123456789");
  EXPECT_THAT(why.body, HasSubstr("&lt;img src=x onerror=alert(1)&gt;"));
  EXPECT_THAT(why.body, HasSubstr("&lt;b&gt;Kids&lt;/b&gt;"));
  EXPECT_THAT(why.body, HasSubstr("value=\"x.example\""));
  EXPECT_THAT(visitor.Open("/lists").body, HasSubstr("&lt;i&gt;Ads&lt;/i&gt;"));
  for (const std::string page : PAGES) {
    for (const std::string field :
         {"id", "url", "client", "site", "text", "rule", "span", "next"}) {
      const std::string body = visitor.Open(page, field, "\"'><svg/onload=x>").body;
      for (const char *const markup : {"<script", "<svg/", "<img src=x", "<b>", "<i>"}) {
        EXPECT_THAT(body, Not(HasSubstr(markup))) << page << " " << field;
      }
    }
  }
}

}  // namespace
}  // namespace velmora::web
