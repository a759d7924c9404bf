#include "drive/script.h"
#include <windows.h>

namespace drive {

struct Escape {
    wchar_t letter;
    wchar_t character;
};

static const Escape escapes[] = {
    {L'"', L'"'}, {L'\\', L'\\'}, {L'r', L'\r'}, {L'n', L'\n'}, {L't', L'\t'}};

static wchar_t Unescape(wchar_t letter) {
    for (const Escape& escape : escapes) {
        if (escape.letter == letter)
            return escape.character;
    }
    return letter;
}

static bool IsBlank(wchar_t character) {
    return character == L' ' || character == L'\t' || character == L'\r';
}

// Reads a quoted word from behind its opening quote; *at ends behind the closing one.
static bool TakeQuoted(const std::wstring& line, size_t* at, std::wstring* word) {
    while (*at < line.size() && line[*at] != L'"') {
        wchar_t character = line[(*at)++];
        if (character == L'\\' && *at < line.size())
            character = Unescape(line[(*at)++]);
        word->push_back(character);
    }
    return (*at)++ < line.size();
}

bool SplitWords(const std::wstring& line, std::vector<std::wstring>* words) {
    words->clear();
    for (size_t at = 0; at < line.size();) {
        if (IsBlank(line[at])) {
            at++;
            continue;
        }
        if (line[at] == L'#')
            break;
        std::wstring word;
        while (at < line.size() && !IsBlank(line[at])) {
            if (line[at] != L'"')
                word.push_back(line[at++]);
            else if (!TakeQuoted(line, &++at, &word))
                return false;
        }
        words->push_back(word);
    }
    return true;
}

std::wstring Quoted(const std::wstring& text) {
    std::wstring quoted = L"\"";
    for (wchar_t character : text) {
        wchar_t letter = 0;
        for (const Escape& escape : escapes) {
            if (escape.character == character)
                letter = escape.letter;
        }
        if (letter != 0)
            quoted.push_back(L'\\');
        quoted.push_back(letter != 0 ? letter : character);
    }
    return quoted + L"\"";
}

std::string ToUtf8(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, 0);
    bytes.resize(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), size, &bytes[0],
                                     static_cast<int>(bytes.size()), nullptr, nullptr));
    return bytes;
}

std::wstring FromUtf8(const std::string& bytes) {
    const int size = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), 0);
    text.resize(MultiByteToWideChar(CP_UTF8, 0, bytes.c_str(), size, &text[0], size));
    return text;
}

} // namespace drive
