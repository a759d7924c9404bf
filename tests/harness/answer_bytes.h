// A driver's answer put together byte by byte, and laid where nothing can be read behind it.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

using Bytes = std::vector<BYTE>;

// A copy of bytes whose last one is the last one that can be read.
class Guarded {
  public:
    explicit Guarded(const Bytes& bytes) {
        const size_t page = 4096;
        const size_t room = (bytes.size() / page + 1) * page;
        base_ = static_cast<BYTE*>(
            VirtualAlloc(nullptr, room + page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        EXPECT_NE(nullptr, base_);
        DWORD protection;
        EXPECT_TRUE(VirtualProtect(base_ + room, page, PAGE_NOACCESS, &protection));
        bytes_ = base_ + room - bytes.size();
        std::copy(bytes.begin(), bytes.end(), bytes_);
    }
    ~Guarded() {
        VirtualFree(base_, 0, MEM_RELEASE);
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    BYTE* bytes() const {
        return bytes_;
    }

  private:
    BYTE* base_ = nullptr;
    BYTE* bytes_ = nullptr;
};

inline void Put(Bytes* bytes, size_t offset, DWORD word) {
    for (size_t i = 0; i < sizeof(word); i++)
        bytes->at(offset + i) = static_cast<BYTE>(word >> (8 * i));
}

inline Bytes Words(std::initializer_list<DWORD> words) {
    Bytes bytes(words.size() * 4);
    size_t offset = 0;
    for (DWORD word : words) {
        Put(&bytes, offset, word);
        offset += 4;
    }
    return bytes;
}
