// Texts from the registry, from INF files and from the keyboard.
#include "machine.h"
#include "targets.h"

#include <memory>

#include "device/inf_path.h"
#include "device/inf_search.h"
#include "inventory/device_path.h"
#include "inventory/tables.h"
#include "inventory/team_name.h"
#include "inventory/team_number.h"
#include "team/member_name.h"
#include "vlan/new_vlan.h"
#include "vlan/vlan_binding.h"

static bool Terminated(LPCWSTR text, size_t cch) {
    return FuzzLengthAtMost(text, cch) < cch;
}

void FuzzGuidText(Input& input) {
    static const GUID zero = {};
    Text text = input.text(80);
    LPCWSTR whole = text.data();
    GUID guid;
    GUID again;
    Text printed(GUID_CCH, 0xDEAD);
    printed.shrink_to_fit();

    memset(&guid, 0xEE, sizeof(guid));
    BOOL parsed = ParseGuid(whole, &guid);
    CHECK(parsed || IsEqualGUID(guid, zero));
    PrintGuid(&guid, printed.data());
    CHECK(FuzzLengthAtMost(printed.data(), GUID_CCH) == GUID_CCH - 1);
    CHECK(ParseGuid(printed.data(), &again) && IsEqualGUID(guid, again));
    CHECK(!parsed || FuzzCompare(whole, printed.data(), SIZE_MAX, true) == 0);

    LPCWSTR behind = TextAfterLastBackslash(whole);
    CHECK(behind == nullptr || (behind > whole && behind < whole + text.size() &&
                                behind[-1] == L'\\' && TextAfterLastBackslash(behind) == nullptr));
    LPCWSTR guidText = BindingGuidText(whole);
    CHECK(guidText == (behind != nullptr && *behind != 0 ? behind : nullptr));

    LPWSTR path = AddDevicePrefix(whole);
    CHECK(path != nullptr && FuzzCompare(path, L"\\Device\\", 8, false) == 0);
    CHECK(FuzzCompare(path + 8, whole, SIZE_MAX, false) == 0);
    LPCWSTR back = TextAfterLastBackslash(path);
    CHECK(FuzzCompare(back, behind != nullptr ? behind : whole, SIZE_MAX, false) == 0);
    free(path);
    path = AddDosDevicePrefix(whole);
    CHECK(path != nullptr && FuzzCompare(path, L"\\\\.\\", 4, false) == 0);
    CHECK(FuzzCompare(path + 4, whole, SIZE_MAX, false) == 0);
    free(path);
}

void FuzzMemberName(Input& input) {
    Text team = input.text(600);
    Text own = input.text(600);
    Text stored = input.text(600);
    auto memberName = std::make_unique<WCHAR[][MEMBER_FRIENDLY_CCH]>(1);
    auto ownName = std::make_unique<WCHAR[][MEMBER_FRIENDLY_CCH]>(1);

    FormMemberName(memberName[0], team.data(), own.data());
    CHECK(Terminated(memberName[0], MEMBER_FRIENDLY_CCH));
    size_t cchWhole = team.size() + own.size() - 1;
    size_t cchFormed = FuzzLength(memberName[0]);
    CHECK(cchFormed == (cchWhole < MEMBER_FRIENDLY_CCH ? cchWhole : MEMBER_FRIENDLY_CCH - 1));
    for (size_t i = cchFormed; i < MEMBER_FRIENDLY_CCH; i++)
        CHECK(memberName[0][i] == 0);

    // A member's name gives its own name back, as far as that was kept.
    BOOL stripped = StripTeamName(ownName[0], team.data(), memberName[0]);
    CHECK(stripped || team.size() - 1 > cchFormed);
    if (stripped && cchFormed >= team.size()) {
        CHECK(FuzzCompare(ownName[0], own.data(), cchFormed - team.size(), false) == 0);
        CHECK(FuzzLength(ownName[0]) == cchFormed - team.size());
    }

    ownName[0][0] = 0x5EED;
    stripped = StripTeamName(ownName[0], team.data(), stored.data());
    CHECK(stripped || ownName[0][0] == 0x5EED);
    CHECK(!stripped || Terminated(ownName[0], MEMBER_FRIENDLY_CCH));
}

void FuzzTeamName(Input& input) {
    Text name = input.text(700);
    g_numTeams = static_cast<LONG>(input.below(8));
    for (int row = 0; row < MAX_TEAM_ROWS; row++) {
        Text existing = input.text(NAME_CCH - 1);
        memcpy(g_teamAdapters[row].name, existing.data(), existing.size() * sizeof(WCHAR));
    }
    int verdict = CheckTeamName(name.data());
    CHECK(verdict == TEAM_NAME_USABLE || verdict == TEAM_NAME_IN_USE ||
          verdict == TEAM_NAME_INVALID);
    CHECK(name[0] != 0 || verdict != TEAM_NAME_USABLE);
    for (int row = 0; row < g_numTeams && row < MAX_TEAM_ROWS; row++) {
        CHECK(CheckTeamName(g_teamAdapters[row].name) == TEAM_NAME_IN_USE);
    }

    TeamEntry teams[MAX_TEAMS] = {};
    int numTeams = static_cast<int>(input.below(MAX_TEAMS + 1));
    for (TeamEntry& team : teams) {
        team.inUse = input.chance();
        team.TeamNumber = input.number<DWORD>();
        CHECK(TeamModeOf(team.TeamNumber) <= 0xF);
    }
    DWORD slot = ChooseTeamSlot(teams, numTeams);
    CHECK(slot <= static_cast<DWORD>(numTeams));
    for (const TeamEntry& team : teams) {
        CHECK(slot == static_cast<DWORD>(numTeams) || !team.inUse ||
              (team.TeamNumber & 0xF) != slot);
    }
    DWORD mode = input.below(16);
    DWORD members = input.below(9);
    DWORD number = PackTeamNumber(mode, members, slot);
    CHECK(TeamModeOf(number) == mode && (number >> 4 & 0xF) == members && (number & 0xF) == slot);
}

// The number at the beginning of a text, worked out in another way.
static int64_t Nearest(LPCWSTR text, bool* any) {
    while (FuzzIsSpace(*text))
        text++;
    int sign = *text == L'-' ? -1 : 1;
    if (*text == L'-' || *text == L'+')
        text++;
    int64_t value = 0;
    for (*any = false; *text >= L'0' && *text <= L'9'; text++, *any = true)
        value = value > INT32_MAX ? value : 10 * value + (*text - L'0');
    value *= sign;
    return value > INT32_MAX ? INT32_MAX : value < INT32_MIN ? INT32_MIN : value;
}

void FuzzNewVlan(Input& input) {
    auto list = std::make_unique<VlanList>();
    list->numVlans = static_cast<WORD>(input.below(MAX_VLANS + 1));
    for (int row = 0; row < list->numVlans && !input.ended(); row++) {
        list->vlanIds[row] = input.number<WORD>();
        Text name = input.text(8);
        memcpy(list->vlanNames[row], name.data(), name.size() * sizeof(WCHAR));
    }
    Text idText = input.text(29);
    Text name = input.text(99);
    BOOL untagged = input.chance();
    bool any;

    DWORD id = ParseVlanId(idText.data());
    int64_t expected = Nearest(idText.data(), &any);
    CHECK(id == (any ? static_cast<DWORD>(expected) : NO_VLAN_ID));

    VlanVerdict verdict = JudgeVlan(list.get(), id, name.data(), untagged);
    CHECK(verdict >= VLAN_ACCEPTED && verdict <= VLAN_LIST_FULL);
    CHECK(list->numVlans < MAX_VLANS || verdict != VLAN_ACCEPTED);
    CHECK(id <= MAX_VLAN_ID || verdict != VLAN_ACCEPTED);
    if (verdict == VLAN_ACCEPTED) {
        WORD before = list->numVlans;
        AppendVlanRow(list.get(), id, name.data());
        CHECK(list->numVlans == before + 1 && list->numVlans <= MAX_VLANS);
        CHECK(list->vlanIds[before] == id);
        CHECK(FuzzCompare(list->vlanNames[before], name.data(), SIZE_MAX, false) == 0);
        CHECK(JudgeVlan(list.get(), id, L"?", untagged) != VLAN_ACCEPTED);
    }
    CHECK(!CanAddUntaggedVlan(list.get()) || list->numVlans != 0);
    Text longName = input.text(600);
    if (list->numVlans < MAX_VLANS) {
        AppendVlanRow(list.get(), 1, longName.data());
        CHECK(Terminated(list->vlanNames[list->numVlans - 1], NAME_CCH));
    }
    while (list->numVlans != 0) {
        WORD before = list->numVlans;
        int row = static_cast<int>(input.below(before));
        WORD next = row + 1 < before ? list->vlanIds[row + 1] : list->vlanIds[row];
        DropVlanRow(list.get(), row);
        CHECK(list->numVlans == before - 1 && list->vlanIds[row] == next);
    }
}

void FuzzInf(Input& input) {
    Text directory = input.text(300);
    Text fileName = input.text(300);
    size_t cchPath = 1 + input.below(255);
    Text path(cchPath, 0xDEAD);
    path.shrink_to_fit();
    Name expected(directory.data());
    if (!expected.empty() && expected.back() != L'\\' && expected.back() != L'/')
        expected += L"\\";
    expected += Name(L"Inf\\") + fileName.data();
    if (FormInfPath(path.data(), cchPath, directory.data(), fileName.data()))
        CHECK(Terminated(path.data(), cchPath) && expected == path.data());
    else
        CHECK(directory.size() == 1 || expected.size() >= cchPath);

    g_machine.windowsDirectory = directory.data();
    g_machine.windowsDirectoryResult = input.chance() ? input.number<WORD>() : 0;
    g_machine.findFailures = static_cast<int>(input.below(40));
    for (DWORD count = input.below(6); count > 0; count--) {
        FuzzInfFile inf;
        inf.fileName = input.text(259).data();
        inf.opens = input.chance();
        switch (input.below(4)) {
        case 0:
            inf.fields.push_back(MINIPORT_HARDWARE_ID);
            break;
        case 1:
            inf.fields.push_back(MAKER_INF_PROVIDER);
            break;
        case 2:
            inf.fields.push_back(input.text(400).data());
            break;
        default:
            break;
        }
        g_machine.infs.push_back(inf);
    }
    Text infPath(PATH_CCH, 0xDEAD);
    infPath.shrink_to_fit();
    for (auto find : {GetMiniportInf, GetProtocolInf}) {
        infPath[0] = 0x5EED;
        int found = find(nullptr, infPath.data());
        CHECK(found == 0 || found == 1);
        CHECK(found == 1 ? Terminated(infPath.data(), PATH_CCH) : infPath[0] == 0x5EED);
        CheckAllClosed();
    }
}
