#include "logging/LogConfig.h"

#include <cstring>
#include <mutex>

#include "foundation/PathRules.h"
#include "logging/FileAppender.h"
#include "logging/LogRegistry.h"
#include "logging/Logger.h"
#include "logging/PatternLayout.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"
#include "platform/TextConv.h"

namespace {

constexpr std::string_view blanks = " \t";

struct AppenderRegistry {
    std::mutex mutex;
    std::map<Str, FileAppender*, std::less<>> named;
    FileAppender* root = nullptr;
};

// Appenders live for the whole process: categories keep pointers to them.
AppenderRegistry& registry()
{
    static AppenderRegistry* r = new AppenderRegistry();
    return *r;
}

std::string_view skipBlanks(std::string_view s)
{
    std::size_t i = s.find_first_not_of(blanks);
    return i == std::string_view::npos ? std::string_view() : s.substr(i);
}

std::string_view trimBlanksRight(std::string_view s)
{
    std::size_t i = s.find_last_not_of(blanks);
    return i == std::string_view::npos ? std::string_view() : s.substr(0, i + 1);
}

bool startsWith(std::string_view s, std::string_view prefix)
{
    return s.substr(0, prefix.size()) == prefix;
}

// The file's text as UTF-8: a UTF-8 byte order mark is dropped, UTF-16 with
// its mark is converted, anything else is taken as it is.
Str decodeText(const Str& bytes)
{
    auto byte = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 3 && byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF)
        return Str(bytes.substr(3));
    if (bytes.size() < 2 || !((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == 0xFE && byte(1) == 0xFF)))
        return bytes;
    const bool little = byte(0) == 0xFF;
    Str out;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        std::uint32_t u = little ? (byte(i) | byte(i + 1) << 8) : (byte(i) << 8 | byte(i + 1));
        if (u >= 0xD800 && u < 0xDC00 && i + 3 < bytes.size()) {
            std::uint32_t v = little ? (byte(i + 2) | byte(i + 3) << 8) : (byte(i + 2) << 8 | byte(i + 3));
            if (v >= 0xDC00 && v < 0xE000) {
                u = 0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00);
                i += 2;
            } else {
                u = 0xFFFD;
            }
        } else if (u >= 0xD800 && u < 0xE000) {
            u = 0xFFFD;
        }
        platform::appendCodePointAsUtf8(out, u);
    }
    return out;
}

bool readFile(const Pathname& path, Str& text)
{
    platform::FileHandle file = platform::openFileForReading(path);
    if (file == nullptr)
        return false;
    Str bytes;
    char buffer[8192];
    long n;
    while ((n = platform::readFile(file, buffer, sizeof buffer)) > 0)
        bytes.append(buffer, static_cast<std::size_t>(n));
    {
        platform::LastOsErrorSaver keep;
        platform::closeFile(file);
    }
    if (n < 0)
        return false;
    text = decodeText(bytes);
    return true;
}

// "log.cfg" -> "log-local.cfg", "log" -> "log-local"; only the last path
// component is searched for the dot.
Pathname overridePath(const Pathname& path)
{
    const PathRules rules = PathRules::native();
    std::size_t nameStart = 0;
    for (std::size_t i = path.size(); i > 0; --i) {
        if (rules.isSeparator(path[i - 1])) {
            nameStart = i;
            break;
        }
    }
    std::size_t dot = path.rfind(L'.');
    Pathname result = path;
    if (dot != std::wstring::npos && dot > nameStart)
        result.insert(dot, L"-local");
    else
        result += L"-local";
    return result;
}

void finishAll(bool allowStderr)
{
    AppenderRegistry& r = registry();
    FileAppender& root = rootFileAppender();
    root.finishRoot(allowStderr);
    std::lock_guard<std::mutex> lock(r.mutex);
    for (auto& [name, appender] : r.named)
        appender->finish(name.c_str(), allowStderr, root.getLayout());
}

}  // namespace

FileAppender& rootFileAppender()
{
    AppenderRegistry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (r.root == nullptr)
        r.root = FileAppender::makeErrorStreamAppender(new PatternLayout("%m%n"));
    return *r.root;
}

FileAppender& namedAppender(std::string_view name)
{
    if (name == "rootAppender")
        return rootFileAppender();
    AppenderRegistry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.named.find(name);
    if (it == r.named.end())
        it = r.named.emplace(Str(name.data(), name.size()), new FileAppender()).first;
    return *it->second;
}

namespace {

FileAppender* findAppender(std::string_view name)
{
    if (name == "rootAppender")
        return &rootFileAppender();
    AppenderRegistry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.named.find(name);
    return it == r.named.end() ? nullptr : it->second;
}

}  // namespace

LogConfigParser::LogConfigParser(const char* sectionName_, const std::map<Str, Pathname>& variables_)
    : sectionName(sectionName_), variables(variables_), rootSpec{nullptr, 0, Str()}
{
}

void LogConfigParser::addError(const Pathname* file, std::uint32_t line, std::string_view text, std::uint32_t kind)
{
    errorList.push_back(LogConfigError{file, line, Str(text.data(), text.size()), kind});
}

void LogConfigParser::parse(const Pathname& file, std::string_view text)
{
    // Each file starts outside any section.
    accepting = true;
    bool sectionsEnded = false;

    std::vector<std::string_view> lines;
    for (std::size_t start = 0; start <= text.size();) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        std::string_view l = text.substr(start, end - start);
        if (!l.empty() && l.back() == '\r')
            l.remove_suffix(1);
        lines.push_back(l);
        if (end == text.size())
            break;
        start = end + 1;
    }
    if (!lines.empty() && lines.back().empty() && !text.empty() && text.back() == '\n')
        lines.pop_back();

    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto number = static_cast<std::uint32_t>(i + 1);
        Str line(lines[i]);
        // Comments: '#' to the end, "<!-- ... -->" across lines.
        for (std::size_t from = 0;;) {
            std::size_t hash = line.find('#', from);
            std::size_t open = line.find("<!--", from);
            if (hash != std::string::npos && (open == std::string::npos || hash < open)) {
                line.resize(hash);
                break;
            }
            if (open == std::string::npos)
                break;
            Str kept = line.substr(0, open);
            Str rest = line.substr(open + 4);
            std::size_t close;
            while ((close = rest.find("-->")) == std::string::npos) {
                if (i + 1 >= lines.size()) {
                    addError(&file, number, std::string_view(), LogConfigError::UNTERMINATED_COMMENT);
                    rest.clear();
                    close = 0;
                    break;
                }
                rest.assign(lines[++i]);
            }
            if (!rest.empty())
                kept.append(rest.substr(close + 3));
            line.swap(kept);
            from = open;
        }

        std::string_view l = skipBlanks(trimBlanksRight(line));
        if (l.empty())
            continue;
        if (l.front() == '[') {
            std::string_view name = l.substr(1);
            std::size_t last = name.find_last_not_of(" \t]");
            name = last == std::string_view::npos ? std::string_view() : name.substr(0, last + 1);
            if (sectionName != nullptr) {
                accepting = Str::compareNoCase(name.data(), name.size(), sectionName, std::strlen(sectionName)) == 0;
            } else {
                sectionsEnded = true;
                accepting = false;
            }
            continue;
        }
        if (!accepting || sectionsEnded)
            continue;
        parseLine(file, number, l);
    }
}

void LogConfigParser::parseLine(const Pathname& file, std::uint32_t number, std::string_view whole)
{
    std::string_view l = whole;
    if (startsWith(l, "log4cpp."))
        l.remove_prefix(8);
    if (l.empty())
        return;
    std::size_t headEnd = l.find_first_of(".= \t");
    if (headEnd == std::string_view::npos) {
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
        return;
    }
    if (headEnd == 12 && l.substr(0, 12) == "rootCategory") {
        std::string_view rest = skipBlanks(l.substr(12));
        if (rest.empty() || rest.front() != '=') {
            addError(&file, number, whole, LogConfigError::PARSE_ERROR);
            return;
        }
        rest.remove_prefix(1);
        rootSpec = Deferred{&file, number, Str(rest)};
        haveRoot = true;
        return;
    }
    if (startsWith(l, "category.")) {
        categorySpecs.push_back(Deferred{&file, number, Str(l.substr(9))});
        return;
    }
    if (startsWith(l, "appender.")) {
        parseAppenderLine(file, number, whole, l.substr(9));
        return;
    }
    addError(&file, number, whole, LogConfigError::PARSE_ERROR);
}

void LogConfigParser::parseAppenderLine(const Pathname& file, std::uint32_t number, std::string_view whole,
                                        std::string_view rest)
{
    std::size_t nameEnd = rest.find_first_of(".= \t");
    if (nameEnd == 0 || nameEnd == std::string_view::npos) {
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
        return;
    }
    FileAppender& appender = namedAppender(rest.substr(0, nameEnd));
    if (rest[nameEnd] != '.') {
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
        return;
    }
    rest.remove_prefix(nameEnd + 1);
    std::size_t propertyEnd = rest.find_first_of("= \t");
    if (propertyEnd == std::string_view::npos) {
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
        return;
    }
    std::string_view property = rest.substr(0, propertyEnd);
    std::string_view value = skipBlanks(rest.substr(propertyEnd));
    if (value.empty() || value.front() != '=') {
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
        return;
    }
    value = skipBlanks(value.substr(1));
    if (!appender.set(property, substitute(value)))
        addError(&file, number, whole, LogConfigError::PARSE_ERROR);
}

Str LogConfigParser::substitute(std::string_view value) const
{
    Str out(value);
    for (const auto& [name, path] : variables) {
        Str token = "${" + name + "}";
        Str text = path.toUtf8();
        for (std::size_t at = 0; (at = out.find(token, at)) != std::string::npos; at += text.size())
            out.replace(at, token.size(), text);
    }
    return out;
}

bool LogConfigParser::applySpec(LoggerConfig& config, std::string_view spec)
{
    bool ok = true;
    bool firstAppender = true;
    std::size_t pos = 0;
    while (pos < spec.size()) {
        std::size_t start = spec.find_first_not_of(" \t,", pos);
        if (start == std::string_view::npos)
            break;
        std::size_t end = spec.find_first_of(" \t,", start);
        if (end == std::string_view::npos)
            end = spec.size();
        std::string_view token = spec.substr(start, end - start);
        pos = end;
        std::int32_t level;
        if (parseLogLevel(token.data(), token.size(), level)) {
            config.level.store(level, std::memory_order_relaxed);
            config.levelSet = true;
            continue;
        }
        FileAppender* appender = findAppender(token);
        if (appender == nullptr) {
            ok = false;
            continue;
        }
        if (firstAppender)
            config.appenders.clear();
        firstAppender = false;
        config.appenders.push_back(appender);
    }
    return ok;
}

void LogConfigParser::applySpecs()
{
    if (haveRoot && !applySpec(rootLoggerConfig(), rootSpec.text))
        addError(rootSpec.file, rootSpec.line, rootSpec.text, LogConfigError::PARSE_ERROR);
    for (const Deferred& d : categorySpecs) {
        std::string_view text = d.text;
        std::size_t eq = text.find('=');
        if (eq == std::string_view::npos) {
            addError(d.file, d.line, d.text, LogConfigError::PARSE_ERROR);
            continue;
        }
        std::string_view name = trimBlanksRight(text.substr(0, eq));
        LoggerConfig& config = loggerConfigFor(name.data(), name.size());
        if (!applySpec(config, text.substr(eq + 1)))
            addError(d.file, d.line, d.text, LogConfigError::PARSE_ERROR);
    }
}

void LogConfigParser::report() const
{
    for (const LogConfigError& e : errorList) {
        Str file = e.file != nullptr ? e.file->toUtf8() : Str();
        if (e.kind == LogConfigError::UNTERMINATED_COMMENT)
            logError(internalLogger(), "%s:%u: Unterminated XML comment started", file.c_str(), e.line);
        else
            logWarn(internalLogger(), "%s:%u: Parse error at \"%s\"", file.c_str(), e.line, e.text.c_str());
    }
}

bool loadLogConfig(const Pathname& path, const char* sectionName, const std::map<Str, Pathname>& variables,
                   bool allowStderr)
{
    if (!allowStderr)
        setStderrFallbackDisabled(true);
    logStartTime();
    FileAppender& root = rootFileAppender();
    exchangeRootAppender(&root);

    Str text;
    if (!readFile(path, text)) {
        resolveCategories();
        logError(internalLogger(), "Couldn't open log file configuration \"%s\": %m", path.toUtf8().c_str());
        return false;
    }
    LogConfigParser parser(sectionName, variables);
    parser.parse(path, text);
    const Pathname local = overridePath(path);
    Str localText;
    if (readFile(local, localText))
        parser.parse(local, localText);
    parser.applySpecs();
    resolveCategories();
    finishAll(allowStderr);
    parser.report();
    return parser.errors().empty();
}
