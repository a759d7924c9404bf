// Which button may be pressed when is the page's whole logic, and it reads best as tables.
#include "app/page_rules.h"

#include "include/resource.h"
#include "inventory/team_number.h"

static const WORD none[] = {0};
static const WORD modeBoxes[] = {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP, IDC_FAILBACK,
                                 0};
static const WORD activeBackup[] = {IDC_ACTIVE_BACKUP, 0};
static const WORD activeBackupBoxes[] = {IDC_ACTIVE_BACKUP, IDC_FAILBACK, 0};
static const WORD loadBalancing[] = {IDC_TX_LOAD_BALANCING, 0};
static const WORD lacp[] = {IDC_LACP, 0};
static const WORD failback[] = {IDC_FAILBACK, 0};
static const WORD allButActiveBackup[] = {IDC_TX_LOAD_BALANCING, IDC_LACP, 0};
static const WORD allButLoadBalancing[] = {IDC_ACTIVE_BACKUP, IDC_FAILBACK, IDC_LACP, 0};
static const WORD allButLacp[] = {IDC_ACTIVE_BACKUP, IDC_FAILBACK, IDC_TX_LOAD_BALANCING, 0};

// What acts on a single row, and what acts on a team.
static const WORD rowButtons[] = {IDC_MOVE_UP, IDC_MOVE_DOWN, IDC_PROPERTIES, 0};
static const WORD teamButtons[] = {IDC_REMOVE_TEAM, IDC_PROPERTIES, 0};

static const WORD oneTeamOff[] = {
    IDC_MOVE_UP, IDC_MOVE_DOWN, IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING,
    IDC_LACP,    IDC_FAILBACK,  IDC_CREATE_TEAM,   0};
static const WORD oneNicOff[] = {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP, IDC_FAILBACK,
                                 IDC_CREATE_TEAM,   IDC_REMOVE_TEAM,       0};
static const WORD twoNicsOn[] = {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP,
                                 IDC_FAILBACK,      IDC_CREATE_TEAM,       0};
// Active Backup is offered only for a team of exactly two.
static const WORD moreNicsOff[] = {IDC_MOVE_UP,  IDC_MOVE_DOWN,  IDC_ACTIVE_BACKUP,
                                   IDC_FAILBACK, IDC_PROPERTIES, 0};

// clang-format off
//                                  enable       disable      untick             tick  others show
static const PageRule oneTeam =    {teamButtons, oneTeamOff,  modeBoxes,         none, TRUE,  TRUE};
static const PageRule noTeam =     {none,        teamButtons, modeBoxes,         none, FALSE, FALSE};
static const PageRule moreTeams =  {none,        rowButtons,  modeBoxes,         none, FALSE, FALSE};
static const PageRule oneNic =     {rowButtons,  oneNicOff,   modeBoxes,         none, TRUE,  FALSE};
static const PageRule twoNics =    {twoNicsOn,   rowButtons,  none,              none, FALSE, FALSE};
static const PageRule moreNics =   {none,        moreNicsOff, activeBackupBoxes, none, FALSE, FALSE};
static const PageRule noNic =      {none,        rowButtons,  none,              none, FALSE, FALSE};
// clang-format on

const PageRule* ListRule(WORD list, int checked, BOOL otherChecked) {
    if (checked == 0 && otherChecked)
        return NULL;
    if (list == IDC_TEAM_LIST)
        return checked == 0 ? &noTeam : checked == 1 ? &oneTeam : &moreTeams;
    return checked == 0 ? &noNic : checked == 1 ? &oneNic : checked == 2 ? &twoNics : &moreNics;
}

// clang-format off
static const struct {
    WORD box;
    BOOL ticked;
    PageRule rule;
} modeRules[] = {
    {IDC_ACTIVE_BACKUP,     TRUE,  {none, none, allButActiveBackup,  none,         FALSE, FALSE}},
    {IDC_ACTIVE_BACKUP,     FALSE, {none, none, failback,            none,         FALSE, FALSE}},
    {IDC_TX_LOAD_BALANCING, TRUE,  {none, none, allButLoadBalancing, none,         FALSE, FALSE}},
    {IDC_LACP,              TRUE,  {none, none, allButLacp,          none,         FALSE, FALSE}},
    {IDC_FAILBACK,          TRUE,  {none, none, allButActiveBackup,  activeBackup, FALSE, FALSE}},
};
// clang-format on

const PageRule* ModeRule(WORD box, BOOL ticked) {
    for (const auto& row : modeRules) {
        if (row.box == box && row.ticked == !!ticked)
            return &row.rule;
    }
    return NULL;
}

ControlList ModeBoxes(DWORD teamMode) {
    if (teamMode & MODE_FAILBACK)
        return activeBackupBoxes;
    switch (teamMode) {
    case MODE_ACTIVE_BACKUP:
        return activeBackup;
    case MODE_TX_LOAD_BALANCING:
        return loadBalancing;
    case MODE_LACP:
        return lacp;
    default:
        return none;
    }
}
