// An ad-blocking object for tests: answers by rules and records what it is asked.
#pragma once

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <velmora/ad_blocker.h>

#include "support/fake_object.h"

namespace velmora::testing {

class FakeAdBlocker final : public FakeObject<IAdBlocker> {
 public:
  /// What is answered about URLs that contain `part`; the first rule that fits decides.
  struct Rule {
    std::string_view part;
    std::uint8_t answer;
    std::string_view text;
    bool exempt = false;
  };

  std::uint8_t IsReady() noexcept override { return ready; }
  std::uint8_t Reserved4() noexcept override {
    ADD_FAILURE() << "nobody calls this";
    return 0;
  }
  std::uint8_t CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                        bool *exempt) noexcept override {
    calls.push_back(std::string("CheckUrl ") + host + " [" + url + "]");
    return Judge(url, text, size, exempt);
  }
  std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length, char *text,
                            std::size_t size, bool *exempt) noexcept override {
    calls.push_back(std::string("CheckUrlText ") + host + " [" + std::string(piece, length) + "]");
    return Judge({piece, length}, text, size, exempt);
  }
  std::uint8_t CheckSize(const char *host, std::int32_t width,
                         std::int32_t height) noexcept override {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    calls.push_back(std::string("CheckSize ") + host + " " + size);
    return sizes.contains(size);
  }
  std::uint8_t CheckLink(const char *link, const char *host, const char *text) noexcept override {
    calls.push_back(std::string("CheckLink [") + link + "] " + host + " [" + text + "]");
    return 1;
  }

  std::vector<Rule> rules;
  /// As in "468x60".
  std::set<std::string> sizes;
  std::uint8_t ready = 1;
  std::vector<std::string> calls;

 private:
  std::uint8_t Judge(std::string_view url, char *text, std::size_t size, bool *exempt) const {
    EXPECT_EQ(size, AD_TEXT_SIZE);
    EXPECT_FALSE(*exempt);
    for (const Rule &rule : rules) {
      if (url.find(rule.part) == std::string_view::npos) continue;
      std::memcpy(text, rule.text.data(), rule.text.size());
      text[rule.text.size()] = '\0';
      *exempt = rule.exempt;
      return rule.answer;
    }
    return 0;
  }
};

}  // namespace velmora::testing
