#ifndef HEXTEXT_H
#define HEXTEXT_H

#include <cstdint>
#include <string>
#include <string_view>

/// Numbers and UBX frames as text. Called by the configuration handler alone; pure functions of any thread.
///
/// A frame has two text forms. Plain: two hex digits a byte, from the sync characters to the payload's end,
/// without checksum. Escaped, as the shell's `echo -e` takes it: a backslash, "x" and hex digits for each
/// byte. No streams: with an application's locale that groups digits they would turn "14000000" into
/// "14.000.000".
///
/// A text that finds no memory is std::bad_alloc, and nothing has changed then.

/// `value` in lower-case hex digits, padded with zeros to `width` digits; longer when the number is.
std::string hexText(unsigned int value, unsigned int width);

/// The four bytes of `value`, lowest first, in eight digits: a payload's 4-byte field. Its first two or four
/// digits are a field of one or two bytes.
std::string hexField(unsigned int value);

/// Appends `byte` to `out` in two lower-case hex digits.
void appendHexByte(unsigned char byte, std::string& out);

/// The byte that a pair of hex digits of either case stands for, or a single digit. What is not all hex
/// digits counts as 0.
unsigned char hexValue(std::string_view pair);

/// The four bytes in the other order.
uint32_t swapBytes(uint32_t value);

/// Appends the plain frame `hexIn` to `out` in escaped form, its digits unchanged. With `ckA` and `ckB` both
/// 0 its checksum goes behind it and the result is true. Otherwise nothing does, and the result tells whether
/// they are the frame's checksum.
bool appendEscaped(const std::string& hexIn, std::string& out, unsigned char ckA, unsigned char ckB);

#endif
