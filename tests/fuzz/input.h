// Cuts a fuzzer's bytes into the numbers, texts and buffers that a target needs. Behind its end
// everything is zero.
#pragma once

#include <windows.h>

#include <sanitizer/asan_interface.h>

#include <vector>

// Characters with no room behind them: a read one too far is seen.
using Text = std::vector<WCHAR>;

class Input {
  public:
    Input(const BYTE* data, size_t size) : at_(data), left_(size) {
    }

    bool ended() const {
        return left_ == 0;
    }
    template <typename T> T number() {
        T value = 0;
        take(&value, sizeof(value));
        return value;
    }
    DWORD below(DWORD bound) {
        return bound == 0 ? 0 : number<BYTE>() % bound;
    }
    bool chance() {
        return number<BYTE>() & 1;
    }
    std::vector<BYTE> bytes(size_t most) {
        size_t count = number<BYTE>();
        if (count == 0xFF)
            count = number<WORD>();
        count = count < most ? count : most;
        std::vector<BYTE> taken(count < left_ ? count : left_);
        take(taken.data(), taken.size());
        return taken;
    }
    std::vector<BYTE> rest() {
        std::vector<BYTE> taken(left_);
        take(taken.data(), taken.size());
        return taken;
    }

    // A terminated text of at most `most` characters, out of plain ones or of any.
    Text text(size_t most) {
        bool plain = chance();
        std::vector<BYTE> raw = bytes(plain ? most : 2 * most);
        Text text;
        for (size_t i = 0; i + (plain ? 0 : 1) < raw.size(); i += plain ? 1 : 2) {
            WCHAR character = plain ? raw[i] : static_cast<WCHAR>(raw[i] | raw[i + 1] << 8);
            if (character != 0)
                text.push_back(character);
        }
        text.push_back(0);
        text.shrink_to_fit();
        return text;
    }

  private:
    void take(void* to, size_t count) {
        count = count < left_ ? count : left_;
        if (count != 0)
            memcpy(to, at_, count);
        at_ += count;
        left_ -= count;
    }

    const BYTE* at_;
    size_t left_;
};

// What a target asserts. The fuzzer keeps the input that breaks it.
#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            FailCheck(#condition, __FILE__, __LINE__);                                             \
    } while (0)
// A buffer that a call may fill: all of the stated length must be the caller's, whatever is written.
#define CHECK_ROOM(buffer, cb) CHECK(__asan_region_is_poisoned((buffer), (cb)) == nullptr)
[[noreturn]] void FailCheck(const char* condition, const char* file, int line);
