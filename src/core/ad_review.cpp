#include "core/ad_review.h"

#include <velmora/ad_review.h>

namespace velmora {

bool IsAdKept(IDataContext &context, const std::string &tag, const std::string &value,
              const std::string &address) noexcept {
  void *answer = nullptr;
  if (context.QueryInterface(&ID_AdReview, &answer) != RESULT_OK || answer == nullptr) return false;
  auto *const review = static_cast<IAdReview *>(answer);
  const bool is_kept = review->IsKept(tag.c_str(), value.c_str(), address.c_str()) != 0;
  review->Release();
  return is_kept;
}

}  // namespace velmora
