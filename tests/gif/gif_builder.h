// Builds GIF images out of blocks.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace velmora::testing {

/// No colour table; as a table size N it means 3 * 2^(N+1) bytes otherwise.
inline constexpr int NO_TABLE = -1;

inline std::string GifByte(int value) {
  return std::string(1, static_cast<char>(value));
}

inline std::string GifWord(int value) {
  return GifByte(value & 0xFF) + GifByte(value >> 8);
}

inline std::string GifPacked(int table) {
  return GifByte(table == NO_TABLE ? 0x70 : 0x80 | table);
}

/// Filled with separators and trailers, which must not be taken for blocks.
inline std::string GifTable(int table) {
  std::string bytes;
  while (table != NO_TABLE && bytes.size() < std::size_t{6} << table) bytes += ",;\n";
  return bytes;
}

inline std::string GifHeader(int table = NO_TABLE, std::string_view version = "GIF89a") {
  return std::string(version) + GifWord(300) + GifWord(2) + GifPacked(table) + GifByte(0) +
         GifByte(0) + GifTable(table);
}

/// Data sub-blocks and their terminator.
inline std::string GifData(std::initializer_list<std::string_view> blocks) {
  std::string bytes;
  for (const std::string_view block : blocks) {
    bytes += GifByte(static_cast<int>(block.size())) + std::string(block);
  }
  return bytes + GifByte(0);
}

inline std::string GifFrame(int table = NO_TABLE, const std::string &data = GifData({",;\n"})) {
  return "," + GifWord(0) + GifWord(0) + GifWord(258) + GifWord(1) + GifPacked(table) +
         GifTable(table) + GifByte(2) + data;
}

inline std::string GifApplication(std::string_view id, const std::string &data) {
  return "!\xFF" + GifByte(static_cast<int>(id.size())) + std::string(id) + data;
}

inline std::string GifLoop() {
  return GifApplication("NETSCAPE2.0", GifData({",;\n"}));
}

inline std::string GifGraphicControl() {
  return "!\xF9" + GifData({",;\n,"});
}

inline std::string GifComment(std::string_view text) {
  return "!\xFE" + GifData({text});
}

}  // namespace velmora::testing
