#include "logging/PatternLayout.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>

#include "logging/Appender.h"
#include "logging/LogRegistry.h"
#include "logging/Logger.h"
#include "platform/Clock.h"
#include "platform/Threads.h"

namespace {

const char lineEnd[] = "\r\n";
const char isoFormat[] = "%Y-%m-%d %H:%M:%S,%l";

std::atomic<const char* (*)()> threadNameGetter{nullptr};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::uint32_t readNumber(const Str& p, std::size_t& pos)
{
    std::uint64_t n = 0;
    while (pos < p.size() && isDigit(p[pos])) {
        if (n < 0xFFFFFFFF)
            n = n * 10 + static_cast<std::uint64_t>(p[pos] - '0');
        ++pos;
    }
    return n > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<std::uint32_t>(n);
}

LayoutAtom literal(const char* text, std::size_t length)
{
    auto n = static_cast<std::uint32_t>(length);
    return LayoutAtom{PatternLayout::LITERAL, text, n, n, n, ' '};
}

std::string_view dateFormatText(std::string_view name)
{
    if (name == "DATE")
        return "%d %b %Y %H:%M:%S,%l";
    if (name == "ISO8601")
        return isoFormat;
    if (name == "ABSOLUTE")
        return "%H:%M:%S,%l";
    return name;
}

}  // namespace

PatternLayout::PatternLayout(std::string_view pattern_) : pattern(pattern_.data(), pattern_.size())
{
    compile();
}

void PatternLayout::compile()
{
    const Str& p = pattern;
    std::size_t pos = 0;
    while (pos < p.size()) {
        if (p[pos] != '%' || (pos + 1 < p.size() && p[pos + 1] == '%')) {
            // A literal run; "%%" ends it and keeps one '%'.
            std::size_t start = pos;
            if (p[pos] == '%') {
                atoms.push_back(literal(p.data() + pos, 1));
                pos += 2;
                continue;
            }
            while (pos < p.size() && p[pos] != '%')
                ++pos;
            std::size_t end = pos;
            if (pos + 1 < p.size() && p[pos + 1] == '%') {
                end = pos + 1;
                pos += 2;
            }
            atoms.push_back(literal(p.data() + start, end - start));
            continue;
        }
        ++pos;
        LayoutAtom atom{MESSAGE, nullptr, 0};
        if (pos < p.size() && p[pos] == '-') {
            atom.fillChar = 0;
            ++pos;
        } else if (pos < p.size() && p[pos] == '0') {
            atom.fillChar = '0';
            ++pos;
        }
        // Padding beyond the runaway guard would only let a pattern make
        // every log call allocate gigabytes.
        atom.minWidth = std::min<std::uint32_t>(readNumber(p, pos), MAX_VALUE_LENGTH);
        if (pos < p.size() && p[pos] == '.') {
            ++pos;
            atom.maxWidth = readNumber(p, pos);
        }
        if (pos >= p.size())
            return;
        char c = p[pos++];
        switch (c) {
        case 'm': atom.kind = MESSAGE; break;
        case 'n': atoms.push_back(literal(lineEnd, 2)); continue;
        case 'c': atom.kind = CATEGORY; break;
        case 'p': atom.kind = LEVEL; break;
        case 't': atom.kind = THREAD; break;
        case 'r': atom.kind = MILLIS_SINCE_START; break;
        case 'R': atom.kind = SECONDS_SINCE_START; break;
        case 'u': atom.kind = CPU_CLOCK; break;
        case 'd': {
            std::string_view spec = isoFormat;
            if (pos < p.size() && p[pos] == '{') {
                std::size_t close = p.find('}', pos + 1);
                if (close == std::string::npos)
                    return;
                spec = dateFormatText(std::string_view(p).substr(pos + 1, close - pos - 1));
                pos = close + 1;
            }
            auto format = std::make_unique<DateFormat>();
            if (!format->compile(spec))
                format->compile(isoFormat);
            atom.kind = DATE;
            atom.text = format.get();
            dateFormats.push_back(std::move(format));
            break;
        }
        default: continue;
        }
        atoms.push_back(atom);
    }
}

void PatternLayout::render(Str& out, const LogEvent& event, const Str& message) const
{
    Str date;
    bool haveTime = false;
    std::tm local{};
    char number[32];
    Str threadName;

    for (const LayoutAtom& atom : atoms) {
        const char* text = nullptr;
        std::size_t length = 0;
        switch (atom.kind) {
        case MESSAGE:
            text = message.data();
            length = message.size();
            break;
        case LITERAL:
            text = static_cast<const char*>(atom.text);
            length = atom.textLength;
            break;
        case CATEGORY:
            if (event.category != nullptr && event.category->name != nullptr) {
                text = event.category->name;
                length = event.category->nameLength;
            }
            break;
        case LEVEL:
            text = logLevelName(event.level);
            length = std::strlen(text);
            break;
        case THREAD: {
            const char* (*getter)() = threadNameGetter.load(std::memory_order_acquire);
            const char* name = getter != nullptr ? getter() : nullptr;
            if (name != nullptr)
                threadName = name;
            else
                threadName = Str::fromUnsigned(platform::currentThreadId());
            text = threadName.data();
            length = threadName.size();
            break;
        }
        case MILLIS_SINCE_START:
        case SECONDS_SINCE_START: {
            Timeval start = logStartTime();
            unsigned long long ms = event.time > start
                ? static_cast<unsigned long long>(event.time.ticksSince(start)) / Timeval::TICKS_PER_MILLISECOND
                : 0;
            if (atom.kind == SECONDS_SINCE_START)
                ms /= 1000;
            length = static_cast<std::size_t>(std::snprintf(number, sizeof number, "%llu", ms));
            text = number;
            break;
        }
        case CPU_CLOCK:
            length = static_cast<std::size_t>(
                std::snprintf(number, sizeof number, "%llu", static_cast<unsigned long long>(std::clock())));
            text = number;
            break;
        case DATE:
            // Straight from the run time: the time classes log their troubles,
            // which would lead back here.
            if (!haveTime) {
                if (!platform::localTime(event.time.unixSeconds(), local))
                    local = std::tm{};
                haveTime = true;
            }
            date.clear();
            static_cast<const DateFormat*>(atom.text)->print(date, local, event.time.unixSeconds(),
                                                              event.time.milliseconds());
            text = date.data();
            length = date.size();
            break;
        default:
            out.assign("_atoms array invalid!");
            return;
        }

        if (length > MAX_VALUE_LENGTH) {
            length = static_cast<std::size_t>(
                std::snprintf(number, sizeof number, "{%u byte str!}", static_cast<unsigned>(length)));
            text = number;
        }
        if (length > atom.maxWidth)
            length = atom.maxWidth;
        std::size_t pad = length < atom.minWidth ? atom.minWidth - length : 0;
        if (pad > 0 && atom.fillChar != 0)
            out.append(pad, static_cast<char>(atom.fillChar));
        out.append(text != nullptr ? text : "", length);
        if (pad > 0 && atom.fillChar == 0)
            out.append(pad, ' ');
    }
}

PatternLayout& PatternLayout::basicLayout()
{
    static PatternLayout* layout = new PatternLayout("%R %p %c %m%n");
    return *layout;
}

PatternLayout& PatternLayout::simpleLayout()
{
    static PatternLayout* layout = new PatternLayout("%-8p: %m%n");
    return *layout;
}

void PatternLayout::setThreadNameGetter(const char* (*getter)())
{
    threadNameGetter.store(getter, std::memory_order_release);
}
