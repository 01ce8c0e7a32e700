// The compiled-in switches: diagnostic extras and alternative forms that no setting changes.
//
// Each stands at its stated default; the build option VELMORA_FLIP_SWITCHES turns every one of them
// over, so that the code behind them is compiled and run by the tests.
#pragma once

namespace velmora::switches {

#ifdef VELMORA_FLIP_SWITCHES
inline constexpr bool FLIPPED = true;
#else
inline constexpr bool FLIPPED = false;
#endif

constexpr bool Switch(bool stated_default) noexcept {
  return stated_default != FLIPPED;
}

// Capture.
/// image/gif and image/jpeg bodies are written to disk too.
inline constexpr bool CAPTURE_IMAGES = Switch(false);
/// Keeps copies of the bytes before and after in memory and compares them.
inline constexpr bool CAPTURE_COMPARISON = Switch(false);
inline constexpr bool CAPTURE_DESTRUCTOR_TRACE = Switch(false);

// Character sets.
inline constexpr bool ENCODING_TRACE = Switch(true);
inline constexpr bool ERRNO_TRACE = Switch(false);

// HTML.
inline constexpr bool UNCLOSED_TAG_TRACE = Switch(true);
inline constexpr bool UNCLOSED_ELEMENT_TRACE = Switch(true);
inline constexpr bool UNMATCHED_END_TAG_TRACE = Switch(true);
inline constexpr bool HTML_BODY_TRACE = Switch(false);
inline constexpr bool NON_ASCII_TOKEN_TRACE = Switch(false);
inline constexpr bool HTML_OBJECT_TRACE = Switch(false);
inline constexpr bool TOKEN_TRACE = Switch(false);
inline constexpr bool SCRIPT_LANGUAGE_TRACE = Switch(false);

// Scripts.
/// A neutralised script becomes one space; off: it is overwritten with spaces, its length kept.
inline constexpr bool SCRIPT_REPLACEMENT = Switch(true);

// GIF.
inline constexpr bool GIF_BLOCK_TRACE = Switch(false);
inline constexpr bool GIF_SUB_BLOCK_TRACE = Switch(false);
inline constexpr bool GIF_UNKNOWN_BLOCK_TRACE = Switch(false);
inline constexpr bool GIF_UNKNOWN_EXTENSION_TRACE = Switch(false);

}  // namespace velmora::switches
