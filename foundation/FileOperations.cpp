#include "foundation/FileOperations.h"

#include "foundation/Pathname.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"

bool FileOperations::rename(const Pathname& from, const Pathname& to)
{
    return from.rename(to);
}

bool FileOperations::copy(const Pathname& from, const Pathname& to)
{
    return from.copyTo(to);
}

bool FileOperations::createExclusive(const Pathname& path)
{
    return platform::createFileExclusive(path);
}

bool FileOperations::removeFile(const Pathname& path)
{
    return path.removeFile();
}

void FileOperations::sleep(uint32_t ms)
{
    platform::sleepMilliseconds(ms);
}

FileOperations& FileOperations::native()
{
    static FileOperations ops;
    return ops;
}
