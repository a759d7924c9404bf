// The comparison of two dumps of a machine: which differences have a reason.
#include "compare.h"

#include <gtest/gtest.h>

static const char kMember[] = "device\\PCI\\A\\1\\driver\\NetCfgInstanceId = REG_SZ "
                              "\"{A0000000-0000-4000-8000-000000000001}\"\n"
                              "device\\PCI\\A\\1\\enum\\DeviceDesc = REG_SZ \"Adapter\"\n";
static const char kStored[] =
    "device\\PCI\\A\\1\\enum\\FriendlyName = REG_SZ \"Port 0\" (512 bytes)\n";
static const char kOther[] = "device\\PCI\\B\\1\\driver\\NetCfgInstanceId = REG_SZ "
                             "\"{A0000000-0000-4000-8000-000000000002}\"\n"
                             "device\\PCI\\B\\1\\enum\\FriendlyName = REG_SZ \"Port 1\"\n";

// "+line" or "-line", and behind it "" for a trace, " lost" for a setting, " ?" without a reason.
static std::vector<std::string> Compared(const std::string& before, const std::string& after) {
    std::vector<std::string> lines;
    for (const DumpChange& change : MachineCompare(before, after))
        lines.push_back((change.added ? "+" : "-") + change.line +
                        (change.reason == nullptr ? " ?"
                         : change.trace           ? ""
                                                  : " lost"));
    return lines;
}

using Lines = std::vector<std::string>;

TEST(MachineCompare, ReportsNothingForEqualDumps) {
    EXPECT_EQ(Lines{}, Compared(kMember, kMember));
}

TEST(MachineCompare, HasNoReasonForAnyOtherFact) {
    EXPECT_EQ(
        (Lines{"-device\\PCI\\B\\1\\driver\\Speed = REG_DWORD 0x00000001 ?",
               "+device\\PCI\\B\\1\\driver\\Speed = REG_DWORD 0x00000002 ?", "+record = key ?"}),
        Compared("device\\PCI\\B\\1\\driver\\Speed = REG_DWORD 0x00000001\n",
                 "device\\PCI\\B\\1\\driver\\Speed = REG_DWORD 0x00000002\nrecord = key\n"));
}

TEST(MachineCompare, ExplainsTracesOfRemovedAdapters) {
    EXPECT_EQ((Lines{"+network\\{51560000-0000-4000-8000-000000000001} = key",
                     "+qvteamp\\Parameters\\Adapters = key",
                     "+service\\qvteammp\\Type = REG_DWORD 0x00000001"}),
              Compared("", "network\\{51560000-0000-4000-8000-000000000001} = key\n"
                           "qvteamp\\Parameters\\Adapters = key\n"
                           "service\\qvteammp\\Type = REG_DWORD 0x00000001\n"));
}

TEST(MachineCompare, HasNoReasonForARecordOrAConnectionThatStays) {
    EXPECT_EQ((Lines{"+network\\{51560000-0000-4000-8000-000000000001}\\Connection\\Name = x ?",
                     "+qvteamp\\Parameters\\Adapters\\{A} = key ?"}),
              Compared("", "network\\{51560000-0000-4000-8000-000000000001}\\Connection\\Name = x\n"
                           "qvteamp\\Parameters\\Adapters\\{A} = key\n"));
}

TEST(MachineCompare, ExplainsANameStoredWithAllOfItsBytes) {
    const std::string name = "device\\PCI\\A\\1\\enum\\FriendlyName = REG_SZ ";
    EXPECT_EQ((Lines{"-" + name + "\"Port 0\"", "+" + name + "\"Port 0\" (512 bytes)"}),
              Compared(name + "\"Port 0\"\n", kStored));
    EXPECT_EQ((Lines{"-" + name + "\"Port 1\" ?", "+" + name + "\"Port 0\" (512 bytes) ?"}),
              Compared(name + "\"Port 1\"\n", kStored));
}

TEST(MachineCompare, ExplainsNamesOfMembersThatHadNoneOrALongOne) {
    const std::string name = "device\\PCI\\A\\1\\enum\\FriendlyName = REG_SZ ";
    EXPECT_EQ((Lines{"+" + name + "\"Adapter\" (512 bytes) lost"}),
              Compared(kMember, kMember + name + "\"Adapter\" (512 bytes)\n"));
    EXPECT_EQ(
        (Lines{"-" + name + "\"Port 0 of many\" lost", "+" + name + "\"Port 0\" (512 bytes) lost"}),
        Compared(kMember + name + "\"Port 0 of many\"\n", std::string(kMember) + kStored));
}

TEST(MachineCompare, ExplainsBindingsThatARemovalEnablesAboveMembersAndTeamsOnly) {
    const std::string member = "path\\ms_implat->{A0000000-0000-4000-8000-000000000001} = ";
    const std::string other = "path\\ms_implat->{A0000000-0000-4000-8000-000000000002} = ";
    const std::string adapters = std::string(kMember) + kStored + kOther;
    EXPECT_EQ((Lines{"-" + member + "disabled lost", "+" + member + "enabled lost"}),
              Compared(adapters + member + "disabled\n", adapters + member + "enabled\n"));
    const std::string team = "path\\ms_implat->{B0000000-0000-4000-8000-000000000001} = ";
    const std::string virtualAdapter = "device\\ROOT\\NET\\0001\\driver\\NetCfgInstanceId = REG_SZ "
                                       "\"{B0000000-0000-4000-8000-000000000001}\"\n";
    EXPECT_EQ(
        (Lines{"-" + team + "disabled below lost", "+" + team + "enabled lost"}),
        Compared(virtualAdapter + team + "disabled below\n", virtualAdapter + team + "enabled\n"));
    EXPECT_EQ((Lines{"-" + member + "enabled ?", "+" + member + "disabled ?"}),
              Compared(adapters + member + "enabled\n", adapters + member + "disabled\n"));
    EXPECT_EQ((Lines{"-" + other + "disabled ?", "+" + other + "enabled ?"}),
              Compared(adapters + other + "disabled\n", adapters + other + "enabled\n"));
}

TEST(MachineCompare, ExplainsAddressAndVisibilityOfFormerMembersOnly) {
    const std::string adapters = std::string(kMember) + kStored + kOther;
    for (const char* device : {"A", "B"}) {
        const std::string key = std::string("device\\PCI\\") + device + "\\1\\driver\\";
        const std::string why = device[0] == 'A' ? " lost" : " ?";
        EXPECT_EQ((Lines{"-" + key + "Characteristics = REG_DWORD 0x0000008C" + why,
                         "+" + key + "Characteristics = REG_DWORD 0x00000084" + why,
                         "-" + key + "NetworkAddress = REG_SZ \"02\"" + why}),
                  Compared(adapters + key + "Characteristics = REG_DWORD 0x0000008C\n" + key +
                               "NetworkAddress = REG_SZ \"02\"\n",
                           adapters + key + "Characteristics = REG_DWORD 0x00000084\n"));
    }
    const std::string key = "device\\PCI\\A\\1\\driver\\";
    EXPECT_EQ((Lines{"-" + key + "Characteristics = REG_DWORD 0x00000084 ?",
                     "+" + key + "Characteristics = REG_DWORD 0x0000008C ?",
                     "+" + key + "NetworkAddress = REG_SZ \"02\" ?"}),
              Compared(adapters + key + "Characteristics = REG_DWORD 0x00000084\n",
                       adapters + key + "Characteristics = REG_DWORD 0x0000008C\n" + key +
                           "NetworkAddress = REG_SZ \"02\"\n"));
}

TEST(MachineCompare, ExplainsWhatAFormerMemberUsesByTheSettingsThatItHasLost) {
    const std::string device = "device\\PCI\\A\\1\\";
    const std::string own = device + "driver\\NetworkAddress = REG_SZ \"0251560000C1\"\n";
    const std::string adapter = std::string(kMember) + kStored;
    const auto uses = [&](const char* address, const char* shown) {
        return device + "bench\\CurrentAddress = " + address + "\n" + device +
               "connection = " + shown + "\n";
    };
    EXPECT_EQ(
        (Lines{"-" + device + "bench\\CurrentAddress = 0251560000C1 lost",
               "+" + device + "bench\\CurrentAddress = 025156000001 lost",
               "-" + device + "connection = hidden lost", "+" + device + "connection = listed lost",
               "-" + own.substr(0, own.size() - 1) + " lost"}),
        Compared(adapter + own + uses("0251560000C1", "hidden"),
                 adapter + uses("025156000001", "listed")));
    EXPECT_EQ(
        (Lines{"-" + device + "bench\\CurrentAddress = 025156000001 ?",
               "+" + device + "bench\\CurrentAddress = 0251560000B1 ?",
               "-" + device + "connection = listed ?", "+" + device + "connection = hidden ?"}),
        Compared(adapter + uses("025156000001", "listed"),
                 adapter + uses("0251560000B1", "hidden")));
}
