// Text between UTF-8 files and the UTF-16 system.
#pragma once

#include <windows.h>

#include <string>

namespace qvmachine {

std::wstring Wide(const std::string& utf8);
std::string Narrow(const std::wstring& text);
std::wstring Upper(std::wstring text);
bool SameText(const std::wstring& left, const std::wstring& right); // whatever the case

// "0x0000002A"
std::wstring Hex(DWORD number);

} // namespace qvmachine
