// Which Windows the program sees. No 64-bit Windows reports 5.1: Windows XP x64 is 5.2, as Server 2003
// is. What the program does on 5.1 alone, no machine reaches; the tests of it use an artificial answer.
#include "device/windows_version.h"

#include "harness/machine_test.h"
#include "harness/program.h"

#include "device/device_state.h"
#include "team/nic_checks.h"

class SeenWindows : public MachineTest {};

// 6.3 and 10.0 need their entries in the executable's manifest, or Windows tells 6.2.
TEST_F(SeenWindows, IsTheVersionOfTheMachine) {
    LoadAndBuild(L"two-ports");
    const struct {
        const wchar_t* version;
        DWORD major;
        DWORD minor;
    } cases[] = {{L"5.2", 5, 2},  {L"5.2 workstation", 5, 2},
                 {L"6.0", 6, 0},  {L"6.1", 6, 1},
                 {L"6.2", 6, 2},  {L"6.3", 6, 3},
                 {L"10.0", 10, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.version)));
        OSVERSIONINFOW version;
        Bench(std::wstring(L"version ") + c.version);
        ASSERT_TRUE(ReadWindowsVersion(&version));
        EXPECT_EQ(c.major, version.dwMajorVersion);
        EXPECT_EQ(c.minor, version.dwMinorVersion);
    }
    Bench(L"reload");
}

TEST_F(SeenWindows, OfXpX64IsThatOfServer2003) {
    LoadAndBuild(L"xp64");
    EXPECT_EQ(1, GetOsVersionType());
    EXPECT_FALSE(IsWinXPAndOffload(nullptr)) << "offload is on";
}

TEST_F(SeenWindows, OfXpX64LetsATeamBeMadeWithOffloadOn) {
    LoadAndBuild(L"xp64");
    RunningProgram program;
    program.chooseTwo();
    program.click(L"1000");
    program.waitJobOver();
    EXPECT_EQ(1u, program.rows(L"1004").size());
    EXPECT_THAT(Lines(program.journal(), {L"device-enable"}),
                testing::Each(testing::HasSubstr(L"scope=global")));
}

TEST_F(SeenWindows, OfXpX64ShowsNoVlanPageForAnAdapter) {
    LoadAndBuild(L"xp64");
    RunningProgram program;
    program.tickRow(L"1002", 1);
    program.click(L"1001");
    program.waitDialog(1101);
    const std::vector<std::wstring> sheets = Texts(program.journal(), L"sheet");
    ASSERT_EQ(2u, sheets.size());
    EXPECT_THAT(sheets[1], testing::HasSubstr(L"pages=2"));
}
