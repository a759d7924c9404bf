// Finding the maker's INF files among those that Windows keeps.
#include "device/inf_search.h"
#include "harness/devices.h"
#include "include/names.h"

static const std::wstring kPoison(PATH_CCH - 1, L'#');

class InfSearch : public MachineTest {
  protected:
    // A machine with these INF files and no others.
    void BuildWith(const std::vector<MachineInf>& infs) {
        Load(L"two-ports");
        machine.infs = infs;
        Build();
    }

    // What a search found, "" for nothing; in that case the output has to be untouched.
    std::wstring Search(int (*search)(HWND, LPWSTR)) {
        std::wstring path = kPoison;
        int found = search(reinterpret_cast<HWND>(1), path.data());
        EXPECT_EQ("", StillOpen());
        if (found == 0) {
            EXPECT_EQ(kPoison, path);
            return L"";
        }
        EXPECT_EQ(1, found);
        return path.c_str();
    }
    std::wstring Miniport() {
        return Search(GetMiniportInf);
    }
    std::wstring Protocol() {
        return Search(GetProtocolInf);
    }
};

static std::wstring WindowsFolder() {
    wchar_t folder[MAX_PATH];
    GetSystemWindowsDirectoryW(folder, MAX_PATH);
    return folder;
}

static std::wstring InfPath(const std::wstring& name) {
    return WindowsFolder() + L"\\Inf\\" + name;
}

static std::string Inf(const std::string& infClass, const std::string& provider,
                       const std::string& rest = "") {
    return "[Version]\r\nSignature = \"$Windows NT$\"\r\nClass = " + infClass +
           "\r\nProvider = " + provider + "\r\n" + rest;
}

static std::string Excluding(const std::string& excluded, const std::string& infClass = "Net") {
    return Inf(infClass, "\"Somebody\"",
               "[ControlFlags]\r\nExcludeFromSelect = " + excluded + "\r\n");
}

static const char kMaker[] = "\"Quovane Communications Inc.,\"";

// The names as a search for oem*.inf meets them.
static std::vector<std::wstring> DirectoryOrder() {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW file;
    HANDLE search = FindFirstFileW(InfPath(L"oem*.inf").c_str(), &file);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do {
        names.push_back(file.cFileName);
    } while (FindNextFileW(search, &file));
    FindClose(search);
    return names;
}

TEST_F(InfSearch, FindsEachOfTheMakersTwoFilesByWhatItSays) {
    LoadAndBuild(L"two-ports");
    EXPECT_EQ(InfPath(L"oem3.inf"), Miniport());
    EXPECT_EQ(InfPath(L"oem4.inf"), Protocol());
}

TEST_F(InfSearch, FindsNothingAmongAnotherMakersFiles) {
    LoadAndBuild(L"no-drivers");
    EXPECT_EQ(L"", Miniport());
    EXPECT_EQ(L"", Protocol());
    EXPECT_EQ(2u, Calls("SetupOpenInfFileW"));
}

TEST_F(InfSearch, EndsAtOnceWhenThereIsNoOemInf) {
    BuildWith({});
    EXPECT_EQ(L"", Miniport());
    EXPECT_EQ(L"", Protocol());
    EXPECT_EQ(2u, Calls("FindFirstFileW"));
    EXPECT_EQ(0u, Calls("FindNextFileW"));
    EXPECT_EQ(0u, Calls("SetupOpenInfFileW"));
}

TEST_F(InfSearch, OverlooksFilesThatAreNoOemInf) {
    BuildWith(
        {{L"qvteammp.inf", Excluding("QV_QVTEAMMP")}, {L"oem1.txt", Excluding("QV_QVTEAMMP")}});
    EXPECT_EQ(L"", Miniport());
    DeleteFileW(InfPath(L"qvteammp.inf").c_str());
    DeleteFileW(InfPath(L"oem1.txt").c_str());
}

TEST_F(InfSearch, TakesTheFirstMatchInDirectoryOrderWhateverItsVersion) {
    const std::string old = "DriverVer = 01/01/2001,1.0.0.0\r\n";
    const std::string recent = "DriverVer = 01/01/2020,9.0.0.0\r\n";
    for (bool oldFirst : {true, false}) {
        SCOPED_TRACE(oldFirst);
        std::vector<MachineInf> infs;
        for (const wchar_t* name : {L"oem7.inf", L"oem10.inf", L"oem2.inf"})
            infs.push_back({name, ""});
        BuildWith(infs);
        const std::vector<std::wstring> order = DirectoryOrder();
        ASSERT_EQ(3u, order.size());
        machine.infs.clear();
        for (const std::wstring& name : order) {
            const std::string& version = (name == order[0]) == oldFirst ? old : recent;
            machine.infs.push_back({name, Inf("Net", "\"Somebody\"",
                                              version + "[ControlFlags]\r\nExcludeFromSelect = "
                                                        "QV_QVTEAMMP\r\n")});
        }
        Build();
        EXPECT_EQ(InfPath(order[0]), Miniport());
        EXPECT_EQ(1u, Calls("SetupOpenInfFileW")) << "the rest is not even opened";
        EXPECT_EQ(0u, Calls("FindNextFileW"));
    }
}

struct InfCase {
    const char* what;
    std::string content;
    bool accepted;
};

TEST_F(InfSearch, KnowsTheMiniportsFileByItsExactExcludedId) {
    const InfCase cases[] = {
        {"the id", Excluding("QV_QVTEAMMP"), true},
        {"the id in quotes", Excluding("\"QV_QVTEAMMP\""), true},
        {"the id before another", Excluding("QV_QVTEAMMP, OTHER"), true},
        {"the id behind another", Excluding("OTHER, QV_QVTEAMMP"), false},
        {"small letters", Excluding("qv_qvteammp"), false},
        {"the id and more", Excluding("QV_QVTEAMMP1"), false},
        {"a part of the id", Excluding("QV_QVTEAMM"), false},
        {"the protocol's id", Excluding("QV_QVTEAMP"), false},
        {"19 characters", Excluding("QV_QVTEAMMP12345678"), false},
        {"20 characters", Excluding("QV_QVTEAMMP123456789"), false},
        {"300 characters", Excluding("QV_QVTEAMMP" + std::string(289, 'x')), false},
        {"every id", Excluding("*"), false},
        {"no value", Excluding(""), false},
        {"another key", Inf("Net", kMaker, "[ControlFlags]\r\nBasicDriverOk = QV_QVTEAMMP\r\n"),
         false},
        {"another section", Inf("Net", kMaker, "[Other]\r\nExcludeFromSelect = QV_QVTEAMMP\r\n"),
         false},
        {"no such section", Inf("Net", kMaker), false},
        {"another class", Excluding("QV_QVTEAMMP", "NetTrans"), false},
        {"another class that begins alike", Excluding("QV_QVTEAMMP", "NetService"), false},
        {"no INF at all", "QV_QVTEAMMP\r\n", false},
        {"an empty file", "", false},
    };
    for (const InfCase& c : cases) {
        SCOPED_TRACE(c.what);
        BuildWith({{L"oem5.inf", c.content}});
        EXPECT_EQ(c.accepted ? InfPath(L"oem5.inf") : L"", Miniport());
        EXPECT_EQ(L"", Protocol());
    }
}

TEST_F(InfSearch, KnowsTheProtocolsFileByItsExactProvider) {
    const std::string longName(259, 'x');
    const InfCase cases[] = {
        {"the provider", Inf("NetTrans", kMaker), true},
        {"through a string",
         Inf("NetTrans", "%Me%", "[Strings]\r\nMe = " + std::string(kMaker) + "\r\n"), true},
        {"without its comma", Inf("NetTrans", "\"Quovane Communications Inc.\""), false},
        {"unquoted, so that the comma ends it", Inf("NetTrans", "Quovane Communications Inc.,"),
         false},
        {"small letters", Inf("NetTrans", "\"quovane communications inc.,\""), false},
        {"and more", Inf("NetTrans", "\"Quovane Communications Inc., Ltd.\""), false},
        {"of 259 characters", Inf("NetTrans", "\"" + longName + "\""), false},
        {"of 260 characters", Inf("NetTrans", "\"" + longName + "x\""), false},
        {"another class", Inf("NetService", kMaker), false},
        {"no class", "[Version]\r\nSignature = \"$Windows NT$\"\r\nProvider = x\r\n", false},
    };
    for (const InfCase& c : cases) {
        SCOPED_TRACE(c.what);
        BuildWith({{L"oem5.inf", c.content}});
        EXPECT_EQ(c.accepted ? InfPath(L"oem5.inf") : L"", Protocol());
        EXPECT_EQ(L"", Miniport());
    }
}

TEST_F(InfSearch, GoesOnBehindFilesThatDoNotMatch) {
    BuildWith({{L"oem1.inf", ""},
               {L"oem2.inf", Excluding("QV_QVTEAMMP", "NetTrans")},
               {L"oem3.inf", Inf("Net", kMaker)},
               {L"oem4.inf", Excluding("qv_qvteammp")},
               {L"oem5.inf", Excluding("QV_QVTEAMMP12345678901234567890")},
               {L"oem6.inf", Excluding("QV_QVTEAMMP")}});
    EXPECT_EQ(InfPath(L"oem6.inf"), Miniport());
}

TEST_F(InfSearch, SkipsAFileThatCannotBeRead) {
    BuildWith({{L"oem1.inf", Excluding("QV_QVTEAMMP")}, {L"oem2.inf", Excluding("QV_QVTEAMMP")}});
    const std::vector<std::wstring> order = DirectoryOrder();
    for (const wchar_t* fault :
         {L"fault SetupOpenInfFileW 1 0xE0000201", L"fault SetupOpenInfFileW 1 5",
          L"fault SetupFindFirstLineW 1 0xE0000102", L"fault SetupGetStringFieldW 1 122"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_EQ(InfPath(order[1]), Miniport());
        Bench(std::wstring(fault) + L" all");
        EXPECT_EQ(L"", Miniport());
        Bench(L"clear");
    }
}

TEST_F(InfSearch, GivesOnePathWhetherOrNotTheWindowsDirectoryEndsInASeparator) {
    LoadAndBuild(L"two-ports");
    const std::wstring folder = WindowsFolder();
    ASSERT_NE(L'\\', folder.back());
    Bench(L"answer GetSystemWindowsDirectoryW " + folder);
    EXPECT_EQ(folder + L"\\Inf\\oem3.inf", Miniport());
    Bench(L"answer GetSystemWindowsDirectoryW " + folder + L"\\");
    EXPECT_EQ(folder + L"\\Inf\\oem3.inf", Miniport());
    EXPECT_EQ(folder + L"\\Inf\\oem4.inf", Protocol());
    Bench(L"answer GetSystemWindowsDirectoryW " + folder + L"/");
    EXPECT_EQ(folder + L"/Inf\\oem3.inf", Miniport()) << "a slash separates as well";
}

TEST_F(InfSearch, EndsWithoutAWindowsDirectory) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault GetSystemWindowsDirectoryW 1 5");
    EXPECT_EQ(L"", Miniport());
    Bench(L"fault GetSystemWindowsDirectoryW 1 0 value=261");
    EXPECT_EQ(L"", Miniport());
    for (size_t length : {245u, 252u, 259u, 260u, 300u}) {
        SCOPED_TRACE(length);
        Bench(L"answer GetSystemWindowsDirectoryW C:\\" + std::wstring(length - 3, L'w'));
        EXPECT_EQ(L"", Miniport());
        EXPECT_EQ(L"", Protocol());
    }
    EXPECT_EQ(0u, Calls("SetupOpenInfFileW"));
}

TEST_F(InfSearch, EndsWhenTheFirstFileCannotBeFound) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault FindFirstFileW 1 5");
    EXPECT_EQ(L"", Miniport());
    EXPECT_EQ(0u, Calls("FindNextFileW"));
}

TEST_F(InfSearch, TriesTheNextFileAgainAfterAFailure) {
    BuildWith({{L"oem1.inf", ""}, {L"oem2.inf", ""}, {L"oem3.inf", Excluding("QV_QVTEAMMP")}});
    Bench(L"fault FindNextFileW 1 5");
    Bench(L"fault FindNextFileW 2 1392");
    Bench(L"fault FindNextFileW 4 5");
    EXPECT_EQ(InfPath(L"oem3.inf"), Miniport());
    EXPECT_EQ(5u, Calls("FindNextFileW"));
}

TEST_F(InfSearch, EndsWithTheLastFile) {
    BuildWith({{L"oem1.inf", ""}, {L"oem2.inf", ""}});
    EXPECT_EQ(L"", Miniport());
    EXPECT_EQ(2u, Calls("FindNextFileW"));

    BuildWith({{L"oem1.inf", ""}, {L"oem3.inf", Excluding("QV_QVTEAMMP")}});
    Bench(L"fault FindNextFileW 1 18");
    EXPECT_EQ(L"", Miniport()) << "no more files, says the system";
    EXPECT_EQ(1u, Calls("FindNextFileW"));
}

TEST_F(InfSearch, GivesUpWhenTheNextFileNeverComes) {
    BuildWith({{L"oem1.inf", ""}, {L"oem3.inf", Excluding("QV_QVTEAMMP")}});
    Bench(L"fault FindNextFileW 1 5 all");
    EXPECT_EQ(L"", Miniport());
    EXPECT_GE(Calls("FindNextFileW"), 2u);
    EXPECT_LE(Calls("FindNextFileW"), 100u);
}

TEST_F(InfSearch, ChangesNothing) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    Miniport();
    Protocol();
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(std::vector<std::wstring>{}, Lines(Journal()));
}
