#include "harness/journal.h"

#include "bench.h"

#include <algorithm>
#include <sstream>

Events ParseJournal(const std::wstring& text) {
    Events events;
    std::wistringstream lines(text);
    for (std::wstring line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == L'\r')
            line.pop_back();
        size_t first = line.find(L'\t');
        size_t second = first == std::wstring::npos ? first : line.find(L'\t', first + 1);
        if (first == std::wstring::npos)
            continue;
        Event event;
        event.ms = std::wcstoull(line.c_str(), nullptr, 10);
        event.kind = line.substr(first + 1, second - first - 1);
        if (second != std::wstring::npos)
            event.text = line.substr(second + 1);
        events.push_back(event);
    }
    return events;
}

Events Journal() {
    std::wstring text(static_cast<size_t>(BenchJournalText(nullptr, 0)), L'\0');
    BenchJournalText(text.data(), static_cast<int>(text.size()));
    text.resize(wcslen(text.c_str()));
    return ParseJournal(text);
}

void ClearJournal() {
    BenchCommand(L"journal-clear", nullptr, 0);
}

std::vector<std::wstring> Lines(const Events& events, const std::vector<std::wstring>& kinds) {
    std::vector<std::wstring> lines;
    for (const Event& event : events) {
        if (kinds.empty() || std::find(kinds.begin(), kinds.end(), event.kind) != kinds.end())
            lines.push_back(event.kind + L" " + event.text);
    }
    return lines;
}

std::vector<std::wstring> Texts(const Events& events, const std::wstring& kind) {
    std::vector<std::wstring> texts;
    for (const Event& event : events) {
        if (event.kind == kind)
            texts.push_back(event.text);
    }
    return texts;
}

Events Changes(const Events& events) {
    static const std::vector<std::wstring> quiet = {
        L"status",       L"message-box",   L"sleep",         L"netcfg-lock",
        L"netcfg-apply", L"netcfg-unlock", L"dialog-open",   L"dialog-close",
        L"fault",        L"sheet",         L"restart-prompt"};
    Events changes;
    for (const Event& event : events) {
        if (std::find(quiet.begin(), quiet.end(), event.kind) == quiet.end())
            changes.push_back(event);
    }
    return changes;
}
