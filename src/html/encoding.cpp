#include "html/encoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>
#include <new>

#include "core/fast_path.h"
#include "core/strings.h"
#include "core/switches.h"
#include "diag/log.h"

namespace velmora {
namespace {

/// Sets without any state that most pages are in. For any other set the decoder's state is kept
/// before each character, which costs about half as much again as the conversion.
constexpr std::string_view STATELESS_SETS[] = {
    "ISO-8859-1",   "UTF-8",        "windows-1252", "ISO-8859-15", "ISO-8859-2", "us-ascii",
    "windows-1251", "windows-1250", "KOI8-R",       "SHIFT_JIS",   "EUC-JP",     "GB2312",
    "GBK",          "GB18030",      "BIG5",         "EUC-KR",      "UTF-16LE",   "UTF-16BE",
};

/// How libiconv calls the sets with shift sequences: by these names, or by names that begin so.
constexpr std::string_view SHIFTING_SETS[] = {"ISO-2022-", "CP5022", "HZ", "UTF-7"};

}  // namespace

CEncoding::CEncoding(std::string_view name)
    : name_(name),
      decoder_("UCS-2LE", name_.c_str()),
      memory_(MemoryOf(name_)),
      shape_(UsesFastPath() && decoder_.IsOpen() ? CharsetShape::Of(name_.c_str()) : nullptr) {
  if (IsTraced()) Log("CEncoding(%s)\n", name_.c_str());
  // What libiconv reads it can write.
  if (shape_ != nullptr) return;
  OpenEncoder();
  for (const bool is_open : {decoder_.IsOpen(), encoder_->IsOpen()}) {
    if (!is_open) Log("*** CEncoding(%s): iconv_open failed\n", name_.c_str());
  }
}

CEncoding::~CEncoding() {
  if (IsTraced()) Log("~CEncoding(%s)\n", name_.c_str());
  if (encoder_ && !encoder_->Close())
    Log("*** ~CEncoding(%s): iconv_close failed\n", name_.c_str());
}

/// "ISO-8859-1" is made for nearly every page and would flood the log.
bool CEncoding::IsTraced() const noexcept {
  return switches::ENCODING_TRACE && !EqualNoCase(name_, "ISO-8859-1");
}

CEncoding::Memory CEncoding::MemoryOf(const std::string &name) noexcept {
  const auto is_name = [&name](std::string_view set) { return EqualNoCase(set, name); };
  if (std::ranges::any_of(STATELESS_SETS, is_name)) return Memory::NOTHING;
  const std::string_view canonical = iconv_canonicalize(name.c_str());
  const auto is_begin = [canonical](std::string_view set) { return canonical.starts_with(set); };
  return std::ranges::any_of(SHIFTING_SETS, is_begin) ? Memory::SHIFTS : Memory::ANYTHING;
}

bool CEncoding::IsValid() const noexcept {
  return decoder_.IsOpen() && (!encoder_ || encoder_->IsOpen());
}

DecodedChar CEncoding::Convert(std::span<const std::uint8_t> bytes) noexcept {
  if (!decoder_.IsOpen()) return DecodedChar::Invalid();

  // Room for exactly one unit: with more input after the character, libiconv stops at E2BIG.
  std::array<unsigned char, 2> unit{};
  const char *input = reinterpret_cast<const char *>(bytes.data());
  std::size_t input_left = bytes.size();
  char *output = reinterpret_cast<char *>(unit.data());
  std::size_t room_left = unit.size();
  const auto convert = memory_ == Memory::NOTHING    ? &Decoder::Convert
                       : memory_ == Memory::ANYTHING ? &Decoder::ConvertOrTakeBack
                                                     : &Decoder::ConvertBetweenShifts;
  const std::size_t result = (decoder_.*convert)(input, input_left, output, room_left);
  const int error = result == CONVERSION_FAILED ? errno : 0;

  const DecodedChar decoded{static_cast<std::int32_t>(bytes.size() - input_left), room_left == 0,
                            static_cast<char16_t>(unit[0] | (unit[1] << 8))};
  switch (error) {
    case 0:
      if (switches::ENCODING_TRACE && result != 0) {
        Log("%d non-reversible conversions\n", static_cast<int>(result));
      }
      return decoded;
    case EILSEQ:
      if (switches::ENCODING_TRACE) {
        Log("*** %s: INVALID INPUT (%02X).\n", name_.c_str(), static_cast<unsigned char>(*input));
      }
      [[fallthrough]];
    case E2BIG:
      return decoded.has_unit ? decoded : DecodedChar::Invalid();
    case EINVAL:
      if (switches::ENCODING_TRACE) Log("* %s: incomplete input.\n", name_.c_str());
      return DecodedChar::Incomplete();
    default:
      if (switches::ERRNO_TRACE) Log("*** %s: INVALID ERRNO %d\n", name_.c_str(), error);
      return decoded;
  }
}

std::string CEncoding::Encode(std::string_view text) {
  if (text.empty()) return {};
  if (!encoder_) {
    OpenEncoder();
    if (!encoder_->IsOpen()) throw std::bad_alloc();
  }
  if (!encoder_->IsOpen()) return {};
  std::string encoded(2 * text.size(), '\0');
  const char *input = text.data();
  std::size_t input_left = text.size();
  char *output = encoded.data();
  std::size_t room_left = encoded.size();
  // What does not fit or convert is cut off where the conversion stopped, so the result is not
  // looked at.
  encoder_->Convert(input, input_left, output, room_left);
  encoded.resize(encoded.size() - room_left);
  return encoded;
}

}  // namespace velmora
