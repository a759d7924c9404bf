#pragma once

#include <windows.h>

struct LVITEMW {
    UINT mask;
    int iItem;
    int iSubItem;
    UINT state;
    UINT stateMask;
    LPWSTR pszText;
};

constexpr UINT LVM_GETITEMCOUNT = 0x1004;
constexpr UINT LVM_INSERTITEMW = 0x104D;
constexpr UINT LVIF_TEXT = 1;
constexpr UINT LVIF_IMAGE = 2;
constexpr UINT LVIF_PARAM = 4;
constexpr UINT LVIF_STATE = 8;
constexpr UINT LVIF_DI_SETITEM = 0x1000;
#define LPSTR_TEXTCALLBACKW reinterpret_cast<LPWSTR>(static_cast<intptr_t>(-1))
