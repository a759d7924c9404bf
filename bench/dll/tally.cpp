#include "tally.h"

#include <map>

#include "journal.h"
#include "lock.h"

namespace bench {

namespace {

const wchar_t* const kNames[] = {
    L"keys",   L"sets",  L"driver-lists", L"infs",     L"handles",     L"searches", L"libraries",
    L"blocks", L"pages", L"sids",         L"contexts", L"image-lists", L"icons",    L"apartments"};
static_assert(ARRAYSIZE(kNames) == static_cast<size_t>(Kind::Count), "a name for every kind");

struct Entry {
    const char* opener;
    int times;
};

SRWLOCK g_lock = SRWLOCK_INIT;
std::map<std::pair<Kind, const void*>, Entry>& g_open =
    *new std::map<std::pair<Kind, const void*>, Entry>;
int g_stray;

} // namespace

void Opened(Kind kind, const void* value, const char* opener) {
    if (!value || value == INVALID_HANDLE_VALUE)
        return;
    Guard guard(&g_lock);
    Entry& entry = g_open[{kind, value}];
    entry.opener = opener;
    entry.times++;
}

bool Closed(Kind kind, const void* value) {
    if (!value && kind == Kind::Blocks)
        return false;
    Guard guard(&g_lock);
    auto found = g_open.find({kind, value});
    if (found == g_open.end()) {
        if (kind != Kind::Blocks && kind != Kind::Apartments)
            g_stray++;
        return false;
    }
    if (--found->second.times == 0)
        g_open.erase(found);
    return true;
}

std::wstring OpenCounts() {
    int counts[static_cast<size_t>(Kind::Count)] = {};
    Guard guard(&g_lock);
    for (const auto& open : g_open)
        counts[static_cast<size_t>(open.first.first)] += open.second.times;
    std::wstring text;
    for (size_t kind = 0; kind < ARRAYSIZE(kNames); kind++)
        text += Format(L"%s=%d ", kNames[kind], counts[kind]);
    return text + Format(L"stray=%d", g_stray);
}

std::wstring OpenList() {
    std::wstring text;
    Guard guard(&g_lock);
    for (const auto& open : g_open)
        for (int time = 0; time < open.second.times; time++)
            text += Format(L"%s 0x%I64x %hs\n", kNames[static_cast<size_t>(open.first.first)],
                           reinterpret_cast<UINT64>(open.first.second), open.second.opener);
    return text;
}

void ForgetOpen() {
    Guard guard(&g_lock);
    g_open.clear();
    g_stray = 0;
}

} // namespace bench
