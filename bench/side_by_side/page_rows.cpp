// Rows over pages: the plug-in's handler for HTML, and peers on the same bytes.
#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#ifdef VELMORA_HAVE_LIBXML2
#include <libxml/HTMLparser.h>
#endif

#include "base/counted_pointer.h"
#include "filter/filters.h"
#include "host.h"
#include "html/data_html2.h"
#include "page_sets.h"
#include "rows.h"
#include "script/data_script.h"

namespace velmora::bench {
namespace {

using Pages = std::shared_ptr<const std::vector<std::string>>;

/// A way to set up the handler for a page.
struct Scenario {
  const char *row;
  std::set<std::int32_t> categories;
  bool has_library = false;
  bool examines_scripts = true;
};

const Scenario SCENARIOS[] = {
    {"off", {}},
    {"ads", {303, 304, 305, 306, 307, 400}, true},
    {"all", {300, 301, 302, 303, 304, 305, 306, 307, 308}, false, false},
};

class Filtering {
 public:
  Filtering(const Scenario &scenario, const char *content_type)
      : context_(content_type, scenario.categories),
        ads_(scenario.has_library ? &library_ : nullptr) {
    if (!scenario.examines_scripts) return;
    makers_.javascript = [this]() -> IDataProcessor * { return new CDataJS(ads_); };
    makers_.vbscript = [this]() -> IDataProcessor * { return new CDataVBS(ads_); };
  }

  void Run(std::string_view page) {
    const CountedPointer<IDataProcessor> handler(
        new CDataHTML2([this](IDataContext &context, HandlerList &handlers) {
          AppendFilters(handlers, context, names_, ads_, makers_);
        }));
    handler->SetContext(&context_);
    Feed(*handler, page, buffer_, sent_);
  }

 private:
  Context context_;
  SilentLibrary library_;
  AdBlocking ads_;
  EventAttributeNames names_;
  ScriptHandlerMakers makers_;
  Buffer buffer_;
  std::vector<std::uint8_t> sent_;
};

template <class Work>
Round Over(Pages pages, Work work) {
  return [pages, work] {
    std::size_t bytes = 0;
    for (const std::string &page : *pages) {
      work(page);
      bytes += page.size();
    }
    return bytes;
  };
}

void AddFiltering(Rows &rows, const std::string &name, Pages pages, const Scenario &scenario,
                  const char *content_type = "text/html") {
  const auto filtering = std::make_shared<Filtering>(scenario, content_type);
  rows[name] =
      Over(std::move(pages), [filtering](const std::string &page) { filtering->Run(page); });
}

std::size_t CountLessThan(std::string_view page) {
  std::size_t count = 0;
  const char *at = page.data();
  const char *const end = at + page.size();
  while (at != end) {
    at = static_cast<const char *>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
    if (at == nullptr) break;
    ++at;
    ++count;
  }
  return count;
}

#ifdef VELMORA_HAVE_LIBXML2
void PushThroughLibxml2(const std::string &page) {
  htmlSAXHandler events{};
  events.startElement = [](void *, const xmlChar *name, const xmlChar **) { Keep(name); };
  htmlParserCtxtPtr parser =
      htmlCreatePushParserCtxt(&events, nullptr, nullptr, 0, nullptr, XML_CHAR_ENCODING_8859_1);
  // All pages are read in one set, whatever they declare, and to their end.
  htmlCtxtUseOptions(parser, HTML_PARSE_IGNORE_ENC | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING);
  static constexpr std::size_t SLICE = 16U << 10;
  for (std::size_t at = 0; at < page.size(); at += SLICE) {
    htmlParseChunk(parser, page.data() + at, static_cast<int>(std::min(SLICE, page.size() - at)),
                   0);
  }
  htmlParseChunk(parser, nullptr, 0, 1);
  htmlFreeParserCtxt(parser);
}
#endif

/// A real page cut to 2 KB.
Pages SmallPage(const std::vector<std::string> &pages) {
  std::string page;
  for (const std::string &candidate : pages) {
    if (candidate.size() >= 2048 && (page.empty() || candidate.size() < page.size())) {
      page = candidate;
    }
  }
  return std::make_shared<std::vector<std::string>>(1, page.substr(0, 2048));
}

}  // namespace

void AddPageRows(Rows &rows, const std::filesystem::path &folder) {
  const auto pages = std::make_shared<std::vector<std::string>>(ReadFiles(folder, ".html"));
  for (const Scenario &scenario : SCENARIOS) AddFiltering(rows, scenario.row, pages, scenario);
  AddFiltering(rows, "off small", SmallPage(*pages), SCENARIOS[0]);
  for (const PageSet &set : PAGE_SETS) {
    AddFiltering(rows, set.row, std::make_shared<std::vector<std::string>>(InSet(*pages, set)),
                 SCENARIOS[0], set.content_type);
  }

  rows["memchr"] = Over(pages, [](const std::string &page) { Keep(CountLessThan(page)); });
  const auto copy = std::make_shared<std::string>(
      std::max_element(pages->begin(), pages->end(),
                       [](const auto &a, const auto &b) { return a.size() < b.size(); })
          ->size(),
      '\0');
  rows["memcpy"] = Over(pages, [copy](const std::string &page) {
    std::memcpy(copy->data(), page.data(), page.size());
    Keep(copy->data());
  });
#ifdef VELMORA_HAVE_LIBXML2
  rows["libxml2"] = Over(pages, PushThroughLibxml2);
#endif
}

}  // namespace velmora::bench
