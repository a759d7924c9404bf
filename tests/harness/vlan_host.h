// The VLAN page of one host in the test's own process, and the modal dialogs and message boxes that
// come from it, played by a script instead of a user.
#pragma once

#include "harness/import_instead.h"
#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"

#include <functional>
#include <string>
#include <vector>

// A message box of the product that was answered unseen.
struct ShownBox {
    HWND owner = nullptr;
    std::wstring text;
    std::wstring caption; // "<none>" for the system's own
    UINT type = 0;
};

// Answers all message boxes of the product for as long as it lives. One at a time.
class BoxCatcher {
  public:
    explicit BoxCatcher(int answer = IDOK);
    ~BoxCatcher();
    BoxCatcher(const BoxCatcher&) = delete;
    BoxCatcher& operator=(const BoxCatcher&) = delete;

    std::vector<ShownBox> boxes;
    std::function<void()> whileShown;

  private:
    static int WINAPI Answer(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

    int answer_;
    ImportInstead instead_;
};

using DialogStep = std::function<void(HWND dialog)>;

// A window of the test's own. A modal dialog that it owns takes one step of the script whenever it
// waits for input; one that is left open behind the last step is cancelled.
class DialogOwner {
  public:
    DialogOwner();
    ~DialogOwner();
    DialogOwner(const DialogOwner&) = delete;
    DialogOwner& operator=(const DialogOwner&) = delete;

    HWND window() const {
        return window_;
    }
    void play(std::vector<DialogStep> steps);
    bool stayedOpen() const {
        return cancelled_ != 0;
    }

  private:
    static LRESULT CALLBACK Watch(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                  UINT_PTR id, DWORD_PTR owner);
    void next(HWND dialog);

    HWND window_ = nullptr;
    std::vector<DialogStep> steps_;
    size_t done_ = 0;
    int cancelled_ = 0;
};

// What a user does, and what he sees.
void TypeInto(HWND edit, const std::wstring& text); // replaces the text, key by key
void PasteInto(HWND edit, const std::wstring& text);
void PressInDialog(WORD key); // goes where the focus is, once the dialog takes messages in
void ClickIn(HWND dialog, int id);
std::wstring TextIn(HWND dialog, int id);

// The row of the adapter or team whose page is opened.
struct SheetOf {
    LONG nic;
    LONG team;
};

class VlanPageHost {
  public:
    // Opens the page over the program-wide tables as they are.
    explicit VlanPageHost(SheetOf host);
    ~VlanPageHost();
    VlanPageHost(const VlanPageHost&) = delete;
    VlanPageHost& operator=(const VlanPageHost&) = delete;

    HWND window() const {
        return page_;
    }
    DialogOwner& owner() {
        return owner_;
    }
    VlanList* list() const; // the host's
    HWND control(int id) const;
    bool enabled(int id) const;
    int rows() const;
    std::wstring cell(int row, int column) const;
    std::vector<std::wstring> cells() const; // "10 Voice" for each row
    void tick(const std::vector<int>& rows); // these and no others
    bool ticked(int row) const;
    void addRow(DWORD id, const std::wstring& name); // to list and list view, without a device

    INT_PTR command(int id, int code = BN_CLICKED);
    void add(const std::wstring& vlanId, const std::wstring& name, bool untagged = false);
    void remove(const std::vector<int>& rows);

  private:
    DialogOwner owner_;
    AdapterEntry* host_;
    HWND page_ = nullptr;
};
