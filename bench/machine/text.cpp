#include "text.h"

#include <cwchar>

namespace qvmachine {

std::wstring Wide(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring text(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

std::string Narrow(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string utf8(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(), static_cast<int>(utf8.size()),
                        nullptr, nullptr);
    return utf8;
}

std::wstring Upper(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

bool SameText(const std::wstring& left, const std::wstring& right) {
    return _wcsicmp(left.c_str(), right.c_str()) == 0;
}

std::wstring Hex(DWORD number) {
    wchar_t text[11];
    swprintf(text, ARRAYSIZE(text), L"0x%08lX", number);
    return text;
}

} // namespace qvmachine
