// The team configuration page in the test's own process, with its real controls in a real window.
#pragma once

#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"

#include <string>
#include <vector>

// What becomes of the windows that hosts open: a sweep over thousands of pages does not wait for the
// screen.
inline bool g_hostsAreShown = true;

class PageHost {
  public:
    // Opens the page; its lists are filled from the machine that stands.
    PageHost();
    ~PageHost();
    PageHost(const PageHost&) = delete;
    PageHost& operator=(const PageHost&) = delete;

    HWND window() const {
        return page_;
    }
    SheetData* data() {
        return data_;
    }
    HWND control(int id) const;
    std::wstring text(int id) const;
    void setText(int id, const std::wstring& text);
    bool enabled(int id) const;
    bool ticked(int id) const;
    void tick(int id, bool on = true); // without the page noticing
    int rows(int list) const;
    std::wstring rowText(int list, int row) const;
    std::vector<std::wstring> rowTexts(int list) const;
    bool rowTicked(int list, int row) const;
    void tickRow(int list, int row, bool on = true);

    // What a click in a list or on a control sends to the page.
    void notifyClick(int list);
    void command(int id, int code = BN_CLICKED);

    // Takes in all messages that wait.
    static void Pump();

  private:
    HWND parent_ = nullptr;
    HWND page_ = nullptr;
    SheetData* data_ = nullptr;
};
