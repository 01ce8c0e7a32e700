#include "host/bodies/transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string_view>

#include "host/scripted_processor.h"

namespace velmora::host {
namespace {

using ::testing::ElementsAre;

TEST(Transaction, AnswersThePluginFromItsInfo) {
  RecordingSink sink;
  Transaction transaction({.url = "http://example.com/a",
                           .content_type = "text/html",
                           .categories = CategorySet::Parse("flash"),
                           .settings = {{"DataHandlers", "HTML"}},
                           .option_block = {1, 2, 3, 4, 5, 6, 7, 8}},
                          sink);
  EXPECT_STREQ(transaction.GetProperty(PROPERTY_URL), "http://example.com/a");
  EXPECT_STREQ(transaction.GetProperty(PROPERTY_HOST), "example.com");
  EXPECT_STREQ(transaction.GetProperty(PROPERTY_CONTENT_TYPE), "text/html");
  EXPECT_STREQ(transaction.GetSetting("DataHandlers"), "HTML");
  EXPECT_EQ(transaction.GetSetting("datahandlers"), nullptr);
  EXPECT_TRUE(transaction.IsCategoryEnabled(CATEGORY_FLASH));
  EXPECT_FALSE(transaction.IsCategoryEnabled(CATEGORY_SCRIPTS));
  EXPECT_EQ(transaction.GetOptionBlock().size(), 8U);
  transaction.ReportBlocked(1, CATEGORY_FLASH, "EMBED", "");
  EXPECT_THAT(sink.blocked, ElementsAre("303 EMBED "));

  // With nothing known there are empty texts, and no type.
  Transaction unknown({}, sink);
  EXPECT_STREQ(unknown.GetProperty(PROPERTY_URL), "");
  EXPECT_STREQ(unknown.GetProperty(PROPERTY_HOST), "");
  EXPECT_EQ(unknown.GetProperty(PROPERTY_CONTENT_TYPE), nullptr);
}

/// Where requests decide, what requests nothing need not be looked at.
TEST(Transaction, KeepsLinksAndFormsWhereRequestsDecide) {
  const struct {
    const char *block;
    const char *tag;
    bool is_kept;
  } cases[] = {{"calm", "A", true},       {"calm", "FORM", true}, {"calm", "IMG", false},
               {"calm", "SCRIPT", false}, {"strict", "A", false}, {"strict", "FORM", false}};
  for (const auto &[block, tag, is_kept] : cases) {
    SCOPED_TRACE(std::string(block) + " " + tag);
    RecordingSink sink;
    Transaction transaction({.categories = CategorySet::Parse(block)}, sink);
    void *review = nullptr;
    ASSERT_EQ(transaction.QueryInterface(&ID_AdReview, &review), RESULT_OK);
    EXPECT_EQ(static_cast<IAdReview *>(review)->WhoDecides(tag),
              is_kept ? AD_REVIEW_NOBODY : AD_REVIEW_LIBRARY);
  }
}

}  // namespace
}  // namespace velmora::host
