// The executable that ships, read as a file.
#pragma once

#include "harness/program.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

using Bytes = std::vector<BYTE>;

inline const Bytes& ProgramFile() {
    static const Bytes bytes = [] {
        std::ifstream in(std::wstring(ProgramPath()).c_str(), std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }();
    return bytes;
}

// A record inside of bytes; one that is not inside fails the test and is zero.
template <typename T> T At(const Bytes& bytes, size_t offset) {
    T value = {};
    if (offset + sizeof(T) <= bytes.size())
        memcpy(&value, bytes.data() + offset, sizeof(T));
    else
        ADD_FAILURE() << "offset " << offset << " is outside";
    return value;
}

// The executable as a module that gives its resources and runs nothing.
inline HMODULE ProgramModule() {
    static HMODULE module =
        LoadLibraryExW(ProgramPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    EXPECT_NE(module, nullptr);
    return module;
}

// Empty when there is none.
inline Bytes ProgramResource(LPCWSTR type, int id) {
    HRSRC found = FindResourceW(ProgramModule(), MAKEINTRESOURCEW(id), type);
    if (found == nullptr)
        return {};
    auto data = static_cast<const BYTE*>(LockResource(LoadResource(ProgramModule(), found)));
    return Bytes(data, data + SizeofResource(ProgramModule(), found));
}
