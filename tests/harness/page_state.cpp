#include "harness/page_state.h"

#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

const std::vector<NamedControl> controlNames = {
    {1018, "up"},       {1019, "down"},   {1003, "backup"}, {1006, "tx"},        {1007, "lacp"},
    {1010, "failback"}, {1000, "create"}, {1005, "remove"}, {1001, "properties"}};

const std::vector<int> modeBoxes = {1003, 1006, 1007, 1010};

int IdOf(const std::string& name) {
    for (const auto& control : controlNames) {
        if (name == control.name)
            return control.id;
    }
    ADD_FAILURE() << "no control " << name;
    return 0;
}

bool IsModeBox(int id) {
    return std::find(std::begin(modeBoxes), std::end(modeBoxes), id) != std::end(modeBoxes);
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

bool Has(const std::string& words, const std::string& word) {
    std::vector<std::string> list = Words(words);
    return std::find(list.begin(), list.end(), word) != list.end();
}

std::ostream& operator<<(std::ostream& out, const Shown& shown) {
    return out << "enabled [" << shown.enabled << "] ticked [" << shown.ticked << "] nics ["
               << shown.nics << "] teams [" << shown.teams << "]";
}

void Append(std::string* words, const std::string& word) {
    *words += (words->empty() ? "" : " ") + word;
}

static std::string TickedRows(HWND list) {
    std::string rows;
    for (int row = 0; row < drive::ListRowCount(list); row++) {
        if (drive::ListRowTicked(list, row))
            Append(&rows, std::to_string(row));
    }
    return rows;
}

Shown Read(HWND page) {
    Shown shown;
    for (const auto& control : controlNames) {
        HWND window = GetDlgItem(page, control.id);
        if (IsWindowEnabled(window))
            Append(&shown.enabled, control.name);
        if (SendMessageW(window, BM_GETCHECK, 0, 0) == BST_CHECKED)
            Append(&shown.ticked, control.name);
    }
    shown.nics = TickedRows(GetDlgItem(page, 1002));
    shown.teams = TickedRows(GetDlgItem(page, 1004));
    return shown;
}

static bool IsPainted(HWND page) {
    return !GetUpdateRect(GetDlgItem(page, 1002), nullptr, FALSE) &&
           !GetUpdateRect(GetDlgItem(page, 1004), nullptr, FALSE);
}

void WaitPainted(HWND page) {
    EXPECT_TRUE(drive::WaitUntil([page] {
        if (!IsPainted(page))
            return false;
        DWORD_PTR result = 0;
        SendMessageTimeoutW(page, WM_NULL, 0, 0, SMTO_NORMAL, drive::kHangGuard, &result);
        return IsPainted(page);
    }));
}

void MakeTeams(Machine* machine, const std::vector<DWORD>& modes) {
    const MachineAdapter pattern = machine->adapters[0];
    const MachineTeam team = machine->teams[0];
    machine->adapters.clear();
    machine->teams.clear();
    for (size_t i = 0; i < 4 + 2 * modes.size(); i++) {
        MachineAdapter adapter = pattern;
        wchar_t text[80];
        adapter.name = L"port" + std::to_wstring(i);
        swprintf(text, 80, L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&%02X",
                 static_cast<unsigned>(8 + 8 * i));
        adapter.instance = text;
        swprintf(text, 80, L"{A0000000-0000-4000-8000-%012X}", static_cast<unsigned>(1 + i));
        adapter.guid = text;
        adapter.friendlyName = L"Quovane 10GbE Adapter #" + std::to_wstring(i + 1);
        machine->adapters.push_back(adapter);
    }
    for (size_t i = 0; i < modes.size(); i++) {
        MachineTeam made = team;
        wchar_t text[80];
        made.name = L"team" + std::to_wstring(i);
        made.teamName = L"Uplink" + std::to_wstring(i);
        made.slot = static_cast<DWORD>(i);
        made.mode = modes[i];
        swprintf(text, 80, L"{B0000000-0000-4000-8000-%012X}", static_cast<unsigned>(1 + i));
        made.guid = text;
        made.members = {L"port" + std::to_wstring(4 + 2 * i), L"port" + std::to_wstring(5 + 2 * i)};
        machine->teams.push_back(made);
    }
}
