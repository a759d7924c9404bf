// Just enough of the platform's names for the product's deciding sources to compile natively. Texts
// are of 16-bit characters (-fshort-wchar), so the C library's own wide functions do not fit and are
// replaced by name. What the calls do: machine.cpp.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD, ULONG, UINT;
typedef int32_t LONG, BOOL, HRESULT;
typedef uint64_t ULONGLONG;
typedef wchar_t WCHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef BYTE* LPBYTE;
typedef BYTE* PBYTE;
typedef intptr_t LONG_PTR, LPARAM, LRESULT, INT_PTR;
typedef uintptr_t WPARAM, ULONG_PTR;
typedef void* HANDLE;
typedef struct FuzzWindow* HWND;
typedef struct FuzzContext* HDC;
typedef struct FuzzOpenKey* HKEY;
typedef HANDLE HINSTANCE;
static_assert(sizeof(WCHAR) == 2, "compile with -fshort-wchar");

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};

struct WIN32_FIND_DATAW {
    WCHAR cFileName[260];
};

struct SIZE {
    LONG cx;
    LONG cy;
};

#define WINAPI
#define CALLBACK
#define TRUE                  1
#define FALSE                 0
#define VER_PLATFORM_WIN32_NT 2

#define ARRAYSIZE(array)        (sizeof(array) / sizeof((array)[0]))
#define LOWORD(value)           static_cast<WORD>((value) & 0xFFFF)
#define HIWORD(value)           static_cast<WORD>(((value) >> 16) & 0xFFFF)
#define CopyMemory(to, from, n) memcpy((to), (from), (n))
#define ZeroMemory(to, n)       memset((to), 0, (n))
#define IsEqualGUID(a, b)       (memcmp(&(a), &(b), sizeof(GUID)) == 0)
#define SUCCEEDED(hr)           ((hr) >= 0)
#define FAILED(hr)              ((hr) < 0)
#define INVALID_HANDLE_VALUE    reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1))
#define HKEY_LOCAL_MACHINE      (static_cast<HKEY>(nullptr))

constexpr HRESULT S_OK = 0;
constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_NO_MORE_FILES = 18;
constexpr LONG ERROR_NOT_SUPPORTED = 50;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_INVALID_NAME = 123;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_NO_MORE_ITEMS = 259;
constexpr LONG ERROR_NOT_FOUND = 1168;

constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD KEY_ALL_ACCESS = 0xF003F;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD MEM_COMMIT = 0x1000;
constexpr DWORD MEM_RESERVE = 0x2000;
constexpr DWORD MEM_RELEASE = 0x8000;
constexpr DWORD PAGE_READWRITE = 4;
constexpr int DWLP_USER = 16;

// Character classes as the C runtime of the platform numbers them.
#define _ALPHA 0x103
#define _DIGIT 0x4

size_t FuzzLength(LPCWSTR text);
size_t FuzzLengthAtMost(LPCWSTR text, size_t most);
int FuzzCompare(LPCWSTR a, LPCWSTR b, size_t most, bool ignoreCase);
LPWSTR FuzzLast(LPCWSTR text, WCHAR wanted);
int32_t FuzzToLong(LPCWSTR text, LPWSTR* end, int base);
int FuzzIsOfType(WCHAR character, int type);
int FuzzIsSpace(WCHAR character);
#define wcslen(text)            FuzzLength(text)
#define wcsnlen(text, most)     FuzzLengthAtMost((text), (most))
#define wcscmp(a, b)            FuzzCompare((a), (b), SIZE_MAX, false)
#define wcsncmp(a, b, most)     FuzzCompare((a), (b), (most), false)
#define _wcsicmp(a, b)          FuzzCompare((a), (b), SIZE_MAX, true)
#define _wcsnicmp(a, b, most)   FuzzCompare((a), (b), (most), true)
#define lstrcmpW(a, b)          FuzzCompare((a), (b), SIZE_MAX, false)
#define wcsrchr(text, wanted)   FuzzLast((text), (wanted))
#define wcstol(text, end, base) FuzzToLong((text), (end), (base))
#undef iswctype
#undef iswspace
#define iswctype(character, type) FuzzIsOfType((character), (type))
#define iswspace(character)       FuzzIsSpace(character)

DWORD GetLastError();
void SetLastError(DWORD error);

LONG RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD options, DWORD access, HKEY* key);
LONG RegCreateKeyExW(HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR className, DWORD options,
                     DWORD access, void* security, HKEY* key, DWORD* disposition);
LONG RegCloseKey(HKEY key);
LONG RegDeleteKeyW(HKEY parent, LPCWSTR path);
LONG RegEnumKeyW(HKEY key, DWORD index, LPWSTR name, DWORD cchName);
LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, LPBYTE data,
                      DWORD* cbData);
LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD cbData);
LONG RegDeleteValueW(HKEY key, LPCWSTR name);

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, HANDLE model);
BOOL CloseHandle(HANDLE handle);
BOOL DeviceIoControl(HANDLE device, DWORD code, void* in, DWORD cbIn, void* out, DWORD cbOut,
                     DWORD* cbReturned, void* overlapped);
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* file);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* file);
BOOL FindClose(HANDLE search);
void* VirtualAlloc(void* at, size_t cb, DWORD type, DWORD protection);
BOOL VirtualFree(void* at, size_t cb, DWORD type);
BOOL GetVersionExW(OSVERSIONINFOW* version);
UINT GetSystemWindowsDirectoryW(LPWSTR directory, UINT cchDirectory);

LONG_PTR GetWindowLongPtrW(HWND window, int index);
HWND GetDlgItem(HWND dialog, int id);
LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC context);
BOOL GetTextExtentPoint32W(HDC context, LPCWSTR text, int cchText, SIZE* size);
