// The journal: what the program did to the machine and what the machine did, in order.
// Lines are kept in memory and, when a file is named, appended to it as UTF-8 at once.
#ifndef QV_BENCH_DLL_JOURNAL_H
#define QV_BENCH_DLL_JOURNAL_H

#include <windows.h>
#include <string>

namespace bench {

// Adds "<bench ms>\t<kind>\t<text>"; the text's control characters are escaped here.
void Journal(const wchar_t* kind, const std::wstring& text);
std::wstring JournalText();
void ClearJournal();

// The texts of all lines of kind "misuse" since the last call, a line each: what Windows documents as
// a duty of the caller without refusing it.
std::wstring TakeMisuses();

// Appends every later line to the file; an empty path stops that. False when it cannot be opened.
bool JournalInto(const std::wstring& path);

// Ends the process without warning right behind the NTH line from now that tells of a change to the
// machine, or of the network configuration's lock; 0: no longer.
void EndAtChange(DWORD nth);
DWORD ChangeCount(); // such lines so far

// For as long as it lives such an end is put off: what the system does for a program is done as a
// whole, whether the program lives or not.
class WholeChange {
  public:
    WholeChange();
    ~WholeChange();
    WholeChange(const WholeChange&) = delete;
    WholeChange& operator=(const WholeChange&) = delete;
};

// `text` in double quotes, or (null) for a null pointer.
std::wstring Quoted(const wchar_t* text);
std::wstring Quoted(const std::wstring& text);

// printf for wide strings with the C runtime's meaning of %s (wide).
std::wstring Format(const wchar_t* format, ...);
std::wstring FormatList(const wchar_t* format, va_list arguments);

} // namespace bench

#endif
