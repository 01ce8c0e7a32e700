// Spill streams against a byte string, token lists against a vector, and both with services that
// fail.
#include "script/token_list.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <utility>

#include "lexed.h"
#include "script/spill_stream.h"

namespace velmora::testing {
namespace {

using ::testing::Each;

std::string RandomBytes(std::mt19937 &random, std::size_t length) {
  std::string bytes(length, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::uint32_t UpTo(std::mt19937 &random, std::size_t limit) {
  return std::uniform_int_distribution<std::uint32_t>(0, static_cast<std::uint32_t>(limit))(random);
}

/// Random operations on a stream, and on a string beside it. Where services may fail, an append
/// takes all or nothing, and what was taken can be read later.
void CompareWithAString(CSpillStream *stream, std::uint32_t seed, bool may_fail) {
  constexpr std::uint32_t CAPACITY = 16;
  std::mt19937 random(seed);
  std::string model;
  for (int step = 0; step < 200; ++step) {
    // Mostly short pieces; some longer than the cache.
    const std::string bytes = RandomBytes(random, UpTo(random, UpTo(random, 9) == 0 ? 60 : 12));
    const auto appended = stream->Append(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    ASSERT_TRUE(may_fail || appended == StreamStatus::OK);
    if (appended == StreamStatus::OK || stream->size() > model.size()) model += bytes;
    ASSERT_EQ(stream->size(), model.size());
    if (UpTo(random, 1) == 0) continue;
    const std::uint32_t offset = UpTo(random, model.size());
    const std::uint32_t length =
        std::min(UpTo(random, model.size() - offset), UpTo(random, 3 * CAPACITY));
    std::string read(length, '\0');
    const auto status = stream->Read(read.data(), offset, length);
    ASSERT_TRUE(may_fail || status == StreamStatus::OK);
    if (status == StreamStatus::OK) {
      ASSERT_EQ(read, model.substr(offset, length)) << step;
    }
  }
  std::string all(model.size(), '\0');
  while (stream->Read(all.data(), 0, stream->size()) != StreamStatus::OK) {
    ASSERT_TRUE(may_fail);
  }
  ASSERT_EQ(all, model);
}

TEST(SpillStream, HoldsWhatAStringHolds) {
  for (std::uint32_t seed = 0; seed < 60; ++seed) {
    CSpillStream *const stream = CSpillStream::Create(OS_SERVICES, 16 + seed);
    CompareWithAString(stream, seed, false);
    EXPECT_EQ(CSpillStream::Close(stream), StreamStatus::OK);
  }
}

TEST(SpillStream, KeepsItsBytesWhenAServiceFails) {
  int fail_at = 2;
  for (bool failed = true; failed; ++fail_at) {
    SCOPED_TRACE(fail_at);
    FakeServices services;
    services.fail_at = fail_at;
    CSpillStream *const stream = CSpillStream::Create(services, 16);
    if (stream == nullptr) continue;
    CompareWithAString(stream, 7, true);
    failed = services.calls >= fail_at;
    CSpillStream::Close(stream);
    ASSERT_EQ(services.Leaks(), 0U);
  }
  EXPECT_GT(fail_at, 100);
}

TEST(SpillStream, SpillsWhenItOutgrowsItsCache) {
  FakeServices services;
  CSpillStream *stream = CSpillStream::Create(services, 8);
  EXPECT_EQ(stream->Append("abcdefgh", 8), StreamStatus::OK);
  EXPECT_EQ(services.OpenFiles(), 0U);
  EXPECT_EQ(stream->Append("i", 1), StreamStatus::OK);
  EXPECT_EQ(services.OpenFiles(), 1U);
  // A range that is not all there leaves the buffer alone, however long it says it is.
  char buffer[] = "?";
  EXPECT_EQ(stream->Read(buffer, 9, 1), StreamStatus::INVALID);
  EXPECT_EQ(stream->Read(buffer, 1, 0xFFFFFFFF), StreamStatus::INVALID);
  EXPECT_EQ(stream->Read(buffer, 0xFFFFFFFF, 2), StreamStatus::INVALID);
  EXPECT_EQ(buffer[0], '?');
  EXPECT_EQ(stream->Read(buffer, 9, 0), StreamStatus::OK);
  EXPECT_EQ(CSpillStream::Close(stream), StreamStatus::OK);
  EXPECT_EQ(services.Leaks(), 0U);
}

struct Token {
  TokenCode code;
  std::string text;
};

/// The page where a token's record is looked for: the first whose entry is the token's index, else
/// the last whose entry is below it.
std::uint32_t PageOf(const std::vector<std::uint32_t> &entries, std::uint32_t index) {
  std::uint32_t page = 0;
  while (page + 1 < entries.size() && entries[page + 1] < index) ++page;
  if (page + 1 < entries.size() && entries[page + 1] == index) ++page;
  return page;
}

TEST(TokenList, HoldsWhatAVectorHolds) {
  int misread = 0;
  for (std::uint32_t seed = 0; seed < 30; ++seed) {
    FakeServices services;
    std::mt19937 random(seed);
    CScriptTokenList *list = nullptr;
    ASSERT_EQ(CScriptTokenList::Create(&services, &list, 1, 0), LEX_OK);
    std::vector<Token> model;
    std::vector<std::uint32_t> starts;
    std::vector<std::uint32_t> entries = {0};
    std::uint32_t end = 0;
    const std::string source = RandomBytes(random, 30000);
    void *file = services.MakeFile(source);
    for (int step = 0; step < 1500; ++step) {
      const std::uint32_t kind = UpTo(random, 3);
      if (kind == 0 || model.empty()) {
        const auto code = static_cast<TokenCode>(0x1000 + UpTo(random, 0x1FF));
        ASSERT_EQ(CScriptTokenList::AppendCode(list, code), LEX_OK);
        model.push_back({code, ""});
        starts.push_back(0);
      } else if (kind == 1) {
        const TokenCode code = UpTo(random, 1) ? TOKEN_STRING : TOKEN_NUMBER;
        const std::uint32_t length = UpTo(random, UpTo(random, 99) == 0 ? source.size() : 400);
        const std::uint32_t offset = UpTo(random, source.size() - length);
        if (UpTo(random, 1)) {
          ASSERT_EQ(CScriptTokenList::AppendText(list, code, source.data() + offset, length),
                    LEX_OK);
        } else {
          services.SeekFile(&services, file, 123, FROM_START);
          ASSERT_EQ(
              CScriptTokenList::AppendTextFromFile(list, code, &services, file, offset, length),
              LEX_OK);
          ASSERT_EQ(services.SeekFile(&services, file, 0, FROM_CURRENT), 123U);
        }
        model.push_back({static_cast<TokenCode>(code | end % 8192), source.substr(offset, length)});
        starts.push_back(end);
        end += 4 + length;
        entries.resize(end / 8192 + 1, static_cast<std::uint32_t>(model.size()));
      } else {
        const std::uint32_t index = UpTo(random, model.size() - 1);
        TokenCode code = 0;
        ASSERT_EQ(CScriptTokenList::CodeAt(list, index, &code), LEX_OK);
        ASSERT_EQ(code, model[index].code);
        std::uint32_t length = 0;
        std::uint32_t position = 0;
        const LexStatus status = CScriptTokenList::TextAt(list, index, &length, &position);
        if (!CarriesText(code)) {
          ASSERT_EQ(status, LEX_INVALID);
          continue;
        }
        ASSERT_EQ(status, LEX_OK);
        ASSERT_EQ(position, PageOf(entries, index) * 8192 + (code & 0x1FFF) + 4);
        if (position != starts[index] + 4) {
          ++misread;
          // The one token after a record that made several equal entries.
          ASSERT_GT(std::ranges::count(entries, index), 1);
          continue;
        }
        ASSERT_EQ(length, model[index].text.size());
        std::string text(length, '\0');
        ASSERT_EQ(CScriptTokenList::ReadText(list, text.data(), position, length), LEX_OK);
        ASSERT_EQ(text, model[index].text);
      }
    }
    EXPECT_EQ(CScriptTokenList::Count(list), model.size());
    services.CloseFile(&services, file);
    EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_OK);
    EXPECT_EQ(services.Leaks(), 0U);
  }
  EXPECT_GT(misread, 0);
}

TEST(TokenList, LongTexts) {
  FakeServices services;
  CScriptTokenList *list = nullptr;
  ASSERT_EQ(CScriptTokenList::Create(&services, &list, 0, 0), LEX_OK);
  for (const std::string &text :
       {std::string(9000, '\xEE'), std::string("in page 1"), std::string(20000, '\xEE'),
        std::string("looked for in page 2")}) {
    EXPECT_EQ(CScriptTokenList::AppendText(list, TOKEN_STRING, text.data(),
                                           static_cast<std::uint32_t>(text.size())),
              LEX_OK);
  }
  std::uint32_t length = 0;
  std::uint32_t position = 0;
  EXPECT_EQ(CScriptTokenList::TextAt(list, 1, &length, &position), LEX_OK);
  EXPECT_EQ(std::pair(length, position), std::pair(9U, 9004U + 4));
  // The length is a piece of the long text. Nobody has to have memory for it.
  EXPECT_EQ(CScriptTokenList::TextAt(list, 3, &length, &position), LEX_OK);
  EXPECT_EQ(std::pair(length, position), std::pair(0xEEEEEEEEU, 2 * 8192U + 29021 % 8192 + 4));
  EXPECT_FALSE(CScriptTokenList::HoldsText(list, position, length));
  char byte = '?';
  EXPECT_EQ(CScriptTokenList::ReadText(list, &byte, position, length), LEX_INVALID);
  EXPECT_EQ(byte, '?');
  EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_OK);
}

TEST(TokenList, TellsOfMissingArguments) {
  FakeServices services;
  CScriptTokenList *list = nullptr;
  std::uint32_t value = 0;
  TokenCode code = 0;
  EXPECT_EQ(CScriptTokenList::Create(&services, &list, 1, 2), LEX_OK);
  EXPECT_EQ(CScriptTokenList::Wide(list), 1U);
  EXPECT_EQ(CScriptTokenList::BigEndian(list), 2U);
  EXPECT_EQ(CScriptTokenList::AppendCode(list, 0x8008), LEX_OK);
  const LexStatus invalid[] = {
      CScriptTokenList::Create(&services, nullptr, 0, 0),
      CScriptTokenList::Destroy(nullptr),
      CScriptTokenList::AppendCode(nullptr, 1),
      CScriptTokenList::Fingerprint(nullptr, &value),
      CScriptTokenList::Fingerprint(list, nullptr),
      CScriptTokenList::CodeAt(list, 1, &code),
      CScriptTokenList::CodeAt(list, 0, nullptr),
      CScriptTokenList::TextAt(list, 0, &value, &value),
  };
  EXPECT_THAT(invalid, Each(LEX_INVALID));
  EXPECT_EQ(CScriptTokenList::Count(nullptr) + CScriptTokenList::Wide(nullptr) +
                CScriptTokenList::BigEndian(nullptr),
            0U);
  EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_OK);
}

/// A CRC bit by bit over the shapes of tokens, high byte first.
std::uint32_t FingerprintOf(const std::vector<TokenCode> &shapes) {
  std::string bytes;
  for (const TokenCode shape : shapes) {
    bytes += static_cast<char>(shape >> 8);
    bytes += static_cast<char>(shape);
  }
  return NameCrc(bytes);
}

TEST(TokenList, FingerprintsTheShape) {
  const std::vector<std::uint32_t> known = {NameCrc("known")};
  const auto fingerprint = [&](Lexer lexer, std::string source) {
    FakeServices services;
    std::uint32_t value = 0;
    CScriptTokenList::Fingerprint(Lex(lexer, std::move(source), PLAIN, services, known).get(),
                                  &value);
    return value;
  };
  const std::uint32_t expected =
      FingerprintOf({0x8008, 0x8000, 0x1007, 0x4000, 0x1000, 0x6000, 0x1101, 0x11FE});
  EXPECT_EQ(fingerprint(LexJavaScript, "var a = 1 + 'b';"), expected);
  EXPECT_EQ(fingerprint(LexJavaScript, "var known=0x777/**/+\"\\n\" ;//"), expected);
  EXPECT_NE(fingerprint(LexJavaScript, "var a = 1 - 'b';"), expected);
  EXPECT_EQ(fingerprint(LexVBScript, "x = #1#"),
            FingerprintOf({0x8000, 0x1002, 0x6000, 0x11FD, 0x11FE}));
}

TEST(TokenList, StatusesOfFailingServices) {
  for (int fail_at = 1; fail_at <= 7; ++fail_at) {
    FakeServices services;
    services.fail_at = fail_at;
    CScriptTokenList *list = nullptr;
    EXPECT_EQ(CScriptTokenList::Create(&services, &list, 0, 0), LEX_NO_MEMORY) << fail_at;
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(services.Leaks(), 0U);
    // With no list there is nothing to return.
    services.calls = 0;
    EXPECT_EQ(Lex(LexJavaScript, "a", PLAIN, services), nullptr);
  }

  using Operation = LexStatus (*)(FakeServices &, TokenListPointer &);
  const Operation append = [](FakeServices &, TokenListPointer &list) {
    return CScriptTokenList::AppendCode(list.get(), 0x1001);
  };
  const Operation append_file = [](FakeServices &services, TokenListPointer &list) {
    void *file = services.MakeFile("0123456789");
    const LexStatus status =
        CScriptTokenList::AppendTextFromFile(list.get(), TOKEN_STRING, &services, file, 2, 5);
    services.fail_at = 0;
    services.CloseFile(&services, file);
    return status;
  };
  const Operation destroy = [](FakeServices &, TokenListPointer &list) {
    return CScriptTokenList::Destroy(list.release());
  };
  const struct {
    const char *calls;
    int codes_before;
    Operation operation;
    int last_failing_call;
    LexStatus status;
    LexStatus status_behind;
  } cases[] = {
      {"temporary file, seek, write, write", 1024, append, 4, LEX_IO_ERROR, LEX_OK},
      {"seek, seek, read, seek", 0, append_file, 4, LEX_IO_ERROR, LEX_OK},
      {"each stream's cache and itself, the list", 0, destroy, 7, LEX_NO_MEMORY, LEX_OK},
      {"the spilled file, and as above", 1025, destroy, 1, LEX_IO_ERROR, LEX_NO_MEMORY},
  };
  for (const auto &c : cases) {
    for (int call = 1; call <= c.last_failing_call + 1; ++call) {
      SCOPED_TRACE(::testing::Message() << c.calls << ": " << call);
      FakeServices services;
      CScriptTokenList *made = nullptr;
      CScriptTokenList::Create(&services, &made, 0, 0);
      TokenListPointer list(made);
      for (int i = 0; i < c.codes_before; ++i) CScriptTokenList::AppendCode(made, 0x1000);
      services.calls = 0;
      services.fail_at = call;
      const LexStatus status = c.operation(services, list);
      EXPECT_EQ(status, call <= c.last_failing_call ? c.status : c.status_behind);
      list.reset();
      EXPECT_EQ(services.Leaks(), 0U);
    }
  }
}

/// Whatever fails while a script is lexed and read back: nothing crashes, nothing leaks, and the
/// list ends as every list does.
TEST(TokenList, SurvivesAnyFailingService) {
  std::string source;
  for (int i = 0; i < 300; ++i) source += "f('string " + std::to_string(i) + "', 12345);\n";
  source += "'" + std::string(9000, 'x') + "' 'end'";
  for (const bool is_file : {false, true}) {
    const Form form{is_file, false, false, true};
    int fail_at = 1;
    for (bool failed = true; failed; fail_at += 1 + fail_at / 40) {
      FakeServices services;
      services.fail_at = fail_at;
      ReadBack(Lex(LexJavaScript, source, form, services).get());
      failed = services.calls >= fail_at;
      ASSERT_EQ(services.Leaks(), 0U) << "call " << fail_at;
    }
    EXPECT_GT(fail_at, 50);
  }
}

}  // namespace
}  // namespace velmora::testing
