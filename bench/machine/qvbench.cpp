// The machine from the command line.
#include "machine.h"

#include "compare.h"
#include "driver_control.h"
#include "files.h"
#include "text.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

static const char kUsage[] =
    "qvbench check FILE   is this a machine file\n"
    "qvbench build FILE   make this machine stand\n"
    "qvbench set ADAPTER oid NUMBER ANSWER\n"
    "qvbench set ADAPTER counter NUMBER START STEP\n"
    "qvbench set ADAPTER opens yes|no\n"
    "qvbench set ADAPTER answers-left COUNT|none\n"
    "                     change it under the programs that run\n"
    "qvbench restart      do what a restart of the machine does\n"
    "qvbench dump         print the machine that stands\n"
    "qvbench compare BEFORE AFTER\n"
    "                     print what two dumps differ in, and why; fails on\n"
    "                     a line that nothing explains\n"
    "qvbench sync         start its adapters' driver again\n"
    "qvbench reset        take it down\n"
    "FILE is a path, or the name of a machine that is shipped.\n";

static int Complain(const std::wstring& error) {
    fprintf(stderr, "%s\n", qvmachine::Narrow(error).c_str());
    return 1;
}

static int Load(const std::wstring& file, bool build) {
    Machine machine;
    std::wstring error;
    if (!MachineLoad(file, &machine, &error) || (build && !MachineBuild(machine, &error))) {
        return Complain(error);
    }
    return 0;
}

// KEY [NUMBER] VALUE, as in the adapter's section.
static int Change(const std::wstring& adapter, const std::vector<std::wstring>& words) {
    const size_t keyWords = words[0] == L"oid" || words[0] == L"counter" ? 2 : 1;
    std::string key, value;
    for (size_t i = 0; i < words.size(); i++) {
        std::string& text = i < keyWords ? key : value;
        text += (text.empty() ? "" : " ") + qvmachine::Narrow(words[i]);
    }
    std::wstring error;
    return MachineChange(adapter, key, value, &error) ? 0 : Complain(error);
}

static int Compare(const std::wstring& before, const std::wstring& after) {
    std::string dumps[2];
    for (int i = 0; i < 2; i++) {
        const std::wstring& path = i == 0 ? before : after;
        if (!qvmachine::ReadFileBytes(path, &dumps[i])) {
            return Complain(path + L": cannot be read");
        }
    }
    int result = 0;
    const std::vector<DumpChange> changes = MachineCompare(dumps[0], dumps[1]);
    for (size_t i = 0; i < changes.size(); i++) {
        const char* reason = changes[i].reason != nullptr ? changes[i].reason : "UNEXPLAINED";
        printf("%s%s\n", changes[i].added ? "+" : "-", changes[i].line.c_str());
        // Lines of one reason that follow each other share it.
        if (i + 1 == changes.size() || changes[i + 1].reason != changes[i].reason) {
            printf("    %s\n", reason);
        }
        if (changes[i].reason == nullptr) {
            result = 1;
        }
    }
    return result;
}

int wmain(int argc, wchar_t** argv) {
    const std::wstring verb = argc > 1 ? argv[1] : L"";
    if (argc == 3 && (verb == L"check" || verb == L"build")) {
        return Load(argv[2], verb == L"build");
    }
    if (argc > 3 && verb == L"set") {
        return Change(argv[2], {argv + 3, argv + argc});
    }
    if (argc == 4 && verb == L"compare") {
        return Compare(argv[2], argv[3]);
    }
    if (argc == 2 && verb == L"reset") {
        MachineReset();
        return 0;
    }
    if (argc == 2 && verb == L"restart") {
        std::wstring error;
        return MachineRestart(&error) ? 0 : Complain(error);
    }
    if (argc == 2 && verb == L"sync") {
        return DriverSync() ? 0 : Complain(L"the adapters' driver does not run");
    }
    if (argc == 2 && verb == L"dump") {
        _setmode(_fileno(stdout), _O_BINARY);
        fputs(MachineDump().c_str(), stdout);
        return 0;
    }
    fputs(kUsage, stderr);
    return 2;
}
