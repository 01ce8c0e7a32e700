#include "html/attribute.h"

#include <algorithm>

#include "platform/character_classes.h"

namespace velmora {

std::vector<CHTMLAttribute> MakeAttributes(const std::vector<TagToken> &tokens,
                                           std::uint32_t tag_begin) {
  std::vector<CHTMLAttribute> attributes;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const TagToken &name = tokens[i];
    CHTMLAttribute attribute{name.text, name.start - tag_begin, name.length,
                             {},        UNKNOWN - tag_begin,    UNKNOWN};
    std::transform(attribute.name.begin(), attribute.name.end(), attribute.name.begin(),
                   platform::ToLowerAscii);
    if (i + 1 < tokens.size() && tokens[i + 1].text == "=") {
      ++i;
      if (i + 1 < tokens.size()) {
        const TagToken &value = tokens[++i];
        attribute.value = value.text;
        attribute.value_start = value.start - tag_begin;
        attribute.value_length = value.length;
      }
    }
    attributes.push_back(std::move(attribute));
  }
  return attributes;
}

}  // namespace velmora
