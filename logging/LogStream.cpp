#include "logging/LogStream.h"

#include "logging/Logger.h"

LogStream::~LogStream()
{
    if (target != nullptr)
        flush(*target, text);
}

LogStream& LogStream::operator<<(const char* value)
{
    if (target != nullptr && value != nullptr)
        text.append(value);
    return *this;
}

LogStream& LogStream::operator<<(char c)
{
    if (target != nullptr)
        text.push_back(c);
    return *this;
}

LogStream& LogStream::operator<<(const std::string& value)
{
    if (target != nullptr)
        text.append(value);
    return *this;
}

LogStream& LogStream::operator<<(std::string_view value)
{
    if (target != nullptr)
        text.append(value);
    return *this;
}

LogStream& LogStream::operator<<(const std::wstring& value)
{
    return *this << std::wstring_view(value);
}

LogStream& LogStream::operator<<(std::wstring_view value)
{
    if (target != nullptr)
        text.appendWide(value);
    return *this;
}

LogStream& LogStream::operator<<(int value)
{
    return *this << static_cast<long long>(value);
}

LogStream& LogStream::operator<<(unsigned value)
{
    return *this << static_cast<unsigned long long>(value);
}

LogStream& LogStream::operator<<(long value)
{
    return *this << static_cast<long long>(value);
}

LogStream& LogStream::operator<<(unsigned long value)
{
    return *this << static_cast<unsigned long long>(value);
}

LogStream& LogStream::operator<<(long long value)
{
    if (target != nullptr)
        text.appendSigned(value);
    return *this;
}

LogStream& LogStream::operator<<(unsigned long long value)
{
    if (target != nullptr)
        text.appendUnsigned(value);
    return *this;
}

LogStream& LogStream::operator<<(double value)
{
    if (target != nullptr)
        text.appendFormat("%g", value);
    return *this;
}

LogStream& LogStream::operator<<(Timeval value)
{
    if (target != nullptr)
        text.append(value.toString());
    return *this;
}

namespace {

LogStream makeStream(Logger& category, std::int32_t level, LogStream::Flush flush)
{
    return LogStream(category.isEnabled(level) ? &category : nullptr, flush);
}

}  // namespace

LogStream debugStream(Logger& category)
{
    return makeStream(category, LOG_LEVEL_DEBUG, [](Logger& c, const Str& m) { logDebug(c, m); });
}

LogStream infoStream(Logger& category)
{
    return makeStream(category, LOG_LEVEL_INFO, [](Logger& c, const Str& m) { logInfo(c, m); });
}

LogStream warnStream(Logger& category)
{
    return makeStream(category, LOG_LEVEL_WARN, [](Logger& c, const Str& m) { logWarn(c, m); });
}

LogStream errorStream(Logger& category)
{
    return makeStream(category, LOG_LEVEL_ERROR, [](Logger& c, const Str& m) { logError(c, m); });
}
