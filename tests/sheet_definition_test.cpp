// The property sheets as the program hands them to Windows.
#include "harness/machine_test.h"
#include "harness/program.h"

#include "drive/dialogs.h"
#include "drive/wait.h"

class SheetDefinition : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"three-teams.txt");
    }

    // The sheets that the program has opened, once there are as many.
    static std::vector<std::wstring> sheets(RunningProgram* program, size_t count) {
        std::vector<std::wstring> texts;
        EXPECT_TRUE(drive::WaitUntil([&] {
            texts = Texts(program->journal(), L"sheet");
            return texts.size() >= count;
        }));
        return texts;
    }
};

TEST_F(SheetDefinition, OfTheProgramHasACallbackFlagWithoutACallback) {
    RunningProgram program;
    program.waitDialog(1100);
    EXPECT_EQ(std::vector<std::wstring>{L"flags=0x0008008C parent=none icon=102 start=0 pages=1 "
                                        L"page 1100 flags=0x00000088 callback=null"},
              sheets(&program, 1));
}

TEST_F(SheetDefinition, OfAnAdapterHasTwoPages) {
    RunningProgram program;
    program.tickRow(L"1002", 0);
    program.click(L"1001");
    EXPECT_EQ(L"flags=0x0008008C parent=given icon=102 start=0 pages=2"
              L" page 1101 flags=0x00000008 callback=null"
              L" page 1102 flags=0x00000008 callback=null",
              sheets(&program, 2).back());
}

TEST_F(SheetDefinition, OfATeamHasFourPages) {
    RunningProgram program;
    program.tickRow(L"1004", 0);
    program.click(L"1001");
    EXPECT_EQ(L"flags=0x0008008C parent=given icon=102 start=0 pages=4"
              L" page 1101 flags=0x00000008 callback=null"
              L" page 1102 flags=0x00000008 callback=null"
              L" page 101 flags=0x00000008 callback=null"
              L" page 1103 flags=0x00000008 callback=null",
              sheets(&program, 2).back());
}
