// Team creation, from the ticked adapters to the last record.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "team/create_team.h"

class Creation : public MachineTest {};

TEST_F(Creation, Smoke) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    EXPECT_EQ(2, page.rows(IDC_NIC_LIST));
    page.tickRow(IDC_NIC_LIST, 0);
    page.tickRow(IDC_NIC_LIST, 1);
    page.tick(IDC_ACTIVE_BACKUP);
    ClearJournal();
    EXPECT_EQ(1, CreateTeam(page.window()));
    for (auto& line : Lines(Journal()))
        printf("%ls\n", line.c_str());
    printf("%s\n", MachineDump().c_str());
    printf("%ls\n", Bench(L"open").c_str());
}
