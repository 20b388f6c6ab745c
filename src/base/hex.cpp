#include "base/hex.h"

int hex_digit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

int hex_byte(const char *pair)
{
    int high = hex_digit(pair[0]);
    int low = high < 0 ? -1 : hex_digit(pair[1]);
    return low < 0 ? -1 : high << 4 | low;
}
