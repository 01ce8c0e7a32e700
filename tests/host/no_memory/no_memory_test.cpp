// The real plug-in with allocations that fail, one after the other: it lets the body pass and says
// nothing, and its host knows all the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "host/bodies/body_stream.h"
#include "host/loading/plugin.h"
#include "host/scripted_processor.h"
#include "support/dealt_memory.h"

/// The host's, for its buffer: the linker puts it in the place of the C library's.
extern "C" void *__real_realloc(void *memory, std::size_t size);
extern "C" void *__wrap_realloc(void *memory, std::size_t size);
void *__wrap_realloc(void *memory, std::size_t size) {
  return velmora::testing::Deal() ? __real_realloc(memory, size) : nullptr;
}

namespace velmora::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string Page() {
  std::string page = "<html><meta charset=koi8-r><base href='http://a.example/'>";
  for (int i = 0; i < 40; ++i)
    page += "<div a=1 b='2' onclick=x><img src=a.gif width=468 height=60>";
  page += "<object><param name=movie value=x></object><body onload=x><script>";
  for (int i = 0; i < 40; ++i) page += "var a" + std::to_string(i) + " = 'http://b.example/x';";
  return page + "</script></html>";
}

TEST(NoMemory, IsHeardOfWhateverThePlugInMakesOfIt) {
  const Plugin plugin(VELMORA_PLUGIN, AdLibraryOptions{.is_used = false});
  const std::string page = Page();
  int failures = 0;
  for (const char *const type : {"text/html", "application/x-javascript"}) {
    for (long allowed = 0;; ++allowed) {
      RecordingSink sink;
      sink.stops.reserve(1);
      sink.is_deaf = true;
      Transaction transaction({.url = "http://www.example.com/",
                               .content_type = type,
                               .categories = CategorySet::All().Without(
                                   CategorySet::Parse("scripts,javascript,vbscript"))},
                              sink);
      testing::allocations_left = allowed;
      testing::allocation_failed = false;
      PushedPieces pieces;
      BodyStream stream(pieces, plugin.CreateProcessor(), transaction,
                        {.slice_size = 512, .limits = {.beyond = BeyondLimit::FAIL}});
      std::size_t size = 0;
      pieces.Finish(page);
      for (Part part = stream.Next(); !part.IsNothing(); part = stream.Next()) {
        size += part.bytes.size();
      }
      testing::allocations_left = testing::ALL_SUCCEED;
      if (!testing::allocation_failed) {
        EXPECT_THAT(sink.stops, IsEmpty());
        EXPECT_GT(size, 0U);
        break;
      }
      ++failures;
      ASSERT_THAT(sink.stops, ElementsAre(StopReason::OUT_OF_MEMORY)) << type << " " << allowed;
      ASSERT_EQ(stream.State(), StreamState::FAILED);
    }
  }
  EXPECT_GT(failures, 50) << "there is something to fail";
}

}  // namespace
}  // namespace velmora::host
