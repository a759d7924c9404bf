// Reading and writing single registry values, and the names of adapters' devices.
#include "harness/machine_test.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"

#include <malloc.h>
#include <stdlib.h>

static const wchar_t kScratch[] = L"Software\\QvBench\\Scratch";
static const wchar_t kGuid[] = L"{A0000000-0000-4000-8000-000000000001}";
static const LPWSTR kPoison = reinterpret_cast<LPWSTR>(0xdeadbeef);

// A key of the test's own; the machine's reset takes it away.
class RegistryValues : public MachineTest {
  protected:
    void SetUp() override {
        MachineReset();
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, kScratch, 0, nullptr, 0,
                                                 KEY_ALL_ACCESS, nullptr, &key_, nullptr));
        Bench(L"reset-counts");
        Bench(L"reset-open");
        ClearJournal();
    }
    void TearDown() override {
        RegCloseKey(key_);
        MachineTest::TearDown();
    }
    void Store(const std::wstring& name, DWORD type, const std::vector<BYTE>& bytes) {
        RegistrySet(kScratch, {name, type, bytes});
        ASSERT_EQ(std::make_pair(type, bytes), Stored(name.c_str()));
    }
    // Type and bytes of what is stored.
    std::pair<DWORD, std::vector<BYTE>> Stored(const wchar_t* name) {
        std::vector<BYTE> bytes(32 * 1024);
        DWORD type = REG_NONE;
        DWORD size = static_cast<DWORD>(bytes.size());
        EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key_, name, nullptr, &type, bytes.data(), &size));
        bytes.resize(size);
        return {type, bytes};
    }

    HKEY key_ = nullptr;
};

static std::vector<BYTE> BytesOf(const std::wstring& text) {
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.data());
    return std::vector<BYTE>(bytes, bytes + text.size() * sizeof(wchar_t));
}

struct StoredText {
    const char* what;
    DWORD type;
    std::vector<BYTE> bytes;
    std::wstring expected; // everything in front of the spare zeros
};

TEST_F(RegistryValues, ComeBackWholeWithTwoZeroBytesBehindThem) {
    using namespace std::string_literals;
    const StoredText cases[] = {
        {"a terminated string", REG_SZ, BytesOf(L"Quovane\0"s), L"Quovane\0"s},
        {"a string without terminator", REG_SZ, BytesOf(L"Quovane"), L"Quovane"},
        {"zero bytes", REG_SZ, {}, L""},
        {"a lone terminator", REG_SZ, {0, 0}, L"\0"s},
        {"a list with its inner terminators", REG_MULTI_SZ, BytesOf(L"one\0two\0\0"s),
         L"one\0two\0\0"s},
        {"a list without terminators", REG_MULTI_SZ, BytesOf(L"one\0two"s), L"one\0two"s},
        {"bytes of another type", REG_BINARY, {'a', 0, 'b', 0}, L"ab"},
        {"a number", REG_DWORD, {'a', 0, 'b', 0}, L"ab"},
        {"an odd number of bytes", REG_SZ, {'a', 0, 'b', 0, 'c'}, L"abc"},
        {"one byte", REG_SZ, {'x'}, L"x"},
        {"a text of ten thousand characters", REG_SZ, BytesOf(std::wstring(10000, L'x')),
         std::wstring(10000, L'x')},
    };
    for (const StoredText& c : cases) {
        SCOPED_TRACE(c.what);
        Store(L"Text", c.type, c.bytes);
        Bench(L"reset-open");
        LPWSTR value = kPoison;
        ASSERT_EQ(1, ReadStringFromRegistry(key_, L"Text", &value));
        ASSERT_NE(nullptr, value);
        ASSERT_NE(kPoison, value);
        EXPECT_EQ(c.expected, std::wstring(value, c.expected.size()));
        EXPECT_EQ(0, value[c.expected.size()]);
        EXPECT_LE((c.expected.size() + 1) * sizeof(wchar_t), _msize(value));
        EXPECT_EQ("blocks=1", StillOpen()) << "only the caller's buffer";
        free(value);
    }
}

TEST_F(RegistryValues, OfZeroBytesAreAnEmptyStringInATwoByteBuffer) {
    Store(L"Text", REG_SZ, {});
    LPWSTR value = kPoison;
    ASSERT_EQ(1, ReadStringFromRegistry(key_, L"Text", &value));
    EXPECT_STREQ(L"", value);
    EXPECT_EQ(2u, _msize(value));
    free(value);
}

TEST_F(RegistryValues, AreAskedForTheirSizeAndThenForTheirBytes) {
    Store(L"Text", REG_SZ, BytesOf(L"Quovane"));
    LPWSTR value = nullptr;
    ASSERT_EQ(1, ReadStringFromRegistry(key_, L"Text", &value));
    free(value);
    EXPECT_EQ(2u, Calls("RegQueryValueExW"));
    EXPECT_EQ(1u, Calls("calloc"));
}

TEST_F(RegistryValues, ThatAreMissingGiveNothingAndAllocateNothing) {
    LPWSTR value = kPoison;
    EXPECT_EQ(0, ReadStringFromRegistry(key_, L"Text", &value));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(1u, Calls("RegQueryValueExW"));
    EXPECT_EQ(0u, Calls("calloc"));
}

TEST_F(RegistryValues, OfAKeyThatIsNotOpenGiveNothing) {
    LPWSTR value = kPoison;
    EXPECT_EQ(0, ReadStringFromRegistry(nullptr, L"Text", &value));
    EXPECT_EQ(nullptr, value);
}

TEST_F(RegistryValues, LeaveNothingAllocatedWhenReadingFails) {
    const wchar_t* faults[] = {L"fault RegQueryValueExW 1 5", L"fault RegQueryValueExW 2 5",
                               L"fault RegQueryValueExW 2 234", L"fault calloc 1 8"};
    Store(L"Text", REG_SZ, BytesOf(L"Quovane"));
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        LPWSTR value = kPoison;
        EXPECT_EQ(0, ReadStringFromRegistry(key_, L"Text", &value));
        EXPECT_EQ(nullptr, value);
        EXPECT_EQ("", StillOpen());
        Bench(L"clear");
    }
}

TEST_F(RegistryValues, TellTheirStatusAndSizeToThoseWhoAsk) {
    Store(L"List", REG_MULTI_SZ, {'a', 0, 0, 0, 'b'});
    LPWSTR value = kPoison;
    DWORD size = 0xdeadbeef;
    ASSERT_EQ(ERROR_SUCCESS, QueryTextValue(key_, L"List", 2, &value, &size));
    EXPECT_EQ(5u, size) << "bytes as stored";
    EXPECT_EQ(0, memcmp(value, L"a\0b\0\0", 5 * sizeof(wchar_t))) << "two terminators behind";
    EXPECT_LE(5 * sizeof(wchar_t), _msize(value));
    free(value);

    size = 0xdeadbeef;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, QueryTextValue(key_, L"Missing", 2, &value, &size));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(0xdeadbeef, size);
    Bench(L"fault calloc 1 8");
    value = kPoison;
    EXPECT_EQ(QUERY_NO_MEMORY, QueryTextValue(key_, L"List", 2, &value, &size));
    EXPECT_EQ(nullptr, value);
    Bench(L"fault RegQueryValueExW 2 1018");
    EXPECT_EQ(ERROR_KEY_DELETED, QueryTextValue(key_, L"List", 2, &value, nullptr));
    EXPECT_EQ(nullptr, value);
}

struct StoredNumber {
    DWORD type;
    std::vector<BYTE> bytes;
    bool readable;
    DWORD expected;
};

TEST_F(RegistryValues, OfUpToFourBytesAreNumbers) {
    const StoredNumber cases[] = {
        {REG_DWORD, {0x20, 0x01, 0, 0}, true, 0x120},
        {REG_DWORD, {0xff, 0xff, 0xff, 0xff}, true, 0xffffffff},
        {REG_BINARY, {0x31, 0x0c, 0, 0}, true, 0xc31},
        {REG_BINARY, {0x31, 0x0c}, true, 0xc31},
        {REG_BINARY, {0x31}, true, 0x31},
        {REG_BINARY, {}, true, 0},
        {REG_BINARY, {1, 2, 3, 4, 5}, false, 0xdeadbeef},
        {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}, false, 0xdeadbeef},
    };
    for (const StoredNumber& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        Store(L"Number", c.type, c.bytes);
        DWORD number = 0xdeadbeef;
        EXPECT_EQ(c.readable, ReadDwordFromRegistry(key_, L"Number", &number) != FALSE);
        EXPECT_EQ(c.expected, number);
    }
    DWORD number = 0xdeadbeef;
    EXPECT_FALSE(ReadDwordFromRegistry(key_, L"Missing", &number));
    EXPECT_EQ(0xdeadbeef, number);
}

TEST_F(RegistryValues, OfNumbersAreWrittenAsFourBytes) {
    EXPECT_EQ(ERROR_SUCCESS, WriteDwordToRegistry(key_, L"Number", 0xC31));
    EXPECT_EQ(std::make_pair(DWORD{REG_DWORD}, std::vector<BYTE>{0x31, 0x0c, 0, 0}),
              Stored(L"Number"));
    Bench(L"fault RegSetValueExW 1 5");
    EXPECT_EQ(ERROR_ACCESS_DENIED, WriteDwordToRegistry(key_, L"Number", 1));
    EXPECT_EQ(0xC31u, RegistryNumber(kScratch, L"Number"));
}

class NetworkAddress : public RegistryValues {
  protected:
    BOOL Write(const std::wstring& text, const wchar_t* valueName) {
        std::wstring copy = text;
        LPWSTR address = copy.data();
        BOOL written = WriteNetworkAddress(key_, valueName, &address);
        EXPECT_EQ(text, copy);
        EXPECT_EQ(copy.data(), address);
        return written;
    }
};

TEST_F(NetworkAddress, IsHandedOverWithoutItsTerminator) {
    EXPECT_EQ(TRUE, Write(L"02515600AA01", L"NetworkAddress"));
    EXPECT_EQ(DWORD{REG_SZ}, Stored(L"NetworkAddress").first);
    EXPECT_EQ((std::vector<std::wstring>{
                  L"value-set ?\\NetworkAddress REG_SZ \"02515600AA01\" 24 bytes"}),
              Lines(Journal()));
}

TEST_F(NetworkAddress, ReadsBackAsATerminatedString) {
    ASSERT_TRUE(Write(L"02515600AA01", L"NetworkAddress"));
    LPWSTR value = nullptr;
    ASSERT_EQ(1, ReadStringFromRegistry(key_, L"NetworkAddress", &value));
    EXPECT_STREQ(L"02515600AA01", value);
    free(value);
}

TEST_F(NetworkAddress, GoesUnderItsOwnNameWhateverNameIsGiven) {
    for (const wchar_t* name : {L"Other", L"", static_cast<const wchar_t*>(nullptr)}) {
        RegDeleteValueW(key_, L"NetworkAddress");
        ASSERT_TRUE(Write(L"0251", name));
        EXPECT_EQ(L"0251", RegistryText(kScratch, L"NetworkAddress"));
        EXPECT_FALSE(RegistryHas(kScratch, L"Other"));
        EXPECT_FALSE(RegistryHas(kScratch, L""));
    }
}

TEST_F(NetworkAddress, ReplacesALongerOneOfAnotherType) {
    Store(L"NetworkAddress", REG_MULTI_SZ, BytesOf(std::wstring(40, L'9')));
    ASSERT_TRUE(Write(L"02", L"NetworkAddress"));
    EXPECT_EQ(DWORD{REG_SZ}, Stored(L"NetworkAddress").first);
    EXPECT_EQ(L"02", RegistryText(kScratch, L"NetworkAddress"));
    EXPECT_GE(6u, Stored(L"NetworkAddress").second.size());
}

TEST_F(NetworkAddress, MayBeEmpty) {
    EXPECT_EQ(TRUE, Write(L"", L"NetworkAddress"));
    EXPECT_EQ(std::make_pair(DWORD{REG_SZ}, std::vector<BYTE>()), Stored(L"NetworkAddress"));
}

TEST_F(NetworkAddress, ThatCannotBeWrittenIsReported) {
    Bench(L"fault RegSetValueExW 1 5");
    EXPECT_EQ(FALSE, Write(L"0251", L"NetworkAddress"));
    EXPECT_FALSE(RegistryHas(kScratch, L"NetworkAddress"));
    std::wstring copy = L"0251";
    LPWSTR address = copy.data();
    EXPECT_EQ(FALSE, WriteNetworkAddress(nullptr, L"NetworkAddress", &address));
}

TEST_F(RegistryValues, PathsAreJoinedOnlyWhenTheyFit) {
    wchar_t path[10];
    EXPECT_TRUE(FormKeyPath(path, 10, L"base", L"name"));
    EXPECT_STREQ(L"base\\name", path);
    EXPECT_FALSE(FormKeyPath(path, 9, L"base", L"name"));
    EXPECT_EQ(0, path[8]) << "terminated all the same";
}

TEST_F(RegistryValues, ConnectionKeyIsDeletedAndNothingBesideIt) {
    const std::wstring adapter = std::wstring(NETWORK_CONNECTIONS_KEY) + L"\\" + kGuid;
    RegistrySet(adapter + L"\\Connection", MachineValue::Text(L"Name", L"Local Area Connection"));
    DeleteConnectionKey(kGuid);
    EXPECT_FALSE(RegistryHasKey(adapter + L"\\Connection"));
    EXPECT_TRUE(RegistryHasKey(adapter));
    EXPECT_EQ((std::vector<std::wstring>{L"key-delete HKLM\\" + adapter + L"\\Connection"}),
              Lines(Journal()));
    RegistryDeleteTree(NETWORK_CONNECTIONS_KEY);
}

TEST_F(RegistryValues, ConnectionKeyWhosePathIsTooLongIsNotTouched) {
    const size_t around = wcslen(NETWORK_CONNECTIONS_KEY) + wcslen(L"\\\\Connection");
    DeleteConnectionKey(std::wstring(KEY_PATH_CCH - 1 - around, L'x').c_str());
    EXPECT_EQ(1u, Calls("RegDeleteKeyW")) << "260 characters fit";
    DeleteConnectionKey(std::wstring(KEY_PATH_CCH - around, L'x').c_str());
    EXPECT_EQ(1u, Calls("RegDeleteKeyW")) << "261 do not";
}

struct PrefixCase {
    LPWSTR (*add)(LPCWSTR);
    std::wstring prefix;
};
static const PrefixCase kPrefixes[] = {{AddDevicePrefix, L"\\Device\\"},
                                       {AddDosDevicePrefix, L"\\\\.\\"}};

TEST_F(RegistryValues, DeviceNamesAreAPrefixAndTheGuid) {
    for (const PrefixCase& c : kPrefixes) {
        Bench(L"reset-open");
        LPWSTR path = c.add(kGuid);
        ASSERT_NE(nullptr, path);
        EXPECT_EQ(c.prefix + kGuid, path);
        EXPECT_LE((wcslen(path) + 1) * sizeof(wchar_t), _msize(path));
        EXPECT_EQ("blocks=1", StillOpen()) << "only the caller's buffer";
        free(path);
    }
}

TEST_F(RegistryValues, DeviceNamesTakeAnyTextAsItIs) {
    for (const PrefixCase& c : kPrefixes) {
        for (const std::wstring& name : {std::wstring(), std::wstring(L"{"),
                                         std::wstring(L"a\\b %s {1}"), std::wstring(5000, L'x')}) {
            LPWSTR path = c.add(name.c_str());
            ASSERT_NE(nullptr, path);
            EXPECT_EQ(c.prefix + name, path);
            free(path);
        }
    }
}

TEST_F(RegistryValues, DeviceNamesAreNullWithoutMemory) {
    for (const PrefixCase& c : kPrefixes) {
        Bench(L"fault calloc 1 8");
        EXPECT_EQ(nullptr, c.add(kGuid));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(RegistryValues, AGuidThatCannotBeParsedIsZero) {
    GUID guid;
    memset(&guid, 0xee, sizeof(guid));
    Bench(L"fault CLSIDFromString 1 0x800401F3");
    EXPECT_FALSE(ParseGuid(kGuid, &guid));
    EXPECT_EQ(GUID{}, guid);
    EXPECT_TRUE(ParseGuid(kGuid, &guid));
    EXPECT_EQ(Guid(kGuid), guid);
}

TEST_F(RegistryValues, AGuidThatCannotBePrintedIsAnEmptyText) {
    wchar_t text[GUID_CCH] = L"poison";
    GUID guid = Guid(kGuid);
    PrintGuid(&guid, text);
    EXPECT_STREQ(kGuid, text);
    Bench(L"fault StringFromGUID2 1 0");
    PrintGuid(&guid, text);
    EXPECT_STREQ(L"", text);
}
