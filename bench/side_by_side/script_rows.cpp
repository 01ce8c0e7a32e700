// Rows over scripts: the plug-in's handlers, and the ad-blocking library asked without them.
#include <memory>
#include <utility>

#include "base/counted_pointer.h"
#include "core/fast_path.h"
#include "host.h"
#include "rows.h"
#include "script/data_script.h"
#include "script/string_reader.h"

namespace velmora::bench {
namespace {

using Scripts = std::shared_ptr<const std::vector<std::string>>;

struct ScriptSet {
  const char *folder;
  const char *extension;
  bool is_vbscript;
};
const ScriptSet SETS[] = {
    {"plain", ".js", false}, {"minified", ".js", false}, {"vbs", ".vbs", true}};

/// Every category that does not block scripts whole, or none.
std::set<std::int32_t> Categories(bool everything) {
  if (!everything) return {};
  return {CATEGORY_JAVASCRIPT_FLASH, CATEGORY_JAVASCRIPT_AD_SIZES, CATEGORY_JAVASCRIPT_AD_URLS,
          CATEGORY_VBSCRIPT_FLASH,   CATEGORY_VBSCRIPT_AD_SIZES,   CATEGORY_VBSCRIPT_AD_URLS};
}

/// Whole bodies through their handler, each in one call, so that the handler alone is measured.
class Examination {
 public:
  Examination(Scripts scripts, bool is_vbscript, bool everything, bool has_library)
      : scripts_(std::move(scripts)),
        is_vbscript_(is_vbscript),
        context_(nullptr, Categories(everything)),
        ads_(has_library ? &library_ : nullptr) {
    for (const std::string &script : *scripts_) {
      bodies_.emplace_back(std::make_unique<Buffer>())->Append(script);
    }
  }

  std::size_t Run() {
    std::size_t bytes = 0;
    for (const auto &body : bodies_) {
      const CountedPointer<IDataProcessor> handler(
          is_vbscript_ ? static_cast<IDataProcessor *>(new CDataVBS(ads_)) : new CDataJS(ads_));
      handler->SetContext(&context_);
      handler->ProcessData(body.get(), 0, body->GetSize(), DATA_FLAG_START | DATA_FLAG_END);
      bytes += body->GetSize();
    }
    return bytes;
  }

 private:
  const Scripts scripts_;
  const bool is_vbscript_;
  Context context_;
  SilentLibrary library_;
  const AdBlocking ads_;
  std::vector<std::unique_ptr<Buffer>> bodies_;
};

/// A set that is small is repeated in one script: very little VBScript can be had.
Scripts ReadSet(const std::filesystem::path &folder, const ScriptSet &set) {
  static constexpr std::size_t SMALLEST_SET = 4U << 20;
  std::vector<std::string> scripts = ReadFiles(folder / set.folder, set.extension);
  std::string all;
  for (const std::string &script : scripts) all += script + "\n";
  if (all.size() < SMALLEST_SET && !all.empty()) {
    std::string repeated;
    while (repeated.size() < SMALLEST_SET) repeated += all;
    scripts = {repeated};
  }
  return std::make_shared<std::vector<std::string>>(std::move(scripts));
}

void AddExamination(Rows &rows, const std::string &name, const Scripts &scripts, bool is_vbscript,
                    bool everything, bool has_library) {
  const auto examination =
      std::make_shared<Examination>(scripts, is_vbscript, everything, has_library);
  rows[name] = [examination] { return examination->Run(); };
  rows[name + " by the table"] = [examination] {
    fast_path_allowed = false;
    const std::size_t bytes = examination->Run();
    fast_path_allowed = true;
    return bytes;
  };
}

/// The strings of scripts, one after the other in one text, so that none has to be fetched from
/// afar.
struct JoinedStrings {
  explicit JoinedStrings(const std::vector<std::string> &scripts) {
    for (const std::string &script : scripts) {
      JavaScriptStrings reader(script);
      std::string_view string;
      while (reader.Next(string)) {
        text += string;
        lengths.push_back(string.size());
      }
    }
  }

  /// Calls `work` with every string, and with how many bytes stand after it.
  template <class Work>
  std::size_t Over(Work work) const {
    std::string_view rest = text;
    for (const std::size_t length : lengths) {
      work(rest.substr(0, length), rest.size() - length);
      rest.remove_prefix(length);
    }
    return text.size();
  }

  std::string text;
  std::vector<std::size_t> lengths;
};

/// Rows over strings alone, a byte of string counting as a byte: the questions with nothing around
/// them, and the examination of one string after the other.
void AddQuestions(Rows &rows, const Scripts &scripts) {
  const auto strings = std::make_shared<JoinedStrings>(*scripts);
  const auto library = std::make_shared<SilentLibrary>();
  rows["questions"] = [strings, library] {
    // Nothing is known of the library's object where it is called.
    IAdBlocker *volatile object = library.get();
    char reason[AD_TEXT_SIZE];
    bool exempt = false;
    return strings->Over([&](std::string_view text, std::size_t) {
      IAdBlocker *const asked = object;
      for (; !text.empty(); text.remove_prefix(1)) {
        reason[0] = '\0';
        Keep(asked->CheckUrlText("www.example.com", text.data(),
                                 static_cast<std::uint32_t>(text.size()), reason, sizeof reason,
                                 &exempt));
      }
    });
  };
  const auto context = std::make_shared<Context>(nullptr, Categories(true));
  const auto ads = std::make_shared<AdBlocking>(library.get());
  rows["strings asking"] = [strings, library, context, ads] {
    CScriptStringScanner scanner(*context, *ads, JAVASCRIPT_CATEGORIES);
    return strings->Over(
        [&](std::string_view text, std::size_t behind) { scanner.Check(text, behind); });
  };
}

}  // namespace

void AddScriptRows(Rows &rows, const std::filesystem::path &folder) {
  for (const ScriptSet &set : SETS) {
    const Scripts scripts = ReadSet(folder, set);
    const std::string name = set.folder;
    AddExamination(rows, name, scripts, set.is_vbscript, true, false);
    AddExamination(rows, name + " asking", scripts, set.is_vbscript, true, true);
    AddExamination(rows, name + " off", scripts, set.is_vbscript, false, true);
    if (name == "plain") AddQuestions(rows, scripts);
  }
}

}  // namespace velmora::bench
