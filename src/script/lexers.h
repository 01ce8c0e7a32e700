// The lexers: source text in, token list out.
#pragma once

#include <cstdint>

#include "script/os_services.h"
#include "script/token_list.h"

namespace velmora {

/// A length that means: until the end of the file.
inline constexpr std::uint32_t LENGTH_TO_END = 0xFFFFFFFF;

/// Lexes a script into a new token list, which the caller destroys; null when the list could not be
/// created. A list that could not take a token, or a source that could not be read to its end,
/// shows only in the tokens that are missing.
///
/// `services` makes the token list, `io` reads the source where that is a file: `source` is then a
/// file handle, read from `start` on, else it points to the text's first byte. With `wide`, units
/// have 16 bits. Identifiers whose name's CRC stands in `known_ids`, which is sorted, count as
/// known.
using Lexer = CScriptTokenList *(*)(const OsServices *services, const OsServices *io, void *source,
                                    std::uint32_t is_file, std::uint32_t wide,
                                    std::uint32_t big_endian, std::uint32_t start,
                                    std::uint32_t length, const std::uint32_t *known_ids,
                                    std::int32_t known_count) noexcept;

CScriptTokenList *LexJavaScript(const OsServices *services, const OsServices *io, void *source,
                                std::uint32_t is_file, std::uint32_t wide, std::uint32_t big_endian,
                                std::uint32_t start, std::uint32_t length,
                                const std::uint32_t *known_ids, std::int32_t known_count) noexcept;
CScriptTokenList *LexVBScript(const OsServices *services, const OsServices *io, void *source,
                              std::uint32_t is_file, std::uint32_t wide, std::uint32_t big_endian,
                              std::uint32_t start, std::uint32_t length,
                              const std::uint32_t *known_ids, std::int32_t known_count) noexcept;

}  // namespace velmora
