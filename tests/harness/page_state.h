// What the team configuration page shows, in words, in a window of this process or of another one.
#pragma once

#include "machine.h"

#include <iosfwd>
#include <string>
#include <vector>
#include <windows.h>

struct NamedControl {
    int id;
    const char* name;
};
extern const std::vector<NamedControl> controlNames; // the page's buttons and mode boxes
extern const std::vector<int> modeBoxes;

int IdOf(const std::string& name);
bool IsModeBox(int id);

// Words with blanks between them.
std::vector<std::string> Words(const std::string& text);
bool Has(const std::string& words, const std::string& word);
void Append(std::string* words, const std::string& word);

struct Shown {
    std::string enabled;
    std::string ticked; // mode boxes
    std::string nics;   // ticked rows of "Unassigned Adapters"
    std::string teams;  // ticked rows of "Teamed Adapters"

    bool operator==(const Shown& other) const {
        return enabled == other.enabled && ticked == other.ticked && nics == other.nics &&
               teams == other.teams;
    }
};
std::ostream& operator<<(std::ostream& out, const Shown& shown);

Shown Read(HWND page);

// Waits until the page has painted its lists: painting one may tick off rows of the other, which then
// paints itself too.
void WaitPainted(HWND page);

// A machine with teams of these modes, in slots 0, 1, ..., and four free adapters. `machine` has at
// least one adapter and one team, which serve as patterns.
void MakeTeams(Machine* machine, const std::vector<DWORD>& modes);
