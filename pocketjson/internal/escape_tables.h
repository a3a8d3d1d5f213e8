// The escape tables of JSON strings, one per direction: the serializer's (which bytes are written
// escaped, and how) and the parser's (which byte a one-letter escape stands for). Both are indexed
// by the byte as unsigned char. Constant data; any thread.
#ifndef POCKETJSON_INTERNAL_ESCAPE_TABLES_H
#define POCKETJSON_INTERNAL_ESCAPE_TABLES_H

namespace pocketjson {
namespace detail {

// Writing: 0 = copy the byte, otherwise the letter written after '\'. Bytes 0..31 and 127 are
// escaped ('u' unless they have a short form: "\u00XX" with kHexDigits), '"' and '\\' escape as
// themselves, everything else (including '/' and bytes >= 128) is copied.
inline constexpr char kEscapeLetter[256] = {
    'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'b', 't', 'n', 'u', 'f',  'r', 'u', 'u',  // 0x00
    'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u', 'u',  'u', 'u', 'u',  // 0x10
    0,   0,   '"', 0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    0,   0,   0,    // 0x20
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    0,   0,   0,    // 0x30
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    0,   0,   0,    // 0x40
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   '\\', 0,   0,   0,    // 0x50
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    0,   0,   0,    // 0x60
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,    0,   0,   'u',  // 0x70
    // 0x80..0xFF: zero-initialised (copied unchanged)
};

// The digits of "\u00XX" (lower case).
inline constexpr char kHexDigits[17] = "0123456789abcdef";

// Reading: the byte that the escape letter after '\' stands for, 0 when the letter is no
// one-letter escape ('u' included: it is read with its four hex digits).
inline constexpr char kUnescapedByte[256] = {
    0, 0, 0,    0, 0,    0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    0,    // 0x00
    0, 0, 0,    0, 0,    0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    0,    // 0x10
    0, 0, '"',  0, 0,    0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    '/',  // 0x20
    0, 0, 0,    0, 0,    0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    0,    // 0x30
    0, 0, 0,    0, 0,    0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    0,    // 0x40
    0, 0, 0,    0, 0,    0, 0,    0, 0, 0, 0, 0, '\\', 0, 0,    0,    // 0x50
    0, 0, '\b', 0, 0,    0, '\f', 0, 0, 0, 0, 0, 0,    0, '\n', 0,    // 0x60
    0, 0, '\r', 0, '\t', 0, 0,    0, 0, 0, 0, 0, 0,    0, 0,    0,    // 0x70
    // 0x80..0xFF: zero-initialised (no escape)
};

// The short forms read back as the bytes they are written for.
static_assert(kUnescapedByte['b'] == '\b' && kEscapeLetter['\b'] == 'b' &&
                  kUnescapedByte['f'] == '\f' && kEscapeLetter['\f'] == 'f' &&
                  kUnescapedByte['n'] == '\n' && kEscapeLetter['\n'] == 'n' &&
                  kUnescapedByte['r'] == '\r' && kEscapeLetter['\r'] == 'r' &&
                  kUnescapedByte['t'] == '\t' && kEscapeLetter['\t'] == 't' &&
                  kUnescapedByte['"'] == '"' && kEscapeLetter['"'] == '"' &&
                  kUnescapedByte['\\'] == '\\' && kEscapeLetter['\\'] == '\\' &&
                  kUnescapedByte['/'] == '/' && kUnescapedByte['u'] == 0,
              "escape tables disagree");

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_ESCAPE_TABLES_H
