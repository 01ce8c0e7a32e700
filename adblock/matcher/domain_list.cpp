#include "domain_list.h"

#include <algorithm>
#include <optional>

#include "hash.h"
#include "registrable_domain.h"
#include "url.h"

namespace velmora::adblock {

bool IsOnDomainList(const Image &image, std::uint32_t head, std::string_view host) noexcept {
  const DomainRecord list = image.domains[head];
  std::optional<bool> answer;
  const auto find = [&](std::string_view name, std::uint16_t any_suffix) {
    const auto hash = static_cast<std::uint32_t>(HashPaddedBytes(name.data(), name.size()) >> 32);
    std::uint32_t first = head + 1;
    std::uint32_t last = first + std::min(list.offset, image.domains.Count() - head - 1);
    const std::uint32_t end = last;
    while (first < last) {
      const std::uint32_t middle = first + (last - first) / 2;
      if (image.domains[middle].hash < hash) {
        first = middle + 1;
      } else {
        last = middle;
      }
    }
    for (; first < end; ++first) {
      const DomainRecord record = image.domains[first];
      if (record.hash != hash) break;
      if ((record.flags & DOMAIN_ANY_SUFFIX) == any_suffix &&
          image.Text(record.offset, record.size) == name) {
        answer = (record.flags & DOMAIN_EXCLUDED) == 0;
        break;
      }
    }
    return answer.has_value();
  };
  const auto find_suffix = [&](std::string_view of, std::uint16_t any_suffix) {
    return AnyHostSuffix(
        of, [&](std::size_t start, std::size_t) { return find(of.substr(start), any_suffix); });
  };
  if (find_suffix(host, 0)) return *answer;
  if ((list.flags & DOMAINS_ANY_SUFFIX) &&
      find_suffix(WithoutPublicSuffix(host), DOMAIN_ANY_SUFFIX)) {
    return *answer;
  }
  return (list.flags & DOMAINS_INCLUDE) == 0;
}

}  // namespace velmora::adblock
