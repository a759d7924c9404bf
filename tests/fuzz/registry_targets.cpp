// Registry values of any type and size, some of which change between two calls, and the records that
// are made of them.
#include "machine.h"
#include "records_input.h"
#include "targets.h"

#include <memory>

#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/team_list.h"
#include "inventory/team_number.h"
#include "team/member_records.h"
#include "vlan/vlan_binding.h"
#include "vlan/vlan_list.h"
#include "vlan/vlan_records.h"

void FuzzRegistryText(Input& input) {
    FuzzKey key;
    FuzzValue value;
    value.type = input.below(12);
    value.bytes = input.bytes(2000);
    BYTE change = input.number<BYTE>() & 3;
    value.changes = change == 1;
    value.vanishes = change == 2;
    value.later = input.bytes(2000);
    size_t cchSpare = 1 + input.below(3);
    std::vector<BYTE> stored = value.changes ? value.later : value.bytes;
    bool grows = value.changes && value.later.size() > value.bytes.size();
    key.values[L"text"] = value;

    HKEY open = OpenFuzzKey(&key);
    LPWSTR text = reinterpret_cast<LPWSTR>(&key);
    DWORD cb = 0x5EED;
    LONG result = QueryTextValue(open, L"Text", cchSpare, &text, &cb);
    CHECK((result == ERROR_SUCCESS) == (!grows && !value.vanishes));
    CHECK((result == ERROR_SUCCESS) == (text != nullptr));
    if (result == ERROR_SUCCESS) {
        CHECK(cb == stored.size());
        CHECK(stored.empty() || memcmp(text, stored.data(), stored.size()) == 0);
        size_t cchStored = (stored.size() + 1) / 2;
        for (size_t i = 0; i < cchSpare; i++)
            CHECK(text[cchStored + i] == 0);
        CHECK(FuzzLength(text) <= cchStored);
    }
    free(text);

    key.values[L"text"] = value;
    int read = ReadStringFromRegistry(open, L"Text", &text);
    CHECK(read == (result == ERROR_SUCCESS));
    CHECK(read == (text != nullptr));
    free(text);

    key.values[L"text"] = value;
    DWORD number = 0x5EED5EED;
    BOOL isNumber = ReadDwordFromRegistry(open, L"Text", &number);
    CHECK(isNumber == (value.bytes.size() <= sizeof(number)));
    CHECK(isNumber || number == 0x5EED5EED);
    if (isNumber) {
        DWORD expected = 0;
        if (!value.bytes.empty())
            memcpy(&expected, value.bytes.data(), value.bytes.size());
        CHECK(number == expected);
    }

    Text base = input.text(40);
    Text name = input.text(300);
    size_t cchPath = 1 + input.below(255);
    Text path(cchPath, 0xDEAD);
    path.shrink_to_fit();
    if (FormKeyPath(path.data(), cchPath, base.data(), name.data())) {
        CHECK(Name(path.data()) == Name(base.data()) + L"\\" + name.data());
    } else {
        CHECK(name[0] == 0 || base.size() + name.size() > cchPath);
    }
    DeleteConnectionKey(name.data());

    LPWSTR address = name.data();
    CHECK(WriteNetworkAddress(open, L"Other", &address));
    CHECK(key.values[L"networkaddress"].bytes.size() == (name.size() - 1) * sizeof(WCHAR));
    RegCloseKey(open);
}

// A multi-string as its parts; what stands behind the first empty one does not belong to it.
static std::vector<Name> Parts(LPCWSTR list) {
    std::vector<Name> parts;
    for (; *list != 0; list += FuzzLength(list) + 1)
        parts.push_back(list);
    return parts;
}

void FuzzVlanBinding(Input& input) {
    Text list;
    Text entry = input.text(60);
    for (DWORD count = input.below(70); count > 0 && !input.ended(); count--) {
        // Often the very one that is looked for.
        Text next = input.chance() ? entry : input.text(60);
        list.insert(list.end(), next.begin(), next.end());
    }
    if (list.empty())
        list.push_back(0);
    list.push_back(0);
    list.shrink_to_fit();
    Text instanceId = input.text(60);

    Text kept(list.size());
    size_t cchKept = CopyOtherEntries(list.data(), entry.data(), kept.data());
    CHECK(cchKept <= list.size());
    for (size_t i = cchKept; i < kept.size(); i++)
        CHECK(kept[i] == 0);
    std::vector<Name> expected;
    for (const Name& part : Parts(list.data())) {
        if (FuzzCompare(part.c_str(), entry.data(), SIZE_MAX, true) != 0)
            expected.push_back(part);
    }
    kept.push_back(0);
    CHECK(Parts(kept.data()) == expected);
    Text again(kept.size());
    CHECK(CopyOtherEntries(kept.data(), entry.data(), again.data()) == cchKept);
    CHECK(again == kept);

    LPCWSTR found = FindBinding(list.data(), instanceId.data());
    CHECK(found == nullptr || (found > list.data() && found < list.data() + list.size()));
    if (found != nullptr) {
        CHECK(*found != 0 && found[-1] == L'\\');
        CHECK(FuzzCompare(found, instanceId.data(), FuzzLength(found), false) == 0);
    }
}

static std::vector<Name> StoredParts(const FuzzKey& key) {
    auto found = key.values.find(L"vlanbinding");
    if (found == key.values.end())
        return {};
    std::vector<BYTE> bytes = found->second.bytes;
    Text text((bytes.size() + 1) / 2 + 2);
    if (!bytes.empty())
        memcpy(text.data(), bytes.data(), bytes.size());
    return Parts(text.data());
}

void FuzzVlanRecords(Input& input) {
    GUID guid = GuidOf(input.below(4));
    GUID team = GuidOf(input.below(4));
    Text printed(GUID_CCH);
    PrintGuid(&guid, printed.data());
    Name deviceName = Name(L"\\Device\\") + printed.data();
    FillRecords(input);

    FuzzKey key;
    if (input.chance())
        key.values[L"vlanbinding"] = HostileList(input);
    FuzzKey before = key;
    bool steady = !before.values.count(L"vlanbinding") || (!before.values[L"vlanbinding"].changes &&
                                                           !before.values[L"vlanbinding"].vanishes);
    HKEY open = OpenFuzzKey(&key);
    LONG added = AddToVlanBinding(open, deviceName.c_str());
    if (steady) {
        std::vector<Name> expected = StoredParts(before);
        expected.insert(expected.begin(), deviceName);
        CHECK(added == ERROR_SUCCESS && StoredParts(key) == expected);
    }
    key = before;
    LONG removed = RemoveFromVlanBinding(open, deviceName.c_str());
    CHECK(!steady || removed == (before.values.count(L"vlanbinding") ? 0 : ERROR_FILE_NOT_FOUND));
    if (removed == ERROR_SUCCESS) {
        for (const Name& part : StoredParts(key))
            CHECK(FuzzCompare(part.c_str(), deviceName.c_str(), SIZE_MAX, true) != 0);
        // A list either holds an entry or is gone.
        CHECK(key.values.count(L"vlanbinding") == !StoredParts(key).empty());
    }
    RegCloseKey(open);

    AddRemoveVlanInfoTeam(&team, &guid, input.chance());
    AddRemoveVlanInfoNic(&team, &guid, 0, input.chance());
}

void FuzzTeamRecords(Input& input) {
    auto data = std::make_unique<SheetData>();
    g_machine.state = data.get();
    g_machine.listedTeams = input.below(8);
    g_numTeams = 0;
    for (int row = 0; row < MAX_TEAM_ROWS; row++)
        g_teamAdapters[row].guid = GuidOf(input.below(5));
    FillRecords(input);

    CHECK(PopulateTeamList(nullptr) == 1);
    int inUse = 0;
    for (int row = 0; row < MAX_TEAMS; row++) {
        const TeamEntry& team = data->teams[row];
        inUse += team.inUse != 0;
        CHECK(team.numNics >= 0 && team.numNics <= MAX_TEAM_NICS);
        CHECK(team.inUse || team.numNics == 0);
        CHECK(team.TeamMode <= 0xF);
        CHECK(!team.inUse || IsEqualGUID(team.teamGuid, g_teamAdapters[row].guid));
        CHECK(!team.inUse || row < g_machine.listedTeams);
    }
    CHECK(g_numTeams == inUse);

    // What is written for these teams is read again the same.
    TeamEntry written = data->teams[0];
    if (written.inUse) {
        DWORD number = PackTeamNumber(written.TeamMode, static_cast<DWORD>(written.numNics), 0);
        CHECK(WriteIntoTeamRegistry(&written, 7, number) == 1);
    }
}
