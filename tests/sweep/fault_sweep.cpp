// Makes every call of every operation fail, once and from then on, and judges what comes of it.
//
//   fault_sweep [--operation NAME]... [--every K] [--shard I/N] [--only CALL] [--log FILE] [--list]
//
// Prints a line for each operation, tabs between: operation, calls, runs, crashes, hangs, leaks, wrong
// outcomes, seconds. What was wrong with a run goes to standard error and into the log, and into the
// log alone what was left out and why.
// Returns 0 when nothing was wrong.
#include "child.h"
#include "errors.h"
#include "operations.h"
#include "watch.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace {

// Without a word for so long a process is stuck outside all counted calls, or the computer has more to
// do than it can: the run is tried once more before it counts as a hang.
constexpr DWORD kDeadlockMilliseconds = 120 * 1000;

// So many processes in a row may end at once before an operation is given up.
constexpr int kFruitlessProcesses = 3;

struct Options {
    std::vector<std::string> operations;
    Selection selection;
    std::string log = "fault_sweep.log";
    bool list = false;
};

struct Score {
    unsigned long calls = 0;
    size_t runs = 0;
    size_t crashes = 0;
    std::set<size_t> hangs; // runs
    std::set<size_t> leaks; // runs
    std::set<size_t> wrong;
    bool broken = false;
};

std::string Sentence(std::string text) {
    for (char& c : text) {
        if (c == '\x01')
            c = '\n';
    }
    return text;
}

// One operation, in as many processes as it takes.
class Sweep {
  public:
    Sweep(const Options& options, const std::string& operation, std::ofstream* log)
        : options_(options), operation_(operation), log_(log) {
        char folder[MAX_PATH];
        GetTempPathA(MAX_PATH, folder);
        const std::string base =
            std::string(folder) + "fault_sweep-" + std::to_string(GetCurrentProcessId());
        planFile_ = base + ".plan";
        toldFile_ = base + ".told";
    }
    ~Sweep() {
        DeleteFileA(planFile_.c_str());
        DeleteFileA(toldFile_.c_str());
    }

    Score run() {
        DeleteFileA(planFile_.c_str());
        size_t next = 0;
        for (int fruitless = 0; !ended_ && !score_.broken;) {
            const size_t before = next;
            next = carryOn(next);
            fruitless = next == before ? fruitless + 1 : 0;
            if (!ended_ && fruitless == kFruitlessProcesses) {
                note("given up: no process gets anywhere");
                score_.broken = true;
            }
        }
        return score_;
    }

  private:
    void note(const std::string& text) {
        *log_ << operation_ << ": " << text << '\n' << std::flush;
        if (text.compare(0, 9, "left-out ") != 0)
            fprintf(stderr, "%s: %s\n", operation_.c_str(), text.c_str());
    }

    std::string faultText(size_t index) {
        if (plan_.empty()) {
            std::ifstream file(planFile_);
            for (std::string line; std::getline(file, line);)
                plan_.push_back(line);
        }
        return "run " + std::to_string(index) + ", " +
               (index < plan_.size() ? plan_[index] : "unplanned") + ": ";
    }

    // Runs a child; false when it had to be ended.
    bool child(size_t first, DWORD* code) {
        DeleteFileA(toldFile_.c_str());
        char self[MAX_PATH];
        GetModuleFileNameA(nullptr, self, MAX_PATH);
        std::string command = "\"" + std::string(self) + "\" --child " + operation_ + " " +
                              std::to_string(first) + " \"" + toldFile_ + "\" \"" + planFile_ +
                              "\" " + std::to_string(options_.selection.every) + " " +
                              std::to_string(options_.selection.shard) + " " +
                              std::to_string(options_.selection.shards) + " " +
                              options_.selection.only;
        STARTUPINFOA startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process;
        if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                            &startup, &process))
            return false;
        bool ended = false;
        for (DWORD silent = 0, size = 0; !ended && silent < kDeadlockMilliseconds; silent += 1000) {
            ended = WaitForSingleObject(process.hProcess, 1000) == WAIT_OBJECT_0;
            WIN32_FILE_ATTRIBUTE_DATA file = {};
            if (GetFileAttributesExA(toldFile_.c_str(), GetFileExInfoStandard, &file) &&
                file.nFileSizeLow != size) {
                size = file.nFileSizeLow;
                silent = 0;
            }
        }
        if (!ended)
            TerminateProcess(process.hProcess, 1);
        GetExitCodeProcess(process.hProcess, code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return ended;
    }

    // The runs from `first` on, as far as one process gets. Returns the first run that is left.
    size_t carryOn(size_t first) {
        DWORD code = 0;
        const bool ended = child(first, &code);
        size_t next = first;
        bool begun = false;
        bool accounted = false;
        std::ifstream told(toldFile_);
        for (std::string line; std::getline(told, line);) {
            std::istringstream words(line);
            std::string kind;
            size_t index = next;
            words >> kind;
            if (kind == "end") {
                ended_ = true;
                return next;
            }
            if (kind == "broken" || kind == "unknown" || kind == "left-out") {
                note(line);
                score_.broken |= kind != "left-out";
                continue;
            }
            if (kind == "fresh")
                continue;
            if (kind == "calls") {
                words >> score_.calls;
                continue;
            }
            if (kind == "crash" || kind == "hang") {
                note(faultText(next - 1) + Sentence(line));
                if (kind == "crash")
                    score_.crashes++;
                else
                    score_.hangs.insert(next - 1);
                accounted = true;
                continue;
            }
            words >> index;
            if (kind == "begin") {
                begun = true;
                next = index + 1;
                score_.runs++;
            } else if (kind == "unmet") {
                score_.wrong.insert(index);
                note(faultText(index) + "was not met");
            } else {
                (kind == "leak"   ? score_.leaks
                 : kind == "slow" ? score_.hangs
                                  : score_.wrong)
                    .insert(index);
                std::string text;
                std::getline(words, text);
                note(faultText(index) + (kind == "slow" ? "hang" : kind) + ":" + Sentence(text));
            }
        }
        if (!ended && begun && silent_ != next - 1) {
            note(faultText(next - 1) + "without a word, tried once more");
            silent_ = --next;
            score_.runs--;
        } else if (!ended && begun) {
            note(faultText(next - 1) + "hang: without a word, twice");
            score_.hangs.insert(next - 1);
        } else if (code != 0 && !accounted && begun) {
            note(faultText(next - 1) + "crash: ended with " + std::to_string(code));
            score_.crashes++;
        }
        return next;
    }

    const Options& options_;
    const std::string operation_;
    std::ofstream* log_;
    std::string planFile_;
    std::string toldFile_;
    std::vector<std::string> plan_; // its lines
    Score score_;
    bool ended_ = false;
    size_t silent_ = ~size_t{0}; // run that was given a second try
};

bool Parse(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; i++) {
        const std::string name = argv[i];
        if (name == "--list") {
            options->list = true;
            continue;
        }
        if (++i == argc)
            return false;
        const std::string value = argv[i];
        if (name == "--operation")
            options->operations.push_back(value);
        else if (name == "--every")
            options->selection.every = std::strtoul(value.c_str(), nullptr, 10);
        else if (name == "--only")
            options->selection.only = value;
        else if (name == "--log")
            options->log = value;
        else if (name != "--shard" || sscanf(value.c_str(), "%zu/%zu", &options->selection.shard,
                                             &options->selection.shards) != 2)
            return false;
    }
    for (const std::string& operation : options->operations) {
        if (FindOperation(operation) == nullptr) {
            fprintf(stderr, "no operation %s\n", operation.c_str());
            return false;
        }
    }
    return options->selection.every != 0 && options->selection.shard < options->selection.shards;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 9 && std::string(argv[1]) == "--child") {
        auto number = [&](int i) { return static_cast<size_t>(strtoul(argv[i], nullptr, 10)); };
        return RunChild({argv[2],
                         number(3),
                         argv[4],
                         argv[5],
                         {number(6), number(7), number(8), argc > 9 ? argv[9] : ""}});
    }
    Options options;
    if (!Parse(argc, argv, &options)) {
        fprintf(stderr, "fault_sweep [--operation NAME]... [--every K] [--shard I/N] "
                        "[--only CALL] [--log FILE] [--list]\n");
        return 2;
    }
    if (options.operations.empty()) {
        for (const Operation& operation : Operations())
            options.operations.push_back(operation.name);
    }
    std::ofstream log(options.log, std::ios::app);
    bool clean = true;
    for (const std::string& operation : options.operations) {
        if (options.list) {
            printf("%s\n", operation.c_str());
            continue;
        }
        const ULONGLONG begin = GetTickCount64();
        const Score score = Sweep(options, operation, &log).run();
        printf("%s%s\t%lu\t%zu\t%zu\t%zu\t%zu\t%zu\t%.0f\n", operation.c_str(),
               score.broken ? " (broken)" : "", score.calls, score.runs, score.crashes,
               score.hangs.size(), score.leaks.size(), score.wrong.size(),
               static_cast<double>(GetTickCount64() - begin) / 1000);
        fflush(stdout);
        clean = clean && !score.broken && score.crashes == 0 && score.hangs.empty() &&
                score.leaks.empty() && score.wrong.empty();
    }
    return clean ? 0 : 1;
}
