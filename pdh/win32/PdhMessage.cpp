#include "pdh/PdhMessage.h"

PdhMessageResult pdhStatusMessage(DWORD status, const std::wstring& insert, std::wstring& text)
{
    HMODULE module = GetModuleHandleW(L"pdh.dll");
    const bool loadedHere = module == nullptr;
    if (loadedHere) {
        module = LoadLibraryW(L"pdh.dll");
        if (module == nullptr) {
            return PdhMessageResult::NoModule;
        }
    }
    DWORD_PTR args[] = {reinterpret_cast<DWORD_PTR>(insert.c_str())};
    LPWSTR buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, status,
        0, reinterpret_cast<LPWSTR>(&buffer), 0, reinterpret_cast<va_list*>(args));
    const DWORD error = GetLastError();
    if (length != 0) {
        text.assign(buffer, length);
        LocalFree(buffer);
    }
    if (loadedHere) {
        FreeLibrary(module);
    }
    SetLastError(error);
    return length != 0 ? PdhMessageResult::Ok : PdhMessageResult::NoMessage;
}
