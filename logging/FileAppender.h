#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "foundation/Pathname.h"
#include "logging/Appender.h"
#include "platform/AppendFile.h"

class PatternLayout;

// The appender of the log configuration. One class serves as file appender,
// size-rolling appender (maxFileSize > 0) and error-stream appender (no file
// name), by its settings. A file that can't be opened stays closed and is
// tried again on each later append; troubles are reported through the
// "Logger" category with this appender left out, so they can't recurse.
class FileAppender : public Appender {
public:
    // The error stream, where the root appender starts.
    static FileAppender* makeErrorStreamAppender(PatternLayout* layout);
    FileAppender();
    ~FileAppender() override;

    bool append(const LogEvent& event, const Str& message) override;

    // A property of the configuration: "fileName", "maxFileSize",
    // "maxBackupIndex", "layout" or "layout.ConversionPattern". False for an
    // unknown property or a bad value.
    bool set(std::string_view property, std::string_view value);

    // After configuration: fills in the layout, settles what a missing file
    // name means (the error stream if allowStderr, else disabled) and tries
    // the file's path. name is for the messages.
    void finish(const char* name, bool allowStderr, PatternLayout* rootLayout);
    // The root appender's part of finishing.
    void finishRoot(bool allowStderr);

    // Moves the file to its first backup name, shifting the backups up to the
    // first gap, and starts a new file.
    void roll();

    PatternLayout* getLayout() const { return layout; }
    const Pathname& getFileName() const { return fileName; }
    std::int64_t getMaxFileSize() const { return maxFileSize; }
    std::uint32_t getMaxBackupIndex() const { return maxBackupIndex; }
    bool isDisabled() const { return disabled; }

private:
    bool openLocked();
    void closeLocked();
    void rollLocked();
    void checkMaxBackupWithoutSize(const char* name);
    void tryPath();

    platform::AppendFile handle = platform::INVALID_APPEND_FILE;
    bool useStdHandle = false;
    Pathname fileName;
    std::int64_t maxFileSize = 0;
    std::int64_t currentSize = 0;
    std::uint32_t maxBackupIndex = 0;
    PatternLayout* layout = nullptr;
    // Every layout given by pattern; one replaced may still be rendering on
    // another thread, so none goes before the appender.
    std::vector<std::unique_ptr<PatternLayout>> ownLayouts;
    std::recursive_mutex section;
    bool disabled = false;
};
