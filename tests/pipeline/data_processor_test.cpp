#include "pipeline/data_processor.h"

#include <gtest/gtest.h>
#include <new>

#include "support/fake_host.h"
#include "support/log_recorder.h"

namespace velmora {
namespace {

using namespace testing;

/// Writes down what happens to it; its name is the handler's or the wrapper's.
class RecordingHandler final : public CContentHandler {
 public:
  RecordingHandler(std::string name, std::string &events)
      : name_(std::move(name)), events_(events) {}
  ~RecordingHandler() override { events_ += "~" + name_ + " "; }

  ContentHandlerPointer inner;

 protected:
  bool Attach() override {
    events_ += name_ + ".SetContext ";
    if (name_ == "unready") throw std::bad_alloc();
    return true;
  }
  void Process(const Chunk &chunk) override {
    events_ +=
        name_ + "(" + std::to_string(chunk.length()) + "," + std::to_string(chunk.flags()) + ") ";
    if (inner) inner->Handle(chunk);
    if (chunk.Data() != nullptr && chunk.length() > 0 && *chunk.Data() == '!')
      throw std::bad_alloc();
    if (!chunk.IsEnd() && chunk.length() > 0) chunk.CommitNothing();
  }

 private:
  std::string name_;
  std::string &events_;
};

class Processor : public ::testing::Test {
 protected:
  Processor() {
    const auto make = [this](const char *name) {
      return [this, name] { return ContentHandlerPointer(new RecordingHandler(name, events)); };
    };
    table.rows = {
        {"text/html", "HTML", 0, make("html")},
        {"image/gif", "GIF", CATEGORY_GIF_ANIMATION, make("gif")},
        {"text/unready", "FAILS", 0, make("unready")},
        {"text/fails", "FAILS", 0, []() -> ContentHandlerPointer { throw std::bad_alloc(); }}};
    table.wrap_capture = [this](ContentHandlerPointer inner) {
      auto *const wrapper = new RecordingHandler("capture", events);
      wrapper->inner = std::move(inner);
      return ContentHandlerPointer(wrapper);
    };
    table.default_handlers = "HTML;JS;VBS;GIF";
    processor = CountedPointer<IDataProcessor>(new CDataProcessor(Table()));
    processor->SetContext(&context);
  }

  /// One call over the whole buffer; returns what may go on.
  std::string Call(std::string_view bytes, std::uint32_t flags) {
    buffer.bytes += bytes;
    processor->ProcessData(&buffer, 0, buffer.GetSize(), flags);
    return buffer.TakeCommitted();
  }

  /// Lives as long as the test.
  ContentHandlerTablePointer Table() const { return {ContentHandlerTablePointer(), &table}; }

  std::string events;
  FakeContext context;
  FakeBuffer buffer;
  ContentHandlerTable table;
  CountedPointer<IDataProcessor> processor;
};

TEST_F(Processor, SelectsByTypeAndKeyword) {
  struct Case {
    const char *type, *handlers, *events;
  };
  for (const Case &c : {
           Case{"TEXT/HTML; charset=utf-8", nullptr, "html.SetContext html(1,3) ~html "},
           Case{"text/htmlx", nullptr, "html.SetContext html(1,3) ~html "},
           Case{"text/htm", nullptr, ""},
           Case{"text/html", "JS", ""},
           Case{"text/html", "", ""},
           Case{"text/html", "html", ""},
           Case{"text/html", "XHTMLJS", "html.SetContext html(1,3) ~html "},
           Case{"image/gif", nullptr, "gif.SetContext gif(1,3) ~gif "},
           Case{"image/png", "CAPTURE", "capture.SetContext capture(1,3) ~capture "},
           Case{"text/html", "HTML;CAPTURE",
                "html.SetContext capture.SetContext capture(1,3) html(1,3) ~capture ~html "},
           Case{nullptr, "HTML;CAPTURE", "capture.SetContext capture(1,3) ~capture "},
           Case{nullptr, nullptr, ""},
           Case{"text/fails", "FAILS", ""},
       }) {
    events.clear();
    context.content_type = c.type == nullptr ? std::nullopt : std::optional<std::string>(c.type);
    context.settings.clear();
    if (c.handlers != nullptr) context.settings["DataHandlers"] = c.handlers;
    EXPECT_EQ(Call("x", DATA_FLAG_START | DATA_FLAG_END), "x");
    EXPECT_EQ(events, c.events) << (c.type == nullptr ? "(none)" : c.type);
  }
}

TEST_F(Processor, SupportsWhatItHasARowFor) {
  struct Case {
    const char *type;
    bool gif_on, supported;
  };
  for (const Case &c : {Case{"text/HTML; x", false, true}, Case{"image/gif", false, false},
                        Case{"image/gif", true, true}, Case{"image/png", true, false},
                        Case{nullptr, true, false}}) {
    context.content_type = c.type == nullptr ? std::nullopt : std::optional<std::string>(c.type);
    context.categories.clear();
    if (c.gif_on) context.categories.insert(CATEGORY_GIF_ANIMATION);
    context.settings["DataHandlers"] = "";
    EXPECT_EQ(processor->IsSupported(), c.supported) << (c.type == nullptr ? "(none)" : c.type);
  }
  const CountedPointer<IDataProcessor> fresh(new CDataProcessor(Table()));
  EXPECT_FALSE(fresh->IsSupported());
}

TEST_F(Processor, HandlerLivesFromStartToEnd) {
  EXPECT_EQ(Call("ab", 0), "ab");  // no handler yet
  EXPECT_EQ(Call("cd", DATA_FLAG_START), "");
  EXPECT_EQ(Call("e", 4), "");
  EXPECT_EQ(Call("", DATA_FLAG_END), "cde");
  EXPECT_EQ(Call("f", 0), "f");
  EXPECT_EQ(events, "html.SetContext html(2,1) html(3,4) html(3,2) ~html ");
}

TEST_F(Processor, SecondStartReplacesTheHandler) {
  const LogRecorder log;
  Call("a", DATA_FLAG_START);
  Call("b", DATA_FLAG_START);
  EXPECT_EQ(events, "html.SetContext html(1,1) ~html html.SetContext html(2,1) ");
  EXPECT_EQ(LogRecorder::Text(),
            "*** DATA_FLAG_START (without DATA_FLAG_END for previous transaction).\n");
}

TEST_F(Processor, TroubleBecomesPassThrough) {
  Call("a", DATA_FLAG_START);
  buffer.bytes = "!" + buffer.bytes;
  EXPECT_EQ(Call("b", 0), "!ab");
  EXPECT_EQ(Call("c", 0), "c");
  EXPECT_EQ(Call("d", DATA_FLAG_END), "d");
  EXPECT_EQ(events, "html.SetContext html(1,1) html(3,0) ~html ");
  EXPECT_EQ(Call("e", DATA_FLAG_START | DATA_FLAG_END), "e");
  EXPECT_EQ(events, "html.SetContext html(1,1) html(3,0) ~html html.SetContext html(1,3) ~html ");
}

TEST_F(Processor, AHostThatListensHearsOfTrouble) {
  context.listens = true;
  EXPECT_EQ(Call("a", DATA_FLAG_START | DATA_FLAG_END), "a");
  EXPECT_EQ(context.listener.unexamined, 0);
  EXPECT_EQ(Call("!", DATA_FLAG_START | DATA_FLAG_END), "!");
  EXPECT_EQ(context.listener.unexamined, 1);
  context.settings["DataHandlers"] = "FAILS";
  for (const auto &[type, told] : {std::pair{"text/fails", 2}, {"text/unready", 3}}) {
    context.content_type = type;
    EXPECT_EQ(Call("b", DATA_FLAG_START | DATA_FLAG_END), "b");
    EXPECT_EQ(context.listener.unexamined, told);
  }
  EXPECT_EQ(context.listener.references, 1);
}

TEST_F(Processor, ReleasesHandlerAndContext) {
  Call("a", DATA_FLAG_START);
  EXPECT_EQ(context.references, 2);
  // Of several contexts the last is released.
  FakeContext last;
  processor->SetContext(&last);
  processor = {};
  EXPECT_EQ(context.references, 1);
  EXPECT_EQ(last.references, 0);
  EXPECT_EQ(events, "html.SetContext html(1,1) ~html ");
}

}  // namespace
}  // namespace velmora
