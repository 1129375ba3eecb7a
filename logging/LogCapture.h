#pragma once

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "foundation/Str.h"
#include "logging/Appender.h"
#include "logging/Logger.h"

// Takes the root appender's place while it lives and keeps what reaches it,
// for tests:
//   LogCapture capture;                 // root level DEBUG meanwhile
//   ... code under test logs ...
//   EXPECT_TRUE(capture.contains("Error opening"));
// It sees every category that logs through the root appender, which before a
// log configuration is loaded means all of them. Make it while no other
// thread is starting to log; it restores the root appender and level when
// destroyed.
class LogCapture : public Appender {
public:
    struct Entry {
        std::int32_t level;
        Str category;
        Str message;
    };

    explicit LogCapture(std::int32_t rootLevel = LOG_LEVEL_DEBUG);
    ~LogCapture() override;

    bool append(const LogEvent& event, const Str& message) override;

    std::vector<Entry> entries() const;
    // True if any message contains text.
    bool contains(std::string_view text) const;
    std::size_t count() const;
    void clear();
    // What append answers from now on; false makes the logger fall back to
    // the error stream.
    void setAccepting(bool accepting);

private:
    mutable std::mutex mutex;
    std::vector<Entry> captured;
    bool accepting = true;
    Appender* previous;
    std::int32_t previousLevel;
};
