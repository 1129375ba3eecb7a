#pragma once

#include <cstdint>

class Pathname;

// The file-system calls under the operations that retry or recover, so that a
// test can make one fail on cue. The default forwards to the platform.
class FileOperations {
public:
    virtual ~FileOperations() = default;

    virtual bool rename(const Pathname& from, const Pathname& to);
    virtual bool copy(const Pathname& from, const Pathname& to);
    virtual bool createExclusive(const Pathname& path);
    virtual bool removeFile(const Pathname& path);
    virtual void sleep(uint32_t ms);

    static FileOperations& native();
};
