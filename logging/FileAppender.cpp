#include "logging/FileAppender.h"

#include "logging/LogRegistry.h"
#include "logging/Logger.h"
#include "logging/PatternLayout.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"

namespace {

Str utf8(const std::wstring& text)
{
    return Str::fromWide(text);
}

std::wstring backupName(const std::wstring& base, std::uint32_t i)
{
    if (i == 0)
        return base;
    std::wstring name = base;
    name += L'.';
    name += std::to_wstring(i);
    return name;
}

// Digits only, up to a blank or the end; a leading "0" only as the whole value.
bool parseCount(std::string_view value, std::uint64_t limit, std::uint64_t& out)
{
    std::size_t end = 0;
    while (end < value.size() && value[end] != ' ' && value[end] != '\t' && value[end] != '\r' && value[end] != '\n')
        ++end;
    std::string_view digits = value.substr(0, end);
    if (digits.empty() || (digits[0] == '0' && digits.size() > 1))
        return false;
    std::uint64_t n = 0;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return false;
        std::uint64_t d = static_cast<std::uint64_t>(c - '0');
        if (n > (limit - d) / 10)
            return false;
        n = n * 10 + d;
    }
    out = n;
    return true;
}

}  // namespace

FileAppender* FileAppender::makeErrorStreamAppender(PatternLayout* layout)
{
    auto* a = new FileAppender();
    a->handle = platform::errorStreamAppendFile();
    a->useStdHandle = true;
    a->layout = layout;
    return a;
}

FileAppender::FileAppender() = default;

FileAppender::~FileAppender()
{
    closeLocked();
}

bool FileAppender::append(const LogEvent& event, const Str& message)
{
    if (disabled)
        return false;
    Str text;
    if (layout != nullptr)
        layout->render(text, event, message);
    else
        text.append(message).append("\r\n");

    std::lock_guard<std::recursive_mutex> lock(section);
    if (handle == platform::INVALID_APPEND_FILE && !openLocked())
        return false;
    if (!platform::appendToFile(handle, text.data(), text.size())) {
        if (!fileName.empty()) {
            logInternal(this, LOG_LEVEL_CRIT, "Error writing to \"%s\": %m", utf8(fileName).c_str());
            closeLocked();
        }
        return false;
    }
    currentSize += static_cast<std::int64_t>(text.size());
    if (maxFileSize > 0 && currentSize > maxFileSize)
        rollLocked();
    return true;
}

bool FileAppender::openLocked()
{
    if (useStdHandle) {
        handle = platform::errorStreamAppendFile();
        return handle != platform::INVALID_APPEND_FILE;
    }
    if (fileName.empty())
        return false;
    handle = platform::openAppendFile(fileName);
    if (handle == platform::INVALID_APPEND_FILE) {
        logInternal(this, LOG_LEVEL_ERROR, "Error opening \"%s\": %m", utf8(fileName).c_str());
        return false;
    }
    if (!platform::appendFileSize(handle, currentSize)) {
        logInternal(this, LOG_LEVEL_CRIT, "Error calling fstat on \"%s\": %m", utf8(fileName).c_str());
        closeLocked();
        return false;
    }
    return true;
}

void FileAppender::closeLocked()
{
    if (handle != platform::INVALID_APPEND_FILE && !useStdHandle)
        platform::closeAppendFile(handle);
    if (!useStdHandle)
        handle = platform::INVALID_APPEND_FILE;
}

void FileAppender::roll()
{
    std::lock_guard<std::recursive_mutex> lock(section);
    rollLocked();
}

void FileAppender::rollLocked()
{
    if (fileName.empty())
        return;
    closeLocked();
    // Up to the first gap (or the last backup, which goes), then shift down.
    std::uint32_t i = 0;
    for (;;) {
        std::wstring name = backupName(fileName, i);
        if (i >= maxBackupIndex) {
            if (!platform::removeFile(name) && !platform::isNotFoundError(platform::lastOsError()))
                logInternal(this, LOG_LEVEL_WARN, "Error unlinking \"%s\": %m", utf8(name).c_str());
            break;
        }
        if (platform::fileKind(name) == platform::FILE_KIND_NONE)
            break;
        ++i;
    }
    while (i > 0) {
        --i;
        std::wstring from = backupName(fileName, i);
        std::wstring to = backupName(fileName, i + 1);
        if (!platform::renameReplacing(from, to))
            logInternal(this, LOG_LEVEL_WARN, "Error renaming \"%s\" to \"%s\": %m", utf8(from).c_str(),
                        utf8(to).c_str());
    }
    handle = platform::openAppendFile(fileName);
    currentSize = 0;
    if (handle == platform::INVALID_APPEND_FILE)
        logInternal(this, LOG_LEVEL_ERROR, "Error opening \"%s\": %m", utf8(fileName).c_str());
}

bool FileAppender::set(std::string_view property, std::string_view value)
{
    std::lock_guard<std::recursive_mutex> lock(section);
    if (property == "fileName") {
        closeLocked();
        useStdHandle = false;
        handle = platform::INVALID_APPEND_FILE;
        fileName = Pathname::fromUtf8(value);
        return true;
    }
    if (property == "maxFileSize") {
        std::uint64_t n;
        if (!parseCount(value, 0x7FFFFFFFFFFFFFFFull, n))
            return false;
        maxFileSize = static_cast<std::int64_t>(n);
        return true;
    }
    if (property == "maxBackupIndex") {
        std::uint64_t n;
        if (!parseCount(value, 0xFFFFFFFFull, n))
            return false;
        maxBackupIndex = static_cast<std::uint32_t>(n);
        return true;
    }
    if (property == "layout") {
        if (value == "BasicLayout")
            layout = &PatternLayout::basicLayout();
        else if (value == "SimpleLayout")
            layout = &PatternLayout::simpleLayout();
        else if (value != "PatternLayout")
            return false;
        return true;
    }
    if (property == "layout.ConversionPattern") {
        ownLayouts.push_back(std::make_unique<PatternLayout>(value));
        layout = ownLayouts.back().get();
        return true;
    }
    return false;
}

void FileAppender::checkMaxBackupWithoutSize(const char* name)
{
    if (maxBackupIndex != 0 && maxFileSize == 0) {
        logInternal(this, LOG_LEVEL_WARN,
                    "Appender \"%s\" has maxBackupIndex set without specifying maxFileSize, ignoring", name);
        maxBackupIndex = 0;
    }
}

void FileAppender::tryPath()
{
    std::lock_guard<std::recursive_mutex> lock(section);
    if (handle == platform::INVALID_APPEND_FILE && openLocked())
        closeLocked();
}

void FileAppender::finish(const char* name, bool allowStderr, PatternLayout* rootLayout)
{
    if (layout == nullptr)
        layout = rootLayout;
    if (fileName.empty()) {
        if (!allowStderr) {
            disabled = true;
            return;
        }
        if (handle == platform::INVALID_APPEND_FILE) {
            logInternal(this, LOG_LEVEL_WARN, "Appender \"%s\" has no filename, assuming stderr", name);
            useStdHandle = true;
            handle = platform::errorStreamAppendFile();
        }
        if (maxBackupIndex != 0) {
            logWarn(internalLogger(),
                    "Appender \"%s\" has maxBackupIndex set without specifying a filename, ignoring", name);
            maxBackupIndex = 0;
        }
        if (maxFileSize != 0) {
            logInternal(this, LOG_LEVEL_WARN,
                        "Appender \"%s\" has maxFileSize set without specifying a filename, ignoring", name);
            maxFileSize = 0;
        }
    }
    checkMaxBackupWithoutSize(name);
    if (!fileName.empty())
        tryPath();
}

void FileAppender::finishRoot(bool allowStderr)
{
    if (fileName.empty()) {
        if (!allowStderr)
            disabled = true;
        return;
    }
    checkMaxBackupWithoutSize("rootAppender");
    tryPath();
}
