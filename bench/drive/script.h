// The words of one line of a scenario, and the texts of its answers.
#ifndef BENCH_DRIVE_SCRIPT_H
#define BENCH_DRIVE_SCRIPT_H

#include <string>
#include <vector>

namespace drive {

// Splits a line at blanks. A word in double quotes may hold blanks, and there \" \\ \r \n \t stand
// for one character; outside quotes everything stands for itself. A `#` that begins a word ends the
// line. False when a quote is not closed.
bool SplitWords(const std::wstring& line, std::vector<std::wstring>* words);

// The text in double quotes, on one line, such that SplitWords gives it back.
std::wstring Quoted(const std::wstring& text);

std::wstring FromUtf8(const std::string& bytes);
std::string ToUtf8(const std::wstring& text);

} // namespace drive

#endif
