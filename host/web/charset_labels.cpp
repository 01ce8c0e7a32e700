// A label that a browser does not know counts as none, so the table is the Encoding Standard's and
// nothing more: what only the converter knows ("utf-32", "ucs-2be") would open pages that the
// browser reads otherwise.
#include "host/web/charset_labels.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"
#include "host/web/charset_labels_table.h"

namespace velmora::host {
namespace {

struct Label {
  std::string_view label;
  std::string_view converter_name;
};

template <class Visit>
constexpr void ForEachLabel(Visit visit) {
  for (const auto &[name, labels] : ENCODINGS) {
    for (std::size_t begin = 0; begin < labels.size();) {
      const std::size_t end = std::min(labels.find(' ', begin), labels.size());
      visit(Label{labels.substr(begin, end - begin), name});
      begin = end + 1;
    }
  }
}

constexpr std::size_t CountLabels() {
  std::size_t count = 0;
  ForEachLabel([&](Label) { ++count; });
  return count;
}

constexpr auto SortedLabels() {
  std::array<Label, CountLabels()> labels{};
  std::size_t count = 0;
  ForEachLabel([&](Label label) { labels[count++] = label; });
  std::ranges::sort(labels, {}, &Label::label);
  return labels;
}

constexpr auto LABELS = SortedLabels();

constexpr std::size_t LONGEST_LABEL = std::ranges::max_element(LABELS, {}, [](const Label &label) {
                                        return label.label.size();
                                      })->label.size();

}  // namespace

std::string_view ConverterName(std::string_view label) noexcept {
  label = base::TrimWebSpace(label);
  if (label.size() > LONGEST_LABEL) return {};
  std::array<char, LONGEST_LABEL> lower{};
  std::ranges::transform(label, lower.begin(), base::ToLowerAscii);
  const std::string_view wanted(lower.data(), label.size());
  const auto found = std::ranges::lower_bound(LABELS, wanted, {}, &Label::label);
  return found != LABELS.end() && found->label == wanted ? found->converter_name
                                                         : std::string_view{};
}

}  // namespace velmora::host
