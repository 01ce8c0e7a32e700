// Allocations that fail: a transaction in trouble passes through, and nothing leaks or dies.
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>

#include "pipeline/data_processor.h"
#include "plugin/plugin_module.h"
#include "support/dealt_memory.h"
#include "support/fake_host.h"

namespace velmora {
namespace {

using namespace testing;

/// A buffer and a context that allocate nothing while the plug-in runs.
class QuietBuffer final : public FakeObject<IDataBuffer> {
 public:
  QuietBuffer() { bytes_.reserve(64 * 1024); }
  std::uint8_t *GetData() noexcept override { return bytes_.data(); }
  std::uint32_t GetSize() noexcept override { return static_cast<std::uint32_t>(bytes_.size()); }
  std::uint32_t GetCommitted() noexcept override { return committed_; }
  void SetCommitted(std::uint32_t position) noexcept override { committed_ = position; }
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *text,
               std::uint32_t new_length) noexcept override {
    const auto begin = bytes_.begin() + position;
    bytes_.erase(begin, begin + old_length);
    bytes_.insert(bytes_.begin() + position, text, text + new_length);
  }
  void Append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

 private:
  std::vector<std::uint8_t> bytes_;
  std::uint32_t committed_ = 0;
};

class QuietContext final : public FakeObject<IDataContext> {
 public:
  const char *GetProperty(std::int32_t property) noexcept override {
    return property == PROPERTY_CONTENT_TYPE ? type : "http://a.example/b/c";
  }
  const char *GetSetting(const char *) noexcept override { return nullptr; }
  bool IsCategoryEnabled(std::int32_t category) noexcept override { return blocks(category); }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return no_block; }
  void ReportBlocked(std::int32_t, std::int32_t, const char *, const char *) noexcept override {}

  const char *type = "text/html";
  bool (*blocks)(std::int32_t) noexcept = [](std::int32_t category) noexcept {
    return category > 300 || category % 100 != 0;
  };
  std::vector<std::uint8_t> no_block;
};

TEST(Allocations, EachOneMayFail) {
  const std::string_view bodies[][2] = {
      {"text/html; charset=utf-8",
       "<html><base href='http://long.host.name.example/and/a/long/path'>"
       "<meta http-equiv=content-type content='a; charset=windows-1252'>"
       "<body onload='a rather long event handler, beyond small strings()'><script>x=1;"
       "document.write('a string of some length, longer than small strings')</script>"
       "<applet code=some.very.long.class.name.beyond.small.strings></applet></body></html>"},
      {"application/x-javascript", "var a = 'a string'; function f() { return /re/.test(a); }"},
      {"image/gif", "GIF89a"},
  };
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  for (const auto &[type, body] : bodies) {
    int failures = 0;
    for (long allowed = 0;; ++allowed) {
      QuietContext context;
      context.type = type.data();
      QuietBuffer buffer;
      const CountedPointer<IDataProcessor> processor(
          new CDataProcessor(module->content_handlers()));
      const std::size_t middle = body.size() / 2;
      buffer.Append(body.substr(0, middle));
      allocation_failed = false;
      allocations_left = allowed;
      processor->SetContext(&context);
      processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START);
      buffer.Append(body.substr(middle));
      processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_END);
      allocations_left = ALL_SUCCEED;
      EXPECT_EQ(buffer.GetCommitted(), buffer.GetSize()) << type << " allocation " << allowed;
      EXPECT_EQ(context.references, 2);
      if (!allocation_failed) break;
      ++failures;
    }
    EXPECT_GT(failures, 0) << type;
  }
}

/// Each of these goes by a handler of its own.
TEST(Allocations, AHandlerForWhichThereIsNoMemoryCostsItselfAlone) {
  const std::string_view page =
      "<object></object><applet></applet><i onclick=a><script></script>"
      "<a href=javascript:b>c</a><embed type=application/x-shockwave-flash></embed>t";
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  std::set<std::string> results;
  allocation_failed = true;
  for (long allowed = 0; allocation_failed; ++allowed) {
    QuietContext context;
    context.blocks = [](std::int32_t category) noexcept {
      return category >= 300 && category < 304;
    };
    QuietBuffer buffer;
    const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
    processor->SetContext(&context);
    buffer.Append(page);
    allocation_failed = false;
    allocations_left = allowed;
    processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START | DATA_FLAG_END);
    allocations_left = ALL_SUCCEED;
    results.emplace(reinterpret_cast<const char *>(buffer.GetData()), buffer.GetSize());
  }
  for (const char *expected : {
           "<object></object><i ><a href=\"\">c</a>t",
           "<applet></applet><i ><a href=\"\">c</a>t",
           "<i onclick=a><a href=\"\">c</a>t",
           "<i ><script></script><a href=\"\">c</a>t",
           "<i ><a href=javascript:b>c</a>t",
           "<i ><a href=\"\">c</a><embed type=application/x-shockwave-flash></embed>t",
       }) {
    EXPECT_TRUE(results.contains(expected)) << expected;
  }
}

struct LargePage {
  std::string_view begin, repeated, end;

  std::string Text() const {
    std::string text(begin);
    while (text.size() < 256 * 1024) text += repeated;
    return text.append(end);
  }
};

/// How many a page takes that opens so many elements and then repeats something.
long AllocationsOf(Module &module, int depth, std::string_view repeated, int times) {
  QuietContext context;
  QuietBuffer buffer;
  for (int i = 0; i < depth; ++i) buffer.Append("<i>");
  for (int i = 0; i < times; ++i) buffer.Append(repeated);
  const CountedPointer<IDataProcessor> processor(new CDataProcessor(module.content_handlers()));
  processor->SetContext(&context);
  allocations_left = ALL_SUCCEED;
  processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START | DATA_FLAG_END);
  return ALL_SUCCEED - std::exchange(allocations_left, ALL_SUCCEED);
}

TEST(Allocations, APlainElementTakesNone) {
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  for (const std::string_view repeated :
       {"<b>x</b>", "<p class='a class' id=c>text</p>\n", "<td><b><br></b></td><!-- d -->",
        "<h1 a=b c>\xE4</h1></nothing>"}) {
    // Wherever among the open elements it stands.
    for (int depth = 0; depth < 70; ++depth) {
      EXPECT_EQ(AllocationsOf(*module, depth, repeated, 10),
                AllocationsOf(*module, depth, repeated, 200))
          << repeated << " in " << depth;
    }
  }
}

TEST(Allocations, AByteOfPageTakesAtMostTen) {
  const LargePage pages[] = {
      {"", "<b>", ""},          {"", "<a>", ""},        {"", "<object>", ""},
      {"", "<p a b=c>", ""},    {"<img ", "a ", ">"},   {"<a ", "a=b ", ">"},
      {"<object ", "=", ">"},   {"<!", "a ", ">"},      {"</b ", "a ", ">"},
      {"<a href='", "x", "'>"}, {"<", "x", ">"},        {"<p ", "onclick=a ", ">"},
      {"<p ", "on=a ", ">"},    {"<b ", "\xE9='", ">"},
  };
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  for (const LargePage &page : pages) {
    const std::string body = page.Text();
    QuietContext context;
    context.blocks = [](std::int32_t) noexcept { return true; };
    QuietBuffer buffer;
    buffer.Append(body);
    const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
    processor->SetContext(&context);
    const long before = most_bytes_in_use = bytes_in_use;
    processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START);
    EXPECT_LE(most_bytes_in_use - before, static_cast<long>(10 * body.size())) << page.repeated;
    processor->ProcessData(&buffer, 0, 0, DATA_FLAG_END);
  }
}

}  // namespace
}  // namespace velmora
