#pragma once

#include <si_parser/export.h>

#include <string>

namespace orvix::si_parser {

/// Broadcast text to UTF-8 (EN 300 468 Annex A, ABNT NBR 15603).
///
/// The character set is fixed: ISO/IEC 8859-15, but for 0xBC and 0xBD, which give U+0153 and
/// U+0154, and two-byte symbols that the escape byte 0x1D announces. Bytes without a character
/// (control codes, a leading character table selector among them) are dropped. Nothing fails, and
/// no terminator is written or looked for. Safe on any thread.

/// Writes the UTF-8 form of the single byte `c` at `out`; returns its size, 0 to 3 bytes.
SI_PARSER_EXPORT unsigned int iso_to_utf8(unsigned char c, char* out);

/// Writes the symbol that `c`, the byte behind an escape byte, selects; returns its size: 0, 2
/// or 3.
SI_PARSER_EXPORT unsigned int escaped_iso_to_utf8(char c, char* out);

/// Converts `in_len` bytes into `out`, which has room for 3 * `in_len`, and stores the size of the
/// result in `out_len`. An escape byte in the last position takes the byte behind the run with it:
/// one byte past `in_len` is read then.
SI_PARSER_EXPORT void iso_to_utf8(const char* in, unsigned int in_len, char* out,
                                  unsigned int* out_len);

/// The same conversion, bytes read included, into a string. Throws only std::bad_alloc.
SI_PARSER_EXPORT std::string iso_to_utf8_string(unsigned char* in, unsigned int in_len);

}  // namespace orvix::si_parser
