// The bench's own files: drivers, INFs and machine files stand beside its programs.
#pragma once

#include <string>

namespace qvmachine {

// Finds a file by its name relative to the bench's folder: the one that the environment variable
// QVBENCH_BIN names, else that of the module which holds this code, else that of the running
// program. Empty: not there.
std::wstring FindBenchFile(const std::wstring& relative);

// False when the file cannot be read or written. WriteFileBytes replaces a file.
bool ReadFileBytes(const std::wstring& path, std::string* content);
bool WriteFileBytes(const std::wstring& path, const std::string& content);

// %windir%, without a backslash at its end.
std::wstring WindowsDirectory();

} // namespace qvmachine
