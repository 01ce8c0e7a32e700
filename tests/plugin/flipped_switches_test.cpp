// Every compiled-in switch turned over: what is normally on is silent, what is normally off speaks.
#include <gtest/gtest.h>

#include "core/switches.h"
#include "gif/gif_handler.h"
#include "pipeline/data_processor.h"
#include "plugin/plugin_module.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"

namespace velmora {
namespace {

using namespace testing;
using namespace std::string_view_literals;

static_assert(switches::FLIPPED);

std::string LogOf(FakeContext &context, std::string_view body) {
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  const LogRecorder log;
  const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
  processor->SetContext(&context);
  Feed(*processor, {body});
  return LogRecorder::Text();
}

TEST(FlippedSwitches, Html) {
  FakeContext context;
  context.content_type = "text/html; charset=utf-8";
  EXPECT_EQ(LogOf(context, "<script language=x>a</script><p t=\xC3\xA9<b></i>"),
            "CDataHTML2\nHTML START\nCHARSET (from content type) = utf-8\n"
            "TAG: SCRIPT\nlanguage\n=\nx\n"
            "Found SCRIPT, type='', language='x' (bJavascript = \"true\")\n"
            "TAG: /SCRIPT\n*** APPENDING NON-HTML CHAR TO TOKEN: 0x00E9 -> C3 A9\n"
            "TAG: P\nt\n=\n\xC3\xA9\nTAG: B\nHTML END\nTAG: /I\n~CDataHTML2\n");
}

TEST(FlippedSwitches, ScriptsAreOverwrittenInPlace) {
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  FakeContext context;
  context.content_type = "text/vbscript";
  context.categories = {CATEGORY_VBSCRIPT};
  const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
  processor->SetContext(&context);
  EXPECT_EQ(Feed(*processor, {"dim", " a"}), "     ");
}

TEST(FlippedSwitches, Gif) {
  FakeContext context;
  context.content_type = "image/gif";
  context.categories = {CATEGORY_GIF_ANIMATION};
  EXPECT_EQ(LogOf(context,
                  "GIF89a\5\0\6\0\x80\0\0RGBRGB\x99!\xFF\x0BUNKNOWN1234\0!\xFF\x0BNETSCAPE2.0\0"
                  "!\xFF\x0BLViewPro200\0!\xFF\x0B"
                  "ACROGATE1.0\0!\xFE\1c\0!\xF9\4abcd\0"
                  ",\0\0\0\0\1\0\2\0\0\2\1x\0;"sv),
            "gif signature: GIF\ngif version: 89a\ngif width 5, height 6\ngif gct size: 6\n"
            "*** gif block type: 99 (UNKNOWN)\n"
            "gif block type: 21 (extension)\n  gif label: FF (application extension)\n"
            "  gif UNKNOWN1234\n  *** gif unknown application extension\n  gif sub-block size: 0\n"
            "gif block type: 21 (extension)\n  gif label: FF (application extension)\n"
            "  gif sub-block size: 0\n"
            "gif block type: 21 (extension)\n  gif label: FF (application extension)\n"
            "  gif sub-block size: 0\n"
            "gif block type: 21 (extension)\n  gif label: FF (application extension)\n"
            "  gif sub-block size: 0\n"
            "gif block type: 21 (extension)\n  gif label: FE (comment extension)\n"
            "  gif sub-block size: 1\n  gif sub-block size: 0\n"
            "gif block type: 21 (extension)\n  gif label: F9 (graphic control extension)\n"
            "  gif sub-block size: 0\n"
            "gif block type: 2C (image descriptor)\n  gif width 1, height 2\n  gif lct size: 0\n"
            "  gif sub-block size: 1\n  gif sub-block size: 0\n"
            "gif block type: 3B (trailer)\n");
}

TEST(FlippedSwitches, CaptureSaysWhenItEnds) {
  FakeContext context;
  context.content_type = "text/plain";
  context.settings[SETTING_DATA_HANDLERS] = "CAPTURE";
  EXPECT_EQ(LogOf(context, "x"), "~CDataCapture 0001\n");
}

}  // namespace
}  // namespace velmora
