// Files that a test lays somewhere and that are gone again with it.
#pragma once

#include "drive/wait.h"

#include <gtest/gtest.h>

#include <string>
#include <tlhelp32.h>
#include <windows.h>

inline std::wstring OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    *(wcsrchr(path, L'\\') + 1) = L'\0';
    return path;
}

inline int ProcessesNamed(const wchar_t* name) {
    int count = 0;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    for (BOOL more = Process32FirstW(snapshot, &entry); more;
         more = Process32NextW(snapshot, &entry))
        count += _wcsicmp(entry.szExeFile, name) == 0;
    CloseHandle(snapshot);
    return count;
}

// A copy of a file of the tests' own folder. A program that still runs from it keeps it a moment.
class PlantedFile {
  public:
    PlantedFile(const std::wstring& from, std::wstring path) : path_(std::move(path)) {
        EXPECT_TRUE(CopyFileW((OwnFolder() + from).c_str(), path_.c_str(), FALSE))
            << testing::PrintToString(path_) << " " << GetLastError();
    }
    ~PlantedFile() {
        EXPECT_TRUE(drive::WaitUntil([this] { return DeleteFileW(path_.c_str()) != 0; }));
    }
    PlantedFile(const PlantedFile&) = delete;
    PlantedFile& operator=(const PlantedFile&) = delete;

  private:
    std::wstring path_;
};

// A folder, below the temporary one unless said otherwise. Whatever it holds goes with it, and the
// folder itself when it was not there before.
class ScratchFolder {
  public:
    explicit ScratchFolder(const std::wstring& name, const std::wstring& parent = Temporary())
        : path_(parent + name), made_(CreateDirectoryW(path_.c_str(), nullptr) != 0) {
        EXPECT_TRUE(made_ || GetLastError() == ERROR_ALREADY_EXISTS) << GetLastError();
    }
    ~ScratchFolder() {
        for (const std::wstring& file : files_) {
            EXPECT_TRUE(drive::WaitUntil([&] {
                return DeleteFileW(file.c_str()) != 0 || GetLastError() == ERROR_FILE_NOT_FOUND;
            }));
            DeleteFileW((file + L".loaded").c_str());
        }
        if (made_)
            RemoveDirectoryW(path_.c_str());
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::wstring& path() const {
        return path_;
    }
    void copyIn(const std::wstring& from, const std::wstring& as) {
        files_.push_back(path_ + L"\\" + as);
        EXPECT_TRUE(CopyFileW((OwnFolder() + from).c_str(), files_.back().c_str(), FALSE))
            << GetLastError();
    }
    bool has(const std::wstring& name) const {
        return GetFileAttributesW((path_ + L"\\" + name).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

  private:
    static std::wstring Temporary() {
        wchar_t path[MAX_PATH];
        GetTempPathW(MAX_PATH, path);
        return path;
    }

    std::wstring path_;
    std::vector<std::wstring> files_;
    bool made_;
};
