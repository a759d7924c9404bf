// One row is added to the host's list here; making the VLAN is the page's work.
#include "vlan/add_vlan_dialog.h"

#include "include/records.h"
#include "include/resource.h"
#include "inventory/trace.h"
#include "vlan/new_vlan.h"
#include "vlan/vlan_message.h"

constexpr int TYPED_ID_CCH = 30;
constexpr int TYPED_NAME_CCH = 100;

static const WCHAR TEXT_NEW_NAME[] = L"Vlan #";
static const WCHAR TEXT_UNTAGGED_ID[] = L"0";
static const WCHAR TEXT_UNTAGGED_NAME[] = L"Untagged";
static const WCHAR TEXT_IN_USE[] = L"This Vlan ID or Vlan Name is already being used";
static const WCHAR TEXT_OUT_OF_RANGE[] = L"Vlan ID should be in 1-4095 range";
static const WCHAR TEXT_BLANK[] = L"Vlan Name should not be blank";
static const WCHAR TEXT_FULL[] =
    L"Number of Vlans has exceeded limit of 64 vlans. Try deleting some vlans";

// The field that is to be typed again after each verdict, and what the user is told.
static const struct {
    VlanVerdict verdict;
    int field;
    LPCWSTR text;
} refusals[] = {
    {VLAN_ID_IN_USE, IDC_VLAN_ID, TEXT_IN_USE},
    {VLAN_NAME_IN_USE, IDC_VLAN_NAME, TEXT_IN_USE},
    {VLAN_ID_OUT_OF_RANGE, IDC_VLAN_ID, TEXT_OUT_OF_RANGE},
    {VLAN_NAME_BLANK, IDC_VLAN_NAME, TEXT_BLANK},
    {VLAN_LIST_FULL, 0, TEXT_FULL},
};

static void OnInitAddVlanDialog(HWND hDlg, HWND hPage) {
    Trace(L"-->OnInitAddVlanDialog:\n");
    VlanList* list = GetVlanList(hPage);
    SetWindowLongPtrW(hDlg, DWLP_USER, reinterpret_cast<LONG_PTR>(list));
    SetDlgItemTextW(hDlg, IDC_VLAN_NAME, TEXT_NEW_NAME);
    EnableWindow(GetDlgItem(hDlg, IDC_UNTAGGED), list != NULL && CanAddUntaggedVlan(list));
    Trace(L"<--OnInitAddVlanDialog:\n");
}

static void OnUntagged(HWND hDlg) {
    BOOL untagged = IsDlgButtonChecked(hDlg, IDC_UNTAGGED) == BST_CHECKED;

    Trace(L"-->OnUntagged: %d\n", untagged);
    SetDlgItemTextW(hDlg, IDC_VLAN_ID, untagged ? TEXT_UNTAGGED_ID : L"");
    SetDlgItemTextW(hDlg, IDC_VLAN_NAME, untagged ? TEXT_UNTAGGED_NAME : TEXT_NEW_NAME);
    EnableWindow(GetDlgItem(hDlg, IDC_VLAN_ID), !untagged);
    Trace(L"<--OnUntagged:\n");
}

// Without a field to return to the dialog ends.
static void Refuse(HWND hDlg, VlanVerdict verdict) {
    for (const auto& refusal : refusals) {
        if (refusal.verdict != verdict)
            continue;
        ShowVlanError(hDlg, refusal.text);
        if (refusal.field == 0)
            EndDialog(hDlg, IDCANCEL);
        else
            SendMessageW(hDlg, WM_NEXTDLGCTL,
                         reinterpret_cast<WPARAM>(GetDlgItem(hDlg, refusal.field)), TRUE);
    }
}

static void OnOk(HWND hDlg) {
    WCHAR szId[TYPED_ID_CCH];
    WCHAR szName[TYPED_NAME_CCH];

    Trace(L"-->OnOk:\n");
    VlanList* list = GetVlanList(hDlg);
    // An empty field is the way of those who have thought better of it.
    if (list == NULL || GetDlgItemTextW(hDlg, IDC_VLAN_ID, szId, ARRAYSIZE(szId)) == 0 ||
        GetDlgItemTextW(hDlg, IDC_VLAN_NAME, szName, ARRAYSIZE(szName)) == 0) {
        EndDialog(hDlg, IDCANCEL);
        Trace(L"<--OnOk: nothing typed\n");
        return;
    }
    DWORD id = ParseVlanId(szId);
    VlanVerdict verdict =
        JudgeVlan(list, id, szName, IsDlgButtonChecked(hDlg, IDC_UNTAGGED) == BST_CHECKED);
    if (verdict == VLAN_ACCEPTED) {
        AppendVlanRow(list, id, szName);
        EndDialog(hDlg, IDOK);
    } else {
        Refuse(hDlg, verdict);
    }
    Trace(L"<--OnOk: %d\n", verdict);
}

INT_PTR CALLBACK AddVlanDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        OnInitAddVlanDialog(hDlg, reinterpret_cast<HWND>(lParam));
        return TRUE;
    }
    if (uMsg != WM_COMMAND)
        return FALSE;
    switch (LOWORD(wParam)) {
    case IDC_UNTAGGED:
        OnUntagged(hDlg);
        return TRUE;
    case IDOK:
        OnOk(hDlg);
        return TRUE;
    case IDCANCEL:
        EndDialog(hDlg, IDCANCEL);
        return TRUE;
    default:
        return FALSE;
    }
}
