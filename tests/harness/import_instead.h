// An import of the product that does what a test says, for what neither Wine nor the bench can give.
#pragma once

#include <gtest/gtest.h>

#include <string.h>
#include <windows.h>

// Puts a function in the place of an import of the product for as long as the object lives.
class ImportInstead {
  public:
    ImportInstead(const char* name, void* function) {
        auto base = reinterpret_cast<BYTE*>(GetModuleHandleW(L"qvteamcfg_core.dll"));
        auto dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
        auto nt = reinterpret_cast<IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
        DWORD at = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (auto dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + at); dll->FirstThunk != 0;
             dll++) {
            auto names = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + dll->OriginalFirstThunk);
            auto slots = reinterpret_cast<ULONGLONG*>(base + dll->FirstThunk);
            for (; names->u1.AddressOfData != 0; names++, slots++) {
                auto import =
                    reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (!IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal) &&
                    strcmp(reinterpret_cast<char*>(import->Name), name) == 0)
                    slot_ = slots;
            }
        }
        EXPECT_NE(nullptr, slot_) << name;
        before_ = slot_ != nullptr ? *slot_ : 0;
        Write(reinterpret_cast<ULONG_PTR>(function));
    }
    ~ImportInstead() {
        Write(before_);
    }
    ImportInstead(const ImportInstead&) = delete;
    ImportInstead& operator=(const ImportInstead&) = delete;

  private:
    void Write(ULONGLONG value) {
        DWORD protection;
        if (slot_ != nullptr &&
            VirtualProtect(slot_, sizeof(*slot_), PAGE_READWRITE, &protection)) {
            *slot_ = value;
            VirtualProtect(slot_, sizeof(*slot_), protection, &protection);
        }
    }

    ULONGLONG* slot_ = nullptr;
    ULONGLONG before_ = 0;
};
