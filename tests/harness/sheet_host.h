// One page of an adapter's or a team's sheet in the test's own process, with its real controls, and
// the driver that such a page asks.
#pragma once

#include "harness/machine_test.h"

#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

class SheetHost {
  public:
    // Opens a page from its template as a sheet does; `data` is what the sheet passes on.
    SheetHost(int dialog, DLGPROC procedure, std::unique_ptr<SheetData> data = nullptr);
    ~SheetHost();
    SheetHost(const SheetHost&) = delete;
    SheetHost& operator=(const SheetHost&) = delete;

    HWND window() const {
        return page_;
    }
    SheetData* data() {
        return data_.get();
    }
    const PROPSHEETPAGEW* record() const {
        return record_.get();
    }
    HWND control(int id) const;
    void press(int id) const; // a click on a button, through the button itself

    // What the procedure itself gives for a message. A notification that sets no result leaves
    // kNoResult in DWLP_MSGRESULT.
    static constexpr LONG_PTR kNoResult = 0x5EED;
    INT_PTR send(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const;
    INT_PTR notify(UINT code) const;
    LONG_PTR result() const;
    LONG_PTR userSlot() const;

    // The list that an adapter page makes: (name, value) of its rows.
    using Row = std::pair<std::wstring, std::wstring>;
    std::vector<HWND> lists() const; // all list views of the page
    HWND list() const;               // the one, or the test fails
    std::vector<Row> rows() const;
    std::vector<std::wstring> names() const;
    std::wstring value(const std::wstring& name) const; // of the first row of that name
    Row column(int index) const;                        // title, width in pixels
    // The list lies in its corner of the page, this large in pixels, and looks as such a list does.
    void expectList(const std::wstring& title, int width, int height) const;

  private:
    DLGPROC procedure_;
    std::unique_ptr<SheetData> data_;
    std::unique_ptr<PROPSHEETPAGEW> record_;
    HWND parent_ = nullptr;
    HWND page_ = nullptr;
};

// A machine of two ports with drivers for NDIS 6.0, the tables filled, the first port chosen and all
// counters forgotten.
class SheetTest : public MachineTest {
  protected:
    void SetUp() override;

    // Puts an adapter of the machine into a row of a table and chooses it.
    void ChooseNic(int row, const MachineAdapter& adapter);
    void ChooseTeamAdapter(int row, const MachineAdapter& adapter);

    MachineAdapter& port(size_t n) {
        return machine.adapters.at(n);
    }
    std::unique_ptr<SheetData> Data() const {
        return std::make_unique<SheetData>();
    }
};

// What the driver of a standing adapter answers from now on.
void AnswerOid(const std::wstring& guid, DWORD oid, const std::vector<BYTE>& bytes);
void RefuseOid(const std::wstring& guid, DWORD oid, DWORD status);
void RefuseAll(const std::wstring& guid); // every OID, as one that the driver does not know

template <typename T> std::vector<BYTE> BytesOf(const T& value) {
    const BYTE* begin = reinterpret_cast<const BYTE*>(&value);
    return std::vector<BYTE>(begin, begin + sizeof(value));
}

// NTSTATUS of refusals, and the last error that they arrive as.
constexpr DWORD kStatusNotSupported = 0xC00000BB;   // 50
constexpr DWORD kStatusUnsuccessful = 0xC0000001;   // 31
constexpr DWORD kStatusDeviceNotReady = 0xC00000A3; // 21
