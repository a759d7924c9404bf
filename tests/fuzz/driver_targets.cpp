// What a driver answers, and the words that the pages make of it.
#include "machine.h"
#include "targets.h"

#include <ntddndis.h>
#include <winioctl.h>

#include <initializer_list>
#include <memory>
#include <utility>

#include "info/adapter_text.h"
#include "info/driver_query.h"
#include "info/offload_caps.h"
#include "info/offload_query.h"

// A text of VALUE_CCH characters whose end is watched, full of something that is no terminator.
struct ValueText {
    ValueText() : characters(VALUE_CCH, 0xDEAD) {
    }
    operator LPWSTR() {
        return characters.data();
    }
    Name checked() const {
        size_t length = FuzzLengthAtMost(characters.data(), VALUE_CCH);
        CHECK(length < VALUE_CCH);
        return Name(characters.data(), length);
    }
    Text characters;
};

// The words that hold, in the order of the wording, joined.
static Name Words(std::initializer_list<std::pair<LPCWSTR, bool>> words) {
    Name text;
    for (const auto& word : words) {
        if (word.second)
            text += (text.empty() ? Name() : Name(L", ")) + word.first;
    }
    return text;
}

static void CheckTaskWords(const TaskOffloadCaps& caps) {
    ValueText text;
    WordTaskOffload(text, &caps);
    CHECK(text.checked() == Words({{L"TOE", caps.toeSupported == 1},
                                   {L"LSO", caps.lsoMaxOffloadSize || caps.lsoMinSegmentCount ||
                                                caps.lsoTcpOptions || caps.lsoIpOptions},
                                   {L"Checksum Offload", caps.v4Transmit || caps.v4Receive ||
                                                             caps.v6Transmit || caps.v6Receive}}));
}

void FuzzTaskList(Input& input) {
    // The driver may say that it returned more than there is room for.
    DWORD claimed = input.chance() ? input.number<DWORD>() : 0;
    std::vector<BYTE> answer = input.rest();
    DWORD cbAnswer = static_cast<DWORD>(answer.size());
    if (claimed > TASK_OFFLOAD_CB) {
        answer.resize(TASK_OFFLOAD_CB);
        cbAnswer = claimed;
    }
    answer.shrink_to_fit();

    TaskOffloadCaps caps = {};
    TaskOffloadCaps again = {};
    TaskOffloadCaps zero = {};
    BOOL listed = DecodeTaskOffload(answer.data(), cbAnswer, &caps);
    if (!listed)
        CHECK(memcmp(&caps, &zero, sizeof(caps)) == 0);
    CHECK((caps.v4Transmit | caps.v4Receive) <= 0x1F);
    CHECK((caps.v6Transmit | caps.v6Receive) <= 0x0F);
    CHECK(caps.ipsecSupported <= 1 && caps.toeSupported <= 1);

    // Whatever stands behind what was returned changes nothing.
    answer.resize(answer.size() < TASK_OFFLOAD_CB ? TASK_OFFLOAD_CB : answer.size(), 0xFF);
    CHECK(DecodeTaskOffload(answer.data(), cbAnswer, &again) == listed);
    CHECK(memcmp(&caps, &again, sizeof(caps)) == 0);
    CheckTaskWords(caps);
}

void FuzzOffloadRecord(Input& input) {
    std::vector<BYTE> answer = input.bytes(OFFLOAD_60_CB);
    answer.resize(OFFLOAD_60_CB);
    answer.shrink_to_fit();
    std::vector<BYTE> connectionAnswer = input.bytes(CONNECTION_OFFLOAD_CB);
    connectionAnswer.resize(CONNECTION_OFFLOAD_CB);
    connectionAnswer.shrink_to_fit();

    OffloadCaps60 caps;
    OffloadCaps60 poison;
    ConnectionOffloadCaps connection;
    memset(&poison, 0xEE, sizeof(poison));
    caps = poison;
    BOOL known = DecodeOffload60(answer.data(), &caps);
    CHECK(known == (Offload60HeaderFault(answer.data()) == nullptr));
    CHECK(known == (answer[0] == 0xA7 && answer[1] == 1));
    CHECK(memcmp(&caps, known ? answer.data() + 4 : reinterpret_cast<BYTE*>(&poison),
                 sizeof(caps)) == 0);
    DecodeConnectionOffload(connectionAnswer.data(), &connection);
    CHECK(memcmp(&connection, connectionAnswer.data() + 4, sizeof(connection)) == 0);

    ValueText text;
    WordOffload60(text, &caps, &connection);
    auto checksum = [](const ChecksumCaps& c) { return c.Encapsulation || c.bits; };
    Name words =
        Words({{L"LSO", caps.lsoV1.Encapsulation || caps.lsoV2IPv4.Encapsulation ||
                            caps.lsoV2IPv6.Encapsulation},
               {L"Checksum Offload", checksum(caps.v4Transmit) || checksum(caps.v4Receive) ||
                                         checksum(caps.v6Transmit) || checksum(caps.v6Receive)},
               {L"TOE", connection.Encapsulation || (connection.support & 0xFF) ||
                            connection.TcpConnectionOffloadCapacity}});
    CHECK(text.checked() == (words.empty() ? Name(TEXT_UNKNOWN) : words));
}

void FuzzDriverAnswers(Input& input) {
    static const DWORD oids[] = {OID_TCP_TASK_OFFLOAD,
                                 OID_TCP_OFFLOAD_CURRENT_CONFIG,
                                 OID_TCP_CONNECTION_OFFLOAD_CURRENT_CONFIG,
                                 OID_802_3_CURRENT_ADDRESS,
                                 OID_802_3_PERMANENT_ADDRESS,
                                 OID_GEN_LINK_SPEED,
                                 OID_GEN_MEDIA_CONNECT_STATUS,
                                 OID_GEN_MAXIMUM_FRAME_SIZE,
                                 OID_GEN_XMIT_OK,
                                 OID_GEN_MULTICAST_FRAMES_RCV};
    for (DWORD oid : oids) {
        BYTE kind = input.number<BYTE>();
        if (kind & 1)
            continue;
        FuzzAnswer& answer = g_machine.answers[oid];
        if (kind & 2)
            answer.error = kind & 4 ? ERROR_NOT_SUPPORTED : ERROR_ACCESS_DENIED;
        answer.bytes = input.bytes(300);
        answer.claimed = kind & 8 ? input.number<DWORD>() : static_cast<DWORD>(answer.bytes.size());
    }

    HANDLE device = &g_machine.answers;
    auto properties = std::make_unique<DeviceProperties>();
    DWORD mtu = 0x5EED;
    BOOL known = GetDeviceProperties(&device, properties.get());
    auto answered = [](DWORD oid) {
        auto found = g_machine.answers.find(oid);
        return found != g_machine.answers.end() && found->second.error == ERROR_SUCCESS;
    };
    CHECK(known == (answered(OID_802_3_CURRENT_ADDRESS) && answered(OID_802_3_PERMANENT_ADDRESS) &&
                    answered(OID_GEN_LINK_SPEED) && answered(OID_GEN_MEDIA_CONNECT_STATUS)));
    CHECK(GetDeviceMTU(&device, &mtu) == answered(OID_GEN_MAXIMUM_FRAME_SIZE));
    CHECK(answered(OID_GEN_MAXIMUM_FRAME_SIZE) || mtu == 0x5EED);

    StatisticsRow rows[STATISTICS_ROWS];
    memcpy(rows, g_statistics, sizeof(rows));
    for (StatisticsRow& row : rows)
        row.value = 0x5EED;
    CHECK(GetDeviceStatistics(&device, rows));
    for (const StatisticsRow& row : rows)
        CHECK(answered(row.oid) || row.value == 0x5EED);

    ValueText text;
    AskOffload(device, text);
    Name words = text.checked();
    bool list = answered(OID_TCP_TASK_OFFLOAD);
    bool record = !list && answered(OID_TCP_OFFLOAD_CURRENT_CONFIG);
    CHECK(list || record || words == TEXT_UNKNOWN);
    CHECK(words.size() <= 28); // all three words
}

static ULONGLONG NumberAt(const Name& text, size_t* end) {
    ULONGLONG number = 0;
    for (*end = 0; *end < text.size() && text[*end] >= L'0' && text[*end] <= L'9'; (*end)++)
        number = number * 10 + (text[*end] - L'0');
    return number;
}

void FuzzAdapterText(Input& input) {
    ULONGLONG units = input.number<ULONGLONG>();
    DWORD version = input.below(12);
    DWORD state = input.chance() ? input.below(8) : input.number<DWORD>();
    BYTE address[6];
    for (BYTE& byte : address)
        byte = input.number<BYTE>();
    size_t end;

    ValueText speedText;
    WordLinkSpeed(speedText, units, version);
    Name speed = speedText.checked();
    ULONGLONG number = NumberAt(speed, &end);
    Name unit = speed.substr(end);
    CHECK(end != 0 && number != 0);
    CHECK(unit == L" bps" || unit == L" Kbps" || unit == L" Mbps" || unit == L" Gbps");
    CHECK(unit == L" Gbps" || number < 1000);
    CHECK(version == 5 || unit != L" Gbps" || number <= 10);
    CHECK(version != 0 || speed == L"100 bps");

    ValueText addressText;
    WordAddress(addressText, address);
    Name words = addressText.checked();
    CHECK(words.size() == 17);
    for (int i = 0; i < 6; i++) {
        static const char digits[] = "0123456789abcdef";
        CHECK(words[3 * i] == static_cast<WCHAR>(digits[address[i] >> 4]));
        CHECK(words[3 * i + 1] == static_cast<WCHAR>(digits[address[i] & 15]));
        CHECK(i == 5 || words[3 * i + 2] == L'-');
    }

    ValueText stateText;
    WordDriverState(stateText, state);
    CHECK((state < 4) == !stateText.checked().empty());
    CHECK(LinkStatusText(state) != nullptr);

    ValueText countText;
    WordCount(countText, units);
    CHECK(NumberAt(countText.checked(), &end) == units && end == countText.checked().size());

    // Counts go on from where they were set back, through the end of the counter.
    int row = static_cast<int>(input.below(STATISTICS_ROWS));
    ULONGLONG before = input.number<ULONGLONG>();
    g_statistics[row].value = before;
    ResetStatistics();
    CHECK(CountSinceReset(row) == 0);
    g_statistics[row].value = units;
    CHECK(CountSinceReset(row) + before == units);
}
