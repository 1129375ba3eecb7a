#include "platform/TextConv.h"

#include <climits>
#include <windows.h>

// Flags 0: ill-formed input becomes U+FFFD instead of failing the call.
namespace platform {

bool appendWideAsUtf8(std::string& out, const wchar_t* text, std::size_t length)
{
    if (length == 0)
        return true;
    if (length > static_cast<std::size_t>(INT_MAX))
        return false;
    const int inLength = static_cast<int>(length);
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text, inLength, nullptr, 0, nullptr, nullptr);
    if (needed <= 0)
        return false;
    const std::size_t oldSize = out.size();
    out.resize(oldSize + static_cast<std::size_t>(needed));
    const int written =
        WideCharToMultiByte(CP_UTF8, 0, text, inLength, out.data() + oldSize, needed, nullptr, nullptr);
    out.resize(oldSize + static_cast<std::size_t>(written > 0 ? written : 0));
    return written > 0;
}

bool appendUtf8AsWide(std::wstring& out, const char* text, std::size_t length)
{
    if (length == 0)
        return true;
    if (length > static_cast<std::size_t>(INT_MAX))
        return false;
    const int inLength = static_cast<int>(length);
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text, inLength, nullptr, 0);
    if (needed <= 0)
        return false;
    const std::size_t oldSize = out.size();
    out.resize(oldSize + static_cast<std::size_t>(needed));
    const int written = MultiByteToWideChar(CP_UTF8, 0, text, inLength, out.data() + oldSize, needed);
    out.resize(oldSize + static_cast<std::size_t>(written > 0 ? written : 0));
    return written > 0;
}

}  // namespace platform
