// Making a byte text valid UTF-8 for a channel that carries only UTF-8 (a WebSocket text frame).
//
// The plug-in does not validate UTF-8: an envelope or event may hold any bytes. An HTTP answer
// carries them as they are and the browser's decoder replaces what is not UTF-8; a channel that
// must carry valid text does the same replacement on the host's side, so a page meets the same
// string whichever way it came. The replacement follows the decoders of browsers (the "maximal
// subpart" practice of the Unicode standard): each maximal prefix of a valid sequence that
// breaks off, and each byte that cannot start one, becomes one U+FFFD.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_CORE_UTF8_TEXT_H
#define ZARVO_HOST_CORE_UTF8_TEXT_H

#include <string>
#include <string_view>

namespace host_core {

// Whether `text` is valid UTF-8 (no surrogates, no overlong forms, nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);
// Appends `text` to `out` with every ill-formed part replaced by U+FFFD (EF BF BD).
void appendValidUtf8(std::string* out, std::string_view text);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_UTF8_TEXT_H
