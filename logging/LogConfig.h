#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "foundation/Pathname.h"
#include "foundation/Str.h"

class FileAppender;
struct LoggerConfig;

// One problem found in a log configuration file.
struct LogConfigError {
    static constexpr std::uint32_t PARSE_ERROR = 0;
    static constexpr std::uint32_t UNTERMINATED_COMMENT = 1;

    const Pathname* file;
    std::uint32_t line;
    Str text;
    std::uint32_t kind;
};

// Reads the log configuration file at path, then its "-local" override beside
// it if there is one (log.cfg -> log-local.cfg), sets up the appenders and
// categories, and resolves every category. With a section name only lines
// under that [section] (and those before the first header) count; with null,
// only those before the first header. "${NAME}" in appender values is
// replaced by the variable's path. Without allowStderr nothing is written to
// the error stream any more. Problems are logged once the appenders are up;
// the answer is false if there were any. A bad line never stops the load.
//   loadLogConfig(home / "etc" / "log-cmdline.cfg", nullptr, {{"TOLVIK_HOME", home}}, true);
bool loadLogConfig(const Pathname& path, const char* sectionName, const std::map<Str, Pathname>& variables,
                   bool allowStderr);

// The appender of that name, made on first mention; "rootAppender" is the
// root appender.
FileAppender& namedAppender(std::string_view name);
// The root appender as the configuration sees it: the error stream with
// "%m%n" until configured otherwise.
FileAppender& rootFileAppender();

// The line grammar and the category specs, without files: the parts of a load
// that read text. Appender properties are set as lines are read; specs are
// applied by applySpecs once all lines are in.
class LogConfigParser {
public:
    LogConfigParser(const char* sectionName, const std::map<Str, Pathname>& variables);

    // One file's text; file must outlive the parser (errors point at it).
    void parse(const Pathname& file, std::string_view text);
    // The root spec first, then each category line in order.
    void applySpecs();
    const std::vector<LogConfigError>& errors() const { return errorList; }
    // Logs each error, WARN for parse errors and ERROR for comments left open.
    void report() const;

    // Applies a spec ("LEVEL, appender, ...") to config; false if it names an
    // unknown appender (the other tokens still apply).
    static bool applySpec(LoggerConfig& config, std::string_view spec);

private:
    struct Deferred {
        const Pathname* file;
        std::uint32_t line;
        Str text;
    };

    void parseLine(const Pathname& file, std::uint32_t number, std::string_view line);
    void parseAppenderLine(const Pathname& file, std::uint32_t number, std::string_view whole,
                           std::string_view rest);
    void addError(const Pathname* file, std::uint32_t line, std::string_view text, std::uint32_t kind);
    Str substitute(std::string_view value) const;

    const char* sectionName;
    const std::map<Str, Pathname>& variables;
    bool accepting = true;
    bool haveRoot = false;
    Deferred rootSpec;
    std::vector<Deferred> categorySpecs;
    std::vector<LogConfigError> errorList;
};
