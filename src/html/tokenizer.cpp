#include "html/tokenizer.h"

#include <algorithm>
#include <utility>

#include "core/switches.h"
#include "diag/log.h"
#include "html/unit_text.h"

namespace velmora {
namespace {

/// The single-byte rule: only a to z change.
constexpr char16_t ToUpper(char16_t c) noexcept {
  return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 0x20) : c;
}

bool HasRawText(std::string_view tag_name) noexcept {
  return tag_name == "SCRIPT" || tag_name == "STYLE";
}

void TraceNonAscii(char16_t c) {
  std::string bytes;
  AppendUtf8(bytes, c);
  std::string text;
  constexpr char HEX[] = "0123456789ABCDEF";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += {' ', HEX[value >> 4], HEX[value & 0xF]};
  }
  Log("*** APPENDING NON-HTML CHAR TO TOKEN: 0x%04X ->%s\n", static_cast<unsigned>(c),
      text.c_str());
}

}  // namespace

void Tokenizer::TakeRun(RunEffect effect, std::string_view characters) {
  if (effect == RunEffect::NOTHING) return;
  const std::size_t size_before = token_.size();
  token_.append(characters);
  if (effect == RunEffect::APPEND) return;
  const auto added = token_.begin() + static_cast<std::ptrdiff_t>(size_before);
  std::transform(added, token_.end(), added, platform::ToUpperAscii);
}

AttributeWriter &Tokenizer::TakeTag(bool is_end, std::string_view name) {
  BeginTag();
  if (is_end) tag_.name = '/';
  tag_.name.append(name);
  token_start_ = UNKNOWN;
  token_.clear();
  state_ = State::TAG_CLOSED;
  return tag_.attributes;
}

void Tokenizer::TakeInRawText() noexcept {
  tag_.name.clear();
  tag_.attributes.Clear();
}

void Tokenizer::Enter(State next) {
  const State from = std::exchange(state_, next);
  switch (next) {
    case State::LESS_THAN:
    case State::RAW_LESS_THAN:
      BeginTag();
      break;
    case State::TAG_NAME:
      BeginToken();
      break;
    case State::RAW_END_NAME:
      end_name_matched_ = 0;
      BeginToken();
      break;
    case State::IN_TAG:
      EndToken(from);
      break;
    case State::EQUALS:
    case State::WORD:
    case State::QUOTED:
      if (from == State::IN_TAG) BeginToken();
      if (next == State::EQUALS) value_expected_ = true;
      break;
    case State::TEXT:
      if (HasRawText(tag_.name)) {
        raw_end_name_ = tag_.name;
        state_ = State::RAW_TEXT;
      }
      EndTag();
      break;
    case State::RAW_TEXT:
      EndTag();
      break;
    default:
      break;
  }
}

void Tokenizer::BeginTag() {
  position_.HoldFromHere();
  tag_.start = position_.Relative();
  tag_.name.clear();
  tag_.attributes.Clear();
  traced_tokens_.clear();
  value_expected_ = false;
}

void Tokenizer::BeginToken() {
  token_start_ = position_.Relative();
  token_.clear();
}

void Tokenizer::EndToken(State from) {
  if (from == State::TAG_NAME || from == State::RAW_END) {
    tag_.name = token_;
  } else if (token_start_ != UNKNOWN) {
    KeepToken();
  }
  value_expected_ = from == State::EQUALS;
  token_start_ = UNKNOWN;
  token_.clear();
}

/// What stands in an end tag, or in one without a name, concerns nobody.
void Tokenizer::KeepToken() {
  if (tag_.name.empty()) return;
  if (switches::TOKEN_TRACE) traced_tokens_.push_back(token_);
  if (tag_.IsEndTag()) return;
  tag_.attributes.AppendToken(token_, token_start_ - tag_.start,
                              position_.Relative() - token_start_);
}

void Tokenizer::EndTag() {
  if (switches::TOKEN_TRACE && !tag_.name.empty()) {
    Log("TAG: %s\n", tag_.name.c_str());
    for (const std::string &token : traced_tokens_) Log("%s\n", token.c_str());
  }
  client_.OnTag(tag_);
}

void Tokenizer::Append(char16_t c) {
  if (c < 0x80) {
    token_.push_back(static_cast<char>(c));
    return;
  }
  if (switches::NON_ASCII_TOKEN_TRACE) TraceNonAscii(c);
  AppendUtf8(token_, c);
}

void Tokenizer::AppendUpper(char16_t c) {
  Append(ToUpper(c));
}

void Tokenizer::GoToCallOffset() noexcept {
  position_.GoToCallOffset();
  place_ = {};
}

void Tokenizer::OpenQuote(char16_t quote, State return_state) noexcept {
  quote_ = quote;
  return_state_ = return_state;
}

bool Tokenizer::IsNextOfEndName(char16_t c) const noexcept {
  return end_name_matched_ < raw_end_name_.size() &&
         ToUpper(c) == static_cast<unsigned char>(raw_end_name_[end_name_matched_]);
}

void Tokenizer::LogUnclosedTag() const noexcept {
  if (!switches::UNCLOSED_TAG_TRACE) return;
  Log("*** UNCLOSED TAG: %s\n", tag_.name.c_str());
  LogPlace();
}

void Tokenizer::LogAutoclosing() const noexcept {
  Log("*** '>' in quoted portion of unquoted attribute value; AUTOCLOSING\n");
  LogPlace();
}

void Tokenizer::LogPlace() const noexcept {
  Log("*** ROW %d COL %d\n", place_.row, place_.column);
}

}  // namespace velmora
