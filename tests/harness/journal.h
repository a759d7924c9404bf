// The journal of what a program changed on the machine, as a list of events to compare.
#pragma once

#include <string>
#include <vector>

struct Event {
    unsigned long long ms = 0; // bench clock
    std::wstring kind;
    std::wstring text;

    bool operator==(const Event& other) const {
        return kind == other.kind && text == other.text;
    }
};
using Events = std::vector<Event>;

Events ParseJournal(const std::wstring& text);

// The journal of this process since the last ClearJournal.
Events Journal();
void ClearJournal();

// "kind text" of each event, of those kinds only when any are given, in order.
std::vector<std::wstring> Lines(const Events& events, const std::vector<std::wstring>& kinds = {});

// The texts of one kind, in order.
std::vector<std::wstring> Texts(const Events& events, const std::wstring& kind);

// Events that change the machine: everything but texts shown, time and the lock.
Events Changes(const Events& events);
