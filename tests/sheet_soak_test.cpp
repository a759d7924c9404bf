// A session in which property sheets are opened and closed all day: nothing may pile up.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/usage.h"

#include "app/adapter_sheet.h"

#include <commctrl.h>
#include <prsht.h>

#include <functional>

constexpr UINT WM_STEP = WM_APP + 1;
constexpr int kOpenings = 200;
constexpr int kSettled = 10;   // what is loaded and cached once is there by then
constexpr size_t kSlack = 256; // bytes that the platform may keep

// Acts on a modal sheet from inside its own message loop.
class SheetDriver {
  public:
    explicit SheetDriver(std::function<void(HWND sheet)> act) : act_(std::move(act)) {
        window_ = CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, nullptr);
        EXPECT_NE(nullptr, window_);
        SetWindowSubclass(window_, Step, 1, reinterpret_cast<DWORD_PTR>(this));
    }
    ~SheetDriver() {
        DestroyWindow(window_);
    }
    SheetDriver(const SheetDriver&) = delete;
    SheetDriver& operator=(const SheetDriver&) = delete;

    void post() const {
        PostMessageW(window_, WM_STEP, 0, 0);
    }
    int sheets = 0; // met so far

  private:
    static BOOL CALLBACK FindSheet(HWND window, LPARAM found) {
        wchar_t caption[100] = L"";
        GetWindowTextW(window, caption, 100);
        if (wcscmp(caption, L"Properties") != 0 || PropSheet_GetTabControl(window) == nullptr)
            return TRUE;
        *reinterpret_cast<HWND*>(found) = window;
        return FALSE;
    }
    static LRESULT CALLBACK Step(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                 DWORD_PTR self) {
        if (message != WM_STEP)
            return DefSubclassProc(window, message, wParam, lParam);
        HWND sheet = nullptr;
        EnumThreadWindows(GetCurrentThreadId(), FindSheet, reinterpret_cast<LPARAM>(&sheet));
        auto driver = reinterpret_cast<SheetDriver*>(self);
        EXPECT_NE(nullptr, sheet);
        driver->sheets += sheet != nullptr;
        if (sheet != nullptr)
            driver->act_(sheet);
        return 0;
    }

    std::function<void(HWND)> act_;
    HWND window_ = nullptr;
};

class SheetSoak : public MachineTest {
  protected:
    // Opens the sheet of a ticked row, lets the driver act on it and waits for its end.
    void OpenOnce(const PageHost& page, const SheetDriver& driver) {
        driver.post();
        ShowPropertiesPage(page.window());
        PageHost::Pump();
        // Wine's property sheets load their icon and leave it behind.
        DestroyIcon(icon_);
    }

    // Goes once round the pages, refreshes the counters on the way and closes the sheet.
    void GoRound(HWND sheet, int pages, UINT button) {
        EXPECT_EQ(pages, SendMessageW(PropSheet_GetTabControl(sheet), TCM_GETITEMCOUNT, 0, 0));
        for (int step = 1; step <= pages; step++) {
            PropSheet_SetCurSel(sheet, nullptr, step % pages);
            HWND shown = PropSheet_GetCurrentPageHwnd(sheet);
            EXPECT_NE(nullptr, shown) << step;
            if (HWND refresh = GetDlgItem(shown, IDC_REFRESH))
                SendMessageW(refresh, BM_CLICK, 0, 0);
        }
        icon_ = reinterpret_cast<HICON>(SendMessageW(sheet, WM_GETICON, ICON_SMALL, 0));
        PropSheet_PressButton(sheet, button);
    }

  private:
    HICON icon_ = nullptr;
};

TEST_F(SheetSoak, LeavesNothingBehindAfterTwoHundredSheets) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    int opening = 0;
    SheetDriver driver([&](HWND sheet) {
        GoRound(sheet, opening % 2 == 0 ? 2 : 4, opening % 4 < 2 ? PSBTN_OK : PSBTN_CANCEL);
    });
    Usage settled;
    std::wstring open;
    for (; opening < kOpenings; opening++) {
        page.tickRow(IDC_NIC_LIST, 0, opening % 2 == 0);
        page.tickRow(IDC_TEAM_LIST, 0, opening % 2 != 0);
        OpenOnce(page, driver);
        ClearJournal(); // has a line for each sheet
        if (opening + 1 == kSettled) {
            open = Bench(L"open");
            settled = Usage::Now();
        }
        if (HasFailure())
            break;
    }
    const Usage now = Usage::Now();
    EXPECT_EQ(open, Bench(L"open")) << "what the program itself opened";
    EXPECT_EQ(settled.kernelHandles, now.kernelHandles) << settled << "\n" << now;
    EXPECT_EQ(settled.gdiObjects, now.gdiObjects) << settled << "\n" << now;
    EXPECT_EQ(settled.userObjects, now.userObjects) << settled << "\n" << now;
    EXPECT_LE(now.privateBytes, settled.privateBytes + kSlack) << settled << "\n" << now;
    EXPECT_LE(now.heapBytes, settled.heapBytes + kSlack) << settled << "\n" << now;
    EXPECT_EQ(kOpenings, driver.sheets);
    EXPECT_GT(Calls("DeviceIoControl"), static_cast<unsigned>(kOpenings) * 50);
}
