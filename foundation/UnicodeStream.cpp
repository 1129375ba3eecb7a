#include "foundation/UnicodeStream.h"

int ReadableUnicodeFileStar::readByte()
{
    if (position == length) {
        length = std::fread(buffer, 1, sizeof buffer, file);
        position = 0;
        if (length == 0)
            return -1;
    }
    return buffer[position++];
}

WritableUnicodeFileStar::~WritableUnicodeFileStar()
{
    flush();
}

bool WritableUnicodeFileStar::writeByte(uint8_t byte)
{
    if (length == sizeof buffer && !flush())
        return false;
    buffer[length++] = byte;
    return true;
}

bool WritableUnicodeFileStar::flush()
{
    if (length == 0)
        return true;
    bool ok = std::fwrite(buffer, 1, length, file) == length;
    length = 0;
    return ok;
}
