#include "host/bodies/edit_list.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace velmora::host {

void EditList::OnReplace(std::uint64_t position, std::uint32_t old_length,
                         std::string_view bytes) noexcept {
  if (is_broken_) return;
  try {
    Replace(position, position + old_length, bytes);
  } catch (const std::bad_alloc &) {
    is_broken_ = true;
  }
}

void EditList::Replace(std::uint64_t position, std::uint64_t end, std::string_view bytes) {
  // The edits from `first` on, before `last`, touch the new one and become part of it.
  const auto first = std::ranges::lower_bound(edits_, position, {}, &Edit::End);
  const auto last = std::ranges::upper_bound(first, edits_.end(), end, {}, &Edit::position);

  Edit edit{0, 0, position, std::string(bytes)};
  std::uint64_t original_end = 0;
  if (first == last) {
    // Between two edits a place differs from its original by as much as the edits before have
    // added.
    const std::uint64_t shift =
        first == edits_.begin() ? 0 : std::prev(first)->End() - std::prev(first)->OriginalEnd();
    edit.original = position - shift;
    original_end = end - shift;
  } else {
    const Edit &lowest = *first;
    const Edit &highest = *std::prev(last);
    if (lowest.position < position) {
      edit.bytes.insert(0, lowest.bytes, 0, position - lowest.position);
      edit.position = lowest.position;
    }
    if (highest.End() > end) edit.bytes.append(highest.bytes, end - highest.position);
    edit.original = lowest.original - (lowest.position - edit.position);
    original_end = highest.OriginalEnd() + (std::max(end, highest.End()) - highest.End());
  }
  edit.length = original_end - edit.original;

  for (auto later = last; later != edits_.end(); ++later) {
    later->position += bytes.size() - (end - position);
  }
  const auto place = edits_.erase(first, last);
  if (edit.length != 0 || !edit.bytes.empty()) edits_.insert(place, std::move(edit));
}

}  // namespace velmora::host
