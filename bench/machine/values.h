// How values are written in machine files: words to numbers, bytes, registry values and answers.
#pragma once

#include "machine.h"

#include <stdexcept>

namespace qvmachine {

// What is wrong with a value or a line; whoever reads the file adds where.
struct Complaint : std::runtime_error {
    using std::runtime_error::runtime_error;
};
[[noreturn]] void Complain(const std::string& text);

std::string Trim(const std::string& text);
bool StartsWith(const std::string& text, const std::string& prefix);
std::string WithoutComment(const std::string& line);
std::wstring Unquoted(const std::string& value);
std::vector<std::string> Words(const std::string& value);
std::vector<std::wstring> WideWords(const std::string& value);

unsigned long long Number(const std::string& value, unsigned long long limit);
DWORD Dword(const std::string& value);
DWORD Choice(const std::string& value, const std::vector<std::string>& words); // index among words
bool YesNo(const std::string& value);
std::wstring Guid(const std::string& value);

// "text" | 0x.. | multi:"a" "b" | hex(TYPE):..
MachineValue RegistryValue(const std::string& name, const std::string& text);

// A status with which NDIS or a miniport refuses an OID, by its name in the network driver reference,
// without NDIS_STATUS_.
DWORD NdisStatus(const std::string& value);

// dword:.. | qword:.. | hex:.. | error:.. | ndis-error:.. | none; nothing: the OID has no answer.
std::optional<OidAnswer> Answer(const std::string& value);

// START STEP
OidAnswer Counter(const std::string& value);

// A count, or none.
std::optional<DWORD> AnswersLeft(const std::string& value);

// refused:NAME, session:NAME, and one *.
std::vector<std::wstring> ProcessList(const std::string& value);

// A name that Linux allows for a network interface.
std::wstring HostInterface(const std::string& value);

} // namespace qvmachine
