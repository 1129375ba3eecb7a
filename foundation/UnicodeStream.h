#pragma once

#include <cstdint>
#include <cstdio>

// Byte streams under the text decoders and encoders of configuration files.
class ReadableUnicodeStream {
public:
    virtual ~ReadableUnicodeStream() = default;
    // The next byte, or -1 at the end (or on a read error).
    virtual int readByte() = 0;
};

class WritableUnicodeStream {
public:
    virtual ~WritableUnicodeStream() = default;
    virtual bool writeByte(uint8_t byte) = 0;
};

// Reads an open FILE in blocks of 512 bytes. The file stays the caller's.
class ReadableUnicodeFileStar final : public ReadableUnicodeStream {
public:
    explicit ReadableUnicodeFileStar(std::FILE* file) : file(file) {}

    int readByte() override;

private:
    std::FILE* file;
    unsigned char buffer[512];
    size_t position = 0;
    size_t length = 0;
};

// Gathers 512 bytes, then writes them in one call; the rest goes out on
// flush() or destruction. The file stays the caller's.
class WritableUnicodeFileStar final : public WritableUnicodeStream {
public:
    explicit WritableUnicodeFileStar(std::FILE* file) : file(file) {}
    ~WritableUnicodeFileStar() override;
    WritableUnicodeFileStar(const WritableUnicodeFileStar&) = delete;
    WritableUnicodeFileStar& operator=(const WritableUnicodeFileStar&) = delete;

    bool writeByte(uint8_t byte) override;
    bool flush();

private:
    std::FILE* file;
    unsigned char buffer[512];
    size_t length = 0;
};
