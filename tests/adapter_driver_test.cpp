// How an adapter's driver is opened.
#include "device/adapter_driver.h"
#include "harness/import_instead.h"
#include "harness/machine_test.h"

namespace {

struct Opening {
    std::wstring path;
    DWORD access;
    DWORD share;
    LPSECURITY_ATTRIBUTES security;
    DWORD disposition;
    DWORD flags;
    HANDLE model;
};
std::vector<Opening> g_openings;

HANDLE WINAPI Open(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                   DWORD disposition, DWORD flags, HANDLE model) {
    g_openings.push_back({path, access, share, security, disposition, flags, model});
    SetLastError(ERROR_SHARING_VIOLATION);
    return INVALID_HANDLE_VALUE;
}

} // namespace

TEST(OpenAdapterDriver, AsksForNoAccessAndSharesReadingAndWriting) {
    const wchar_t guid[] = L"{A0000000-0000-4000-8000-00000000000F}";
    const GUID parsed = Guid(guid);
    g_openings.clear();
    {
        ImportInstead instead("CreateFileW", reinterpret_cast<void*>(Open));
        EXPECT_EQ(INVALID_HANDLE_VALUE, OpenAdapterDriver(&parsed));
        EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
    }
    ASSERT_EQ(1u, g_openings.size());
    const Opening& opening = g_openings[0];
    EXPECT_EQ(std::wstring(L"\\\\.\\") + guid, opening.path);
    EXPECT_EQ(0u, opening.access);
    EXPECT_EQ(static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE), opening.share);
    EXPECT_EQ(nullptr, opening.security);
    EXPECT_EQ(static_cast<DWORD>(OPEN_EXISTING), opening.disposition);
    EXPECT_EQ(0u, opening.flags);
    EXPECT_EQ(nullptr, opening.model);
}
