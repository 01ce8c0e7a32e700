// velmora lex: shows a script as the lexers see it.
#include <fmt/format.h>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "script/lexers.h"
#include "script/os_services.h"
#include "script/token_list.h"

namespace velmora::command {
namespace {

struct LexOptions {
  std::string file;
  bool is_vbscript = false;
  /// "le", "be", or empty for 8-bit units.
  std::string wide;
  std::string format = "text";

  bool IsWide() const { return !wide.empty(); }
  bool IsBigEndian() const { return wide == "be"; }
};

/// One token as it is read back from the list.
struct Token {
  std::uint32_t index;
  TokenCode code;
  /// Where its text stands, for a token with text that can be read.
  bool has_text;
  std::uint32_t position;
  std::string text;
};

std::string ReadAll(const std::string &name) {
  constexpr std::size_t PIECE = 1U << 20;
  std::string bytes;
  try {
    Input input(name);
    for (std::string piece; !(piece = input.Read(PIECE)).empty();) bytes += piece;
  } catch (const std::system_error &error) {
    throw std::runtime_error(name + ": " + error.what());
  }
  if (bytes.size() >= LENGTH_TO_END) throw std::runtime_error(name + ": too long");
  return bytes;
}

Token ReadToken(CScriptTokenList *list, std::uint32_t index) {
  Token token{index, 0, false, 0, ""};
  if (CScriptTokenList::CodeAt(list, index, &token.code) != LEX_OK) {
    throw std::runtime_error("the list of tokens cannot be read");
  }
  std::uint32_t length = 0;
  if (CScriptTokenList::TextAt(list, index, &length, &token.position) != LEX_OK) return token;
  if (!CScriptTokenList::HoldsText(list, token.position, length)) return token;
  token.text.resize(length);
  token.has_text =
      CScriptTokenList::ReadText(list, token.text.data(), token.position, length) == LEX_OK;
  return token;
}

/// Writes tokens in one of the two formats.
class TokenWriter {
 public:
  explicit TokenWriter(const LexOptions &options)
      : options_(options), is_json_(options.format == "json") {
    if (!is_json_)
      Print("{:>8}  {:<6}  {:<16}  {:>8}  {}\n", "index", "code", "class", "offset", "text");
  }

  void Write(const Token &token) {
    const std::string_view name = TokenClassName(token.code);
    if (is_json_) {
      Print(R"({{"index":{},"code":"0x{:04x}","class":"{}")", token.index, token.code, name);
      if (token.has_text)
        Print(R"(,"hex":"{}","text":"{}")", Hex(token.text), Readable(token.text));
      Print("}}\n");
    } else if (token.has_text) {
      Print("{:>8}  0x{:04x}  {:<16}  {:>8}  \"{}\"\n", token.index, token.code, name,
            token.position, Readable(token.text));
    } else {
      Print("{:>8}  0x{:04x}  {}{}\n", token.index, token.code, name,
            CarriesText(token.code) ? "  (text not found)" : "");
    }
  }

  void Finish(std::uint32_t fingerprint, std::uint32_t count) {
    if (is_json_) {
      Print(R"({{"fingerprint":"0x{:08x}","tokens":{}}})"
            "\n",
            fingerprint, count);
    } else {
      Print("fingerprint 0x{:08x}, {} tokens\n", fingerprint, count);
    }
    output_.Write(buffer_);
    output_.Finish();
  }

 private:
  static constexpr std::size_t BUFFER_SIZE = 1U << 16;

  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    fmt::format_to(std::back_inserter(buffer_), format, std::forward<Arguments>(arguments)...);
    if (buffer_.size() < BUFFER_SIZE) return;
    output_.Write(buffer_);
    buffer_.clear();
  }

  static std::string Hex(std::string_view bytes) {
    std::string hex;
    for (const char byte : bytes) {
      fmt::format_to(std::back_inserter(hex), "{:02x}", static_cast<unsigned char>(byte));
    }
    return hex;
  }

  /// The units as they would stand in a JSON string; what is not printable ASCII by its number.
  std::string Readable(std::string_view bytes) const {
    std::string text;
    const auto byte = [&](std::size_t i) -> unsigned {
      return static_cast<unsigned char>(bytes[i]);
    };
    const std::size_t high = options_.IsBigEndian() ? 0 : 1;
    const std::size_t width = options_.IsWide() ? 2 : 1;
    for (std::size_t i = 0; i + width <= bytes.size(); i += width) {
      const unsigned unit = options_.IsWide() ? byte(i + high) << 8 | byte(i + 1 - high) : byte(i);
      if (unit < 0x20 || unit > 0x7E) {
        fmt::format_to(std::back_inserter(text), "\\u{:04x}", unit);
      } else {
        if (unit == '"' || unit == '\\') text += '\\';
        text += static_cast<char>(unit);
      }
    }
    return text;
  }

  const LexOptions &options_;
  const bool is_json_;
  Output output_{""};
  std::string buffer_;
};

int LexFile(const LexOptions &options) {
  std::string script = ReadAll(options.file);
  const Lexer lexer = options.is_vbscript ? LexVBScript : LexJavaScript;
  const TokenListPointer list(lexer(&OS_SERVICES, &OS_SERVICES, script.data(), false,
                                    options.IsWide(), options.IsBigEndian(), 0,
                                    static_cast<std::uint32_t>(script.size()), nullptr, 0));
  if (list == nullptr) throw std::runtime_error("out of memory");
  TokenWriter writer(options);
  const std::uint32_t count = CScriptTokenList::Count(list.get());
  for (std::uint32_t index = 0; index < count; ++index) writer.Write(ReadToken(list.get(), index));
  std::uint32_t fingerprint = 0;
  CScriptTokenList::Fingerprint(list.get(), &fingerprint);
  writer.Finish(fingerprint, count);
  return EXIT_OK;
}

}  // namespace

void AddLex(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("lex", "Show the tokens of a script");
  const auto options = std::make_shared<LexOptions>();
  command.add_option("FILE", options->file, "Script to lex, or \"-\" for standard input")
      ->required()
      ->type_name("");
  command.add_flag("--vbs", options->is_vbscript, "The script is VBScript (default: JavaScript)");
  command.add_option("--wide", options->wide, "The script has 16-bit units: le or be")
      ->type_name("ORDER")
      ->check(CLI::IsMember({"le", "be"}).description(""));
  command
      .add_option("--format", options->format, "text or json, one object a line (default: text)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}).description(""));
  command.footer(
      "Texts are shown with units that are not printable ASCII as \\uXXXX. The offset is\n"
      "that of a text in the list of tokens.");
  command.callback([options, &action] { action = [options] { return LexFile(*options); }; });
}

}  // namespace velmora::command
