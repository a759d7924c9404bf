// What SetupAPI does with the names, classes and styles of INF files and with the sizes of driver
// records.
#include "harness/install.h"
#include "harness/bench_device.h"

#include <fstream>

static const char kNetGuid[] = "{4d36e972-e325-11ce-bfc1-08002be10318}";

class SetupOpenInfFileRule : public MachineTest {
  protected:
    void Build(const std::string& version) {
        Load(L"two-ports");
        machine.infs = {{L"oem9.inf", "[Version]\r\n" + version}};
        MachineTest::Build();
    }
    static BOOL Opens(const wchar_t* file, const wchar_t* infClass, DWORD style = INF_STYLE_WIN4) {
        UINT line = 0;
        HINF inf = BENCHED(SetupOpenInfFileW)(file, infClass, style, &line);
        if (inf == INVALID_HANDLE_VALUE)
            return FALSE;
        BENCHED(SetupCloseInfFile)(inf);
        return TRUE;
    }
};

TEST_F(SetupOpenInfFileRule, LooksForABareNameInTheInfFolderAndThenInTheSystemFolder) {
    Build("Signature=\"$Windows NT$\"\r\nClass=Net\r\n");
    EXPECT_TRUE(Opens(L"oem9.inf", L"Net"));
    wchar_t folder[MAX_PATH];
    GetSystemDirectoryW(folder, MAX_PATH);
    const std::wstring path = std::wstring(folder) + L"\\qvtest.inf";
    FILE* file = _wfopen(path.c_str(), L"wb");
    ASSERT_NE(nullptr, file);
    fputs("[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=Net\r\n", file);
    fclose(file);
    EXPECT_TRUE(Opens(L"qvtest.inf", L"Net"));
    DeleteFileW(path.c_str());
    EXPECT_REFUSED(ERROR_FILE_NOT_FOUND, Opens(L"qvtest.inf", L"Net"));
    std::ofstream("qvtest.inf") << "[Version]\nSignature=\"$Windows NT$\"\nClass=Net\n";
    EXPECT_REFUSED(ERROR_FILE_NOT_FOUND, Opens(L"qvtest.inf", L"Net"));
    DeleteFileW(L"qvtest.inf");
}

TEST_F(SetupOpenInfFileRule, ComparesTheClassByName) {
    Build("Signature=\"$Windows NT$\"\r\nClass=NET\r\n"
          "ClassGUID={4D36E975-E325-11CE-BFC1-08002BE10318}\r\n");
    EXPECT_TRUE(Opens(L"oem9.inf", L"net"));
    EXPECT_TRUE(Opens(L"oem9.inf", nullptr));
    EXPECT_REFUSED(ERROR_CLASS_MISMATCH, Opens(L"oem9.inf", L"NetTrans"));
}

TEST_F(SetupOpenInfFileRule, TakesTheNameOfTheClassGuidWhenTheInfNamesNoClass) {
    Build(std::string("Signature=\"$Windows NT$\"\r\nClassGUID=") + kNetGuid + "\r\n");
    EXPECT_TRUE(Opens(L"oem9.inf", L"Net"));
    EXPECT_REFUSED(ERROR_CLASS_MISMATCH, Opens(L"oem9.inf", L"NetTrans"));
    EXPECT_REFUSED(ERROR_CLASS_MISMATCH,
                   Opens(L"oem9.inf", L"{4D36E972-E325-11CE-BFC1-08002BE10318}"));
    Build("Signature=\"$Windows NT$\"\r\n");
    EXPECT_REFUSED(ERROR_CLASS_MISMATCH, Opens(L"oem9.inf", L"Net"));
}

TEST_F(SetupOpenInfFileRule, RefusesAnInfOfAnotherStyle) {
    for (const char* signature : {"\"$Windows NT$\"", "\"$Chicago$\""}) {
        Build(std::string("Signature=") + signature + "\r\nClass=Net\r\n");
        EXPECT_TRUE(Opens(L"oem9.inf", L"Net", INF_STYLE_WIN4));
        EXPECT_TRUE(Opens(L"oem9.inf", L"Net", INF_STYLE_WIN4 | INF_STYLE_OLDNT));
        EXPECT_REFUSED(ERROR_WRONG_INF_STYLE, Opens(L"oem9.inf", L"Net", INF_STYLE_OLDNT));
    }
}

// A device for which the bench has selected a driver.
class DriverRecordRule : public InstallTest {
  protected:
    static BOOL Select(BenchDevice* device) {
        SP_DEVINSTALL_PARAMS_W params;
        if (!device->readParams(&params))
            return FALSE;
        params.Flags |= DI_ENUMSINGLEINF;
        params.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
        lstrcpyW(params.DriverPath, OemInf().c_str());
        return BENCHED(SetupDiSetDeviceInstallParamsW)(device->set(), device->data(), &params) &&
               BENCHED(SetupDiBuildDriverInfoList)(device->set(), device->data(),
                                                   SPDIT_COMPATDRIVER) &&
               BENCHED(SetupDiCallClassInstaller)(DIF_SELECTBESTCOMPATDRV, device->set(),
                                                  device->data());
    }
};

TEST_F(DriverRecordRule, HasOneOfTwoSizes) {
    LoadAndBuild(L"two-ports");
    BenchDevice device;
    ASSERT_TRUE(Select(&device));
    auto get = BENCHED(SetupDiGetSelectedDriverW);
    SP_DRVINFO_DATA_W driver = {};
    for (size_t size : {size_t{0}, sizeof(SP_DRVINFO_DATA_V1_W) - 1, sizeof(driver) + 1}) {
        driver.cbSize = static_cast<DWORD>(size);
        EXPECT_REFUSED(ERROR_INVALID_USER_BUFFER, get(device.set(), device.data(), &driver));
        EXPECT_EQ(L'\0', driver.Description[0]);
    }
    driver.cbSize = sizeof(SP_DRVINFO_DATA_V2_W);
    EXPECT_TRUE(get(device.set(), device.data(), &driver));
    EXPECT_STREQ(L"Quovane Communications Inc.,", driver.ProviderName);

    SP_DRVINFO_DATA_W shorter = {};
    shorter.cbSize = sizeof(SP_DRVINFO_DATA_V1_W);
    shorter.DriverVersion = 99;
    EXPECT_TRUE(get(device.set(), device.data(), &shorter));
    EXPECT_STREQ(L"Quovane Communications Inc.,", shorter.ProviderName);
    EXPECT_EQ(sizeof(SP_DRVINFO_DATA_V1_W), shorter.cbSize);
    EXPECT_EQ(99u, shorter.DriverVersion) << "behind the record";
}
