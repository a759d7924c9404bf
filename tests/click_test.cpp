// A click arrives also where the focus still comes and goes, as it does when a window has just been shown.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <gtest/gtest.h>

#include <string>
#include <windows.h>

namespace {

const wchar_t kCaption[] = L"Click test";

WNDPROC g_button;
LONG volatile g_presses;
LONG volatile g_toSpoil;

// Loses the hold of the mouse behind the first presses, as a window does that has lost the focus.
LRESULT CALLBACK SpoiledButton(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const LRESULT result = CallWindowProcW(g_button, window, message, wParam, lParam);
    if (message == WM_LBUTTONDOWN || message == WM_LBUTTONDBLCLK) {
        g_presses++;
        if (g_toSpoil > 0 && InterlockedDecrement(&g_toSpoil) >= 0)
            SendMessageW(window, WM_CANCELMODE, 0, 0);
    }
    return result;
}

DWORD WINAPI ShowBox(LPVOID) {
    return static_cast<DWORD>(MessageBoxW(nullptr, L"Press it.", kCaption, MB_OK));
}

// A box with one button, in a thread of its own, which loses that many presses.
class Click : public testing::Test {
  protected:
    void open(LONG toSpoil) {
        g_presses = 0;
        g_toSpoil = toSpoil;
        thread_ = CreateThread(nullptr, 0, ShowBox, nullptr, 0, nullptr);
        ASSERT_TRUE(drive::WaitUntil([this] {
            box_ = drive::FindCaption(GetCurrentProcessId(), kCaption);
            return box_ != nullptr && (button_ = drive::FindControl(box_, L"Button")) != nullptr;
        }));
        g_button = reinterpret_cast<WNDPROC>(GetWindowLongPtrW(button_, GWLP_WNDPROC));
        SetWindowLongPtrW(button_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(SpoiledButton));
    }
    void TearDown() override {
        PostMessageW(box_, WM_CLOSE, 0, 0);
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread_, 30000));
        CloseHandle(thread_);
    }
    bool closed() {
        return WaitForSingleObject(thread_, 30000) == WAIT_OBJECT_0;
    }

    HANDLE thread_ = nullptr;
    HWND box_ = nullptr;
    HWND button_ = nullptr;
    std::wstring error_;
};

TEST_F(Click, ArrivesWhereNothingDisturbsIt) {
    open(0);
    EXPECT_TRUE(drive::ClickControl(button_, false, &error_)) << testing::PrintToString(error_);
    EXPECT_TRUE(closed());
    EXPECT_GE(g_presses, 1);
}

TEST_F(Click, IsMadeAgainWhereTheButtonLosesTheMouse) {
    open(2);
    EXPECT_TRUE(drive::ClickControl(button_, false, &error_)) << testing::PrintToString(error_);
    EXPECT_TRUE(closed());
    EXPECT_GE(g_presses, 3);
}

TEST_F(Click, SaysSoWhereTheButtonNeverKeepsTheMouse) {
    open(1000);
    EXPECT_FALSE(drive::ClickControl(button_, false, &error_));
    EXPECT_NE(std::wstring::npos, error_.find(L"does not stay pressed"))
        << testing::PrintToString(error_);
    EXPECT_GT(g_presses, 1);
    EXPECT_TRUE(IsWindow(box_));
}

} // namespace
