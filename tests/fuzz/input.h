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
    // Bytes that were asked for, there or not, but for the rest.
    size_t asked() const {
        return asked_;
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
    // At most `most` bytes, behind their count. Many bytes need not many: a few may stand for all.
    std::vector<BYTE> bytes(size_t most) {
        size_t count = number<BYTE>();
        bool repeated = false;
        if (count == 0xFF) {
            count = number<WORD>();
            repeated = (count & REPEATED) != 0;
            count &= ~REPEATED;
        }
        count = count < most ? count : most;
        size_t given = repeated ? below(MOST_PATTERN + 1) : count;
        given = given < count ? given : count;
        std::vector<BYTE> taken(given < left_ ? given : left_);
        asked_ += given - taken.size();
        take(taken.data(), taken.size());
        size_t pattern = taken.size();
        if (repeated)
            taken.resize(count);
        for (size_t i = pattern; pattern != 0 && i < taken.size(); i++)
            taken[i] = taken[i - pattern];
        return taken;
    }
    std::vector<BYTE> rest() {
        std::vector<BYTE> taken(at_, at_ + left_);
        left_ = 0;
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
    static constexpr size_t REPEATED = 0x8000;
    static constexpr DWORD MOST_PATTERN = 16;

    void take(void* to, size_t count) {
        asked_ += count;
        count = count < left_ ? count : left_;
        if (count != 0)
            memcpy(to, at_, count);
        at_ += count;
        left_ -= count;
    }

    const BYTE* at_;
    size_t left_;
    size_t asked_ = 0;
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
