#include "gif/gif_handler.h"

#include <gtest/gtest.h>

#include "base/counted_pointer.h"
#include "gif/gif_builder.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"
#include "support/tight_buffer.h"

namespace velmora {
namespace {

using namespace testing;

const Report BLOCKED{CATEGORY_GIF_ANIMATION, "(GIF Animation)", ""};

class GifHandler : public ::testing::Test {
 protected:
  GifHandler() {
    context.content_type = "image/gif";
    context.categories = {CATEGORY_GIF_ANIMATION};
  }

  /// A handler for one image; whether it is switched on.
  CountedPointer<IDataProcessor> Make(bool expected_switch = true) {
    context.reports.clear();
    CountedPointer<IDataProcessor> handler(new CGifHandler);
    EXPECT_EQ(handler->SetContext(&context), expected_switch);
    return handler;
  }

  FakeContext context;
};

TEST_F(GifHandler, CutsBeforeTheSecondFrame) {
  const std::string head = GifHeader();
  const std::string frame = GifFrame();
  const std::string long_block(255, ',');
  const struct {
    std::string kept;
    std::string cut;  // gives way to a trailer; empty: the image stays as it is
  } CASES[] = {
      // One frame.
      {head + frame + ";", ""},
      {head + frame + ";" + frame, ""},
      {head + frame + "\n" + frame, ""},
      {head + ";" + frame + frame, ""},
      {head + ";", ""},
      // More of them.
      {head + frame, frame + ";"},
      {head + frame, ","},
      {head + frame, frame + frame + frame + ";trailing bytes"},
      {GifHeader(NO_TABLE, "no gif") + frame, frame + ";"},
      // Colour tables of all sizes, global and local.
      {GifHeader(0) + frame, frame + ";"},
      {GifHeader(3) + GifFrame(0), frame + ";"},
      {GifHeader(7) + GifFrame(7), GifFrame(7) + ";"},
      {head + GifFrame(1) + ";", ""},
      // Sub-blocks.
      {head + GifFrame(NO_TABLE, GifData({})), frame},
      {head + GifFrame(NO_TABLE, GifData({long_block, "a", long_block})), frame},
      // Extensions before, between and after frames.
      {head + GifLoop() + GifGraphicControl() + frame + GifGraphicControl() + GifLoop(), frame},
      {head + GifComment(long_block) + frame + GifComment(",;\n"), frame + GifComment(";")},
      {head + GifApplication("ACROGATE,,,", GifData({})) + frame, frame},
      {head + GifApplication("unknown one", GifData({","})) + frame + ";", ""},
      {head + GifApplication("", GifData({",,"})) + frame, frame},
      {head + GifApplication("twelve bytes", GifData({",,"})) + frame, frame},
      {head + "!\xF9" + GifByte(0) + GifData({","}) + frame, frame},
      // An unknown extension is read as blocks, byte by byte.
      {head + frame + "!\x01" + GifByte(5) + "ab", ",defg" + GifData({"text"})},
      {head + frame + "!\x01" + GifByte(5) + "ab;" + frame, ""},
      {head + frame + "!\x01" + GifByte(5) + "ab\n" + frame, ""},
      {head + frame + "!!\xFE\x02", ",;"},  // the second "!" is the label
      // Unknown bytes are passed over one by one.
      {head + "junk" + frame + GifByte(0) + "\xFF junk", frame},
      // The end comes early.
      {"", ""},
      {"GIF", ""},
      {head, ""},
      {head + frame, ""},
      {head + frame + "!", ""},
  };
  for (const auto &[kept, cut] : CASES) {
    SCOPED_TRACE(::testing::PrintToString(kept + "|" + cut));
    EXPECT_EQ(FeedTight(*Make(), {kept + cut}), cut.empty() ? kept : kept + ";");
    EXPECT_EQ(context.reports, cut.empty() ? std::vector<Report>() : std::vector{BLOCKED});
  }
}

TEST_F(GifHandler, NeverReadsPastTheEnd) {
  const std::string kept = GifHeader(1) + GifLoop() + GifGraphicControl() +
                           GifApplication("unknown one", GifData({"a", "b"})) + GifFrame(0) +
                           GifComment("comment") + "!\x02junk";
  const std::string image = kept + GifFrame(0) + ";";
  for (std::size_t length = 0; length <= image.size(); ++length) {
    const std::string part = image.substr(0, length);
    const bool is_cut = length > kept.size();
    EXPECT_EQ(FeedTight(*Make(), {part}), is_cut ? kept + ";" : part) << length;
    EXPECT_EQ(context.reports.size(), is_cut ? 1U : 0U) << length;
  }
}

TEST_F(GifHandler, HoldsTheImageUntilItIsComplete) {
  const std::string kept = GifHeader(0) + GifLoop() + GifFrame();
  const std::string image = kept + GifFrame() + ";";
  std::vector<std::string_view> pieces;
  for (const char &byte : image) pieces.emplace_back(&byte, 1);
  std::vector<std::string> sent(image.size());
  sent.back() = kept + ";";
  EXPECT_EQ(SentAfterEachCall(*Make(), pieces, "sent", "tail"), sent);
  EXPECT_EQ(context.reports, std::vector{BLOCKED});
}

TEST_F(GifHandler, StreamsThroughWhileSwitchedOff) {
  const std::string image = GifHeader() + GifFrame() + GifFrame() + ";";
  const auto expect_untouched = [&] {
    const auto handler = Make(false);
    for (const char byte : image) {
      FakeBuffer buffer(std::string(1, byte));
      handler->ProcessData(&buffer, 0, 1, 0);
      EXPECT_EQ(buffer.committed, 1U);
    }
    EXPECT_EQ(FeedTight(*handler, {image}), image);
    EXPECT_EQ(context.reports, std::vector<Report>());
  };
  context.categories = {};
  expect_untouched();
  context.categories = {CATEGORY_GIF_ANIMATION};
  context.option_block = {0, 0, 0, 0, 0, 0, 2, 0};
  expect_untouched();

  context.option_block = {};
  const auto handler = Make();
  context.categories = {};  // asked once only
  EXPECT_NE(FeedTight(*handler, {image}), image);

  const CountedPointer<IDataProcessor> without_context(new CGifHandler);
  EXPECT_FALSE(without_context->SetContext(nullptr));
  EXPECT_EQ(FeedTight(*without_context, {image}), image);
}

TEST_F(GifHandler, LogsUnknownLabelsAlone) {
  const LogRecorder recorder;
  FeedTight(*Make(), {GifHeader(1) + GifLoop() + GifGraphicControl() + GifComment("hello") +
                      GifApplication("NETSCAPE3.0", GifData({})) + GifFrame(0) + "x!\x01\xFE\n"});
  EXPECT_EQ(LogRecorder::Text(), "  *** gif label: 01 (UNKNOWN)\n");
}

}  // namespace
}  // namespace velmora
