// Spill streams against a byte string, token lists against a vector, and both with services that
// fail.
#include "script/token_list.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <utility>

#include "lexed.h"
#include "script/spill_stream.h"

namespace velmora::testing {
namespace {

std::string RandomBytes(std::mt19937 &random, std::size_t length) {
  std::string bytes(length, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::uint32_t UpTo(std::mt19937 &random, std::size_t limit) {
  return std::uniform_int_distribution<std::uint32_t>(0, static_cast<std::uint32_t>(limit))(random);
}

TEST(SpillStream, HoldsWhatAStringHolds) {
  for (const OsServices *services : {&OS_SERVICES, static_cast<const OsServices *>(nullptr)}) {
    for (std::uint32_t seed = 0; seed < 40; ++seed) {
      FakeServices fake;
      std::mt19937 random(seed);
      const std::uint32_t capacity = 16 + UpTo(random, 64);
      CSpillStream *stream = CSpillStream::Create(services ? *services : fake, capacity);
      std::string model;
      for (int step = 0; step < 400; ++step) {
        if (UpTo(random, 2) > 0) {
          // Mostly short pieces; some longer than the cache.
          const std::string bytes =
              RandomBytes(random, UpTo(random, UpTo(random, 9) == 0 ? 3 * capacity : 8));
          ASSERT_EQ(stream->Append(bytes.data(), static_cast<std::uint32_t>(bytes.size())),
                    StreamStatus::OK);
          model += bytes;
        } else {
          const std::uint32_t offset = UpTo(random, model.size());
          const std::uint32_t length =
              std::min(UpTo(random, model.size() - offset), UpTo(random, 2 * capacity));
          std::string bytes(length, '\0');
          ASSERT_EQ(stream->Read(bytes.data(), offset, length), StreamStatus::OK);
          ASSERT_EQ(bytes, model.substr(offset, length));
        }
        ASSERT_EQ(stream->size(), model.size());
      }
      EXPECT_EQ(CSpillStream::Close(stream), StreamStatus::OK);
      EXPECT_EQ(fake.Leaks(), 0U);
    }
  }
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

/// After any one failure the stream still holds what it took, and takes more.
TEST(SpillStream, KeepsItsBytesWhenAServiceFails) {
  constexpr int ENOUGH = 1000;
  int fail_at = 2;
  for (;; ++fail_at) {
    ASSERT_LT(fail_at, ENOUGH);
    FakeServices services;
    services.fail_at = fail_at;
    std::mt19937 random(7);
    CSpillStream *stream = CSpillStream::Create(services, 16);
    if (stream == nullptr) continue;
    std::string model;
    for (int step = 0; step < 60; ++step) {
      const std::string bytes = RandomBytes(random, 1 + UpTo(random, 20));
      const std::uint32_t before = stream->size();
      const StreamStatus status =
          stream->Append(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
      // An append that failed took all or nothing.
      if (stream->size() > before) model += bytes;
      ASSERT_TRUE(status != StreamStatus::OK || stream->size() == before + bytes.size());
      ASSERT_EQ(stream->size(), model.size());
      const std::uint32_t offset = UpTo(random, model.size());
      const std::uint32_t length = UpTo(random, model.size() - offset);
      std::string read(length, '\0');
      if (stream->Read(read.data(), offset, length) == StreamStatus::OK) {
        ASSERT_EQ(read, model.substr(offset, length)) << "call " << fail_at << ", step " << step;
      }
    }
    std::string all(model.size(), '\0');
    while (stream->Read(all.data(), 0, stream->size()) != StreamStatus::OK) {
    }
    ASSERT_EQ(all, model) << "call " << fail_at;
    const bool failed = services.calls >= fail_at;
    CSpillStream::Close(stream);
    ASSERT_EQ(services.Leaks(), 0U);
    if (!failed) break;
  }
  EXPECT_GT(fail_at, 100);
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
          // The one token behind a record that made several equal entries.
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
  const auto append = [&](const std::string &text) {
    return CScriptTokenList::AppendText(list, TOKEN_STRING, text.data(),
                                        static_cast<std::uint32_t>(text.size()));
  };
  EXPECT_EQ(append(std::string(9000, '\xEE')), LEX_OK);
  EXPECT_EQ(append("in page 1"), LEX_OK);
  EXPECT_EQ(append(std::string(20000, '\xEE')), LEX_OK);
  EXPECT_EQ(append("looked for in page 2, stands in 3"), LEX_OK);
  EXPECT_EQ(append("found again"), LEX_OK);

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
  EXPECT_EQ(ReadBack(list)[4], "str found again");
  EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_OK);
}

TEST(TokenList, TellsOfMissingArguments) {
  FakeServices services;
  CScriptTokenList *list = nullptr;
  EXPECT_EQ(CScriptTokenList::Create(&services, nullptr, 0, 0), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::Destroy(nullptr), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::AppendCode(nullptr, 1), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::Count(nullptr) + CScriptTokenList::Wide(nullptr) +
                CScriptTokenList::BigEndian(nullptr),
            0U);
  std::uint32_t value = 0;
  EXPECT_EQ(CScriptTokenList::Fingerprint(nullptr, &value), LEX_INVALID);

  ASSERT_EQ(CScriptTokenList::Create(&services, &list, 1, 2), LEX_OK);
  EXPECT_EQ(CScriptTokenList::Wide(list), 1U);
  EXPECT_EQ(CScriptTokenList::BigEndian(list), 2U);
  EXPECT_EQ(CScriptTokenList::Fingerprint(list, nullptr), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::AppendCode(list, 0x8008), LEX_OK);
  TokenCode code = 0;
  EXPECT_EQ(CScriptTokenList::CodeAt(list, 1, &code), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::CodeAt(list, 0, nullptr), LEX_INVALID);
  EXPECT_EQ(CScriptTokenList::TextAt(list, 0, &value, &value), LEX_INVALID);
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

  const auto status_of = [](auto fill, auto operation, int call) {
    FakeServices services;
    CScriptTokenList *list = nullptr;
    CScriptTokenList::Create(&services, &list, 0, 0);
    fill(list);
    services.calls = 0;
    services.fail_at = call;
    const LexStatus status = operation(services, list);
    CScriptTokenList::Destroy(list);
    return status;
  };
  const auto nothing = [](CScriptTokenList *) {};
  const auto spill_codes = [](CScriptTokenList *list) {
    for (int i = 0; i < 1024; ++i) CScriptTokenList::AppendCode(list, 0x1000);
  };
  const auto append = [](FakeServices &, CScriptTokenList *list) {
    return CScriptTokenList::AppendCode(list, 0x1001);
  };
  for (int call = 1; call <= 4; ++call) {  // temporary file, seek, write, write
    EXPECT_EQ(status_of(spill_codes, append, call), LEX_IO_ERROR) << call;
  }
  EXPECT_EQ(status_of(spill_codes, append, 5), LEX_OK);
  const auto append_file = [](FakeServices &services, CScriptTokenList *list) {
    void *file = services.MakeFile("0123456789");
    const LexStatus status =
        CScriptTokenList::AppendTextFromFile(list, TOKEN_STRING, &services, file, 2, 5);
    services.fail_at = 0;
    services.CloseFile(&services, file);
    return status;
  };
  for (int call = 1; call <= 4; ++call) {  // seek, seek, read, seek
    EXPECT_EQ(status_of(nothing, append_file, call), LEX_IO_ERROR) << call;
  }
  EXPECT_EQ(status_of(nothing, append_file, 5), LEX_OK);
  // Every stream frees its cache and itself; the list goes last.
  for (int call = 1; call <= 7; ++call) {
    FakeServices services;
    CScriptTokenList *list = nullptr;
    CScriptTokenList::Create(&services, &list, 0, 0);
    services.calls = 0;
    services.fail_at = call;
    EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_NO_MEMORY) << call;
    EXPECT_EQ(services.Leaks(), 0U);
  }
  FakeServices services;
  CScriptTokenList *list = nullptr;
  CScriptTokenList::Create(&services, &list, 0, 0);
  spill_codes(list);
  append(services, list);
  services.calls = 0;
  services.fail_at = 1;
  EXPECT_EQ(CScriptTokenList::Destroy(list), LEX_IO_ERROR);
  EXPECT_EQ(services.Leaks(), 0U);
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
