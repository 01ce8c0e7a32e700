#include "html/read_ahead.h"

#include <cstring>

#include "diag/log.h"

namespace velmora {

void ReadAhead::Run(std::span<const std::uint8_t> bytes) {
  const CharsetShape *const shape = encodings_.Top().shape();
  if (shape == nullptr || shape->IsWide()) return;
  FindHorizon(*shape, bytes);
  if (position_.position() >= horizon_) return;
  if (const StateRun *const run = FindRun(tokenizer_.situation())) {
    PassOver(*run, bytes, FindEnd(*run, *shape, bytes));
  }
}

/// Once a call and once behind each edit: it may have to go back over many bytes.
void ReadAhead::FindHorizon(const CharsetShape &shape, std::span<const std::uint8_t> bytes) {
  if (page_changes_ == page_.changes() && encoding_changes_ == encodings_.changes()) return;
  page_changes_ = page_.changes();
  encoding_changes_ = encodings_.changes();
  horizon_ = shape.SafeEnd(bytes, position_.position());
  is_logged_ = IsLogOn();
}

std::size_t ReadAhead::FindEnd(const StateRun &run, const CharsetShape &shape,
                               std::span<const std::uint8_t> bytes) const noexcept {
  const std::size_t begin = position_.position();
  if (!is_logged_ && (&run == &TEXT_RUN || &run == &COMMENT_RUN)) {
    const void *const stop = std::memchr(bytes.data() + begin, OnlyStop(run), horizon_ - begin);
    return stop == nullptr
               ? horizon_
               : static_cast<std::size_t>(static_cast<const std::uint8_t *>(stop) - bytes.data());
  }
  std::size_t end = begin;
  while (end < horizon_ && run.covers[bytes[end]] && shape.IsItself(bytes[end])) ++end;
  if (is_logged_ && end > begin && end < bytes.size() && !shape.IsItself(bytes[end])) --end;
  return end;
}

void ReadAhead::PassOver(const StateRun &run, std::span<const std::uint8_t> bytes,
                         std::size_t end) {
  const std::size_t begin = position_.position();
  const std::string_view passed(reinterpret_cast<const char *>(bytes.data()) + begin, end - begin);
  tokenizer_.TakeRun(run.effect, passed);
  if (is_logged_) place_.AdvanceOver(passed);
  position_.Advance(static_cast<std::uint32_t>(passed.size()),
                    static_cast<std::uint32_t>(bytes.size()));
}

}  // namespace velmora
