// Allocations that fail: a transaction in trouble passes through, and nothing leaks or dies.
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>

#include "pipeline/data_processor.h"
#include "plugin/module.h"
#include "support/fake_host.h"

namespace {

/// Allocations that still succeed on this thread; then one fails.
thread_local long allocations_left = std::numeric_limits<long>::max();
thread_local bool failed = false;

void *Allocate(std::size_t size) noexcept {
  if (--allocations_left < 0) {
    allocations_left = std::numeric_limits<long>::max();
    failed = true;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void *operator new(std::size_t size) {
  void *const memory = Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  return Allocate(size);
}
void operator delete(void *memory) noexcept {
  std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}

namespace velmora {
namespace {

using namespace testing;

/// A buffer and a context that allocate nothing while the plug-in runs.
class QuietBuffer final : public IDataBuffer {
 public:
  QuietBuffer() { bytes_.reserve(64 * 1024); }
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override { return 1; }
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

class QuietContext final : public IDataContext {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return ++references; }
  std::int32_t Release() noexcept override { return --references; }
  const char *GetProperty(std::int32_t property) noexcept override {
    return property == PROPERTY_CONTENT_TYPE ? type : "http://a.example/b/c";
  }
  const char *GetSetting(const char *) noexcept override { return nullptr; }
  bool IsCategoryEnabled(std::int32_t category) noexcept override {
    return category > 300 || category % 100 != 0;
  }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return no_block; }
  void ReportBlocked(std::int32_t, std::int32_t, const char *, const char *) noexcept override {}

  const char *type = "text/html";
  std::vector<std::uint8_t> no_block;
  int references = 0;
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
      failed = false;
      allocations_left = allowed;
      processor->SetContext(&context);
      processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START);
      buffer.Append(body.substr(middle));
      processor->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_END);
      allocations_left = std::numeric_limits<long>::max();
      EXPECT_EQ(buffer.GetCommitted(), buffer.GetSize()) << type << " allocation " << allowed;
      EXPECT_EQ(context.references, 1);
      if (!failed) break;
      ++failures;
    }
    EXPECT_GT(failures, 0) << type;
  }
}

}  // namespace
}  // namespace velmora
