// The two adapter lists in a bare window: no page reacts to them, so what is counted and received
// is the enumeration's own doing.
#pragma once

#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"

#include <commctrl.h>

#include <string>
#include <vector>

class ListHost {
  public:
    // Empties the program-wide tables too: they outlive a test.
    ListHost();
    ~ListHost();
    ListHost(const ListHost&) = delete;
    ListHost& operator=(const ListHost&) = delete;

    HWND window() const {
        return window_;
    }
    SheetData* data() {
        return &data_;
    }
    void forgetData(); // as before the page's initialisation
    HWND list(int id) const;
    int rows(int id) const;
    void addRows(int id, int count); // items only, the table stays
    void clear();                    // items of both lists; the tables stay

    // What the lists received, in order.
    struct Insertion {
        int list = 0;
        LVITEMW item = {};
    };
    struct Extent {
        int list = 0;
        WPARAM width = 0;
    };
    std::vector<Insertion> insertions;
    std::vector<Extent> extents;

  private:
    static LRESULT CALLBACK Record(HWND list, UINT message, WPARAM wParam, LPARAM lParam,
                                   UINT_PTR id, DWORD_PTR host);

    HWND window_ = nullptr;
    SheetData data_ = {};
};

// Names of the first rows of an adapter table.
std::vector<std::wstring> NamesOf(const AdapterEntry* entries, int rows);
