// A GIF image, numbers little-endian:
//
//   3 signature, 3 version, 2 screen width, 2 screen height,
//   1 packed (bit 7: global colour table, bits 0 to 2: its size N), 1 background, 1 aspect ratio,
//   global colour table of 3 * 2^(N+1) bytes,
//   blocks, each begun by an introducer byte (`BLOCKS` below)
//
// An extension block goes on with a label byte (`EXTENSIONS` below), an image block with
//
//   2 left, 2 top, 2 width, 2 height, 1 packed (as above, for the local colour table),
//   local colour table, 1 code size, sub-blocks
//
// Sub-blocks are a size byte and as many bytes each; a size of 0 ends them.
#include "gif/gif_walk.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "core/switches.h"
#include "diag/log.h"

namespace velmora {
namespace {

/// The identifiers of application extensions that are nothing to wonder about.
constexpr std::string_view KNOWN_APPLICATIONS[] = {
    "NETSCAPE2.0", "ADOBE:IR1.0", "GIFCONnb1.0", "PIANYGIF2.0", "LViewPro200", "ACROGATE",
};
/// What an application identifier is long. The known ones are compared by their own lengths.
constexpr std::size_t APPLICATION_SIZE = 11;

/// The image's bytes, taken from the front, never past the end.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> image) noexcept : image_(image) {}

  std::size_t position() const noexcept { return position_; }
  std::span<const std::uint8_t> Rest() const noexcept { return image_.subspan(position_); }

  /// The next bytes, which are passed over; null when there are not as many.
  const std::uint8_t *Take(std::size_t count) noexcept {
    if (count > image_.size() - position_) return nullptr;
    const std::uint8_t *const bytes = image_.data() + position_;
    position_ += count;
    return bytes;
  }

 private:
  std::span<const std::uint8_t> image_;
  std::size_t position_ = 0;
};

[[maybe_unused]] constexpr int Word(const std::uint8_t *bytes) noexcept {
  return bytes[0] | bytes[1] << 8;
}

class Walk {
 public:
  explicit Walk(std::span<const std::uint8_t> image) noexcept : reader_(image) {}

  std::optional<std::uint32_t> FindSecondFrame() noexcept;

 private:
  /// `STOP` when a trailer is met or the data ends.
  enum class Next { GO_ON, STOP, SECOND_FRAME };
  struct Row;
  static const Row BLOCKS[];
  static const Row EXTENSIONS[];

  /// Reads a byte, traces it, and does what its row says.
  Next Follow(const Row *row) noexcept;

  Next Extension() noexcept;
  Next Image() noexcept;
  Next Stop() noexcept { return Next::STOP; }
  Next GoOn() noexcept { return Next::GO_ON; }
  Next ApplicationExtension() noexcept;
  Next GraphicControlExtension() noexcept;
  Next SubBlocks() noexcept;

  /// These pass over parts of a block and answer false when the data ends in them.
  bool PassHeader() noexcept;
  bool PassColourTable(std::uint8_t packed, const char *trace) noexcept;
  /// A size byte and as many bytes.
  bool PassSizedBytes() noexcept;
  void TraceUnknownApplication() const noexcept;

  Reader reader_;
  int images_ = 0;
};

/// What to do at one value of a byte.
struct Walk::Row {
  static constexpr int ANY = -1;

  int value;
  bool traced;
  const char *trace;
  Next (Walk::*action)() noexcept;
};

using namespace switches;

// clang-format off
constexpr Walk::Row Walk::BLOCKS[] = {
    {0x21, GIF_BLOCK_TRACE, "gif block type: %02X (extension)\n", &Walk::Extension},
    {0x2C, GIF_BLOCK_TRACE, "gif block type: %02X (image descriptor)\n", &Walk::Image},
    {GIF_TRAILER, GIF_BLOCK_TRACE, "gif block type: %02X (trailer)\n", &Walk::Stop},
    {0x0A, GIF_UNKNOWN_BLOCK_TRACE, "*** gif block type: %02X (alternative trailer?)\n", &Walk::Stop},
    {Row::ANY, GIF_UNKNOWN_BLOCK_TRACE, "*** gif block type: %02X (UNKNOWN)\n", &Walk::GoOn},
};

constexpr Walk::Row Walk::EXTENSIONS[] = {
    {0xFF, GIF_BLOCK_TRACE, "  gif label: %02X (application extension)\n", &Walk::ApplicationExtension},
    {0xF9, GIF_BLOCK_TRACE, "  gif label: %02X (graphic control extension)\n", &Walk::GraphicControlExtension},
    {0xFE, GIF_BLOCK_TRACE, "  gif label: %02X (comment extension)\n", &Walk::SubBlocks},
    // Not passed over: what follows is read as blocks, byte by byte.
    {Row::ANY, true, "  *** gif label: %02X (UNKNOWN)\n", &Walk::GoOn},
};
// clang-format on

std::optional<std::uint32_t> Walk::FindSecondFrame() noexcept {
  Next next = PassHeader() ? Next::GO_ON : Next::STOP;
  while (next == Next::GO_ON) next = Follow(BLOCKS);
  if (next == Next::STOP) return std::nullopt;
  return static_cast<std::uint32_t>(reader_.position() - 1);
}

Walk::Next Walk::Follow(const Row *row) noexcept {
  const std::uint8_t *const byte = reader_.Take(1);
  if (byte == nullptr) return Next::STOP;
  while (row->value != *byte && row->value != Row::ANY) ++row;
  if (row->traced) Log(row->trace, *byte);
  return (this->*row->action)();
}

Walk::Next Walk::Extension() noexcept {
  return Follow(EXTENSIONS);
}

Walk::Next Walk::Image() noexcept {
  if (++images_ > 1) return Next::SECOND_FRAME;
  const std::uint8_t *const descriptor = reader_.Take(9);
  if (descriptor == nullptr) return Next::STOP;
  if constexpr (GIF_BLOCK_TRACE) {
    Log("  gif width %d, height %d\n", Word(descriptor + 4), Word(descriptor + 6));
  }
  if (!PassColourTable(descriptor[8], "  gif lct size: %d\n")) return Next::STOP;
  const std::uint8_t *const code_size = reader_.Take(1);
  return code_size != nullptr ? SubBlocks() : Next::STOP;
}

Walk::Next Walk::ApplicationExtension() noexcept {
  if constexpr (GIF_UNKNOWN_EXTENSION_TRACE) TraceUnknownApplication();
  return PassSizedBytes() ? SubBlocks() : Next::STOP;
}

Walk::Next Walk::GraphicControlExtension() noexcept {
  return PassSizedBytes() ? SubBlocks() : Next::STOP;
}

Walk::Next Walk::SubBlocks() noexcept {
  while (const std::uint8_t *const size = reader_.Take(1)) {
    if constexpr (GIF_SUB_BLOCK_TRACE) Log("  gif sub-block size: %d\n", *size);
    if (*size == 0) return Next::GO_ON;
    if (reader_.Take(*size) == nullptr) break;
  }
  return Next::STOP;
}

bool Walk::PassHeader() noexcept {
  const std::uint8_t *const signature = reader_.Take(3);
  if (signature == nullptr) return false;
  if constexpr (GIF_BLOCK_TRACE) {
    Log("gif signature: %c%c%c\n", signature[0], signature[1], signature[2]);
  }
  const std::uint8_t *const version = reader_.Take(3);
  if (version == nullptr) return false;
  if constexpr (GIF_BLOCK_TRACE) {
    Log("gif version: %c%c%c\n", version[0], version[1], version[2]);
  }
  const std::uint8_t *const screen = reader_.Take(7);
  if (screen == nullptr) return false;
  if constexpr (GIF_BLOCK_TRACE) {
    Log("gif width %d, height %d\n", Word(screen), Word(screen + 2));
  }
  return PassColourTable(screen[4], "gif gct size: %d\n");
}

bool Walk::PassColourTable(std::uint8_t packed, const char *trace) noexcept {
  const int size = (packed & 0x80) != 0 ? 3 << ((packed & 7) + 1) : 0;
  if constexpr (GIF_BLOCK_TRACE) Log(trace, size);
  return reader_.Take(static_cast<std::size_t>(size)) != nullptr;
}

bool Walk::PassSizedBytes() noexcept {
  const std::uint8_t *const size = reader_.Take(1);
  return size != nullptr && reader_.Take(*size) != nullptr;
}

void Walk::TraceUnknownApplication() const noexcept {
  std::span<const std::uint8_t> rest = reader_.Rest();
  if (rest.empty()) return;
  rest = rest.subspan(1);
  std::array<char, APPLICATION_SIZE> id{};
  std::copy_n(rest.begin(), std::min(rest.size(), id.size()), id.begin());
  const std::string_view name(id.data(), id.size());
  const auto is_it = [name](std::string_view known) { return name.starts_with(known); };
  if (std::ranges::any_of(KNOWN_APPLICATIONS, is_it)) return;
  Log("  gif %c%c%c%c%c%c%c%c%c%c%c\n", id[0], id[1], id[2], id[3], id[4], id[5], id[6], id[7],
      id[8], id[9], id[10]);
  Log("  *** gif unknown application extension\n");
}

}  // namespace

std::optional<std::uint32_t> FindSecondFrame(std::span<const std::uint8_t> image) noexcept {
  return Walk(image).FindSecondFrame();
}

}  // namespace velmora
