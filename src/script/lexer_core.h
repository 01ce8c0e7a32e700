// ScriptLexer: what the lexers of both languages share.
//
// A lexer is a state machine over 16-bit units. A language gives
//   State          its states; value 0 is BETWEEN_TOKENS, IDENTIFIER and OPERATOR_SEEN are two more
//   CLASSES        the classes of its units
//   WORDS          its keywords, and LONGEST_WORD, their greatest length
//   OPERATORS      its operators and punctuation
//   Fold(unit)     a unit of a name as it counts for comparison
//   Step(state, unit)   one step: what to do with a unit, and the state that follows
//   AtEnd(state)   what to do when the input ends in a state
// and finds here the input, names, texts, and tokens.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "script/code_reading.h"
#include "script/crc32.h"
#include "script/script_input.h"
#include "script/token_list.h"

namespace velmora {

/// A set of unit classes, one a bit.
using UnitClasses = std::uint16_t;

/// The classes of every unit. Units above 7E are in none: all tables end in the entry for 7F.
class UnitTable {
 public:
  struct Row {
    UnitClasses classes;
    std::string_view units;
  };
  template <std::size_t N>
  consteval explicit UnitTable(const Row (&rows)[N]) {
    for (const Row &row : rows) {
      for (const char unit : row.units) classes_[static_cast<unsigned char>(unit)] |= row.classes;
    }
  }
  constexpr UnitClasses operator[](char16_t unit) const noexcept {
    return classes_[unit < classes_.size() ? unit : classes_.size() - 1];
  }

 private:
  std::array<UnitClasses, 128> classes_{};
};

struct Word {
  std::string_view text;
  TokenCode code;
};

/// Words found by text, by way of their CRC.
class WordTable {
 public:
  static constexpr std::uint32_t LONGEST = 15;

  template <std::size_t N>
  consteval explicit WordTable(const Word (&words)[N]) {
    static_assert(N < SIZE / 4);
    for (const Word &word : words) {
      std::uint32_t crc = CRC_START;
      for (const char unit : word.text) crc = CrcFold(crc, static_cast<std::uint8_t>(unit));
      std::uint32_t place = crc % SIZE;
      while (slots_[place].length != 0) place = (place + 1) % SIZE;
      slots_[place].length = static_cast<std::uint8_t>(word.text.size());
      slots_[place].code = word.code;
      std::copy(word.text.begin(), word.text.end(), slots_[place].text);
    }
  }

  /// The word's code; 0 when it is none. `crc` is that of the text.
  TokenCode Find(std::string_view text, std::uint32_t crc) const noexcept {
    for (std::uint32_t place = crc % SIZE; slots_[place].length != 0; place = (place + 1) % SIZE) {
      const Slot &slot = slots_[place];
      if (text == std::string_view(slot.text, slot.length)) return slot.code;
    }
    return 0;
  }

 private:
  static constexpr std::uint32_t SIZE = 512;
  struct Slot {
    std::uint8_t length;
    char text[LONGEST];
    TokenCode code;
  };
  std::array<Slot, SIZE> slots_{};
};

/// An operator of up to four units as one number, so that it can be switched on; 0 is none.
using PackedOperator = std::uint32_t;

constexpr PackedOperator Extend(PackedOperator so_far, char16_t unit) noexcept {
  return so_far << 8 | unit;
}
consteval PackedOperator Op(std::string_view text) {
  PackedOperator packed = 0;
  for (const char unit : text) packed = Extend(packed, static_cast<char16_t>(unit));
  return packed;
}

/// Operators found by their units.
template <std::size_t N>
class OperatorTable {
 public:
  consteval explicit OperatorTable(const Word (&operators)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
      entries_[i] = {Op(operators[i].text), operators[i].code};
      if (operators[i].text.size() == 1) single_[entries_[i].packed] = entries_[i].code;
    }
  }

  TokenCode Find(PackedOperator packed) const noexcept {
    if (packed < single_.size()) return single_[packed];
    for (const Entry &entry : entries_) {
      if (entry.packed == packed) return entry.code;
    }
    return 0;
  }

 private:
  struct Entry {
    PackedOperator packed;
    TokenCode code;
  };
  std::array<Entry, N> entries_{};
  std::array<TokenCode, 128> single_{};
};

template <class Language, class State>
class ScriptLexer {
 public:
  ScriptLexer(const ScriptSource &source, CScriptTokenList *list,
              std::span<const std::uint32_t> known_ids) noexcept
      : input_(source), list_(list), known_ids_(known_ids) {}

  void Run() noexcept {
    Language &language = static_cast<Language &>(*this);
    State state{};
    char16_t unit = 0;
    if (input_.Open()) {
      while (input_.Take(unit)) state = language.Step(state, unit);
    }
    // Where the source could not be read, what was pending is dropped.
    language.AtEnd(input_.HasFailed() ? State{} : state);
  }

  /// Reads the source as a piece of code that something else stands before and after.
  CodeEnd ReadCode(bool html_comment) noexcept {
    html_comment_ = html_comment;
    last_ = TOKEN_STRING;
    Language &language = static_cast<Language &>(*this);
    State state{};
    char16_t unit = 0;
    while (input_.Take(unit)) state = language.Step(state, unit);
    return {last_, text_length_, state == State::IDENTIFIER ? name_length_ : 0};
  }

 protected:
  // Units.
  void PushBack() noexcept { input_.PushBack(); }
  /// Stays in a state for the following units of these classes; `StayUntil`: of none of these.
  void StayWhile(UnitClasses classes) noexcept {
    input_.PassWhile([=](char16_t unit) { return (Language::CLASSES[unit] & classes) != 0; });
  }
  void StayUntil(UnitClasses classes) noexcept {
    input_.PassWhile([=](char16_t unit) { return (Language::CLASSES[unit] & classes) == 0; });
  }

  // Names: a name is coded by the CRC of its units' low bytes; the first units are kept as well, to
  // be looked up among the keywords. A name that outgrows the keywords is none.
  void StartName(char16_t unit, UnitClasses name_part) noexcept {
    name_crc_ = CRC_START;
    name_length_ = 0;
    AddToName(unit, name_part);
  }
  /// Adds a unit and those of the name's classes that follow it.
  void AddToName(char16_t unit, UnitClasses name_part) noexcept {
    std::uint32_t crc = name_crc_;
    std::uint32_t length = name_length_;
    const auto add = [&](char16_t part) {
      const char16_t folded = Language::Fold(part);
      crc = CrcFold(crc, static_cast<std::uint8_t>(folded));
      if (length < name_.size()) name_[length++] = static_cast<char>(folded);
    };
    add(unit);
    input_.PassWhile([&](char16_t part) {
      const bool is_part = (Language::CLASSES[part] & name_part) != 0;
      if (is_part) add(part);
      return is_part;
    });
    name_crc_ = crc;
    name_length_ = length;
  }
  /// The name as far as it is kept; empty when it has outgrown the keywords.
  std::string_view KeptName() const noexcept {
    return {name_.data(), name_length_ <= Language::LONGEST_WORD ? name_length_ : 0};
  }
  void EmitName() noexcept {
    const TokenCode keyword = Language::WORDS.Find(KeptName(), name_crc_);
    Emit(keyword != 0 ? keyword : NameCode());
  }

  // Texts.
  void StartText(std::uint32_t offset) noexcept { text_start_ = offset; }
  void EmitText(TokenCode token_class, std::uint32_t end) noexcept {
    input_.AppendText(list_, token_class, text_start_, end);
    last_ = token_class;
    text_length_ = end - text_start_;
  }
  std::uint32_t Here() const noexcept { return input_.Here(); }
  std::uint32_t Before() const noexcept { return input_.Before(); }
  std::uint32_t After() const noexcept { return input_.After(); }

  // Tokens. What becomes of an append is not looked at: a list may be short.
  void Emit(TokenCode code) noexcept {
    CScriptTokenList::AppendCode(list_, code);
    last_ = code;
  }
  void EmitOperator(PackedOperator packed) noexcept { Emit(Language::OPERATORS.Find(packed)); }
  /// The text up to `end` is a token; the unit taken last, which is not its own, is taken again.
  State EndText(TokenCode token_class, std::uint32_t end) noexcept {
    EmitText(token_class, end);
    PushBack();
    return State::BETWEEN_TOKENS;
  }

  // Operators: what stands in `so_far_` goes on with a unit, or is emitted.
  State EmitSingle(char16_t unit) noexcept {
    EmitOperator(unit);
    return State::BETWEEN_TOKENS;
  }
  State Begin(char16_t unit) noexcept {
    so_far_ = unit;
    return State::OPERATOR_SEEN;
  }
  State Continue(char16_t unit) noexcept {
    so_far_ = Extend(so_far_, unit);
    return State::OPERATOR_SEEN;
  }
  State EmitWith(char16_t unit) noexcept {
    EmitOperator(Extend(so_far_, unit));
    return State::BETWEEN_TOKENS;
  }
  PackedOperator so_far_ = 0;
  /// "<!--" was seen: from then on "-->" is a comment's end.
  bool html_comment_ = false;

  /// The code of the last token, of texts the class alone; 0 before the first.
  TokenCode Last() const noexcept { return last_; }

 private:
  TokenCode NameCode() const noexcept {
    const auto bits = static_cast<TokenCode>(name_crc_ & IDENTIFIER_BITS);
    if (!std::ranges::binary_search(known_ids_, name_crc_)) return TOKEN_IDENTIFIER | bits;
    return static_cast<TokenCode>(
        bits | TOKEN_KNOWN_IDENTIFIER |
        (bits < FIRST_KNOWN_IDENTIFIER ? FIRST_KNOWN_IDENTIFIER : TokenCode{0}));
  }

  ScriptInput input_;
  CScriptTokenList *const list_;
  const std::span<const std::uint32_t> known_ids_;
  std::uint32_t name_crc_ = 0;
  std::uint32_t name_length_ = 0;
  std::array<char, WordTable::LONGEST> name_;
  std::uint32_t text_start_ = 0;
  std::uint32_t text_length_ = 0;
  TokenCode last_ = 0;
};

/// A `Lexer` for a language.
template <class Language>
CScriptTokenList *Lex(const OsServices *services, const OsServices *io, void *source,
                      std::uint32_t is_file, std::uint32_t wide, std::uint32_t big_endian,
                      std::uint32_t start, std::uint32_t length, const std::uint32_t *known_ids,
                      std::int32_t known_count) noexcept {
  CScriptTokenList *list = nullptr;
  if (CScriptTokenList::Create(services, &list, wide, big_endian) != LEX_OK) return nullptr;
  const std::size_t known =
      known_ids != nullptr && known_count > 0 ? static_cast<std::size_t>(known_count) : 0;
  const ScriptSource input{io, source, is_file != 0, wide != 0, big_endian != 0, start, length};
  Language(input, list, {known_ids, known}).Run();
  return list;
}

/// Reads a piece of code in memory.
template <class Language>
CodeEnd ReadCode(std::string_view code, bool html_comment) noexcept {
  const ScriptSource source{nullptr, const_cast<char *>(code.data()),        false, false, false,
                            0,       static_cast<std::uint32_t>(code.size())};
  return Language(source, nullptr, {}).ReadCode(html_comment);
}

}  // namespace velmora
