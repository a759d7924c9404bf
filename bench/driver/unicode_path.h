/* Paths put together in a buffer of the caller's, always terminated; what does not fit is cut. */
#ifndef BENCH_DRIVER_UNICODE_PATH_H
#define BENCH_DRIVER_UNICODE_PATH_H

#include <ntddk.h>

/* Appends text to the string, whose buffer has room for chars characters in all. */
static inline void AppendPath(UNICODE_STRING* string, USHORT chars, const WCHAR* text) {
    USHORT used = string->Length / sizeof(WCHAR);
    while (*text && used + 1 < chars) {
        string->Buffer[used++] = *text++;
    }
    string->Buffer[used] = 0;
    string->Length = used * sizeof(WCHAR);
    string->MaximumLength = string->Length + sizeof(WCHAR);
}

static inline void JoinPath(UNICODE_STRING* string, WCHAR* buffer, USHORT chars, const WCHAR* first,
                            const WCHAR* second, const WCHAR* third) {
    string->Buffer = buffer;
    string->Length = 0;
    AppendPath(string, chars, first);
    AppendPath(string, chars, second);
    AppendPath(string, chars, third);
}

#endif
