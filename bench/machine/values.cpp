#include "values.h"

#include "../driver/ndis_status.h"
#include "../driver/qvnic_ioctl.h"
#include "text.h"

#include <algorithm>

namespace qvmachine {

void Complain(const std::string& text) {
    throw Complaint(text);
}

static constexpr char kBlanks[] = " \t\r";

std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A comment begins with a # at the line's start or after a blank, outside quotes.
std::string WithoutComment(const std::string& line) {
    bool quoted = false;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '"') {
            quoted = !quoted;
        } else if (line[i] == '#' && !quoted && (i == 0 || strchr(kBlanks, line[i - 1]))) {
            return line.substr(0, i);
        }
    }
    return line;
}

std::wstring Unquoted(const std::string& value) {
    if (value.empty() || value[0] != '"') {
        return Wide(value);
    }
    if (value.size() < 2 || value.back() != '"') {
        Complain("missing closing quote");
    }
    return Wide(value.substr(1, value.size() - 2));
}

std::vector<std::string> Words(const std::string& value) {
    std::vector<std::string> words;
    for (size_t start = value.find_first_not_of(kBlanks); start != std::string::npos;) {
        const size_t end = std::min(value.find_first_of(kBlanks, start), value.size());
        words.push_back(value.substr(start, end - start));
        start = value.find_first_not_of(kBlanks, end);
    }
    return words;
}

std::vector<std::wstring> WideWords(const std::string& value) {
    std::vector<std::wstring> words;
    for (const auto& word : Words(value)) {
        words.push_back(Wide(word));
    }
    return words;
}

unsigned long long Number(const std::string& value, unsigned long long limit) {
    size_t used = 0;
    unsigned long long number = 0;
    try {
        number = std::stoull(value, &used, 0);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != value.size() || value[0] == '-' || number > limit) {
        Complain("not a number in range: " + value);
    }
    return number;
}

DWORD Dword(const std::string& value) {
    return static_cast<DWORD>(Number(value, MAXDWORD));
}

DWORD Choice(const std::string& value, const std::vector<std::string>& words) {
    const auto found = std::find(words.begin(), words.end(), value);
    if (found == words.end()) {
        std::string all;
        for (const auto& word : words) {
            all += (all.empty() ? "" : ", ") + word;
        }
        Complain("'" + value + "' is none of: " + all);
    }
    return static_cast<DWORD>(found - words.begin());
}

bool YesNo(const std::string& value) {
    return Choice(value, {"no", "yes"}) == 1;
}

std::wstring Guid(const std::string& value) {
    constexpr char kShape[] = "{00000000-0000-0000-0000-000000000000}";
    bool good = value.size() == strlen(kShape);
    for (size_t i = 0; good && i < value.size(); i++) {
        good = kShape[i] == '0' ? isxdigit(static_cast<unsigned char>(value[i]))
                                : value[i] == kShape[i];
    }
    if (!good) {
        Complain("not a braced GUID: " + value);
    }
    return Upper(Wide(value));
}

// "02,51 56": two digits a byte, commas and blanks between them as one likes.
static std::vector<BYTE> HexBytes(const std::string& value) {
    std::string digits;
    for (const char c : value) {
        if (isxdigit(static_cast<unsigned char>(c))) {
            digits += c;
        } else if (c != ',' && !strchr(kBlanks, c)) {
            Complain("not hexadecimal bytes: " + value);
        }
    }
    if (digits.size() % 2) {
        Complain("an odd number of hexadecimal digits");
    }
    std::vector<BYTE> bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

MachineValue RegistryValue(const std::string& name, const std::string& text) {
    const std::wstring wideName = name == "@" ? L"" : Wide(name);
    if (StartsWith(text, "hex(")) {
        const size_t close = text.find("):");
        if (close == std::string::npos) {
            Complain("hex(TYPE):bytes is meant");
        }
        const DWORD type =
            static_cast<DWORD>(std::stoul("0" + text.substr(4, close - 4), nullptr, 16));
        return {wideName, type, HexBytes(text.substr(close + 2))};
    }
    if (StartsWith(text, "multi:")) {
        std::vector<std::wstring> texts;
        for (size_t at = text.find('"'); at != std::string::npos;) {
            const size_t end = text.find('"', at + 1);
            if (end == std::string::npos) {
                Complain("missing closing quote");
            }
            texts.push_back(Wide(text.substr(at + 1, end - at - 1)));
            at = text.find('"', end + 1);
        }
        return MachineValue::MultiText(wideName, texts);
    }
    if (StartsWith(text, "0x")) {
        return MachineValue::Number(wideName, Dword(text));
    }
    return MachineValue::Text(wideName, Unquoted(text));
}

static OidAnswer BytesOf(unsigned long long number, size_t size) {
    OidAnswer answer;
    answer.bytes.resize(size);
    memcpy(answer.bytes.data(), &number, size);
    return answer;
}

DWORD NdisStatus(const std::string& value) {
    constexpr DWORD kStatuses[] = {QV_NDIS_FAILURE,       QV_NDIS_RESOURCES,
                                   QV_NDIS_NOT_SUPPORTED, QV_NDIS_INVALID_LENGTH,
                                   QV_NDIS_INVALID_DATA,  QV_NDIS_BUFFER_TOO_SHORT,
                                   QV_NDIS_INVALID_OID};
    return kStatuses[Choice(value, {"FAILURE", "RESOURCES", "NOT_SUPPORTED", "INVALID_LENGTH",
                                    "INVALID_DATA", "BUFFER_TOO_SHORT", "INVALID_OID"})];
}

std::optional<OidAnswer> Answer(const std::string& value) {
    OidAnswer answer;
    const size_t colon = value.find(':');
    const std::string rest = colon == std::string::npos ? "" : Trim(value.substr(colon + 1));
    switch (
        Choice(value.substr(0, colon), {"none", "dword", "qword", "hex", "error", "ndis-error"})) {
    case 0:
        return std::nullopt;
    case 1:
        return BytesOf(Dword(rest), sizeof(DWORD));
    case 2:
        return BytesOf(Number(rest, ~0ull), sizeof(ULONGLONG));
    case 3:
        answer.bytes = HexBytes(rest);
        return answer;
    case 4:
        answer.refused = true;
        answer.status = Dword(rest);
        return answer;
    default:
        answer.refused = true;
        answer.status = NdisStatus(rest);
        return answer;
    }
}

OidAnswer Counter(const std::string& value) {
    const auto words = Words(value);
    if (words.size() != 2) {
        Complain("START STEP is meant: " + value);
    }
    OidAnswer answer = BytesOf(Number(words[0], ~0ull), sizeof(ULONGLONG));
    answer.step = Number(words[1], ~0ull);
    return answer;
}

std::optional<DWORD> AnswersLeft(const std::string& value) {
    return value == "none" ? std::optional<DWORD>() : Dword(value);
}

std::vector<std::wstring> ProcessList(const std::string& value) {
    const auto words = Words(value);
    for (const auto& word : words) {
        if (word != "*" && !StartsWith(word, "refused:") && !StartsWith(word, "session:")) {
            Complain("process-list takes refused:NAME, session:NAME and *");
        }
    }
    if (std::count(words.begin(), words.end(), "*") != 1) {
        Complain("process-list needs one *, where the real processes stand");
    }
    return WideWords(value);
}

std::wstring HostInterface(const std::string& value) {
    const std::wstring name = Unquoted(value);
    if (name.empty() || name.size() > HOST_INTERFACE_CHARS || name == L"." || name == L".." ||
        name.find_first_of(L"/\\: \t") != std::wstring::npos) {
        Complain("not the name of a network interface: " + value);
    }
    return name;
}

} // namespace qvmachine
