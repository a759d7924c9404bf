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
    std::vector<bool> rowTicks(int list) const;
    bool rowTicked(int list, int row) const;
    void tickRow(int list, int row, bool on = true);

    // A click on a row's check box, with the page's notifications in the order of the list view:
    // NM_CLICK while the row has its old tick, then the tick changes, then the redraw of the changed
    // rows asks for their texts.
    void clickRow(int list, int row);
    // The same until the row's tick is this; nothing when it is.
    void clickRow(int list, int row, bool on);

    // Parts of it. A click beside the check box is the first alone.
    void notifyClick(int list);
    void redrawRow(int list, int row);
    // Redraws the row, and then each row whose tick the page changes meanwhile.
    void redraw(int list, int row);

    // What a click on a control sends to the page.
    void command(int id, int code = BN_CLICKED);

    // Takes in all messages that wait.
    static void Pump();

  private:
    HWND parent_ = nullptr;
    HWND page_ = nullptr;
    SheetData* data_ = nullptr;
};
