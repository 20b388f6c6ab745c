// Hexadecimal digits and byte pairs, as configuration values and radio values spell bytes.
#pragma once

// The value of one hexadecimal digit (either case), or -1 for any other character.
int hex_digit(char c);
// The byte that the two characters at `pair` spell, high half first, or -1 when either is not a
// hexadecimal digit (the second is not looked at when the first is not one, so a terminator there
// is never read past).
int hex_byte(const char *pair);
