#include "diag/capture.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "core/switches.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"
#include "support/temporary_directory.h"

namespace velmora {
namespace {

using namespace testing;
using ::testing::UnorderedElementsAre;

/// Doubles every "x" it releases, and holds back the last bytes of every chunk but the last.
class HoldingHandler final : public CContentHandler {
 public:
  explicit HoldingHandler(std::uint32_t held) : held_(held) { ++living; }
  ~HoldingHandler() override { --living; }

  static inline int living = 0;

 protected:
  void Process(const Chunk &chunk) override {
    if (*chunk.Data() == '!') throw std::runtime_error("trouble");
    const std::uint32_t held = chunk.IsEnd() ? 0 : std::min(held_, chunk.length());
    for (std::uint32_t i = chunk.offset(); i < chunk.End() - held; ++i) {
      if (chunk.buffer().GetData()[i] != 'x') continue;
      const std::uint8_t twice[] = {'x', 'x'};
      chunk.buffer().Replace(i++, 1, twice, 2);
    }
    chunk.buffer().SetCommitted(chunk.End() - held);
  }

 private:
  std::uint32_t held_;
};

using HandlerPointer = CountedPointer<CContentHandler>;

class Capture : public ::testing::Test {
 protected:
  Capture() : directories(directory.path() + "/host") {}

  HandlerPointer Make(HandlerPointer inner) {
    HandlerPointer capture(new CDataCapture(std::move(inner), directories));
    capture->SetContext(&context);
    return capture;
  }

  /// The files' names without the number in front, "before/0001.unknown" as "before/unknown".
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (auto &[name, bytes] : directory.Files()) {
      std::string plain = name;
      const std::size_t number = plain.find('/') + 1;
      EXPECT_EQ(plain.substr(number, 4).find_first_not_of("0123456789"), std::string::npos);
      files[plain.erase(number, plain.find('.') + 1 - number)] = bytes;
    }
    return files;
  }

  /// Nothing is kept after a capture's end.
  void TearDown() override {
    EXPECT_EQ(HoldingHandler::living, 0);
    EXPECT_EQ(context.references, 0);
  }

  const TemporaryDirectory directory;
  const CaptureDirectories directories;
  FakeContext context;
};

TEST_F(Capture, WritesEachByteOnce) {
  const std::tuple<std::uint32_t, std::vector<std::string_view>, std::string> CASES[] = {
      {0, {"abc"}, "abc"},
      {0, {"abc", "def"}, "abcdef"},
      {2, {"abc", "def", "g"}, "abcdefg"},
      {2, {"a", "b", "c", "d"}, "abcd"},
      {5, {"abc", "def", "ghi"}, "abcdefghi"},
      {3, {"xaxbx", "cx"}, "xxaxxbxxcxx"},
      {0, {"xx", "xx"}, "xxxxxxxx"},
      {100, {"x", "y", "x"}, "xxyxx"},
  };
  for (const auto &[held, pieces, after] : CASES) {
    std::string before;
    for (const std::string_view piece : pieces) before += piece;
    SCOPED_TRACE(before);
    {
      const HandlerPointer capture = Make(HandlerPointer(new HoldingHandler(held)));
      EXPECT_EQ(Feed(*capture, pieces), after);
    }
    EXPECT_THAT(Files(), UnorderedElementsAre(std::pair("before/text#html", before),
                                              std::pair("after/text#html", after)));
  }
}

TEST_F(Capture, LeavesOutWhatStandsAroundTheChunk) {
  FakeBuffer buffer("....abxcd,,");
  {
    const HandlerPointer capture = Make(HandlerPointer(new HoldingHandler(2)));
    capture->ProcessData(&buffer, 4, 5, DATA_FLAG_START);
    EXPECT_EQ(buffer.bytes, "....abxxcd,,");
    EXPECT_EQ(buffer.committed, 8U);
    buffer.TakeCommitted();
    buffer.bytes = "cdef";
    capture->ProcessData(&buffer, 0, 4, DATA_FLAG_END);
  }
  EXPECT_EQ(Files()["before/text#html"], "abxcdef");
  EXPECT_EQ(Files()["after/text#html"], "abxxcdef");
}

TEST_F(Capture, NamesFilesByType) {
  const std::string long_type(300, 't');
  const struct {
    std::optional<std::string> type;
    std::string name;  // empty: no file
  } CASES[] = {
      {"text/html", "text#html"},
      {"text/html; charset=\"a/b\"", "text#html; charset=\"a#b\""},
      {"application/x-javascript", "application#x-javascript"},
      {"", ""},
      {std::nullopt, "unknown"},
      {"../../etc/x", "..#..#etc#x"},
      {long_type, long_type.substr(0, 250)},
      {"image/png", "image#png"},
      {"image/gif; q=1", "image#gif; q=1"},
      {"image/gif", switches::CAPTURE_IMAGES ? "image#gif" : "-"},
      {"IMAGE/JPEG", switches::CAPTURE_IMAGES ? "IMAGE#JPEG" : "-"},
  };
  for (const auto &[type, name] : CASES) {
    SCOPED_TRACE(type.value_or("none"));
    context.content_type = type;
    for (const bool with_handler : {true, false}) {
      std::filesystem::remove_all(directory.path() + "/before");
      std::filesystem::remove_all(directory.path() + "/after");
      const HandlerPointer inner(with_handler ? new HoldingHandler(0) : nullptr);
      EXPECT_EQ(Feed(*Make(inner), {"body"}), "body");
      std::map<std::string, std::string> expected;
      if (name != "-") {
        expected["before/" + name] = "body";
        if (with_handler) expected["after/" + name] = "body";
      }
      EXPECT_EQ(Files(), expected);
    }
  }
}

TEST_F(Capture, LetsTroublePassThrough) {
  const HandlerPointer capture = Make(HandlerPointer(new HoldingHandler(1)));
  EXPECT_EQ(context.references, 1);
  FakeBuffer buffer("!abc");
  EXPECT_THROW(capture->Handle(Chunk(buffer, 0, 4, DATA_FLAG_START)), std::runtime_error);
  EXPECT_EQ(Feed(*capture, {"!abc", "def"}), "!abcdef");
}

TEST(CaptureDirectories, StandBesideTheExecutable) {
  const std::pair<std::optional<std::string>, std::string> CASES[] = {
      {"/opt/proxy/proxyd", "/opt/proxy/ /opt/proxy/before/ /opt/proxy/after/"},
      {"/proxyd", "/ /before/ /after/"},
      {"proxyd", "proxyd proxydbefore/ proxydafter/"},
      {std::nullopt, "  "},
  };
  for (const auto &[path, expected] : CASES) {
    const CaptureDirectories made(path);
    EXPECT_EQ(made.root() + " " + made.before() + " " + made.after(), expected);
  }
}

TEST(CaptureDirectories, ThatCannotBeWrittenChangeNothing) {
  FakeContext context;
  const std::optional<std::string> paths[] = {"/proc/no/such/directory/host", std::nullopt};
  for (const auto &path : paths) {
    const CaptureDirectories directories(path);
    const HandlerPointer capture(
        new CDataCapture(HandlerPointer(new HoldingHandler(1)), directories));
    capture->SetContext(&context);
    EXPECT_EQ(Feed(*capture, {"ax", "b"}), "axxb");
  }
}

TEST_F(Capture, TracesBehindSwitches) {
  const LogRecorder recorder;
  Feed(*Make(HandlerPointer(new HoldingHandler(0))), {"same"});
  const std::string same = LogRecorder::Text();
  EXPECT_EQ(same.starts_with("~CDataCapture "), switches::CAPTURE_DESTRUCTOR_TRACE);
  EXPECT_EQ(std::ranges::count(same, '\n'), switches::CAPTURE_DESTRUCTOR_TRACE ? 1 : 0);
  Feed(*Make(HandlerPointer(new HoldingHandler(0))), {"axb"});
  EXPECT_EQ(LogRecorder::Text().ends_with("changed from byte 2 on\n"),
            switches::CAPTURE_COMPARISON);
}

}  // namespace
}  // namespace velmora
