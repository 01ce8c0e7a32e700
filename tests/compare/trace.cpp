// Writes down all that can be seen of a build of the plug-in from outside, for comparison with
// another: what a host sends on after each call, what it is asked and told, what the ad-blocking
// library is asked, and the log.
//
//   trace_bodies PLUGIN AD_LIBRARY COUNT LOG [FOLDER]
//
// COUNT bodies are made up, and as many made of the FOLDER's pages by mutation, with a random
// generator that always begins the same. LOG is 0 or 1.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/body_pieces.h"
#include "support/fake_host.h"
#include "support/loaded_module.h"
#include "support/temporary_directory.h"

namespace velmora::testing {
namespace {

struct Body {
  std::string name;
  std::string type;
  std::string bytes;
};

class Random {
 public:
  std::size_t Below(std::size_t bound) { return bound == 0 ? 0 : generator_() % bound; }
  template <class List>
  const auto &OneOf(const List &list) {
    return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(Below(std::size(list))));
  }

 private:
  std::mt19937 generator_{1};
};

constexpr const char *TYPES[] = {
    "text/html",
    "text/html; charset=utf-8",
    "text/html; charset=ISO-8859-1",
    "text/html; charset=Shift_JIS",
    "text/html; charset=UTF-16LE",
    "application/x-javascript",
    "text/vbscript",
    "image/gif",
};

const std::string GIF_PIECES[] = {
    "GIF89a\x01\x00\x01\x00\x80\x00\x00\xFF\xFF\xFF\x00\x00\x00"s,
    "GIF87a\x01\x00\x01\x00\x00\x00\x00"s,
    "!\xF9\x04\x04\x0A\x00\x00\x00"s,
    "!\xFF\x0BNETSCAPE2.0\x03\x01\x00\x00\x00"s,
    ",\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00"s,
    ",\x00\x00\x00\x00\x01\x00\x01\x00\x80\x00\x00\x00\x00\x00\x00\x02\x00"s,
    "!\xFE\x04more\x00"s,
    ";",
};

template <class List>
std::string MadeOf(const List &pieces, std::size_t count, Random &random) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes += random.OneOf(pieces);
  return bytes;
}

Body MadeUp(Random &random) {
  Body body{"made up", random.OneOf(TYPES), {}};
  if (body.type == "image/gif") {
    body.bytes = GIF_PIECES[random.Below(2)] + MadeOf(GIF_PIECES, random.Below(8), random);
  } else if (body.type.starts_with("text/html")) {
    body.bytes = MadeOf(PAGE_PIECES, random.Below(80), random);
  } else {
    body.bytes = MadeOf(ScriptPieces(), random.Below(40), random);
  }
  return body;
}

/// A part of a page with a few places changed.
Body Mutated(const Body &page, Random &random) {
  Body body{"of " + page.name, TYPES[random.Below(5)], {}};
  body.bytes = page.bytes.substr(random.Below(page.bytes.size()), random.Below(16U << 10));
  for (std::size_t edits = random.Below(12); edits > 0; --edits) {
    const std::size_t place = random.Below(body.bytes.size() + 1);
    const std::size_t length = random.Below(3) == 0 ? random.Below(100) : 0;
    body.bytes.replace(place, length, random.OneOf(PAGE_PIECES));
  }
  return body;
}

std::vector<Body> Pages(const std::filesystem::path &folder) {
  std::vector<Body> pages;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    pages.push_back({entry.path().filename().string(), TYPES[1],
                     std::string(std::istreambuf_iterator<char>(file), {})});
  }
  std::ranges::sort(pages, {}, &Body::name);
  return pages;
}

/// A line that shows every byte.
void Write(std::string_view what, std::string_view bytes) {
  static constexpr char DIGITS[] = "0123456789ABCDEF";
  std::string line(what);
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (value >= ' ' && value < 0x7F && byte != '\\') {
      line += byte;
    } else {
      line.append({'\\', DIGITS[value / 16], DIGITS[value % 16]});
    }
    if (byte == '\n') line += "\n  ";
  }
  std::cout << line << "\n";
}

class Tracer {
 public:
  Tracer(const char *plugin, const char *ad_library, bool is_logging)
      : ads_(std::filesystem::absolute(ad_library).c_str()) {
    if (is_logging) {
      folder_.Write("registry",
                    "[HKEY_LOCAL_MACHINE\\Software\\Corvane]\n\"DebugLog\"=dword:00000001\n");
      setenv("VELMORA_REGISTRY", (folder_.path() + "/registry").c_str(), 1);
      setenv("VELMORA_DIRECTORY", folder_.path().c_str(), 1);
    }
    setenv("FAKE_AD_URLS", "ad", 1);
    const auto ad_calls = ads_.Find<std::string *(*)()>("FakeAdCalls");
    if (ad_calls == nullptr) throw std::runtime_error("no export FakeAdCalls");
    ad_calls_ = ad_calls();
    plugin_.emplace(std::filesystem::absolute(plugin).c_str());
    factory_ = plugin_->Factory();
  }

  void Trace(const Body &body, Random &random) {
    FakeContext context;
    context.content_type = body.type;
    context.url = "http://www.example.com/dir/page.html";
    for (const CategoryInfo &category : CATEGORIES) {
      if (random.Below(2) == 0) context.categories.insert(category.code);
    }
    // What blocks a script whole hides what is looked for in it.
    if (random.Below(2) == 0) {
      for (const std::int32_t code : {100, 200, 300}) context.categories.erase(code);
    }
    if (random.Below(8) == 0) context.settings["DumpHTMLElements"] = "true";
    if (random.Below(8) == 0) context.settings["DumpScriptStrings"] = "true";
    std::size_t most = body.bytes.size() + 1;
    if (random.Below(2) == 0) most = 1 + random.Below(body.bytes.size() / 2 + 1);

    std::cout << "== " << body.name << ", " << body.type << ", pieces of up to " << most << "\n";
    Run(context, body.bytes, most, random);
    for (const Report &report : context.reports) {
      Write("report " + std::to_string(report.category) + " ", report.item + " | " + report.detail);
    }
    std::string asked;
    for (const std::int32_t question : context.asked)
      asked.append(" ").append(std::to_string(question));
    std::cout << "asked" << asked << "\n";
    Write("ads ", std::exchange(*ad_calls_, {}));
    Write("log ", NewLog());
  }

 private:
  void Run(FakeContext &context, std::string_view bytes, std::size_t most, Random &random) {
    void *made = nullptr;
    if (factory_->CreateInstance(&ID_DataProcessor, &made) != RESULT_OK) return;
    auto *const processor = static_cast<IDataProcessor *>(made);
    processor->SetContext(&context);
    const bool is_supported = processor->IsSupported();
    if (!is_supported) std::cout << "not supported\n";
    FakeBuffer buffer;
    std::uint32_t flags = DATA_FLAG_START;
    for (; is_supported && (flags & DATA_FLAG_END) == 0; flags &= ~DATA_FLAG_START) {
      const std::string_view piece = bytes.substr(0, 1 + random.Below(most));
      bytes.remove_prefix(piece.size());
      buffer.Append(piece);
      if (bytes.empty()) flags |= DATA_FLAG_END;
      processor->ProcessData(&buffer, 0, buffer.GetSize(), flags);
      const std::string held = " of " + std::to_string(buffer.GetSize());
      Write("sent " + std::to_string(buffer.committed) + held + " ", buffer.TakeCommitted());
    }
    Write("held ", buffer.Held());
    processor->Release();
    std::cout << "context " << context.references << "\n";
  }

  /// Without the line that tells the time.
  std::string NewLog() {
    std::ifstream file(folder_.path() + "/Velmora.log", std::ios::binary);
    file.seekg(log_read_);
    std::string text(std::istreambuf_iterator<char>(file), {});
    log_read_ += static_cast<std::streamoff>(text.size());
    if (text.starts_with("Log started")) text.erase(0, text.find('\n') + 1);
    return text;
  }

  TemporaryDirectory folder_;
  LoadedModule ads_;
  std::optional<LoadedModule> plugin_;
  std::streamoff log_read_ = 0;
  std::string *ad_calls_ = nullptr;
  CountedPointer<IDataProcessorFactory> factory_;
};

void TraceAll(Tracer &tracer, int count, const char *folder) {
  Random random;
  for (int i = 0; i < count; ++i) tracer.Trace(MadeUp(random), random);
  if (folder == nullptr) return;
  const std::vector<Body> pages = Pages(folder);
  for (const Body &page : pages) tracer.Trace(page, random);
  for (int i = 0; i < count; ++i) tracer.Trace(Mutated(random.OneOf(pages), random), random);
}

}  // namespace
}  // namespace velmora::testing

int main(int count, char **arguments) try {
  if (count < 5) {
    std::cerr << "usage: trace_bodies PLUGIN AD_LIBRARY COUNT LOG [FOLDER]\n";
    return 2;
  }
  std::ios::sync_with_stdio(false);
  velmora::testing::Tracer tracer(arguments[1], arguments[2], *arguments[4] == '1');
  velmora::testing::TraceAll(tracer, std::atoi(arguments[3]), arguments[5]);
  return std::cout.flush() ? 0 : 1;
} catch (const std::exception &error) {
  std::cerr << "trace_bodies: " << error.what() << "\n";
  return 2;
}
