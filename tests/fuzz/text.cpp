// Texts of 16-bit characters.
#include "input.h"

#include <objbase.h>
#include <strsafe.h>

#include <stdio.h>

size_t FuzzLength(LPCWSTR text) {
    return FuzzLengthAtMost(text, SIZE_MAX);
}

size_t FuzzLengthAtMost(LPCWSTR text, size_t most) {
    size_t length = 0;
    while (length < most && text[length] != 0)
        length++;
    return length;
}

static WCHAR Folded(WCHAR character, bool fold) {
    return fold && character >= L'A' && character <= L'Z' ? character + 32 : character;
}

int FuzzCompare(LPCWSTR a, LPCWSTR b, size_t most, bool ignoreCase) {
    for (; most != 0; a++, b++, most--) {
        int difference = Folded(*a, ignoreCase) - Folded(*b, ignoreCase);
        if (difference != 0 || *a == 0)
            return difference;
    }
    return 0;
}

LPWSTR FuzzLast(LPCWSTR text, WCHAR wanted) {
    LPCWSTR last = nullptr;
    for (;; text++) {
        if (*text == wanted)
            last = text;
        if (*text == 0)
            return const_cast<LPWSTR>(last);
    }
}

int FuzzIsSpace(WCHAR character) {
    return character == L' ' || (character >= 9 && character <= 13);
}

int FuzzIsOfType(WCHAR character, int type) {
    bool letter = (character >= L'A' && character <= L'Z') ||
                  (character >= L'a' && character <= L'z') || character > 0xBF;
    return ((type & _ALPHA) && letter) ||
           ((type & _DIGIT) && character >= L'0' && character <= L'9');
}

// A number that no LONG holds is the nearest that does.
int32_t FuzzToLong(LPCWSTR text, LPWSTR* end, int base) {
    LPCWSTR at = text;
    while (FuzzIsSpace(*at))
        at++;
    bool negative = *at == L'-';
    if (*at == L'-' || *at == L'+')
        at++;
    *end = const_cast<LPWSTR>(text);
    int64_t value = 0;
    for (; *at >= L'0' && *at < L'0' + base; at++) {
        value = value * base + (*at - L'0');
        value = value > 0x80000000LL ? 0x80000000LL : value;
        *end = const_cast<LPWSTR>(at + 1);
    }
    if (negative)
        return static_cast<int32_t>(-value);
    return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

HRESULT StringCchCopyW(LPWSTR to, size_t cchTo, LPCWSTR from) {
    if (cchTo == 0)
        return STRSAFE_E_INVALID_PARAMETER;
    CHECK_ROOM(to, cchTo * sizeof(WCHAR));
    size_t at = 0;
    for (; from[at] != 0; at++) {
        if (at + 1 == cchTo) {
            to[at] = 0;
            return STRSAFE_E_INSUFFICIENT_BUFFER;
        }
        to[at] = from[at];
    }
    to[at] = 0;
    return S_OK;
}

HRESULT StringCchCatW(LPWSTR to, size_t cchTo, LPCWSTR from) {
    size_t used = FuzzLengthAtMost(to, cchTo);
    if (used == cchTo)
        return STRSAFE_E_INVALID_PARAMETER;
    return StringCchCopyW(to + used, cchTo - used, from);
}

// The conversions that the product's texts have: %s %d %x %u %I64u, with a precision of two digits.
HRESULT StringCchPrintfW(LPWSTR to, size_t cchTo, LPCWSTR format, ...) {
    Text out;
    va_list arguments;
    va_start(arguments, format);
    for (; *format != 0; format++) {
        if (*format != L'%') {
            out.push_back(*format);
            continue;
        }
        char narrow[8] = "%";
        char digits[32];
        int i = 1;
        format++;
        bool wide = FuzzCompare(format, L"I64", 3, false) == 0;
        format += wide ? 3 : 0;
        for (; *format == L'.' || (*format >= L'0' && *format <= L'9'); format++)
            narrow[i++] = static_cast<char>(*format);
        if (*format == L's') {
            for (LPCWSTR text = va_arg(arguments, LPCWSTR); *text != 0; text++)
                out.push_back(*text);
            continue;
        }
        CHECK(*format == L'd' || *format == L'u' || *format == L'x');
        narrow[i] = static_cast<char>(*format);
        if (wide)
            snprintf(digits, sizeof(digits), "%llu",
                     static_cast<unsigned long long>(va_arg(arguments, ULONGLONG)));
        else
            snprintf(digits, sizeof(digits), narrow, va_arg(arguments, DWORD));
        for (const char* digit = digits; *digit != 0; digit++)
            out.push_back(*digit);
    }
    va_end(arguments);
    out.push_back(0);
    return StringCchCopyW(to, cchTo, out.data());
}

static int HexDigit(WCHAR character) {
    if (character >= L'0' && character <= L'9')
        return character - L'0';
    character = Folded(character, true);
    return character >= L'a' && character <= L'f' ? character - L'a' + 10 : -1;
}

// {8-4-4-4-12} and nothing behind it.
HRESULT CLSIDFromString(LPCWSTR text, GUID* id) {
    static const char form[] = "{33221100-5544-7766-8899-AABBCCDDEEFF}";
    BYTE bytes[16] = {};
    if (FuzzLength(text) != sizeof(form) - 1)
        return STRSAFE_E_INVALID_PARAMETER;
    for (size_t at = 0; form[at] != 0; at++) {
        int place = HexDigit(static_cast<WCHAR>(form[at]));
        int digit = HexDigit(text[at]);
        if (place < 0 ? text[at] != form[at] : digit < 0)
            return STRSAFE_E_INVALID_PARAMETER;
        if (place >= 0)
            bytes[place] = static_cast<BYTE>(bytes[place] << 4 | digit);
    }
    memcpy(id, bytes, sizeof(bytes));
    return S_OK;
}

int StringFromGUID2(const GUID& guid, LPWSTR text, int cchText) {
    CHECK_ROOM(text, cchText * sizeof(WCHAR));
    BYTE bytes[16];
    char narrow[40];
    memcpy(bytes, &guid, sizeof(bytes));
    int cch =
        1 + snprintf(narrow, sizeof(narrow), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                     guid.Data1, guid.Data2, guid.Data3, bytes[8], bytes[9], bytes[10], bytes[11],
                     bytes[12], bytes[13], bytes[14], bytes[15]);
    if (cch > cchText)
        return 0;
    for (int i = 0; i < cch; i++)
        text[i] = static_cast<WCHAR>(narrow[i]);
    return cch;
}
