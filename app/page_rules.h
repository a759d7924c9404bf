// What the page's controls become when an adapter, a team or a mode is ticked. No system calls.
#pragma once

#include <windows.h>

// A list of control ids, ended by 0.
typedef const WORD* ControlList;

// The change that one row of a rule table asks for.
struct PageRule {
    ControlList enable;
    ControlList disable;
    ControlList untick;
    ControlList tick;
    BOOL untickOtherList; // every adapter or team of the list that was not clicked
    BOOL showMode;        // tick the boxes of the chosen team's mode
};

// The rule for a click in one of the two lists, or NULL when nothing changes.
//   list          IDC_NIC_LIST or IDC_TEAM_LIST
//   checked       ticked items of that list
//   otherChecked  whether the other list has a ticked item
const PageRule* ListRule(WORD list, int checked, BOOL otherChecked);

// The rule for a mode box that is now ticked or unticked, or NULL when nothing changes.
const PageRule* ModeRule(WORD box, BOOL ticked);

// The boxes that show a team's mode.
ControlList ModeBoxes(DWORD teamMode);
