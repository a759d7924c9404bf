// One line of the table that a long run prints, for whoever puts the tables of all runs together.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

struct SweepLine {
    std::string operation;
    unsigned calls = 0; // of the platform that one run makes
    unsigned runs = 0;
    unsigned crashes = 0;
    unsigned hangs = 0;
    unsigned leaks = 0;
    unsigned wrong = 0;
    ULONGLONG started = GetTickCount64();

    bool clean() const {
        return crashes == 0 && hangs == 0 && leaks == 0 && wrong == 0;
    }
    void print() const {
        std::printf("%s\t%u\t%u\t%u\t%u\t%u\t%u\t%u\n", operation.c_str(), calls, runs, crashes,
                    hangs, leaks, wrong,
                    static_cast<unsigned>((GetTickCount64() - started + 500) / 1000));
        std::fflush(stdout);
    }
};

// A number from the environment, for a run that is longer than the usual one.
inline unsigned NumberFromEnvironment(const char* name, unsigned usual) {
    const char* text = std::getenv(name);
    const unsigned long number = text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
    return number != 0 ? static_cast<unsigned>(number) : usual;
}
